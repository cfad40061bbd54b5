#include "ftpspool/takeover.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

constexpr int NAMES_MOST = 1000;

descriptor takeover_lock(const spool_paths_t &paths)
{
    mkdir(paths.folder.c_str(), 0700);
    descriptor lock(open(paths.lock().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!lock)
        throw failure(STATUS_LOCAL, paths.lock() + ": " + strerror(errno));
    if (flock(lock.get(), LOCK_EX | LOCK_NB) != 0)
        throw failure(STATUS_BUSY, paths.folder + ": another ftpspool runs");
    return lock;
}

// The log goes along: it may hold what the database lacks.
static std::string keep_aside(const std::string &path)
{
    for (int number = 1; number <= NAMES_MOST; number++) {
        const std::string aside = path + ".damaged-" + std::to_string(number);
        if (renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, aside.c_str(), RENAME_NOREPLACE) == 0) {
            for (const char *end : {"-wal", "-shm"})
                rename((path + end).c_str(), (aside + end).c_str());
            return "; it is kept as " + aside + ", and the next start begins with an empty spool";
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
        throw damaged_t(STATUS_LOCAL, std::string(damage.what()) + keep_aside(paths.database()));
    }
}
