#include "tools/password.h"

#include "tools/failure.h"
#include "tools/interrupts.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace
{

constexpr size_t LONGEST = 4096; // bytes; no field is nearly as long

struct descriptor {
    int fd;
    ~descriptor()
    {
        if (fd > STDERR_FILENO)
            close(fd);
    }
};

// A terminal without echo for one scope.
struct echo_off {
    int fd;
    termios before = {};
    explicit echo_off(int terminal) : fd(terminal)
    {
        tcgetattr(fd, &before);
        termios silent = before;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        silent.c_lflag |= ECHONL;
        tcsetattr(fd, TCSAFLUSH, &silent);
    }
    ~echo_off() { tcsetattr(fd, TCSAFLUSH, &before); }
};

// False at the end of the input. An interrupt that comes between the question and the wait must not be lost,
// so that no wait is long.
bool read_byte(int fd, char *c, const std::string &name)
{
    pollfd waiting = {fd, POLLIN, 0};
    while (!interrupts_seen()) {
        if (poll(&waiting, 1, 100) < 1)
            continue;
        const ssize_t count = read(fd, c, 1);
        if (count == -1 && errno != EINTR)
            throw failure(STATUS_LOCAL, name + ": " + strerror(errno));
        if (count != -1)
            return count == 1;
    }
    throw failure(STATUS_LOCAL, "interrupted");
}

std::string first_line(int fd, const std::string &name)
{
    std::string line;
    char c = 0;
    while (line.size() <= LONGEST && read_byte(fd, &c, name) && c != '\n') {
        if (c == '\0')
            throw failure(STATUS_USAGE, name + ": a password cannot hold a NUL byte");
        line += c;
    }
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return line;
}

// Takes the password out of the environment, which the process list shows to this user and to root.
std::optional<std::string> from_environment()
{
    char *value = getenv("FTPCTL_PASSWORD");
    if (value == nullptr)
        return std::nullopt;
    const std::string password = value;
    explicit_bzero(value, password.size());
    unsetenv("FTPCTL_PASSWORD");
    return password;
}

} // namespace

std::string password_prompt(int fd, const std::string &user_and_host)
{
    interrupts_catch(); // a Ctrl-C must not leave the terminal without echo
    const echo_off silence(fd);
    dprintf(fd, "Password for %s: ", user_and_host.c_str());
    return first_line(fd, "terminal");
}

std::string password_find(const std::string &file, const std::string &user_and_host)
{
    const std::optional<std::string> in_environment = from_environment();
    if (!file.empty()) {
        const descriptor source = {file == "-" ? STDIN_FILENO : open(file.c_str(), O_RDONLY | O_CLOEXEC)};
        if (source.fd == -1)
            throw failure(STATUS_LOCAL, "--password-file " + file + ": " + strerror(errno));
        return first_line(source.fd, "--password-file " + file);
    }
    if (in_environment)
        return *in_environment;
    if (isatty(STDIN_FILENO) == 1)
        return password_prompt(STDIN_FILENO, user_and_host);
    throw failure(STATUS_USAGE,
                  "no password for " + user_and_host + ": use --password-file or FTPCTL_PASSWORD");
}
