#include "ftp_clientd/run_flag.h"

std::atomic<int32_t> exec_ = 0;

void sighandler(int number)
{
    if (number == SIGHUP || number == SIGINT || number == SIGTERM)
        exec_ = 0;
}
