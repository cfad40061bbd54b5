#include "platform/secure_file.h"

#include "platform/secure.h"
#include "platform/write_all.h"
#include "strutil/guards.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

constexpr mode_t NEW_FILE_MODE = 0644;
constexpr mode_t PERMISSIONS = 0777;
constexpr unsigned NAME_ATTEMPTS = 100; // a name is taken only by another writer, or one that was killed

namespace
{

// A new, empty file beside the target. It is removed at the end of the scope, unless it was renamed.
struct temporary_file {
    char path[PATH_MAX] = "";
    descriptor file;
    temporary_file() = default;
    ~temporary_file()
    {
        if (path[0] != '\0')
            unlink(path);
    }
    temporary_file(const temporary_file &) = delete;
    temporary_file &operator=(const temporary_file &) = delete;
};

} // namespace

// The name is short and independent of the target's, which may have 255 bytes and leave no room for a suffix.
static bool temporary_name(const char *target, unsigned attempt, char *name, size_t size)
{
    const char *slash = strrchr(target, '/');
    const int directory_length = slash == nullptr ? 0 : static_cast<int>(slash + 1 - target);
    const int length = snprintf(name, size, "%.*s.secure-%ld-%u", directory_length, target,
                                static_cast<long>(getpid()), attempt);
    return length > 0 && static_cast<size_t>(length) < size;
}

static int create_beside(const char *target, temporary_file *temporary)
{
    char name[PATH_MAX];
    for (unsigned attempt = 0; attempt < NAME_ATTEMPTS; attempt++) {
        if (!temporary_name(target, attempt, name, sizeof name))
            return LIBSECURE_CANNOT_CREATE;
        temporary->file = descriptor(open(name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, NEW_FILE_MODE));
        if (temporary->file) {
            memcpy(temporary->path, name, sizeof name);
            return LIBSECURE_DONE;
        }
        if (errno != EEXIST)
            return errno == ENOSPC || errno == EDQUOT ? LIBSECURE_CANNOT_WRITE : LIBSECURE_CANNOT_CREATE;
    }
    return LIBSECURE_CANNOT_CREATE;
}

// `old` is the existing file at `target`, or NULL.
static int replace_file(const char *target, const struct stat *old, const void *data, size_t length)
{
    temporary_file temporary;
    const int result = create_beside(target, &temporary);
    if (result != LIBSECURE_DONE)
        return result;
    if (old != nullptr) {
        // Only root can change the owner; other users own the new file.
        (void)!fchown(temporary.file.get(), old->st_uid, old->st_gid);
        if (fchmod(temporary.file.get(), old->st_mode & PERMISSIONS) == -1)
            return LIBSECURE_CANNOT_CREATE;
    }
    if (!write_all(temporary.file.get(), data, length) || fsync(temporary.file.get()) == -1 ||
        temporary.file.close() == -1)
        return LIBSECURE_CANNOT_WRITE;
    if (rename(temporary.path, target) == -1)
        return LIBSECURE_CANNOT_CREATE;
    temporary.path[0] = '\0';
    return LIBSECURE_DONE;
}

// A rename would replace the device by a file.
static int write_device(const char *path, const void *data, size_t length)
{
    descriptor device(open(path, O_WRONLY | O_NOCTTY | O_CLOEXEC));
    if (!device)
        return LIBSECURE_CANNOT_CREATE;
    const bool written = write_all(device.get(), data, length);
    return device.close() == 0 && written ? LIBSECURE_DONE : LIBSECURE_CANNOT_WRITE;
}

int secure_file_write(const char *path, const void *data, size_t length)
{
    struct stat old;
    if (stat(path, &old) == -1) {
        const bool nothing_there = errno == ENOENT && lstat(path, &old) == -1;
        return nothing_there ? replace_file(path, nullptr, data, length) : LIBSECURE_CANNOT_CREATE;
    }
    if (S_ISCHR(old.st_mode))
        return write_device(path, data, length);
    char target[PATH_MAX];
    if (!S_ISREG(old.st_mode) || realpath(path, target) == nullptr)
        return LIBSECURE_CANNOT_CREATE;
    return replace_file(target, &old, data, length);
}
