#include "tools/notices.h"

#include "tools/deadline.h"
#include "tools/event.h"
#include "tools/event_hook.h"
#include "tools/failure.h"
#include "tools/interrupts.h"
#include "tools/unix_address.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <span>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr std::chrono::seconds SENDER_LIMIT{10};
constexpr int BACKLOG = 128; // senders that may wait while one is served
constexpr size_t NOTICE_MAX = sizeof(notice_header_t) + NOTICE_BODY_MAX;

class listener
{
public:
    explicit listener(const std::string &path);
    ~listener();
    listener(const listener &) = delete;
    listener &operator=(const listener &) = delete;

    // The next sender's connection; -1 when none came, or an interrupt did.
    int accept_within(int limit_ms) const;

private:
    const std::string &path_;
    int fd_;
    bool is_bound_ = false;

    [[noreturn]] void fail(const char *call) const
    {
        throw failure(STATUS_LOCAL, path_ + ": " + call + ": " + strerror(errno));
    }
};

// A socket that nobody listens on any more. Asking with a datagram socket disturbs no stream listener: it is
// answered EPROTOTYPE where there is one.
bool is_abandoned(const sockaddr_un &address)
{
    struct stat status = {};
    if (lstat(address.sun_path, &status) != 0 || !S_ISSOCK(status.st_mode))
        return false;
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool refused = connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == -1 &&
                         errno == ECONNREFUSED;
    close(fd);
    return refused;
}

listener::listener(const std::string &path) : path_(path), fd_(-1)
{
    const sockaddr_un address = unix_address(path);
    if (is_abandoned(address))
        unlink(path.c_str());
    fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd_ == -1)
        fail("socket");
    is_bound_ = bind(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    const bool is_listening = is_bound_ && listen(fd_, BACKLOG) == 0;
    if (is_listening)
        return;
    const int error = errno;
    if (is_bound_)
        unlink(path.c_str());
    close(fd_);
    errno = error;
    fail("bind");
}

listener::~listener()
{
    unlink(path_.c_str());
    close(fd_);
}

int listener::accept_within(int limit_ms) const
{
    pollfd waiting = {fd_, POLLIN, 0};
    if (poll(&waiting, 1, limit_ms) != 1)
        return -1;
    const int fd = accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd == -1 && errno != EINTR && errno != ECONNABORTED)
        fail("accept");
    return fd;
}

// Everything that the sender sends, until it closes, has said enough or takes too long.
size_t receive(int fd, std::span<std::byte> buffer)
{
    const deadline_t deadline(SENDER_LIMIT);
    pollfd waiting = {fd, POLLIN, 0};
    size_t size = 0;
    while (size < buffer.size() && !interrupts_seen() && !deadline.passed()) {
        if (poll(&waiting, 1, deadline.poll_ms()) != 1)
            continue;
        const ssize_t count = recv(fd, buffer.data() + size, buffer.size() - size, 0);
        if (count <= 0)
            break;
        size += static_cast<size_t>(count);
    }
    return size;
}

// Milliseconds to wait for a notice. An interrupt between the question and poll() must not wait for the next
// notice, nor must a command's end be noticed late.
int next_look(const deadline_t &deadline, const event_hook &hook)
{
    const int longest_ms = hook.busy() ? 50 : 500;
    const int left_ms = deadline.poll_ms();
    return left_ms == -1 ? longest_ms : std::min(left_ms, longest_ms);
}

// Takes what the sender says and shows it; false when that is no notice.
bool tell(int fd, const options_t &options, event_hook &hook)
{
    std::byte buffer[NOTICE_MAX];
    const size_t size = receive(fd, buffer);
    close(fd);
    try {
        const event_t event = event_of_notice(std::span(buffer, size), time(nullptr));
        event_print(event, options);
        hook.add(event);
        return true;
    } catch (const failure &error) {
        if (error.status != STATUS_BAD_ANSWER)
            throw;
        fprintf(stderr, "ftpctl: ignored: %s\n", error.what());
        return false;
    }
}

} // namespace

int notices_listen(const options_t &options)
{
    interrupts_catch();
    const deadline_t deadline(options.timeout());
    const listener source(options.notify_socket);
    event_hook hook(options.exec);
    unsigned long seen = 0;
    while (!interrupts_seen() && !deadline.passed() && (options.count == 0 || seen < options.count)) {
        hook.step();
        const int fd = source.accept_within(next_look(deadline, hook));
        if (fd != -1 && tell(fd, options, hook))
            seen++;
    }
    const int status = hook.finish();
    if (status == STATUS_DONE && seen < options.count && !interrupts_seen())
        return STATUS_TIMEOUT;
    return status;
}
