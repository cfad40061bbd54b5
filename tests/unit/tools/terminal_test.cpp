// What only a terminal gets to see.
#include "fake_daemon.h"
#include "program.h"

#include <csignal>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

using testing::HasSubstr;
using testing::Not;

namespace
{

// ftpctl with a terminal of its own as input, output and error.
class terminal
{
public:
    explicit terminal(std::vector<std::string> words)
    {
        words.insert(words.begin(), FTPCTL);
        std::vector<char *> argv;
        for (std::string &word : words)
            argv.push_back(word.data());
        argv.push_back(nullptr);
        winsize size = {24, 80, 0, 0};
        pid_ = forkpty(&fd_, nullptr, nullptr, &size);
        if (pid_ == 0) {
            unsetenv("FTPCTL_PASSWORD");
            setenv("TERM", "xterm", 1);
            execv(FTPCTL, argv.data());
            _exit(99);
        }
    }
    ~terminal() { close(fd_); }
    terminal(const terminal &) = delete;
    terminal &operator=(const terminal &) = delete;

    // Reads until `text` is seen; false after 10 s or at the program's end.
    bool shows(const std::string &text)
    {
        while (seen_.find(text) == std::string::npos) {
            pollfd waiting = {fd_, POLLIN, 0};
            char buffer[512];
            if (poll(&waiting, 1, 10000) != 1)
                return false;
            const ssize_t count = read(fd_, buffer, sizeof buffer);
            if (count <= 0)
                return false;
            seen_.append(buffer, static_cast<size_t>(count));
        }
        return true;
    }

    void type(const std::string &keys) const
    {
        EXPECT_EQ(write(fd_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }

    bool echoes() const
    {
        termios now = {};
        tcgetattr(fd_, &now);
        return (now.c_lflag & ECHO) != 0;
    }

    // Reads the rest; the exit status.
    int wait()
    {
        while (shows(std::string(1, '\0')))
            ;
        int status = 0;
        waitpid(pid_, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    const std::string &seen() const { return seen_; }

private:
    int fd_ = -1;
    pid_t pid_ = -1;
    std::string seen_;
};

job_script upload_of(std::deque<state_reply_t> states)
{
    job_script script;
    script.states = std::move(states);
    return script;
}

} // namespace

TEST(Terminal, IsAskedForThePasswordWithoutEcho)
{
    fake_daemon daemon(upload_of({idle(), ended(2, 0, 1, 1)}));
    terminal screen({"put", "/tmp/f", "ftp://anna@host/f", "--socket", daemon.path()});
    ASSERT_TRUE(screen.shows("Password for anna@host: "));
    EXPECT_FALSE(screen.echoes());
    screen.type("top secret\n");
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_THAT(screen.seen(), Not(HasSubstr("secret")));
    ASSERT_TRUE(daemon.has_got(2, 1));
    const bytes_t body = daemon.messages()[1].body;
    EXPECT_STREQ(reinterpret_cast<const char *>(body.data()) + 1060, "top secret");
}

TEST(Terminal, HasItsEchoBackAfterAnInterruptedQuestion)
{
    fake_daemon daemon(upload_of({idle()}));
    terminal screen({"put", "/tmp/f", "ftp://anna@host/f", "--socket", daemon.path()});
    ASSERT_TRUE(screen.shows("Password for anna@host: "));
    screen.type("\x03");
    EXPECT_EQ(screen.wait(), 1);
    EXPECT_TRUE(screen.echoes());
    EXPECT_THAT(screen.seen(), HasSubstr("ftpctl: interrupted"));
    EXPECT_THAT(daemon.commands(), testing::ElementsAre());
}

TEST(Terminal, ShowsABarThatIsGoneAtTheEnd)
{
    fake_daemon daemon(upload_of({idle(), running(2, 1000, 500), ended(2, 0, 1000, 1000)}));
    terminal screen({"put", "/tmp/f", "ftp://host/f", "--socket", daemon.path()});
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_THAT(screen.seen(),
                HasSubstr("\r[####################....................] 50 %, 500 B of 1.0 kB\033[K"));
    EXPECT_THAT(screen.seen(), HasSubstr("\r\033[Kftp://host/f: 1000 of 1000 bytes in 0.5 s\r\n"));
}

TEST(Terminal, CtrlCCancelsTheJobAndSaysSo)
{
    job_script script = upload_of({idle(), running(2, 1000, 500)});
    script.cancelled = ended(2, 1, 1000, 500);
    fake_daemon daemon(script);
    terminal screen({"put", "/tmp/f", "ftp://host/f", "--socket", daemon.path()});
    ASSERT_TRUE(screen.shows("50 %"));
    screen.type("\x03");
    EXPECT_EQ(screen.wait(), 21);
    EXPECT_THAT(screen.seen(), HasSubstr("\r\033[Kinterrupted, cancelling the job\r\n"));
    EXPECT_TRUE(daemon.has_got(4, 1));
}
