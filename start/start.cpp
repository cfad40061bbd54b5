// Starts the daemon for a service manager, and exits when the daemon answers:
//   start GROUP PID_FILE DAEMON
// The daemon creates its control socket open to everybody. This program gives it to GROUP with mode 0660 as
// soon as it appears, and first creates the clients' lock file for the same group. It writes the daemon's
// process id to PID_FILE. Exit status: 0 when the daemon answers; 1, with a message, after any failure, such
// as a daemon that has ended or does not answer within 10 s; 2 for wrong arguments.

#include "strutil/clock.h"
#include "strutil/guards.h"
#include "wire/control.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <spawn.h>
#include <sys/inotify.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

constexpr int LIMIT_MS = 10000;
constexpr int LOOK_MS = 10; // how often to see whether the daemon has ended
constexpr mode_t SOCKET_MODE = 0660;
constexpr mode_t PID_FILE_MODE = 0644;

static bool fail(const char *what)
{
    fprintf(stderr, "start: %s: %s\n", what, strerror(errno));
    return false;
}

static bool fail_because(const char *why)
{
    fprintf(stderr, "start: %s\n", why);
    return false;
}

static bool find_group(const char *name, gid_t *id)
{
    errno = 0;
    const group *found = getgrnam(name);
    if (found == nullptr) {
        fprintf(stderr, "start: no group %s%s%s\n", name, errno != 0 ? ": " : "",
                errno != 0 ? strerror(errno) : "");
        return false;
    }
    *id = found->gr_gid;
    return true;
}

// A descriptor that becomes readable when a file is created in the folder of the control socket.
static int watch_folder()
{
    char folder[] = CONTROL_SOCKET_PATH;
    *strrchr(folder, '/') = '\0';
    const int watch = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (watch == -1 || inotify_add_watch(watch, folder, IN_CREATE | IN_MOVED_TO) == -1)
        fail(folder);
    return watch;
}

static bool launch(const char *program)
{
    char *const arguments[] = {const_cast<char *>(program), nullptr};
    pid_t front;
    errno = posix_spawn(&front, program, nullptr, nullptr, arguments, environ);
    return errno == 0 || fail(program);
}

// The daemon forks twice; this process adopts its orphans.
static bool daemon_has_ended()
{
    pid_t ended;
    do
        ended = waitpid(-1, nullptr, WNOHANG);
    while (ended > 0);
    return ended == -1 && errno == ECHILD;
}

static bool socket_stands()
{
    struct stat seen;
    return lstat(CONTROL_SOCKET_PATH, &seen) == 0 && S_ISSOCK(seen.st_mode);
}

// False, with a message, when the daemon has ended or the time limit has passed.
static bool may_wait(int64_t end_ms)
{
    if (daemon_has_ended())
        return fail_because("the daemon has ended; its log says why");
    if (monotonic_ms() >= end_ms)
        return fail_because("the daemon does not answer");
    return true;
}

static bool await_socket(int watch, int64_t end_ms)
{
    while (!socket_stands()) {
        if (!may_wait(end_ms))
            return false;
        pollfd made = {watch, POLLIN, 0};
        poll(&made, 1, LOOK_MS);
        alignas(inotify_event) char events[4096];
        (void)!read(watch, events, sizeof events); // their content does not matter
    }
    return true;
}

// chmod first: until chown the group is root's, so only root can connect.
static bool restrict_socket(gid_t group)
{
    return (chmod(CONTROL_SOCKET_PATH, SOCKET_MODE) == 0 &&
            chown(CONTROL_SOCKET_PATH, static_cast<uid_t>(-1), group) == 0) ||
           fail(CONTROL_SOCKET_PATH);
}

static bool make_turn_file(gid_t group)
{
    const descriptor file(
        open(CONTROL_TURN_PATH, O_RDONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, SOCKET_MODE));
    struct stat made;
    if (!file || fstat(file.get(), &made) == -1)
        return fail(CONTROL_TURN_PATH);
    if (!S_ISREG(made.st_mode))
        return fail_because(CONTROL_TURN_PATH " is no plain file");
    return (fchmod(file.get(), SOCKET_MODE) == 0 && fchown(file.get(), static_cast<uid_t>(-1), group) == 0) ||
           fail(CONTROL_TURN_PATH);
}

// SO_SNDTIMEO limits connect and send, SO_RCVTIMEO recv.
static void limit_wait(const descriptor &connection, int option, int64_t end_ms)
{
    const int64_t left_ms = std::max<int64_t>(end_ms - monotonic_ms(), 1); // 0 would be no limit
    const timeval limit = {static_cast<time_t>(left_ms / 1000),
                           static_cast<suseconds_t>(left_ms % 1000 * 1000)};
    setsockopt(connection.get(), SOL_SOCKET, option, &limit, sizeof limit);
}

// Sends command 0 and waits for the reply. The id of the answering process, 0 if there was no answer.
static pid_t ask(int64_t end_ms)
{
    const descriptor connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    limit_wait(connection, SO_SNDTIMEO, end_ms);
    sockaddr_un address = {AF_UNIX, CONTROL_SOCKET_PATH};
    if (connect(connection.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == -1)
        return 0;
    limit_wait(connection, SO_RCVTIMEO, end_ms);
    ucred daemon;
    socklen_t size = sizeof daemon;
    const message_header_t nothing = {COMMAND_NONE, 0};
    char reply[sizeof(message_header_t) + sizeof(reply_t)]; // its content does not matter
    if (getsockopt(connection.get(), SOL_SOCKET, SO_PEERCRED, &daemon, &size) == -1 ||
        send(connection.get(), &nothing, sizeof nothing, MSG_NOSIGNAL) != sizeof nothing ||
        recv(connection.get(), reply, sizeof reply, MSG_WAITALL) != sizeof reply)
        return 0;
    return daemon.pid;
}

static pid_t await_answer(int64_t end_ms)
{
    for (;;) {
        const pid_t daemon = ask(end_ms);
        if (daemon != 0)
            return daemon;
        if (!may_wait(end_ms))
            return 0;
        poll(nullptr, 0, LOOK_MS);
    }
}

static bool write_pid(const char *path, pid_t pid)
{
    const descriptor file(open(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, PID_FILE_MODE));
    return (file && dprintf(file.get(), "%ld\n", static_cast<long>(pid)) > 0) || fail(path);
}

static bool start(const char *group_name, const char *pid_file, const char *program)
{
    gid_t group;
    if (!find_group(group_name, &group))
        return false;
    // A socket left by an earlier run would be mistaken for the new one.
    if (unlink(CONTROL_SOCKET_PATH) == -1 && errno != ENOENT)
        return fail(CONTROL_SOCKET_PATH);
    (void)make_turn_file(group); // clients work without it
    const descriptor watch(watch_folder());
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const int64_t end_ms = monotonic_ms() + LIMIT_MS;
    if (!launch(program) || !await_socket(watch.get(), end_ms))
        return false;
    if (!restrict_socket(group)) {
        unlink(CONTROL_SOCKET_PATH); // better no socket than one open to everybody
        return false;
    }
    const pid_t daemon = await_answer(end_ms);
    return daemon != 0 && write_pid(pid_file, daemon);
}

int main(int argc, char **argv)
{
    if (argc != 4) {
        fprintf(stderr, "usage: start GROUP PID_FILE DAEMON\n");
        return 2;
    }
    return start(argv[1], argv[2], argv[3]) ? 0 : 1;
}
