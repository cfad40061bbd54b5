#include "ftp_clientd/run_flag.h"

std::atomic<int32_t> exec_ = 0;

void sighandler(int number)
{
    if (number == SIGHUP || number == SIGINT || number == SIGTERM)
        exec_ = 0;
}

signals_held::signals_held()
{
    sigset_t ending;
    sigemptyset(&ending);
    for (const int number : ENDING_SIGNALS)
        sigaddset(&ending, number);
    pthread_sigmask(SIG_BLOCK, &ending, &before_);
}

signals_held::~signals_held() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
