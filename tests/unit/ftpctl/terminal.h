// Runs a program, by default ftpctl, with a terminal as its standard input, output and error.
#pragma once

#include "program.h"
#include "support/not_copied.h"

#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <string>
#include <termios.h>
#include <unistd.h>
#include <vector>

class terminal : not_copied
{
public:
    // Starts `program <words>`.
    explicit terminal(std::vector<std::string> words, const std::string &program = FTPCTL)
    {
        words.insert(words.begin(), program);
        const std::vector<char *> argv = pointers(words);
        winsize size = {24, 80, 0, 0};
        pid_ = forkpty(&fd_, nullptr, nullptr, &size);
        if (pid_ == 0) {
            unsetenv("FTPCTL_PASSWORD");
            setenv("TERM", "xterm", 1);
            execvp(argv[0], argv.data());
            _exit(99);
        }
    }
    ~terminal() { close(fd_); }

    // Reads until `text` follows what was waited for before; false after 10 s or at the program's end.
    bool shows(const std::string &text)
    {
        size_t at = 0;
        while ((at = seen_.find(text, shown_)) == std::string::npos) {
            pollfd waiting = {fd_, POLLIN, 0};
            char buffer[512];
            if (poll(&waiting, 1, 10000) != 1)
                return false;
            const ssize_t count = read(fd_, buffer, sizeof buffer);
            if (count <= 0)
                return false;
            seen_.append(buffer, static_cast<size_t>(count));
        }
        shown_ = at + text.size();
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

    // Signals the program, not its children.
    void signal(int number) const { kill(pid_, number); }

    // Reads the rest; returns the exit status.
    int wait()
    {
        while (shows(std::string(1, '\0')))
            ;
        return status_of(pid_);
    }

    const std::string &seen() const { return seen_; }

private:
    int fd_ = -1;
    pid_t pid_ = -1;
    std::string seen_;
    size_t shown_ = 0; // end of the last text waited for
};
