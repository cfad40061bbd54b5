#include "ftpctl/event_hook.h"

#include "ftpctl/failure.h"
#include "ftpctl/interrupts.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

// This program's environment with the event's variables in the place of those of their names.
std::vector<std::string> environment_for(const event_t &event)
{
    const std::vector<std::string> names = event_variable_names();
    std::vector<std::string> all = event.variables;
    for (char **variable = environ; *variable != nullptr; variable++) {
        const std::string text = *variable;
        if (std::ranges::find(names, text.substr(0, text.find('='))) == names.end())
            all.push_back(text);
    }
    return all;
}

std::vector<char *> pointers_to(std::vector<std::string> &texts)
{
    std::vector<char *> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string &text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

// What this program does with signals is not the command's business.
void set_signals(posix_spawnattr_t *attributes, const sigset_t &mask)
{
    sigset_t defaults;
    sigemptyset(&defaults);
    for (const int number : {SIGPIPE, SIGINT, SIGTERM})
        sigaddset(&defaults, number);
    posix_spawnattr_setsigdefault(attributes, &defaults);
    posix_spawnattr_setsigmask(attributes, &mask);
    posix_spawnattr_setpgroup(attributes, 0);
    posix_spawnattr_setflags(attributes,
                             POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
}

// The child's process id. Throws failure when there can be no child.
pid_t spawn(const std::string &command, const event_t &event, const sigset_t &mask)
{
    std::vector<std::string> words = {"/bin/sh", "-c", command};
    std::vector<std::string> variables = environment_for(event);
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_t files;
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_init(&files);
    set_signals(&attributes, mask);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    pid_t child = 0;
    const int error = posix_spawn(&child, "/bin/sh", &files, &attributes, pointers_to(words).data(),
                                  pointers_to(variables).data());
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
    if (error != 0)
        throw failure(STATUS_LOCAL, std::string("--exec: /bin/sh: ") + strerror(error));
    setpgid(child, child); // an emulator goes on before the child has done so; kill() must find the group
    return child;
}

std::string how_ended(int status)
{
    if (WIFSIGNALED(status))
        return "was ended by signal " + std::to_string(WTERMSIG(status)) + " (" +
               strsignal(WTERMSIG(status)) + ")";
    return "ended with status " + std::to_string(WEXITSTATUS(status));
}

} // namespace

event_hook::event_hook(const std::string &command) : command_(command)
{
    if (command_.empty())
        return;
    signal(SIGCHLD, SIG_DFL); // where it is ignored, nobody learns how a child has ended
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGCHLD);
    sigprocmask(SIG_BLOCK, &ends, &mask_before_);
    child_fd_ = signalfd(-1, &ends, SFD_CLOEXEC | SFD_NONBLOCK);
    if (child_fd_ == -1)
        throw failure(STATUS_LOCAL, std::string("signalfd: ") + strerror(errno));
}

event_hook::~event_hook()
{
    if (child_ != 0) { // an error is on its way out
        kill(-child_, SIGTERM);
        waitpid(child_, nullptr, 0);
    }
    if (child_fd_ == -1)
        return;
    close(child_fd_);
    sigprocmask(SIG_SETMASK, &mask_before_, nullptr);
}

void event_hook::tell(const event_t &event, const options_t &options)
{
    event_print(event, options);
    add(event);
}

void event_hook::add(const event_t &event)
{
    if (command_.empty())
        return;
    waiting_.push_back(event);
    step();
}

void event_hook::wait(int fd, int limit_ms)
{
    pollfd waiting[] = {
        {fd, POLLIN, 0}, {child_fd_, POLLIN, 0}, {is_ending_ ? -1 : interrupts_fd(), POLLIN, 0}};
    if (poll(waiting, 3, limit_ms) < 1 || waiting[1].revents == 0)
        return;
    signalfd_siginfo ended; // many ends can be one signal: waitpid() tells
    while (read(child_fd_, &ended, sizeof ended) == sizeof ended) {}
    step();
}

// Takes note of a command that has ended, and starts the next.
void event_hook::step()
{
    int status = 0;
    if (child_ != 0 && waitpid(child_, &status, WNOHANG) == child_)
        ended(status);
    if (child_ == 0 && !waiting_.empty())
        child_ = spawn(command_, waiting_.front(), mask_before_);
}

void event_hook::ended(int status)
{
    child_ = 0;
    if (status != 0 && !is_ending_) {
        has_failed_ = true;
        fprintf(stderr, "ftpctl: --exec: the command %s for: %s\n", how_ended(status).c_str(),
                waiting_.front().line.c_str());
    }
    waiting_.pop_front();
}

void event_hook::give_up()
{
    is_ending_ = true;
    if (child_ != 0) {
        kill(-child_, SIGTERM);
        fprintf(stderr, "ftpctl: --exec: the running command was asked to end\n");
    }
    const size_t left = waiting_.size() - (child_ != 0 ? 1 : 0);
    if (left > 0)
        fprintf(stderr, "ftpctl: --exec: interrupted, not run for %zu more\n", left);
    waiting_.resize(waiting_.size() - left);
}

bool event_hook::finish()
{
    while (busy()) {
        if (interrupts_seen() && !is_ending_)
            give_up();
        else
            wait(-1, -1);
    }
    return !has_failed_;
}
