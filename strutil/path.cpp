#include "strutil/strutil.h"

#include <cstring>

const char *basename_of(const char *path)
{
    if (path == nullptr)
        return nullptr;
    const char *slash = strrchr(path, '/');
    return slash == nullptr ? path : slash + 1;
}
