#include "tools/event_hook.h"

#include "tools/failure.h"
#include "tools/interrupts.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace
{

constexpr std::chrono::milliseconds POLL{20};

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
void set_signals(posix_spawnattr_t *attributes)
{
    sigset_t defaults;
    sigemptyset(&defaults);
    for (const int number : {SIGPIPE, SIGINT, SIGTERM})
        sigaddset(&defaults, number);
    posix_spawnattr_setsigdefault(attributes, &defaults);
    posix_spawnattr_setpgroup(attributes, 0);
    posix_spawnattr_setflags(attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
}

// The child's process id. Throws failure when there can be no child.
pid_t spawn(const std::string &command, const event_t &event)
{
    std::vector<std::string> words = {"/bin/sh", "-c", command};
    std::vector<std::string> variables = environment_for(event);
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_t files;
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_init(&files);
    set_signals(&attributes);
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

event_hook::~event_hook()
{
    if (child_ == 0)
        return;
    kill(-child_, SIGTERM); // an error is on its way out
    waitpid(child_, nullptr, 0);
}

void event_hook::add(const event_t &event)
{
    if (command_.empty())
        return;
    waiting_.push_back(event);
    step();
}

void event_hook::step()
{
    int status = 0;
    if (child_ != 0 && waitpid(child_, &status, WNOHANG) == child_)
        ended(status);
    if (child_ == 0 && !waiting_.empty())
        start_next();
}

void event_hook::start_next() { child_ = spawn(command_, waiting_.front()); }

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

int event_hook::finish()
{
    while (busy()) {
        if (interrupts_seen() && !is_ending_)
            give_up();
        step();
        if (busy())
            std::this_thread::sleep_for(POLL);
    }
    return has_failed_ ? STATUS_EXEC : STATUS_DONE;
}
