#include "process.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" {
#include "libftpclient/turn.h"
}

static constexpr uid_t NOBODY = 65534;

static void give_rights_up()
{
    if (geteuid() == 0 && (setegid(NOBODY) != 0 || seteuid(NOBODY) != 0))
        abort();
}

static int wait_for(pid_t pid)
{
    int status = 0;
    while (waitpid(pid, &status, 0) == -1 && errno == EINTR) {}
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int in_process(const std::function<int()> &body)
{
    const pid_t pid = fork();
    if (pid == 0)
        _exit(body());
    return wait_for(pid);
}

int without_rights(const std::function<int()> &body)
{
    return in_process([&] {
        give_rights_up();
        return body();
    });
}

static int bear_child()
{
    const pid_t parent = getpid();
    if (fork() != 0)
        return 0;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    while (getppid() == parent)
        pause();
    _exit(0);
}

static int do_step(ftpc_turn_t *turn, const char *path, char what)
{
    switch (what) {
    case 'o':
        return ftpc_turn_open(turn, path);
    case 't':
        return ftpc_turn_try(turn);
    case 'g':
        ftpc_turn_give_back(turn);
        return 0;
    case 'c':
        return bear_child();
    default:
        return turn->fd != -1;
    }
}

static void take_steps(int socket, const char *path)
{
    ftpc_turn_t turn = {};
    turn.fd = -1;
    char what = 0;
    while (read(socket, &what, 1) == 1) {
        const int result = do_step(&turn, path, what);
        if (write(socket, &result, sizeof result) != sizeof result)
            break;
    }
    _exit(0);
}

turn_taker::turn_taker(const std::string &path, bool with_rights)
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        abort();
    pid_ = fork();
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(ends[0]);
        if (!with_rights)
            give_rights_up();
        take_steps(ends[1], path.c_str());
    }
    close(ends[1]);
    socket_ = ends[0];
}

turn_taker::~turn_taker()
{
    is_killed();
    close(socket_);
}

void turn_taker::is_killed()
{
    if (pid_ == -1)
        return;
    kill(pid_, SIGKILL);
    wait_for(pid_);
    pid_ = -1;
}

int turn_taker::step(char what) const
{
    int result = -1;
    if (write(socket_, &what, 1) != 1 || read(socket_, &result, sizeof result) != sizeof result)
        return -1;
    return result;
}

int turn_taker::open() const { return step('o'); }
bool turn_taker::tries() const { return step('t') == 1; }
void turn_taker::gives_back() const { step('g'); }
void turn_taker::bears_child() const { step('c'); }
bool turn_taker::lives_on_file() const { return step('f') == 1; }
