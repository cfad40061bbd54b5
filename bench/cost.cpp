// Runs a command and writes its cost, including all descendants, as a line of JSON to a descriptor.
//   cost DESCRIPTOR COMMAND [ARGUMENT...]
// A small program, because a child's peak memory includes its parent's until the exec.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

static double seconds(const timeval &time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

int main(int argc, char **argv)
{
    if (argc < 3)
        return 2;
    const int said = atoi(argv[1]);
    prctl(PR_SET_CHILD_SUBREAPER, 1); // a helper that outlives the command counts too
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        close(said);
        execvp(argv[2], argv + 2);
        perror(argv[2]);
        _exit(127);
    }
    int status = 0;
    if (child == -1 || waitpid(child, &status, 0) != child)
        return 1;
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
    while (wait(nullptr) > 0) {}
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    dprintf(said, "{\"wall_s\": %.6f, \"cpu_s\": %.6f, \"peak_mib\": %.3f}\n", wall.count(),
            seconds(usage.ru_utime) + seconds(usage.ru_stime), static_cast<double>(usage.ru_maxrss) / 1024);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
