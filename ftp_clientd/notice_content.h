// Notices to the network manager. Blocks as long as ftp_clientd_if_notify does; a notice that cannot be sent
// is logged and lost.
#pragma once

#include "ftp_clientd/engines.h"

// Reports the start-up; `code` is an ftpcd_err, 0 when the daemon now serves requests.
void notify_start_up(uint32_t code);

// Reports that the engine's job has ended, unless it was cancelled. A job of unknown kind is only logged.
void notify(const engine_t &engine);
