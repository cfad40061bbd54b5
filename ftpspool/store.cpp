#include "ftpspool/store.h"

#include "ftpspool/schema.h"
#include "ftpspool/target_columns.h"

#include <cerrno>
#include <filesystem>
#include <unistd.h>

constexpr int CACHE_KIB = 256;

// What entry_from() reads, in its order. Of a copy only the name is stored: the spool may be moved, and reached
// by several paths.
#define COLUMNS                                                                                                                    \
    "id, state, priority, added_s, not_before_s, expires_s, tries_most, tries, local, copy, original, size_bytes, " TARGET_COLUMNS \
    ", after, move_to, urged, resumable, identity, place, ended_s, error, message"

static entry_t entry_from(const statement_t &row, const spool_paths_t &paths)
{
    int column = 0;
    const auto number = [&] { return row.number(column++); };
    const auto text = [&] { return std::string(row.text(column++)); };
    entry_t entry;
    entry.id = number();
    entry.state = static_cast<state_t>(number());
    entry.priority = number();
    entry.added_s = number();
    entry.not_before_s = number();
    entry.expires_s = number();
    entry.tries_most = number();
    entry.tries = number();
    entry.local = text();
    const std::string copy = text();
    entry.copy = copy.empty() ? "" : paths.file(copy);
    entry.original = text();
    entry.size_bytes = number();
    entry.target = target_from(row, column);
    entry.after = static_cast<after_t>(number());
    entry.move_to = text();
    entry.urged = number() != 0;
    entry.resumable = number() != 0;
    entry.identity = text();
    entry.place = text();
    entry.ended_s = number();
    entry.error = text();
    entry.message = text();
    return entry;
}

store_t::store_t(const spool_paths_t &paths, database_t::access_t access)
    : paths_(paths), database_(paths.database(), access, CACHE_KIB)
{
    schema_check(database_);
}

store_t store_t::open(const spool_paths_t &paths)
{
    schema_make(paths);
    return store_t(paths, database_t::access_t::WRITE);
}

std::optional<store_t> store_t::open_to_read(const spool_paths_t &paths)
{
    if (access(paths.database().c_str(), F_OK) != 0 && errno == ENOENT)
        return std::nullopt;
    return store_t(paths, database_t::access_t::READ);
}

void store_t::inspect() const
{
    const std::string found = database_.text("PRAGMA quick_check(1)");
    if (found != "ok")
        throw damaged_t(STATUS_LOCAL, paths_.database() + ": " + found);
}

int64_t store_t::add(const entry_t &entry, const std::string &server)
{
    transaction_t transaction(database_);
    const int64_t id = insert(entry, server);
    transaction.commit();
    return id;
}

int64_t store_t::insert(const entry_t &entry, const std::string &server) const
{
    statement_t(database_, "INSERT OR IGNORE INTO servers (name) VALUES (?1)").with(server).run();
    statement_t insert(
        database_,
        "INSERT INTO entries (server, priority, added_s, not_before_s, expires_s, tries_most, local, "
        "copy, original, size_bytes, " TARGET_COLUMNS
        ", after, move_to) VALUES ((SELECT id FROM servers WHERE name = ?1), ?2, ?3, ?4, ?5, "
        "?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16, ?17, ?18, ?19, ?20, ?21)");
    const target_t &target = entry.target;
    const std::string copy = std::filesystem::path(entry.copy).filename().string();
    insert
        .with(server, entry.priority, entry.added_s, entry.not_before_s, entry.expires_s, entry.tries_most,
              entry.local, copy, entry.original, entry.size_bytes, target.url, target.user,
              target.password_file, target.pin, target.proxy, target.proxy_password_file,
              int64_t{target.active}, target.profile, target.profiles, static_cast<int64_t>(entry.after),
              entry.move_to)
        .run();
    return database_.last_id();
}

std::optional<entry_t> store_t::find(int64_t id) const
{
    statement_t query(database_, "SELECT " COLUMNS " FROM entries WHERE id = ?1");
    if (!query.with(id).next())
        return std::nullopt;
    return entry_from(query, paths_);
}

void store_t::each(std::optional<state_t> state, const std::function<void(const entry_t &)> &take) const
{
    statement_t query(database_, "SELECT " COLUMNS " FROM entries WHERE ?1 = -1 OR state = ?1 ORDER BY id");
    query.with(state ? static_cast<int64_t>(*state) : int64_t{-1});
    while (query.next())
        take(entry_from(query, paths_));
}

figures_t store_t::figures() const
{
    figures_t figures;
    statement_t query(database_, "SELECT state, count(*), min(max(added_s, not_before_s)), max(ended_s) "
                                 "FROM entries GROUP BY state");
    while (query.next()) {
        const auto state = static_cast<state_t>(query.number(0));
        figures.counts.at(static_cast<size_t>(state)) = query.number(1);
        const bool is_to_be_sent =
            state == state_t::QUEUED || state == state_t::WAITING || state == state_t::SENDING;
        if (is_to_be_sent && (figures.oldest_s == 0 || query.number(2) < figures.oldest_s))
            figures.oldest_s = query.number(2);
        if (state == state_t::DONE)
            figures.last_done_s = query.number(3);
    }
    return figures;
}

std::string store_t::version() const
{
    return std::to_string(database_.number("PRAGMA data_version")) + "." +
           std::to_string(database_.changed_in_all());
}

// ---- States: 0 queued, 1 waiting, 2 held, 3 sending, 4 arrived, 5 done, 6 failed ----

bool store_t::hold(int64_t id)
{
    return change("UPDATE entries SET state = 2 WHERE id = ?1 AND state IN (0, 1, 3)", id);
}

bool store_t::release(int64_t id)
{
    return change("UPDATE entries SET state = 0 WHERE id = ?1 AND state = 2", id);
}

bool store_t::retry(int64_t id, int64_t size_bytes)
{
    return change(
        "UPDATE entries SET state = 0, tries = 0, setbacks = 0, urged = 1, expires_s = 0, ended_s = 0, "
        "error = '', message = '', size_bytes = ?2 WHERE id = ?1 AND state IN (0, 1, 6)",
        id, size_bytes);
}

bool store_t::remove(int64_t id) { return change("DELETE FROM entries WHERE id = ?1", id); }

int64_t store_t::clear_done()
{
    database_.run("DELETE FROM entries WHERE state = 5");
    return database_.changed();
}

bool store_t::owns_copy(const std::string &name) const
{
    return statement_t(database_, "SELECT 1 FROM entries WHERE copy = ?1 AND copy <> ''").with(name).next();
}
