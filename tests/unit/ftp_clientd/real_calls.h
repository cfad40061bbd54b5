// The C library's functions that fakes replace.
#pragma once

#include <csignal>
#include <cstdio>
#include <ctime>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

extern "C" {
int __real_clock_gettime(clockid_t clock, timespec *time);
int __real_usleep(useconds_t time_us);
int __real_poll(pollfd *fds, nfds_t count, int timeout_ms);
int __real_socket(int domain, int type, int protocol);
int __real_unlink(const char *path);
int __real_bind(int fd, const sockaddr *address, socklen_t length);
int __real_connect(int fd, const sockaddr *address, socklen_t length);
int __real_setsockopt(int fd, int level, int option, const void *value, socklen_t length);
int __real_listen(int fd, int backlog);
int __real_accept(int fd, sockaddr *address, socklen_t *length);
ssize_t __real_recv(int fd, void *buffer, size_t size, int flags);
ssize_t __real_send(int fd, const void *buffer, size_t size, int flags);
int __real_close(int fd);
void *__real_malloc(size_t size);
pid_t __real_fork();
FILE *__real_fopen64(const char *path, const char *mode);
int __real_fclose(FILE *file);
int __real_open64(const char *path, int flags, ...);
int __real_dup2(int from, int to);
[[noreturn]] void __real_exit(int status);
sighandler_t __real_signal(int number, sighandler_t handler);
}
