// The worker: one thread that runs one job to its end.
#pragma once

// Runs the job in the record and clears its `running`. For pthread_create; takes and returns NULL.
void *zixif_worker(void *);
