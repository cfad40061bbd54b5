#include "curl_func/curl_func.h"
#include "ftp_clientd/commands.h"
#include "ftp_clientd/daemonise.h"
#include "ftp_clientd/engines.h"
#include "ftp_clientd/ftp_clientd_if.h"
#include "ftp_clientd/notices.h"
#include "ftp_clientd/run_flag.h"
#include "zixi_func/zixi_func.h"

#include <csignal>
#include <malloc.h>
#include <openssl/crypto.h>
#include <syslog.h>
#include <unistd.h>

static constexpr useconds_t PASS_PAUSE_US = 100000;

int main()
{
#ifdef M_ARENA_MAX // glibc's; others have one heap anyway
    // A worker's heap of its own would keep what its job took: only of the first one the end is given back.
    constexpr int ONE_HEAP = 1;
    mallopt(M_ARENA_MAX, ONE_HEAP);
#endif
    // A transfer may still run in OpenSSL when main returns: nothing of it may be torn down then.
    OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
    openlog("libftp_clientd_if", LOG_PID | LOG_CONS, LOG_USER);
    daemonise();

    if (ftp_clientd_if_init() != 0 || curlf_init() != 0 || zixif_init() != 0) {
        notify_start_up(FTPCD_ERR_INTERNAL);
        closelog();
        return 0;
    }

    exec_ = 1;
    for (const int number : ENDING_SIGNALS)
        signal(number, sighandler);
    notify_start_up(FTPCD_ERR_NONE);

    reply_t last_job = {};
    while (exec_ != 0) {
        {
            const signals_held until_the_pause;
            serve_waiting_client(&last_job);
            engine_report_finished_job();
        }
        usleep(PASS_PAUSE_US);
    }

    ftp_clientd_if_destory();
    closelog();
    return 0;
}
