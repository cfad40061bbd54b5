// The lower bound for every client: sends a file through a TCP connection by sendfile().
//   copy send PORT FILE    sends FILE to the sink on this machine; ends when it is stored completely
//   copy sink PORT FILE    stores the data of each connection in FILE, as a server does
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

static sockaddr_in here(const char *port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(atoi(port)));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

static int send_file(const char *port, const char *path)
{
    const int file = open(path, O_RDONLY);
    struct stat status;
    const int connection = socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = here(port);
    if (file == -1 || fstat(file, &status) != 0 ||
        connect(connection, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        return 1;
    for (off_t at = 0; at < status.st_size;) {
        if (sendfile(connection, file, &at, static_cast<size_t>(status.st_size - at)) <= 0)
            return 1;
    }
    shutdown(connection, SHUT_WR);
    char byte;
    return read(connection, &byte, 1) == 0 ? 0 : 1;
}

static bool store(int connection, const char *path)
{
    static char buffer[65536];
    ssize_t got = read(connection, buffer, sizeof buffer);
    if (got == 0) // only a test whether this listens
        return true;
    const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    for (; got > 0; got = read(connection, buffer, sizeof buffer)) {
        if (write(file, buffer, static_cast<size_t>(got)) != got)
            return false;
    }
    return got == 0 && close(file) == 0;
}

static int sink(const char *port, const char *path)
{
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = here(port);
    if (bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener, 8) != 0)
        return 1;
    for (;;) {
        const int connection = accept(listener, nullptr, nullptr);
        if (connection == -1 || !store(connection, path))
            return 1;
        close(connection);
    }
}

int main(int argc, char **argv)
{
    if (argc != 4)
        return 2;
    return strcmp(argv[1], "send") == 0 ? send_file(argv[2], argv[3]) : sink(argv[2], argv[3]);
}
