#include "fake_system.h"
#include "real_calls.h"
#include "support/logged.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <openssl/crypto.h>
#include <string_view>
#include <sys/time.h>
#include <sys/un.h>

static fake_system *fake_;

fake_system::fake_system() { fake_ = this; }

fake_system::~fake_system()
{
    fake_ = nullptr;
    if (!directory.empty())
        std::filesystem::remove_all(directory);
}

std::vector<std::string> fake_system::calls_of(const std::string &name) const
{
    std::vector<std::string> found;
    std::copy_if(calls.begin(), calls.end(), std::back_inserter(found),
                 [&](const std::string &call) { return call.starts_with(name + "("); });
    return found;
}

void fake_system::fails(const char *name, int error, int after)
{
    const bool is_pointer = std::string_view(name) == "fopen" || std::string_view(name) == "malloc";
    outcomes.push_back({name, after, is_pointer ? 0 : -1, error});
}

void fake_system::gives(const char *name, intptr_t result, int after)
{
    outcomes.push_back({name, after, result, 0});
}

void fake_system::sends(const std::vector<int> &results)
{
    for (const int result : results)
        outcomes.push_back({"send", 0, result, EPIPE});
}

std::string fake_system::path_of(const std::string &path)
{
    constexpr std::string_view replaced = "/var/run/";
    if (!path.starts_with(replaced))
        return path;
    if (directory.empty()) {
        char name[] = "/tmp/ftp_clientd_test.XXXXXX";
        directory = mkdtemp(name);
    }
    return directory + "/" + path.substr(replaced.size());
}

void note_call(const std::string &call)
{
    if (fake_ != nullptr)
        fake_->calls.push_back(call);
}

// "name(arguments)", the arguments formatted as by printf.
__attribute__((format(printf, 2, 3))) static std::string call_text(const char *name, const char *format, ...)
{
    char arguments[256];
    va_list list;
    va_start(list, format);
    vsnprintf(arguments, sizeof arguments, format, list);
    va_end(list);
    return std::string(name) + "(" + arguments + ")";
}

// Takes the outcome arranged for this call of `name`, if any.
static bool take_outcome(const char *name, intptr_t *result)
{
    for (auto at = fake_->outcomes.begin(); at != fake_->outcomes.end(); ++at) {
        if (at->name != name)
            continue;
        if (at->after-- > 0)
            return false;
        *result = at->result;
        errno = at->error;
        fake_->outcomes.erase(at);
        return true;
    }
    return false;
}

// One call: while a fake_system exists, it is recorded and has the arranged outcome, or else that of
// `otherwise`.
template <typename Otherwise>
static auto faked(const char *name, const std::string &call, Otherwise otherwise)
{
    if (fake_ == nullptr)
        return otherwise();
    fake_->calls.push_back(call);
    intptr_t result;
    if (!take_outcome(name, &result))
        return otherwise();
    if constexpr (std::is_pointer_v<decltype(otherwise())>)
        return reinterpret_cast<decltype(otherwise())>(result);
    else
        return static_cast<decltype(otherwise())>(result);
}

// The address with its path in the directory of fake_system.
static sockaddr_un moved(const sockaddr *address)
{
    sockaddr_un there = {};
    there.sun_family = AF_UNIX;
    const std::string path = fake_->path_of(reinterpret_cast<const sockaddr_un *>(address)->sun_path);
    path.copy(there.sun_path, sizeof there.sun_path - 1);
    return there;
}

static std::string address_text(const char *name, const sockaddr *address, socklen_t length)
{
    return call_text(name, "%s, %u", reinterpret_cast<const sockaddr_un *>(address)->sun_path, length);
}

// Begins a function that behaves differently while a fake_system exists.
#define REAL_WITHOUT_FAKE(call)                                                                              \
    if (fake_ == nullptr)                                                                                    \
    return __real_##call

extern "C" {

// Time.

int __wrap_clock_gettime(clockid_t clock, timespec *time)
{
    if (fake_ == nullptr || clock != CLOCK_MONOTONIC)
        return __real_clock_gettime(clock, time);
    time->tv_sec = static_cast<time_t>(fake_->now_ms / 1000);
    time->tv_nsec = static_cast<long>(fake_->now_ms % 1000 * 1000000);
    return 0;
}

int __wrap_usleep(useconds_t time_us)
{
    REAL_WITHOUT_FAKE(usleep(time_us));
    fake_->calls.push_back(call_text("usleep", "%u", time_us));
    fake_->now_ms += time_us / 1000;
    if (fake_->on_wait)
        fake_->on_wait();
    return 0;
}

int __wrap_poll(pollfd *fds, nfds_t count, int timeout_ms)
{
    REAL_WITHOUT_FAKE(poll(fds, count, timeout_ms));
    const auto otherwise = [&] {
        fds[0].revents = 0;
        const int64_t end_ms = fake_->now_ms + timeout_ms;
        for (;;) {
            const int ready = __real_poll(fds, count, 0);
            if (ready != 0 || fake_->now_ms >= end_ms)
                return ready;
            if (fake_->on_wait)
                fake_->on_wait();
            else
                fake_->now_ms = end_ms;
        }
    };
    fds[0].revents = fake_->revents;
    return faked("poll", call_text("poll", "%d, %d", fds[0].events, timeout_ms), otherwise);
}

int __wrap___poll_chk(pollfd *fds, nfds_t count, int timeout_ms, size_t)
{
    return __wrap_poll(fds, count, timeout_ms);
}

// Sockets.

int __wrap_socket(int domain, int type, int protocol)
{
    return faked("socket", call_text("socket", "%d, %d, %d", domain, type, protocol),
                 [&] { return __real_socket(domain, type, protocol); });
}

int __wrap_unlink(const char *path)
{
    REAL_WITHOUT_FAKE(unlink(path));
    return faked("unlink", call_text("unlink", "%s", path),
                 [&] { return __real_unlink(fake_->path_of(path).c_str()); });
}

int __wrap_bind(int fd, const sockaddr *address, socklen_t length)
{
    REAL_WITHOUT_FAKE(bind(fd, address, length));
    return faked("bind", address_text("bind", address, length), [&] {
        const sockaddr_un there = moved(address);
        return __real_bind(fd, reinterpret_cast<const sockaddr *>(&there), sizeof there);
    });
}

int __wrap_connect(int fd, const sockaddr *address, socklen_t length)
{
    REAL_WITHOUT_FAKE(connect(fd, address, length));
    return faked("connect", address_text("connect", address, length), [&] {
        const sockaddr_un there = moved(address);
        return __real_connect(fd, reinterpret_cast<const sockaddr *>(&there), sizeof there);
    });
}

int __wrap_setsockopt(int fd, int level, int option, const void *value, socklen_t length)
{
    REAL_WITHOUT_FAKE(setsockopt(fd, level, option, value, length));
    timeval limit = *static_cast<const timeval *>(value);
    const std::string call =
        call_text("setsockopt", "%s, %lld s", option == SO_SNDTIMEO ? "SO_SNDTIMEO" : "another option",
                  static_cast<long long>(limit.tv_sec));
    if (fake_->send_timeout_us != 0)
        limit = {0, fake_->send_timeout_us};
    return faked("setsockopt", call, [&] { return __real_setsockopt(fd, level, option, &limit, length); });
}

int __wrap_listen(int fd, int backlog)
{
    return faked("listen", call_text("listen", "%d", backlog), [&] { return __real_listen(fd, backlog); });
}

int __wrap_accept(int fd, sockaddr *address, socklen_t *length)
{
    return faked("accept",
                 call_text("accept", "%s", address == nullptr && length == nullptr ? "" : "address"),
                 [&] { return __real_accept(fd, address, length); });
}

ssize_t __wrap_recv(int fd, void *buffer, size_t size, int flags)
{
    return faked("recv", call_text("recv", "%zu, %d", size, flags),
                 [&] { return __real_recv(fd, buffer, size, flags); });
}

ssize_t __wrap___recv_chk(int fd, void *buffer, size_t size, size_t, int flags)
{
    return __wrap_recv(fd, buffer, size, flags);
}

ssize_t __wrap_send(int fd, const void *buffer, size_t size, int flags)
{
    return faked("send", call_text("send", "%zu, %#x", size, static_cast<unsigned>(flags)),
                 [&] { return __real_send(fd, buffer, size, flags); });
}

// As on Linux, a failed close has closed the descriptor.
int __wrap_close(int fd)
{
    REAL_WITHOUT_FAKE(close(fd));
    const bool is_standard = fd >= 0 && fd <= 2;
    const int rc = is_standard ? 0 : __real_close(fd);
    return faked("close", is_standard ? call_text("close", "%d", fd) : "close()", [&] { return rc; });
}

void *__wrap_malloc(size_t size)
{
    REAL_WITHOUT_FAKE(malloc(size));
    return faked("malloc", call_text("malloc", "%zu", size), [&] { return __real_malloc(size); });
}

// The process.

pid_t __wrap_fork()
{
    REAL_WITHOUT_FAKE(fork());
    return faked("fork", "fork()", [] { return pid_t{0}; });
}

pid_t __wrap_setsid()
{
    return faked("setsid", "setsid()", [] { return pid_t{4711}; });
}

int __wrap_chdir(const char *path)
{
    return faked("chdir", call_text("chdir", "%s", path), [] { return 0; });
}

mode_t __wrap_umask(mode_t mask)
{
    return faked("umask", call_text("umask", "%o", mask), [] { return mode_t{022}; });
}

FILE *__wrap_fopen64(const char *path, const char *mode)
{
    REAL_WITHOUT_FAKE(fopen64(path, mode));
    return faked("fopen", call_text("fopen", "%s, %s", path, mode),
                 [&] { return fake_->console = __real_fopen64("/dev/null", mode); });
}

int __wrap_fclose(FILE *file)
{
    REAL_WITHOUT_FAKE(fclose(file));
    fake_->calls.push_back(file == fake_->console ? "fclose(console)" : "fclose(another file)");
    return __real_fclose(file);
}

int __wrap_open64(const char *path, int flags, ...)
{
    REAL_WITHOUT_FAKE(open64(path, flags));
    return faked("open", call_text("open", "%s, %d", path, flags & ~O_LARGEFILE), [] { return 0; });
}

int __wrap_dup2(int from, int to)
{
    REAL_WITHOUT_FAKE(dup2(from, to));
    const bool is_console = fake_->console != nullptr && from == fileno(fake_->console);
    return faked("dup2", call_text("dup2", "%s, %d", is_console ? "console" : "another file", to),
                 [&] { return to; });
}

// Prints the calls and log lines of the ending process to standard error, where the death test reads them.
[[noreturn]] void __wrap_exit(int status)
{
    if (fake_ != nullptr) {
        for (const std::string &call : fake_->calls)
            fprintf(stderr, "%s\n", call.c_str());
        for (const std::string &line : logged())
            fprintf(stderr, "%s", line.c_str());
        fprintf(stderr, "exit(%d)\n", status);
    }
    __real_exit(status);
}

void __wrap_openlog(const char *ident, int options, int facility)
{
    note_call(call_text("openlog", "%s, %d, %d", ident, options, facility));
}

void __wrap_closelog() { note_call("closelog()"); }

// The handler is not printed: a test identifies it by calling it.
sighandler_t __wrap_signal(int number, sighandler_t handler)
{
    REAL_WITHOUT_FAKE(signal(number, handler));
    fake_->calls.push_back(call_text("signal", "%d", number));
    fake_->handlers[number] = handler;
    return SIG_DFL;
}

int __wrap_OPENSSL_init_crypto(uint64_t options, const OPENSSL_INIT_SETTINGS *settings)
{
    note_call(call_text("OPENSSL_init_crypto", "%#llx, %s", static_cast<unsigned long long>(options),
                        settings == nullptr ? "NULL" : "settings"));
    return 1;
}

} // extern "C"
