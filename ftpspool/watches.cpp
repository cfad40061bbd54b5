#include "ftpspool/watches.h"

#include "ftpspool/target_columns.h"

#include <algorithm>

// File names cannot contain a '/', so no glob needs one.
constexpr char BETWEEN_GLOBS = '/';

static std::string joined(const std::vector<std::string> &globs)
{
    std::string text;
    for (const std::string &glob : globs)
        text += (text.empty() ? "" : std::string(1, BETWEEN_GLOBS)) + glob;
    return text;
}

static std::vector<std::string> split(std::string_view text)
{
    std::vector<std::string> globs;
    while (!text.empty()) {
        const size_t end = std::min(text.find(BETWEEN_GLOBS), text.size());
        globs.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return globs;
}

int64_t watches_t::add(const watch_t &watch) const
{
    const entry_t &entry = watch.entry;
    const target_t &target = entry.target;
    statement(
        "INSERT INTO watches (folder, globs, is_deep, name, copies, priority, tries_most, " TARGET_COLUMNS
        ", after, move_to) "
        "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16, ?17, ?18)")
        .with(watch.folder, joined(watch.globs), int64_t{watch.is_deep}, watch.name, int64_t{watch.copies},
              entry.priority, entry.tries_most, target.url, target.user, target.password_file, target.pin,
              target.proxy, target.proxy_password_file, int64_t{target.active}, target.profile,
              target.profiles, static_cast<int64_t>(entry.after), entry.move_to)
        .run();
    return store_->database().last_id();
}

bool watches_t::remove(int64_t id) const
{
    statement("DELETE FROM seen WHERE watch = ?1").with(id).run();
    statement("DELETE FROM watches WHERE id = ?1").with(id).run();
    return store_->database().changed() == 1;
}

static watch_t watch_from(const statement_t &row)
{
    int column = 0;
    const auto number = [&] { return row.number(column++); };
    const auto text = [&] { return std::string(row.text(column++)); };
    watch_t watch;
    watch.id = number();
    watch.folder = text();
    watch.globs = split(text());
    watch.is_deep = number() != 0;
    watch.name = text();
    watch.copies = number() != 0;
    watch.taken = number();
    watch.entry.priority = number();
    watch.entry.tries_most = number();
    watch.entry.target = target_from(row, column);
    watch.entry.after = static_cast<after_t>(number());
    watch.entry.move_to = text();
    return watch;
}

std::vector<watch_t> watches_t::all() const
{
    std::vector<watch_t> watches;
    statement_t query = statement(
        "SELECT id, folder, globs, is_deep, name, copies, taken, priority, tries_most, " TARGET_COLUMNS
        ", after, move_to FROM watches ORDER BY id");
    while (query.next())
        watches.push_back(watch_from(query));
    return watches;
}

std::vector<int64_t> watches_t::ids() const
{
    std::vector<int64_t> ids;
    statement_t query = statement("SELECT id FROM watches ORDER BY id");
    while (query.next())
        ids.push_back(query.number(0));
    return ids;
}

bool watches_t::has_seen(int64_t watch, const std::string &path, const std::string &identity) const
{
    return statement("SELECT 1 FROM seen WHERE watch = ?1 AND path = ?2 AND identity = ?3")
        .with(watch, path, identity)
        .next();
}

std::optional<int64_t> watches_t::take(int64_t watch, const taken_t &file,
                                       const std::vector<std::string> &gone) const
{
    transaction_t transaction = store_->begin_changes();
    statement("UPDATE watches SET taken = taken + 1 WHERE id = ?1").with(watch).run();
    if (store_->database().changed() == 0)
        return std::nullopt;
    statement_t forget = statement("DELETE FROM seen WHERE watch = ?1 AND path = ?2");
    for (const std::string &path : gone)
        forget.with(watch, path).run();
    statement("DELETE FROM entries WHERE id = (SELECT entry FROM seen WHERE watch = ?1 AND path = ?2) AND "
              "copy = '' AND state IN (0, 1, 3)")
        .with(watch, file.path)
        .run();
    const int64_t id = store_->insert(file.entry, file.server);
    statement("INSERT OR REPLACE INTO seen (watch, path, file_system, identity, entry) "
              "VALUES (?1, ?2, ?3, ?4, ?5)")
        .with(watch, file.path, file.file_system, file.identity, id)
        .run();
    transaction.commit();
    return id;
}

std::vector<std::string> watches_t::seen_behind(int64_t watch, const std::string &file_system,
                                                const std::string &path, int64_t most) const
{
    std::vector<std::string> paths;
    statement_t query = statement("SELECT path FROM seen WHERE watch = ?1 AND file_system = ?2 AND path > ?3 "
                                  "ORDER BY path LIMIT ?4");
    query.with(watch, file_system, path, most);
    while (query.next())
        paths.emplace_back(query.text(0));
    return paths;
}
