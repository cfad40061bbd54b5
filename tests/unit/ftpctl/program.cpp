#include "program.h"

#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <grp.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

std::vector<char *> pointers(std::vector<std::string> &texts)
{
    std::vector<char *> all;
    for (std::string &text : texts)
        all.push_back(text.data());
    all.push_back(nullptr);
    return all;
}

static void redirect(int fd, const std::string &path, int flags)
{
    dup2(open(path.c_str(), flags, 0600), fd);
}

program::program(const std::vector<std::string> &arguments, const std::vector<std::string> &environment,
                 uid_t user)
{
    std::vector<std::string> words = {FTPCTL};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variables = environment;
    for (char **variable = environ; *variable != nullptr; variable++) {
        if (strncmp(*variable, "FTPCTL_PASSWORD=", 16) != 0)
            variables.emplace_back(*variable);
    }
    const auto argv = pointers(words);
    const auto envp = pointers(variables);
    dir_.file("out", "");
    pid_ = fork();
    if (pid_ == 0) {
        redirect(STDIN_FILENO, "/dev/null", O_RDONLY);
        redirect(STDOUT_FILENO, dir_ / "out", O_WRONLY | O_APPEND);
        redirect(STDERR_FILENO, dir_ / "err", O_WRONLY | O_CREAT);
        if (user != static_cast<uid_t>(-1) &&
            (setgroups(0, nullptr) != 0 || setgid(user) != 0 || setuid(user) != 0))
            _exit(98);
        execve(FTPCTL, argv.data(), envp.data());
        _exit(OUT_OF_REACH);
    }
}

void program::signal(int number) const { kill(pid_, number); }

static size_t count_of(const std::string &text, const std::string &content)
{
    size_t count = 0;
    for (size_t at = content.find(text); at != std::string::npos; at = content.find(text, at + text.size()))
        count++;
    return count;
}

static bool comes_to_hold(const std::string &path, const std::string &text, size_t times)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < end) {
        if (count_of(text, content_of(path)) >= times)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}

bool program::has_printed(const std::string &text, size_t times) const
{
    return comes_to_hold(dir_ / "out", text, times);
}

bool program::has_said(const std::string &text) const { return comes_to_hold(dir_ / "err", text, 1); }

int status_of(pid_t pid)
{
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

outcome_t program::wait() { return {status_of(pid_), content_of(dir_ / "out"), content_of(dir_ / "err")}; }

outcome_t run(const std::vector<std::string> &arguments, const std::vector<std::string> &environment)
{
    return program(arguments, environment).wait();
}

outcome_t run_as(uid_t user, const std::vector<std::string> &arguments)
{
    return program(arguments, {}, user).wait();
}
