#include "ftp_clientd/commands.h"
#include "ftp_clientd/daemonise.h"
#include "ftp_clientd/engines.h"
#include "ftp_clientd/ftp_clientd_if.h"
#include "ftp_clientd/notice_content.h"
#include "ftp_clientd/run_flag.h"
#include "strutil/guards.h"
#include "wire/control.h"

#include <csignal>
#include <malloc.h>
#include <openssl/crypto.h>
#include <syslog.h>
#include <unistd.h>

constexpr useconds_t PASS_PAUSE_US = CONTROL_PASS_MS * 1000;

// glibc gives each thread its own arena, but trims only the main one: memory that a worker frees would stay.
static void use_one_arena()
{
#ifdef M_ARENA_MAX
    mallopt(M_ARENA_MAX, 1);
#endif
}

// When main returns, a transfer may still run in OpenSSL, so OpenSSL must not clean up.
static void keep_openssl_at_exit() { OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr); }

// Without the signals blocked, one could interrupt poll, and accept would then wait for a client that may
// never come.
static void serve_one_pass(reply_t *last_job)
{
    const signals_blocked until_the_end_of_the_pass(signal_set(ENDING_SIGNALS));
    serve_waiting_client(last_job);
    engine_report_finished_job();
}

static void run()
{
    if (ftp_clientd_if_init() != 0 || engines_init() != 0) {
        notify_start_up(FTPCD_ERR_INTERNAL);
        return;
    }
    exec_ = 1;
    for (const int number : ENDING_SIGNALS)
        signal(number, sighandler);
    notify_start_up(FTPCD_ERR_NONE);

    reply_t last_job = {};
    while (exec_ != 0) {
        serve_one_pass(&last_job);
        usleep(PASS_PAUSE_US);
    }
    ftp_clientd_if_destory();
}

int main()
{
    use_one_arena();
    keep_openssl_at_exit();
    openlog("libftp_clientd_if", LOG_PID | LOG_CONS, LOG_USER);
    daemonise();
    run();
    closelog();
    return 0;
}
