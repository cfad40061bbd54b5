#include "tools/notices.h"

#include "tools/deadline.h"
#include "tools/failure.h"
#include "tools/interrupts.h"
#include "tools/json.h"
#include "tools/output.h"
#include "tools/result_names.h"
#include "tools/text.h"
#include "tools/unix_address.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr std::chrono::seconds SENDER_LIMIT{10};
constexpr size_t NOTICE_MAX = sizeof(notice_header_t) + NOTICE_BODY_MAX;

class listener
{
public:
    explicit listener(const std::string &path);
    ~listener();
    listener(const listener &) = delete;
    listener &operator=(const listener &) = delete;

    // The next sender's connection; -1 at an interrupt or when the time is over.
    int accept_until(const deadline_t &deadline) const;

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
    const bool is_listening = is_bound_ && listen(fd_, 16) == 0;
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

int listener::accept_until(const deadline_t &deadline) const
{
    pollfd waiting = {fd_, POLLIN, 0};
    while (!interrupts_seen() && !deadline.passed()) {
        // An interrupt between the question and poll() must not wait for the next notice.
        const int left_ms = deadline.poll_ms();
        if (poll(&waiting, 1, left_ms == -1 || left_ms > 500 ? 500 : left_ms) != 1)
            continue;
        const int fd = accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd != -1)
            return fd;
        if (errno != EINTR && errno != ECONNABORTED)
            fail("accept");
    }
    return -1;
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

template <typename Body> Body body_of(std::span<const std::byte> bytes)
{
    Body body;
    if (bytes.size() != sizeof body)
        throw failure(STATUS_BAD_ANSWER,
                      "a notice with a body of " + std::to_string(bytes.size()) + " bytes");
    memcpy(&body, bytes.data(), sizeof body);
    return body;
}

notice_header_t header_of(std::span<const std::byte> bytes)
{
    notice_header_t header;
    if (bytes.size() < sizeof header)
        throw failure(STATUS_BAD_ANSWER, "a notice of only " + std::to_string(bytes.size()) + " bytes");
    memcpy(&header, bytes.data(), sizeof header);
    if (header.sender != NOTICE_SENDER || header.kind != NOTICE_KIND || header.code > NOTICE_STARTED)
        throw failure(STATUS_BAD_ANSWER, "a notice of sender " + std::to_string(header.sender) + ", code " +
                                             std::to_string(header.code) + ", kind " +
                                             std::to_string(header.kind) + ", which is not the daemon's");
    if (header.length != bytes.size() - sizeof header)
        throw failure(STATUS_BAD_ANSWER, "a notice that announces " + std::to_string(header.length) +
                                             " bytes and has " +
                                             std::to_string(bytes.size() - sizeof header));
    return header;
}

constexpr const char *DONE[] = {"download done", "upload done", "file information done"};

std::string started_text(const reply_t &body)
{
    return body.result == 0 ? "daemon started" : "daemon failed to start, " + result_text(body.detail);
}

} // namespace

std::string notices_text(std::span<const std::byte> bytes, bool as_json)
{
    const notice_header_t header = header_of(bytes);
    const std::span<const std::byte> body = bytes.subspan(sizeof header);
    if (header.code == NOTICE_STARTED) {
        const auto reply = body_of<reply_t>(body);
        return as_json ? json_notice(header, reply) : started_text(reply);
    }
    const auto completion = body_of<completion_notice_t>(body);
    if (as_json)
        return json_notice(header, completion);
    return std::string(DONE[header.code]) + ", " + text_outcome(completion.exec_info) + ", " +
           result_text(completion.reply.detail);
}

int notices_listen(const options_t &options)
{
    interrupts_catch();
    const deadline_t deadline(options.timeout());
    const listener source(options.notify_socket);
    for (unsigned long seen = 0; options.count == 0 || seen < options.count;) {
        const int fd = source.accept_until(deadline);
        if (fd == -1)
            return options.count == 0 ? STATUS_DONE : STATUS_TIMEOUT;
        std::byte buffer[NOTICE_MAX];
        const size_t size = receive(fd, buffer);
        close(fd);
        try {
            const std::string text = notices_text(std::span(buffer, size), options.json);
            output_line(options.json ? text : text_now() + " " + text);
            seen++;
        } catch (const failure &error) {
            if (error.status != STATUS_BAD_ANSWER)
                throw;
            fprintf(stderr, "ftpctl: ignored: %s\n", error.what());
        }
    }
    return STATUS_DONE;
}
