#include "ftpctl/password.h"

#include "ftpctl/failure.h"
#include "ftpctl/interrupts.h"
#include "ftpctl/local_file.h"
#include "libftpclient/ftpclient.h"
#include "strutil/guards.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

constexpr size_t LONGEST = 4096; // bytes; no field is nearly as long
constexpr mode_t OTHERS = 077;
constexpr int STATUS_CANCELLED = STATUS_JOB + int{FTPCLIENT_RESULT_CANCELED};

namespace
{

// Turns off the terminal's echo for one scope. Meanwhile Ctrl-Z (SIGTSTP) makes stop_fd() readable instead of
// stopping the process.
class silent_terminal
{
public:
    explicit silent_terminal(int terminal) : fd_(terminal)
    {
        tcgetattr(fd_, &before_);
        silence();
    }
    ~silent_terminal()
    {
        tcsetattr(fd_, TCSAFLUSH, &before_);
        if (!has_new_line)
            dprintf(fd_, "\n");
    }
    silent_terminal(const silent_terminal &) = delete;
    silent_terminal &operator=(const silent_terminal &) = delete;

    // -1: stopping has to wait.
    int stop_fd() const { return stop_fd_.get(); }

    // Stops the process as usual, with echo; returns when the shell continues it.
    void stop() const
    {
        signalfd_siginfo heard;
        while (read(stop_fd(), &heard, sizeof heard) == sizeof heard) {}
        dprintf(fd_, "\n");
        tcsetattr(fd_, TCSAFLUSH, &before_);
        sigprocmask(SIG_UNBLOCK, &stops_, nullptr);
        raise(SIGTSTP);
        sigprocmask(SIG_BLOCK, &stops_, nullptr);
        silence();
    }

    bool has_new_line = false; // the user's own

private:
    int fd_;
    termios before_ = {};
    const sigset_t stops_ = signal_set({SIGTSTP});
    const signals_blocked blocked_{stops_};
    const descriptor stop_fd_{signalfd(-1, &stops_, SFD_CLOEXEC | SFD_NONBLOCK)};

    void silence() const
    {
        termios silent = before_;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        silent.c_lflag |= ECHONL;
        tcsetattr(fd_, TCSAFLUSH, &silent);
    }
};

enum class input_t { BYTE, END, STOP };

} // namespace

// The next byte of `fd`, the end of the input, or something on `stop_fd`, which may be -1.
static input_t next_input(int fd, int stop_fd, char *c, const std::string &name)
{
    pollfd waiting[] = {{fd, POLLIN, 0}, {stop_fd, POLLIN, 0}, {interrupts_fd(), POLLIN, 0}};
    while (!interrupts_seen()) {
        if (poll(waiting, 3, -1) < 1 || waiting[2].revents != 0)
            continue;
        if (waiting[1].revents != 0)
            return input_t::STOP;
        const ssize_t count = read(fd, c, 1);
        if (count != -1)
            return count == 1 ? input_t::BYTE : input_t::END;
        if (errno != EINTR)
            fail_with_errno(name);
    }
    throw failure(STATUS_CANCELLED, "interrupted");
}

// Reads the line up to its end, "\r\n" or "\n"; returns what ended it, BYTE for a newline or an overlong line.
static input_t read_line(int fd, int stop_fd, std::string &line, const std::string &name)
{
    input_t input = input_t::BYTE;
    while (line.size() <= LONGEST) {
        char c = 0;
        input = next_input(fd, stop_fd, &c, name);
        if (input != input_t::BYTE || c == '\n')
            break;
        if (c == '\0')
            refuse(name + ": a password cannot hold a NUL byte");
        line += c;
    }
    if (line.ends_with('\r'))
        line.pop_back();
    return input;
}

static std::string first_line(const descriptor &source, const std::string &name)
{
    std::string line;
    read_line(source.get(), -1, line, name);
    return line;
}

static std::string from_file(const char *option, const password_source_t &wanted)
{
    const std::string &file = wanted.file;
    const std::string name = std::string(option) + " " + file;
    if (wanted.must_be_private)
        file_check_mode(file, OTHERS, "a regular file of mode 0600 or 0400, for it holds a password");
    const descriptor source(file == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                        : open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!source)
        fail_with_errno(name);
    return first_line(source, name);
}

// Its mode does not count: systemd keeps others out of the folder, and an access list may show as group bits.
static std::string from_credential(const std::string &credential)
{
    const std::string name = "credential " + credential;
    const char *folder = getenv("CREDENTIALS_DIRECTORY");
    if (folder == nullptr)
        throw failure(STATUS_CREDENTIAL, name +
                                             ": CREDENTIALS_DIRECTORY is not set; load it with "
                                             "LoadCredential=" +
                                             credential + ":FILE in the systemd unit");
    const std::string path = std::string(folder) + "/" + credential;
    const descriptor source(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!source)
        throw failure(STATUS_CREDENTIAL, name + ": " + path + ": " + strerror(errno));
    return first_line(source, name);
}

// Removes the password from the environment, which the process list shows to this user and to root.
static std::optional<std::string> from_environment(const char *variable)
{
    char *value = getenv(variable);
    if (value == nullptr)
        return std::nullopt;
    const std::string password = value;
    explicit_bzero(value, password.size());
    unsetenv(variable);
    return password;
}

std::string password_prompt(int fd, const std::string &whom)
{
    interrupts_catch(); // a Ctrl-C must not leave the terminal without echo
    silent_terminal terminal(fd);
    for (;;) {
        std::string line;
        dprintf(fd, "Password for %s: ", whom.c_str());
        switch (read_line(fd, terminal.stop_fd(), line, "terminal")) {
        case input_t::BYTE:
            terminal.has_new_line = true;
            return line;
        case input_t::END:
            refuse("no password for " + whom + ": the input ended");
        case input_t::STOP:
            terminal.stop();
        }
    }
}

std::string password_find(const password_names_t &names, const password_source_t &source,
                          const std::string &whom)
{
    const std::optional<std::string> in_environment = from_environment(names.variable);
    if (!source.credential.empty())
        return from_credential(source.credential);
    if (!source.file.empty())
        return from_file(names.option, source);
    if (in_environment)
        return *in_environment;
    if (isatty(STDIN_FILENO) == 1)
        return password_prompt(STDIN_FILENO, whom);
    refuse("no password for " + whom + ": use " + names.option + " or " + names.variable);
}
