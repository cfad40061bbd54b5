#include "ftpspool/wakeups.h"

#include "ftpctl/failure.h"

#include <ctime>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <vector>

int64_t steady_ms()
{
    timespec now = {};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// time() may lag behind the timers by some milliseconds.
int64_t wall_s()
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec;
}

static ino_t inode_of(const std::string &path)
{
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

wakeups_t::wakeups_t(const std::string &path)
    : path_(path), inode_(inode_of(path)), changes_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)),
      steady_(timerfd_create(CLOCK_BOOTTIME, TFD_CLOEXEC | TFD_NONBLOCK)),
      wall_(timerfd_create(CLOCK_REALTIME, TFD_CLOEXEC | TFD_NONBLOCK))
{
    if (!changes_ || !steady_ || !wall_ ||
        inotify_add_watch(changes_.get(), path.c_str(), IN_CLOSE_WRITE | IN_MOVE_SELF | IN_ATTRIB) == -1)
        fail_with_errno(path + ": cannot be watched");
}

// 0 disarms the timer. The wall clock's timer also reports that the clock was set, so without an end it is
// armed for the far future.
static void arm(const descriptor &timer, int flags, int64_t s, int64_t ns)
{
    itimerspec until = {};
    until.it_value.tv_sec = static_cast<time_t>(s);
    until.it_value.tv_nsec = static_cast<long>(ns);
    timerfd_settime(timer.get(), flags, &until, nullptr);
}

// unlink() changes the number of links, which inotify reports as IN_ATTRIB.
bool wakeups_t::is_database_gone() const { return inode_of(path_) != inode_; }

void wakeups_t::drain()
{
    char events[4096];
    uint64_t expirations = 0;
    while (read(changes_.get(), events, sizeof events) > 0) {}
    while (read(steady_.get(), &expirations, sizeof expirations) > 0) {}
    while (read(wall_.get(), &expirations, sizeof expirations) > 0) {}
}

void wakeups_t::wait(std::initializer_list<int> fds, int64_t steady_ms, int64_t wall_s)
{
    constexpr int64_t FAR_S = int64_t{1} << 33;
    arm(steady_, TFD_TIMER_ABSTIME, steady_ms / 1000, steady_ms % 1000 * 1000000);
    arm(wall_, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, wall_s == 0 ? FAR_S : wall_s, 0);
    std::vector<pollfd> waiting;
    for (const int fd : {changes_.get(), steady_.get(), wall_.get()})
        waiting.push_back({fd, POLLIN, 0});
    for (const int fd : fds)
        waiting.push_back({fd, POLLIN, 0});
    poll(waiting.data(), waiting.size(), -1);
    drain();
}
