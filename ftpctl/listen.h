// `listen`: plays the network manager.
#pragma once

#include "ftpctl/options.h"

// Prints each notice as it comes to the notify socket: until there were options.count, an interrupt comes or
// the time is over. A socket that a program which is gone has left behind is replaced, one that somebody
// listens on is not. The commands of --exec have all run when it returns. Throws failure: STATUS_TIMEOUT when
// notices are missing at the end of the time, STATUS_EXEC when a command failed, STATUS_LOCAL when it cannot
// listen.
void command_listen(const options_t &options, report_t &report);
