#include "strutil/strutil.h"

#include <cstdlib>
#include <cstring>

const char *basename_of(const char *path)
{
    if (path == nullptr)
        return nullptr;
    const char *slash = strrchr(path, '/');
    return slash == nullptr ? path : slash + 1;
}

char *malloc_directory_of(const char *path, int ch)
{
    if (path == nullptr)
        return nullptr;
    const char *slash = strrchr(path, '/');
    const size_t length = slash == nullptr ? strlen(path) : static_cast<size_t>(slash - path);
    auto *directory = static_cast<char *>(malloc(length + (ch < 0 ? 1 : 2)));
    if (directory == nullptr)
        return nullptr;
    auto *end = static_cast<char *>(mempcpy(directory, path, length));
    if (ch >= 0)
        *end++ = static_cast<char>(ch);
    *end = '\0';
    return directory;
}
