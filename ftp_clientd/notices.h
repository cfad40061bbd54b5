// What the daemon tells the network manager. A notice that cannot be sent is logged and lost.
#pragma once

#include <cstdint>

// How start-up ended: an ftpcd_err, 0 when the daemon now serves requests.
void notify_start_up(uint32_t code);

// The libcurl engine's job, or the Zixi engine's, has ended: says so, unless it was cancelled.
void notify();
void notify_zixi();
