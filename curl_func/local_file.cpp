#include "curl_func/local_file.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

constexpr mode_t NEW_FILE_MODE = 0666; // as fopen

// None with errno when there is no descriptor, or no memory.
static file_stream stream_of(descriptor fd, const char *mode)
{
    file_stream file(fd ? fdopen(fd.get(), mode) : nullptr);
    if (file)
        fd.release();
    return file;
}

// 0, or the error number for anything except a regular file.
static int irregularity(const struct stat &found)
{
    if (S_ISREG(found.st_mode))
        return 0;
    return S_ISDIR(found.st_mode) ? EISDIR : EINVAL;
}

static bool is_same(const struct stat &one, const struct stat &other)
{
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

file_stream local_file_create(const char *path)
{
    constexpr int AS_FOPEN_WB = O_WRONLY | O_CREAT | O_TRUNC;
    return stream_of(descriptor(open(path, AS_FOPEN_WB | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, NEW_FILE_MODE)),
                     "wb");
}

file_stream local_file_open(const char *path)
{
    // Checked before it is opened: opening could start a watchdog, rewind a tape or wake a pipe's writer.
    struct stat found;
    if (stat(path, &found) == 0 && irregularity(found) != 0) {
        errno = irregularity(found);
        return file_stream();
    }
    descriptor fd(open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!fd)
        return file_stream();
    const int error = fstat(fd.get(), &found) == 0 ? irregularity(found) : errno;
    if (error == 0)
        return stream_of(std::move(fd), "rb");
    errno = error;
    return file_stream();
}

bool local_file_is_named(FILE *file, const char *path)
{
    struct stat opened;
    struct stat named;
    return fstat(fileno(file), &opened) == 0 && stat(path, &named) == 0 && is_same(opened, named);
}

bool local_file_ends_here(FILE *file)
{
    struct stat opened;
    return fstat(fileno(file), &opened) == 0 && (!S_ISREG(opened.st_mode) || opened.st_size == ftello(file));
}

bool local_file_is_removable(FILE *file, const char *path)
{
    struct stat opened;
    struct stat named;
    if (fstat(fileno(file), &opened) != 0 || !S_ISREG(opened.st_mode))
        return false;
    return stat(path, &named) != 0 || is_same(opened, named);
}

bool local_file_has_byte(FILE *file, int64_t offset)
{
    char byte;
    return pread(fileno(file), &byte, sizeof byte, offset) == sizeof byte;
}

int64_t local_file_size(FILE *file)
{
    struct stat opened;
    return fstat(fileno(file), &opened) == 0 ? opened.st_size : -1;
}
