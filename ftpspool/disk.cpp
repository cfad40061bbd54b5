#include "ftpspool/disk.h"

#include "ftpctl/failure.h"
#include "strutil/guards.h"

#include <cstring>
#include <fcntl.h>

void disk_fail(const std::string &path) { throw failure(STATUS_LOCAL, path + ": " + strerror(errno)); }

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

unfinished_file_t::~unfinished_file_t()
{
    const errno_kept kept;
    if (!path_.empty())
        unlink(path_.c_str());
}
