// `listen`: plays the network manager.
#pragma once

#include "tools/options.h"

// Binds the notify socket, prints each notice as it comes, and removes the socket at the end: after
// options.count notices, at an interrupt, or when the time is over. A socket that a program which is gone has
// left behind is replaced, one that somebody listens on is not. The commands of --exec have all run when it
// returns.
int notices_listen(const options_t &options);
