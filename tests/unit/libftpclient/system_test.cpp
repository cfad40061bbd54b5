// System calls that do less than they were asked for, or nothing.
#include "client_support.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>

namespace
{

// What the wrapped calls of this thread do: the fake daemon's own are left alone.
struct behaviour_t {
    size_t piece = SIZE_MAX; // most bytes of one send or recv
    int interruptions = 0;   // of each call, before it is let through
    int failing_errno = 0;   // of the call named by `failing`
    const char *failing = "";
    bool without_memory = false;
    bool shut_when_connected = false; // the next send is answered EPIPE
};
thread_local behaviour_t behaviour;
thread_local std::map<std::string, int> interruptions; // of each call since it was last let through

// True when the call is to fail now, errno set.
bool fails(const char *call)
{
    if (strcmp(behaviour.failing, call) == 0) {
        errno = behaviour.failing_errno;
        return true;
    }
    if (strcmp(call, "socket") != 0 && interruptions[call] < behaviour.interruptions) {
        interruptions[call]++;
        errno = EINTR;
        return true;
    }
    interruptions[call] = 0;
    return false;
}

struct with {
    explicit with(const behaviour_t &wanted) { behaviour = wanted; }
    ~with() { behaviour = {}; }
};

} // namespace

extern "C" {
ssize_t __real_send(int fd, const void *data, size_t size, int flags);
ssize_t __real_recv(int fd, void *data, size_t size, int flags);
int __real_poll(pollfd *fds, nfds_t count, int timeout_ms);
int __real_connect(int fd, const sockaddr *address, socklen_t size);
int __real_socket(int domain, int type, int protocol);
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
    return fails("socket") ? -1 : __real_socket(domain, type, protocol);
}
void *__wrap_malloc(size_t size) { return behaviour.without_memory ? nullptr : __real_malloc(size); }
void *__wrap_calloc(size_t count, size_t size)
{
    return behaviour.without_memory ? nullptr : __real_calloc(count, size);
}
}

// Freed blocks of `watched` are looked at, 2080 bytes of them.
static void *watched;
static bool was_wiped;

extern "C" void __wrap_free(void *block)
{
    if (block != nullptr && block == watched) {
        const auto *bytes = static_cast<const uint8_t *>(block);
        was_wiped = std::all_of(bytes, bytes + 2080, [](uint8_t byte) { return byte == 0; });
    }
    __real_free(block);
}

TEST(System, ARequestIsWipedBeforeItIsFreed)
{
    ftpclient_request_t *request = nullptr;
    ASSERT_EQ(ftpclient_request_new(FTPCLIENT_SFTP, &request), FTPCLIENT_OK);
    ASSERT_EQ(ftpclient_request_set_login(request, "anna", "secret"), FTPCLIENT_OK);
    watched = request;
    was_wiped = false;
    ftpclient_request_free(request);
    watched = nullptr;
    EXPECT_TRUE(was_wiped);
}

TEST(System, ShortAndInterruptedCallsAreGoneOnWith)
{
    job_script script;
    script.states = {idle()};
    fake_daemon daemon(script);
    const client_holder client(daemon);
    request_holder request(FTPCLIENT_FTP);
    const bytes_t expected = sent(request);
    for (const size_t piece : {size_t(1), size_t(3), size_t(8), size_t(2079)}) {
        behaviour_t slow;
        slow.piece = piece;
        slow.interruptions = 2;
        const with slowness(slow);
        EXPECT_EQ(ftpclient_start(client, FTPCLIENT_UPLOAD, request, 10000), FTPCLIENT_OK) << piece;
    }
    EXPECT_TRUE(daemon.has_got(2, 4));
    for (const message_t &message : daemon.messages()) {
        if (message.command == COMMAND_UPLOAD) {
            EXPECT_EQ(message.body, expected);
        }
    }
}

TEST(System, EachFailureIsToldWithItsErrno)
{
    job_script script;
    script.states = {idle()};
    fake_daemon daemon(script);
    const client_holder client(daemon);
    const struct {
        const char *call;
        int error;
        int result;
    } cases[] = {
        {"socket", EMFILE, FTPCLIENT_ERR_SYSTEM},
        {"connect", EACCES, FTPCLIENT_ERR_SYSTEM},
        {"connect", ECONNREFUSED, FTPCLIENT_ERR_NO_DAEMON},
        {"connect", EAGAIN, FTPCLIENT_ERR_TIMEOUT},
        {"poll", ENOMEM, FTPCLIENT_ERR_SYSTEM},
        {"send", EPIPE, FTPCLIENT_ERR_DISCONNECTED},
        {"send", ENOBUFS, FTPCLIENT_ERR_SYSTEM},
        {"recv", ECONNRESET, FTPCLIENT_ERR_DISCONNECTED},
        {"recv", ENOMEM, FTPCLIENT_ERR_SYSTEM},
    };
    for (const auto &c : cases) {
        behaviour_t broken;
        broken.failing = c.call;
        broken.failing_errno = c.error;
        int result = 0;
        int error = 0;
        {
            const with breakage(broken);
            result = ftpclient_ping(client, nullptr, 10000);
            error = errno;
        }
        EXPECT_EQ(result, c.result) << c.call << " " << c.error;
        EXPECT_EQ(error, c.error) << c.call;
    }
}

TEST(System, AReceiverWithoutASocketTellsTheErrno)
{
    behaviour_t broken;
    broken.failing = "socket";
    broken.failing_errno = EMFILE;
    const with breakage(broken);
    ftpclient_notices_t *notices = nullptr;
    EXPECT_EQ(ftpclient_notices_open("/nonexistent/x", &notices), FTPCLIENT_ERR_SYSTEM);
    EXPECT_EQ(errno, EMFILE);
    EXPECT_EQ(notices, nullptr);
}

TEST(System, ABrokenConnectionRaisesNoSignal)
{
    job_script script;
    fake_daemon daemon(script);
    const client_holder client(daemon);
    behaviour_t broken;
    broken.shut_when_connected = true;
    const with breakage(broken);
    EXPECT_EQ(ftpclient_ping(client, nullptr, 10000),
              FTPCLIENT_ERR_DISCONNECTED); // SIGPIPE would end this test
}

TEST(System, WithoutMemoryNothingIsMade)
{
    ftpclient_t *client = nullptr;
    ftpclient_request_t *request = nullptr;
    ftpclient_notices_t *notices = nullptr;
    int results[3];
    {
        behaviour_t poor;
        poor.without_memory = true;
        const with poverty(poor);
        results[0] = ftpclient_connect(nullptr, 1000, &client);
        results[1] = ftpclient_request_new(FTPCLIENT_FTP, &request);
        results[2] = ftpclient_notices_open("/nonexistent/x", &notices);
    }
    for (int result : results)
        EXPECT_EQ(result, FTPCLIENT_ERR_NO_MEMORY);
    EXPECT_EQ(client, nullptr);
    EXPECT_EQ(request, nullptr);
    EXPECT_EQ(notices, nullptr);
}
