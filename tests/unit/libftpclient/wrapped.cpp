#include "wrapped.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <malloc.h>
#include <map>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <unistd.h>

static thread_local behaviour_t behaviour;
static thread_local std::map<std::string, int> interruptions; // of each call since it last succeeded
static thread_local std::string secret;
static thread_local int secrets = 0;
static thread_local int freed = 0;
static thread_local int refused_locks = 0;

with::with(const behaviour_t &wanted) { behaviour = wanted; }
with::~with() { behaviour = {}; }

void look_for_in_freed(const std::string &text)
{
    secret = text;
    secrets = freed = 0;
}
int found_in_freed() { return secrets; }
int freed_blocks() { return freed; }
int refused_ofd_locks() { return refused_locks; }

// True with errno set if the call must fail now.
static bool fails(const char *call, bool may_be_interrupted = true)
{
    if (strcmp(behaviour.failing, call) == 0) {
        errno = behaviour.failing_errno;
        return true;
    }
    if (behaviour.interruptions == 0 || !may_be_interrupted)
        return false;
    if (interruptions[call] < behaviour.interruptions) {
        interruptions[call]++;
        errno = EINTR;
        return true;
    }
    interruptions[call] = 0;
    return false;
}

static bool is_refused_lock(int command)
{
    if (!behaviour.without_ofd_locks ||
        (command != F_OFD_SETLK && command != F_OFD_GETLK && command != F_OFD_SETLKW))
        return false;
    refused_locks++;
    errno = EINVAL;
    return true;
}

extern "C" {
ssize_t __real_send(int fd, const void *data, size_t size, int flags);
ssize_t __real_recv(int fd, void *data, size_t size, int flags);
int __real_poll(pollfd *fds, nfds_t count, int timeout_ms);
int __real_connect(int fd, const sockaddr *address, socklen_t size);
int __real_socket(int domain, int type, int protocol);
int __real_epoll_create1(int flags);
int __real_epoll_ctl(int epoll, int operation, int fd, epoll_event *event);
int __real_timerfd_create(int clock, int flags);
int __real_clock_gettime(clockid_t clock, timespec *now);
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void __real_free(void *block);

ssize_t __wrap_send(int fd, const void *data, size_t size, int flags)
{
    return fails("send") ? -1 : __real_send(fd, data, std::min(size, behaviour.piece), flags);
}
ssize_t __wrap_recv(int fd, void *data, size_t size, int flags)
{
    return fails("recv") ? -1 : __real_recv(fd, data, std::min(size, behaviour.piece), flags);
}
int __wrap_poll(pollfd *fds, nfds_t count, int timeout_ms)
{
    return fails("poll") ? -1 : __real_poll(fds, count, timeout_ms);
}
int __wrap_connect(int fd, const sockaddr *address, socklen_t size)
{
    if (fails("connect"))
        return -1;
    const int result = __real_connect(fd, address, size);
    if (behaviour.shut_when_connected)
        shutdown(fd, SHUT_WR);
    return result;
}
int __wrap_socket(int domain, int type, int protocol)
{
    return fails("socket", false) ? -1 : __real_socket(domain, type, protocol);
}
int __wrap_epoll_create1(int flags)
{
    return fails("epoll_create1", false) ? -1 : __real_epoll_create1(flags);
}
int __wrap_epoll_ctl(int epoll, int operation, int fd, epoll_event *event)
{
    const bool is_refused = operation == EPOLL_CTL_ADD && fails("epoll_ctl", false);
    return is_refused ? -1 : __real_epoll_ctl(epoll, operation, fd, event);
}
int __wrap_timerfd_create(int clock, int flags)
{
    return fails("timerfd_create", false) ? -1 : __real_timerfd_create(clock, flags);
}
int __wrap_clock_gettime(clockid_t clock, timespec *now)
{
    const int result = __real_clock_gettime(clock, now);
    if (clock == CLOCK_MONOTONIC)
        now->tv_sec += time_t(behaviour.skipped_ms / 1000);
    return result;
}
void *__wrap_malloc(size_t size) { return behaviour.without_memory ? nullptr : __real_malloc(size); }
void *__wrap_calloc(size_t count, size_t size)
{
    return behaviour.without_memory ? nullptr : __real_calloc(count, size);
}
void __wrap_free(void *block)
{
    if (block != nullptr && !secret.empty()) {
        freed++;
        secrets += memmem(block, malloc_usable_size(block), secret.data(), secret.size()) != nullptr;
    }
    __real_free(block);
}

// fcntl() under its name here. For locks its third argument is a pointer.
#ifdef SYS_fcntl64
#define REAL_FCNTL SYS_fcntl64
#else
#define REAL_FCNTL SYS_fcntl
#endif
#define WRAP_FCNTL(name)                                                                                     \
    int __wrap_##name(int fd, int command, void *argument)                                                   \
    {                                                                                                        \
        return is_refused_lock(command) ? -1 : static_cast<int>(syscall(REAL_FCNTL, fd, command, argument)); \
    }
WRAP_FCNTL(fcntl)
WRAP_FCNTL(fcntl64)
WRAP_FCNTL(__fcntl_time64)
}
