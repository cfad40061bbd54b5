#include "ftpspool/database.h"

constexpr int BUSY_MS = 10000;
// How long to wait for a reader of an earlier state: nobody can write meanwhile.
constexpr int READERS_MS = 100;
// The service keeps the log short (log_keeper.h), which saves the commands fsyncs. While no service runs, a
// command writes the log back at 4000 pages (16 MiB, about a thousand entries), so that it does not fill the
// disk.
constexpr const char *SETTINGS = "PRAGMA synchronous = FULL; PRAGMA wal_autocheckpoint = 4000;";

static bool is_damage(int code) { return code == SQLITE_CORRUPT || code == SQLITE_NOTADB; }

void database_t::check(int code) const
{
    if (code == SQLITE_OK || code == SQLITE_ROW || code == SQLITE_DONE)
        return;
    const std::string line = path_ + ": " + sqlite3_errmsg(made_.get());
    if (is_damage(code & 0xFF))
        throw damaged_t(STATUS_LOCAL, line);
    throw failure(STATUS_LOCAL, line);
}

database_t::database_t(const std::string &path, access_t access, int cache_kib) : path_(path)
{
    sqlite3 *made = nullptr;
    const int flags = access == access_t::READ ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
    const int code = sqlite3_open_v2(path.c_str(), &made, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    made_.reset(made);
    check(code);
    check(sqlite3_busy_timeout(made, BUSY_MS));
    // The last command to close the file does not write the log back, which saves its fsyncs.
    check(sqlite3_db_config(made, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr));
    run(SETTINGS + ("PRAGMA cache_size = -" + std::to_string(cache_kib)));
}

void database_t::run(const std::string &sql) const
{
    check(sqlite3_exec(made_.get(), sql.c_str(), nullptr, nullptr, nullptr));
}

void database_t::write_log_back() const
{
    sqlite3_busy_timeout(made_.get(), READERS_MS);
    const int code =
        sqlite3_wal_checkpoint_v2(made_.get(), nullptr, SQLITE_CHECKPOINT_FULL, nullptr, nullptr);
    sqlite3_busy_timeout(made_.get(), BUSY_MS);
    if (code != SQLITE_BUSY)
        check(code);
}

statement_t database_t::first(const char *sql) const
{
    statement_t statement(*this, sql);
    statement.next();
    return statement;
}

statement_t::statement_t(const database_t &database, const char *sql) : database_(&database)
{
    sqlite3_stmt *made = nullptr;
    const int code = sqlite3_prepare_v2(database.made_.get(), sql, -1, &made, nullptr);
    made_.reset(made);
    database.check(code);
}

bool statement_t::next()
{
    const int code = sqlite3_step(made_.get());
    database_->check(code);
    return code == SQLITE_ROW;
}

std::string_view statement_t::text(int column) const
{
    const auto *bytes = reinterpret_cast<const char *>(sqlite3_column_text(made_.get(), column));
    const auto size = static_cast<size_t>(sqlite3_column_bytes(made_.get(), column));
    return bytes == nullptr ? std::string_view() : std::string_view(bytes, size);
}

void statement_t::set(int index, int64_t value)
{
    database_->check(sqlite3_bind_int64(made_.get(), index, value));
}

void statement_t::set(int index, std::string_view value)
{
    const char *bytes = value.data() == nullptr ? "" : value.data();
    database_->check(
        sqlite3_bind_text(made_.get(), index, bytes, static_cast<int>(value.size()), SQLITE_TRANSIENT));
}

transaction_t::~transaction_t()
{
    try {
        if (is_open_)
            database_.run("ROLLBACK");
    } catch (const failure &) {
        // SQLite has already rolled back; the failure that ended the scope is reported
    }
}

void transaction_t::commit()
{
    database_.run("COMMIT");
    is_open_ = false;
}
