#include "ftpspool/disk.h"

#include "strutil/guards.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>

bool disk_sync_folder(const std::string &folder)
{
    const descriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return opened && fsync(opened.get()) == 0;
}

bool disk_sync_content(const std::string &path)
{
    const descriptor opened(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    return opened && fdatasync(opened.get()) == 0;
}

int disk_move(const std::string &from, const std::string &to)
{
    const int moved = renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE);
    if (moved == 0 || errno != EINVAL)
        return moved;
    // NFS has no such rename, but hard links.
    return link(from.c_str(), to.c_str()) == 0 ? unlink(from.c_str()) : -1;
}

std::string disk_move_to_free_name(const std::string &from, const std::function<std::string(int)> &name_of)
{
    for (int number = 1; number <= DISK_NAMES_MOST; number++) {
        std::string name = name_of(number);
        if (disk_move(from, name) == 0)
            return name;
        if (errno != EEXIST)
            break;
    }
    return "";
}

unfinished_file_t::~unfinished_file_t()
{
    const errno_kept kept;
    if (!path_.empty())
        unlink(path_.c_str());
}
