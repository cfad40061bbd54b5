#include "ftp_clientd/daemonise.h"
#include "strutil/guards.h"
#include "strutil/log.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <initializer_list>
#include <sys/stat.h>
#include <unistd.h>

// Logs errno under `id` and ends the process. Closes the console first if it is open.
[[noreturn]] static void give_up(const char *id, file_stream *console = nullptr)
{
    log_errno(id);
    if (console != nullptr)
        console->close();
    exit(1);
}

int change_child_process()
{
    const pid_t child = fork();
    if (child == -1)
        give_up("ftp_clientd(935)");
    if (child != 0)
        exit(0);
    return 0;
}

// Input from /dev/null; output to the console, where the Zixi library prints its messages.
static void redirect_standard_streams()
{
    file_stream console(fopen("/dev/console", "a"));
    if (!console)
        give_up("ftp_clientd(967)");
    for (int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        descriptor(fd).close();
    if (open("/dev/null", O_RDWR) == -1) // takes the lowest number: descriptor 0
        give_up("ftp_clientd(979)", &console);
    if (dup2(fileno(console.get()), STDOUT_FILENO) == -1)
        give_up("ftp_clientd(985)", &console);
    if (dup2(fileno(console.get()), STDERR_FILENO) == -1)
        give_up("ftp_clientd(991)", &console);
}

void daemonise()
{
    change_child_process();
    if (setsid() == -1)
        give_up("ftp_clientd(892)");
    change_child_process();
    if (chdir("/") == -1)
        give_up("ftp_clientd(907)");
    umask(0);
    redirect_standard_streams();
}
