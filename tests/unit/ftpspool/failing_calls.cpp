#include "failing_calls.h"

#include <cerrno>
#include <dirent.h>
#include <string>
#include <sys/types.h>

static std::string name_;
static int error_;

static bool fails(const char *name)
{
    if (name_ != name)
        return false;
    errno = error_;
    return true;
}

failing_call::failing_call(const char *name, int error)
{
    name_ = name;
    error_ = error;
}

failing_call::~failing_call() { name_.clear(); }

extern "C" {
pid_t __real_fork(void);
int __real_fdatasync(int fd);
int __real_fsync(int fd);
int __real_link(const char *from, const char *to);
dirent64 *__real_readdir64(DIR *folder);
int __real_rename(const char *from, const char *to);
int __real_renameat2(int from_folder, const char *from, int to_folder, const char *to, unsigned flags);
pid_t __wrap_fork(void);
int __wrap_fdatasync(int fd);
int __wrap_fsync(int fd);
int __wrap_link(const char *from, const char *to);
dirent64 *__wrap_readdir64(DIR *folder);
int __wrap_rename(const char *from, const char *to);
int __wrap_renameat2(int from_folder, const char *from, int to_folder, const char *to, unsigned flags);

pid_t __wrap_fork(void) { return fails("fork") ? -1 : __real_fork(); }

int __wrap_fdatasync(int fd) { return fails("fdatasync") ? -1 : __real_fdatasync(fd); }

int __wrap_fsync(int fd) { return fails("fsync") ? -1 : __real_fsync(fd); }

int __wrap_link(const char *from, const char *to) { return fails("link") ? -1 : __real_link(from, to); }

dirent64 *__wrap_readdir64(DIR *folder) { return fails("readdir64") ? nullptr : __real_readdir64(folder); }

int __wrap_rename(const char *from, const char *to) { return fails("rename") ? -1 : __real_rename(from, to); }

int __wrap_renameat2(int from_folder, const char *from, int to_folder, const char *to, unsigned flags)
{
    return fails("renameat2") ? -1 : __real_renameat2(from_folder, from, to_folder, to, flags);
}
}
