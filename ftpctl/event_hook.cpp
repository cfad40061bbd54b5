#include "ftpctl/event_hook.h"

#include "ftpctl/deadline.h"
#include "ftpctl/interrupts.h"
#include "ftpctl/report.h"
#include "ftpctl/text.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

constexpr const char *SHELL = "/bin/sh";
constexpr std::chrono::seconds TERM_LIMIT(5); // for a command that was asked to end

// In the child: runs the command, with this program's signal handling reset.
[[noreturn]] static void become(const std::string &command, const hook_program_t &program, event_t event,
                                const sigset_t &mask)
{
    setpgid(0, 0);
    for (const int number : {SIGPIPE, SIGINT, SIGTERM})
        signal(number, SIG_DFL);
    for (const std::string &name : program.variables)
        unsetenv(name.c_str());
    for (std::string &variable : event.variables)
        putenv(variable.data());
    dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    dup2(program.output, STDOUT_FILENO);
    sigprocmask(SIG_SETMASK, &mask, nullptr);
    execl(SHELL, SHELL, "-c", command.c_str(), nullptr);
    _exit(127);
}

// The child's process id. Throws failure when no child can be created.
static pid_t spawn(const std::string &command, const hook_program_t &program, const event_t &event,
                   const sigset_t &mask)
{
    sigset_t all;
    sigfillset(&all);
    const signals_blocked blocked(all); // a signal for the child must not run this program's handler
    const pid_t child = access(SHELL, X_OK) == 0 ? fork() : -1;
    if (child == 0)
        become(command, program, event, mask);
    if (child == -1)
        fail_with_errno(std::string("--exec: ") + SHELL);
    setpgid(child, child); // the child may not have done so yet; kill() must find the group
    return child;
}

static std::string how_ended(int status)
{
    if (WIFSIGNALED(status))
        return "was ended by signal " + std::to_string(WTERMSIG(status)) + " (" +
               strsignal(WTERMSIG(status)) + ")";
    return "ended with status " + std::to_string(WEXITSTATUS(status));
}

event_hook::event_hook(const std::string &command, hook_program_t program)
    : command_(command), program_(std::move(program))
{
    if (command_.empty())
        return;
    signal(SIGCHLD, SIG_DFL); // if it is ignored, the status of a child is lost
    const sigset_t ends = signal_set({SIGCHLD});
    blocked_.emplace(ends);
    child_fd_ = descriptor(signalfd(-1, &ends, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!child_fd_)
        fail_with_errno("signalfd");
}

static hook_program_t program_of(const options_t &options)
{
    hook_program_t program;
    if (options.json && !options.quiet)
        program.output = STDERR_FILENO;
    return program;
}

event_hook::event_hook(const options_t &options) : event_hook(options.exec, program_of(options)) {}

event_hook::~event_hook()
{
    if (child_ == 0)
        return;
    kill(-child_, SIGKILL); // destroyed by an exception: no time for its end
    waitpid(child_, nullptr, 0);
}

void event_hook::tell(const event_t &event, const options_t &options)
{
    if (!options.quiet || options.exec.empty())
        output_line(options.json ? event.json : text_now() + " " + event.line);
    add(event);
}

void event_hook::add(const event_t &event)
{
    if (command_.empty())
        return;
    if (waiting_.size() < program_.waiting_most)
        waiting_.push_back(event);
    else
        say(std::to_string(waiting_.size()) + " events wait already, not run for: " + event.line);
    step();
}

void event_hook::wait(int fd, int limit_ms)
{
    pollfd waiting[] = {
        {fd, POLLIN, 0}, {child_fd_.get(), POLLIN, 0}, {is_ending_ ? -1 : interrupts_fd(), POLLIN, 0}};
    if (poll(waiting, 3, limit_ms) > 0 && waiting[1].revents != 0)
        step();
}

void event_hook::step()
{
    signalfd_siginfo child; // one signal may stand for several children: ask waitpid()
    while (read(child_fd_.get(), &child, sizeof child) == sizeof child) {}
    int status = 0;
    if (child_ != 0 && waitpid(child_, &status, WNOHANG) == child_)
        ended(status);
    if (child_ == 0 && !waiting_.empty())
        child_ = spawn(command_, program_, waiting_.front(), blocked_->before());
}

void event_hook::ended(int status)
{
    child_ = 0;
    if (status != 0 && !is_ending_) {
        has_failed_ = true;
        say("the command " + how_ended(status) + " for: " + waiting_.front().line);
    }
    waiting_.pop_front();
}

void event_hook::stop()
{
    if (child_ != 0)
        say("the running command was asked to end");
    const size_t left = waiting_.size() - (child_ != 0 ? 1 : 0);
    if (left > 0)
        say("interrupted, not run for " + std::to_string(left) + " more");
    waiting_.resize(waiting_.size() - left);
    if (child_ != 0)
        end_running();
}

// No other command may be waiting.
void event_hook::end_running()
{
    is_ending_ = true;
    kill(-child_, SIGTERM);
    const deadline_t limit(TERM_LIMIT);
    while (busy() && !limit.passed())
        wait(-1, limit.poll_ms());
    if (busy()) {
        kill(-child_, SIGKILL);
        say("the running command did not end and was killed");
    }
    while (busy())
        wait(-1, -1);
}

bool event_hook::finish()
{
    while (busy()) {
        if (interrupts_seen())
            stop();
        else
            wait(-1, -1);
    }
    return !has_failed_;
}

void event_hook::say(const std::string &line) const
{
    fprintf(stderr, "%s: --exec: %s\n", program_.name.c_str(), line.c_str());
}
