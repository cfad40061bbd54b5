#include "ftpspool/schema.h"

#include "ftpctl/failure.h"
#include "ftpspool/disk.h"
#include "ftpspool/entry.h"
#include "ftpspool/store.h"
#include "ftpspool/target_columns.h"
#include "strutil/guards.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>

constexpr int64_t APPLICATION = 1718906995; // "ftps" in ASCII, in the file's header
constexpr int64_t VERSION = 1;
constexpr int CACHE_KIB = 64;

// SQL here and in store.cpp, store_life.cpp and watches.cpp has the states as numbers, which must not
// change: devices have them on disk.
static_assert(state_t(0) == state_t::QUEUED && state_t(1) == state_t::WAITING &&
              state_t(2) == state_t::HELD && state_t(3) == state_t::SENDING &&
              state_t(4) == state_t::ARRIVED && state_t(5) == state_t::DONE && state_t(6) == state_t::FAILED);

// Each index is partial: it holds only the rows of its query.
constexpr const char *TABLES = R"(
CREATE TABLE servers (
    id   INTEGER PRIMARY KEY,
    name TEXT NOT NULL UNIQUE
);
CREATE TABLE entries (
    id            INTEGER PRIMARY KEY AUTOINCREMENT,
    state         INTEGER NOT NULL DEFAULT 0,
    server        INTEGER NOT NULL REFERENCES servers (id),
    priority      INTEGER NOT NULL,
    urged         INTEGER NOT NULL DEFAULT 0,
    setbacks      INTEGER NOT NULL DEFAULT 0,
    added_s       INTEGER NOT NULL,
    not_before_s  INTEGER NOT NULL,
    expires_s     INTEGER NOT NULL,
    tries_most    INTEGER NOT NULL,
    tries         INTEGER NOT NULL DEFAULT 0,
    local         TEXT NOT NULL,
    copy          TEXT NOT NULL,
    original      TEXT NOT NULL,
    size_bytes    INTEGER NOT NULL,
    )" TARGET_DEFINITIONS R"(,
    after         INTEGER NOT NULL,
    move_to       TEXT NOT NULL,
    resumable     INTEGER NOT NULL DEFAULT 0,
    identity      TEXT NOT NULL DEFAULT '',
    place         TEXT NOT NULL DEFAULT '',
    ended_s       INTEGER NOT NULL DEFAULT 0,
    error         TEXT NOT NULL DEFAULT '',
    message       TEXT NOT NULL DEFAULT ''
);
CREATE TABLE watches (
    id            INTEGER PRIMARY KEY AUTOINCREMENT,
    folder        TEXT NOT NULL,
    globs         TEXT NOT NULL,
    is_deep       INTEGER NOT NULL,
    name          TEXT NOT NULL,
    copies        INTEGER NOT NULL,
    taken         INTEGER NOT NULL DEFAULT 0,
    priority      INTEGER NOT NULL,
    tries_most    INTEGER NOT NULL,
    )" TARGET_DEFINITIONS R"(,
    after         INTEGER NOT NULL,
    move_to       TEXT NOT NULL
);
CREATE TABLE seen (
    watch         INTEGER NOT NULL REFERENCES watches (id),
    path          TEXT NOT NULL,
    file_system   TEXT NOT NULL,
    identity      TEXT NOT NULL,
    entry         INTEGER NOT NULL,
    PRIMARY KEY (watch, path)
) WITHOUT ROWID;
CREATE INDEX lines ON entries (server, urged DESC, setbacks, priority DESC, max(tries, 2), id)
    WHERE state IN (0, 1);
CREATE INDEX later ON entries (not_before_s) WHERE not_before_s > 0;
CREATE INDEX expiring ON entries (expires_s) WHERE expires_s > 0;
CREATE INDEX arriving ON entries (id) WHERE state = 4;
CREATE INDEX copies ON entries (copy) WHERE copy <> '';
CREATE INDEX begun ON entries (place) WHERE resumable = 1;
)";

static bool exists(const std::string &path)
{
    struct stat status = {};
    if (lstat(path.c_str(), &status) == 0)
        return true;
    if (errno != ENOENT)
        fail_with_errno(path);
    return false;
}

static void make_database(const std::string &path)
{
    std::string making = path + ".XXXXXX";
    if (!descriptor(mkostemp(making.data(), O_CLOEXEC)))
        fail_with_errno(making);
    const unfinished_file_t owner(making);
    {
        const database_t database(making, database_t::access_t::WRITE, CACHE_KIB);
        transaction_t transaction(database);
        database.run(TABLES);
        database.run("PRAGMA application_id = " + std::to_string(APPLICATION));
        database.run("PRAGMA user_version = " + std::to_string(VERSION));
        transaction.commit();
        // Here, before others know the file: SQLite refuses this at once while somebody else uses it.
        database.run("PRAGMA journal_mode = WAL");
    }
    if (link(making.c_str(), path.c_str()) != 0)
        fail_with_errno(path);
}

// Otherwise the next start of the service would remove them, since the new database does not know them.
static void keep_left_copies(const std::string &files)
{
    std::error_code error;
    if (!exists(files) || std::filesystem::is_empty(files, error))
        return;
    const std::string kept =
        disk_move_to_free_name(files, [&](int number) { return files + ".left-" + std::to_string(number); });
    if (kept.empty())
        fail_with_errno(files);
    fprintf(stderr, "ftpspool: copies without a database: they are kept as %s\n", kept.c_str());
}

// Under a lock: a second process must not set aside the log and the copies of the database that the first
// one has made.
void schema_make(const spool_paths_t &paths)
{
    const std::string path = paths.database();
    if (exists(path))
        return;
    if (mkdir(paths.folder.c_str(), 0700) != 0 && errno != EEXIST)
        fail_with_errno(paths.folder);
    const descriptor folder(open(paths.folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder || flock(folder.get(), LOCK_EX) != 0)
        fail_with_errno(paths.folder);
    if (exists(path))
        return;
    // SQLite would replay the log that an earlier database left into the new one.
    rename((path + "-wal").c_str(), (path + ".left-wal").c_str());
    keep_left_copies(paths.files());
    make_database(path);
    if (fsync(folder.get()) != 0)
        fail_with_errno(paths.folder);
}

void schema_check(const database_t &database)
{
    if (database.number("PRAGMA application_id") != APPLICATION)
        throw damaged_t(STATUS_LOCAL, database.path() + ": is not the database of a spool");
    const int64_t version = database.number("PRAGMA user_version");
    if (version != VERSION)
        throw failure(STATUS_LOCAL, database.path() + ": was made by another version of ftpspool (" +
                                        std::to_string(version) + ")");
}
