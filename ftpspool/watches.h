// The watches on the disk: watched folders, and which of their files have been queued. They are in the same
// database as the entries; failures are thrown as in database.h.
#pragma once

#include "ftpspool/store.h"

#include <optional>
#include <string>
#include <vector>

struct watch_t {
    int64_t id = 0;
    std::string folder;             // absolute
    std::vector<std::string> globs; // a file's name must match one of them; none: every name does
    bool is_deep = false;           // sub-folders as well
    std::string name = "{name}";    // the pattern of remote names (remote_name.h)
    bool copies = false;            // each entry gets a copy
    int64_t taken = 0;              // files that became entries so far
    // What its entries have in common: priority, tries_most, after, move_to and the target, whose URL is the
    // remote folder.
    entry_t entry;
};

// A file of a watch that becomes an entry.
struct taken_t {
    std::string path;        // relative to the folder
    std::string file_system; // of the folder at that time
    std::string identity;
    entry_t entry;
    std::string server;
};

class watches_t
{
public:
    explicit watches_t(const store_t &store) : store_(&store) {}

    // Stores a watch, ignoring its id and `taken`. Returns the new id.
    int64_t add(const watch_t &watch) const;

    // Also forgets its files; its entries stay. Call it within store_t::begin_changes(). False if there is no
    // such watch.
    bool remove(int64_t id) const;

    // By id.
    std::vector<watch_t> all() const;
    std::vector<int64_t> ids() const;

    // True when the file with this path and identity has become an entry.
    bool has_seen(int64_t watch, const std::string &path, const std::string &identity) const;

    // In one transaction, adds the entry, remembers its file, counts it, forgets the files `gone`, and
    // deletes an unfinished entry without a copy that the same path made earlier: it would send the new
    // content, too. Returns the entry's id; nothing when the watch has been removed.
    std::optional<int64_t> take(int64_t watch, const taken_t &file,
                                const std::vector<std::string> &gone) const;

    // Up to `most` known paths on that file system that sort after `path`, in order.
    std::vector<std::string> seen_behind(int64_t watch, const std::string &file_system,
                                         const std::string &path, int64_t most) const;

private:
    const store_t *store_;

    statement_t statement(const char *sql) const { return {store_->database(), sql}; }
};
