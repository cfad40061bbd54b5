#include "ftpctl/interrupts.h"

#include "ftpctl/failure.h"
#include "strutil/clock.h"
#include "strutil/guards.h"

#include <csignal>
#include <sys/eventfd.h>
#include <unistd.h>

constexpr std::initializer_list<int> SIGNALS = {SIGINT, SIGTERM, SIGHUP};
// A closing terminal's two SIGHUPs, from the kernel and from the shell, come within this time.
constexpr int64_t TWIN_MS = 1000;

static volatile sig_atomic_t seen_;
static int64_t first_ms_; // used only by the handler
static int fd_ = -1;

static void end_as_usual(int number)
{
    signal(number, SIG_DFL);
    raise(number); // delivered when the handler returns
}

static void remember(int number)
{
    const errno_kept kept;
    const uint64_t one = 1;
    if (seen_ == 0) {
        first_ms_ = monotonic_ms();
        seen_ = 1;
        [[maybe_unused]] const ssize_t written =
            write(fd_, &one, sizeof one); // cannot fail: the counter is 0
    } else if (number != SIGHUP || monotonic_ms() - first_ms_ > TWIN_MS) {
        end_as_usual(number);
    }
}

static bool is_ignored(int number)
{
    struct sigaction now = {};
    return sigaction(number, nullptr, &now) == 0 && now.sa_handler == SIG_IGN;
}

void interrupts_catch()
{
    if (fd_ != -1)
        return;
    fd_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (fd_ == -1)
        fail_with_errno("eventfd");
    struct sigaction action = {};
    action.sa_handler = remember;
    action.sa_flags = SA_RESTART;         // writes continue; poll() is interrupted nevertheless
    action.sa_mask = signal_set(SIGNALS); // no handler interrupts another
    for (const int number : SIGNALS) {
        if (number != SIGHUP || !is_ignored(number))
            sigaction(number, &action, nullptr);
    }
}

bool interrupts_seen() { return seen_ != 0; }

int interrupts_fd() { return fd_; }
