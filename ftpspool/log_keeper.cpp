#include "ftpspool/log_keeper.h"

#include <sys/stat.h>

constexpr int CACHE_KIB = 64;

// SQLite overwrites a restarted log in place. The size limit makes it truncate the file to LIMIT_BYTES then,
// so a longer file means a longer log.
log_keeper_t::log_keeper_t(const database_t &database) : database_(database)
{
    database.run("PRAGMA wal_autocheckpoint = 0; PRAGMA journal_size_limit = " + std::to_string(LIMIT_BYTES));
}

int64_t log_keeper_t::log_bytes() const
{
    struct stat status = {};
    return stat((database_.path() + "-wal").c_str(), &status) == 0 ? status.st_size : 0;
}

void log_keeper_t::step()
{
    if (log_bytes() <= most_bytes_)
        return;
    try {
        write_back();
    } catch (const failure &) {
        // the next change reports it, if it lasts
    }
    const int64_t left_bytes = log_bytes();
    most_bytes_ = left_bytes <= LIMIT_BYTES ? LIMIT_BYTES : left_bytes + LIMIT_BYTES;
}

// Once the whole log is in the database, the next writer restarts it, unless somebody reads from it. `reader`
// keeps commands from restarting it until this connection may write.
void log_keeper_t::write_back() const
{
    const database_t reader(database_.path(), database_t::access_t::READ, CACHE_KIB);
    reader.run("BEGIN; SELECT count(*) FROM sqlite_master");
    database_.write_log_back();
    transaction_t transaction(database_);
    reader.run("COMMIT");
    // Any write restarts the log; this one changes nothing.
    database_.run("PRAGMA user_version = " + std::to_string(database_.number("PRAGMA user_version")));
    transaction.commit();
}
