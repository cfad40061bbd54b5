#include "tools/interrupts.h"

#include <csignal>

static volatile sig_atomic_t seen_;

static void remember(int) { seen_ = 1; }

void interrupts_catch()
{
    struct sigaction action = {};
    action.sa_handler = remember;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool interrupts_seen() { return seen_ != 0; }
