// What the daemon tells the network manager. Blocks as long as ftp_clientd_if_notify does; a notice that
// cannot be sent is logged and lost.
#pragma once

#include "ftp_clientd/engines.h"

// How start-up ended: an ftpcd_err, 0 when the daemon now serves requests.
void notify_start_up(uint32_t code);

// The engine's job has ended: says so, unless it was cancelled. One of no kind is logged, not announced.
void notify(const engine_t &engine);
