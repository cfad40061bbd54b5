#include "ftpspool/takeover.h"

#include "ftpctl/failure.h"
#include "ftpspool/disk.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

descriptor takeover_lock(const spool_paths_t &paths)
{
    mkdir(paths.folder.c_str(), 0700);
    descriptor lock(open(paths.lock().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!lock)
        fail_with_errno(paths.lock());
    if (flock(lock.get(), LOCK_EX | LOCK_NB) != 0)
        throw failure(STATUS_BUSY, paths.folder + ": another ftpspool runs");
    return lock;
}

// The copies are moved first: the next start removes copies that its database does not know, and the
// producers may have deleted the originals. The write-ahead log is moved too: it may hold changes that are
// not yet in the database.
static std::string keep_aside(const spool_paths_t &paths)
{
    for (int number = 1; number <= DISK_NAMES_MOST; number++) {
        const std::string end = ".damaged-" + std::to_string(number);
        const std::string database = paths.database() + end;
        if (access(database.c_str(), F_OK) == 0)
            continue;
        const bool has_copies = disk_move(paths.files(), paths.files() + end) == 0;
        if ((has_copies || errno == ENOENT) && disk_move(paths.database(), database) == 0) {
            for (const char *log : {"-wal", "-shm"})
                rename((paths.database() + log).c_str(), (database + log).c_str());
            return "; it is kept as " + database +
                   (has_copies ? ", the copies as " + paths.files() + end : "") +
                   ", and the next start begins with an empty spool";
        }
        if (errno != EEXIST)
            break;
    }
    return "; it could not be kept aside: " + std::string(strerror(errno));
}

store_t takeover_open(const spool_paths_t &paths)
{
    try {
        store_t store = store_t::open(paths);
        store.inspect();
        return store;
    } catch (const damaged_t &damage) {
        throw damaged_t(STATUS_LOCAL, std::string(damage.what()) + keep_aside(paths));
    }
}
