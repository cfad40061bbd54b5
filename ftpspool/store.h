// The queue on the disk: a folder with the database, the copies of files, and the lock of the service.
//
// A change is on the disk when its function returns. Failures are thrown as in database.h. Several processes
// may use one spool at a time.
#pragma once

#include "ftpspool/choice.h"
#include "ftpspool/database.h"
#include "ftpspool/entry.h"

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <vector>

constexpr const char *SPOOL_FOLDER = "/var/lib/ftpspool";

// The paths of a spool.
struct spool_paths_t {
    std::string folder;
    std::string database() const { return folder + "/spool.db"; }
    std::string files() const { return folder + "/files"; }
    std::string file(const std::string &name) const { return files() + "/" + name; }
    std::string lock() const { return folder + "/lock"; }
};

// How a try has failed.
struct setback_t {
    std::string error;
    std::string message;
    bool resumable = false;   // the remote file holds the beginning of the local one
    bool counts = true;       // as one of the entry's tries
    bool goes_behind = false; // the other entries of its server go before it
};

// The queue in figures.
struct figures_t {
    std::array<int64_t, STATE_COUNT> counts = {}; // entries by state_t
    int64_t oldest_s = 0;    // when the oldest unsent entry became ready to send; 0: none
    int64_t last_done_s = 0; // when the latest of the entries that are done arrived; 0: none
};

class store_t
{
public:
    // Opens the spool for changes. Creates it if it does not exist: folders of mode 0700, a database of mode
    // 0600. Throws damaged_t for a database that cannot be read or is not a spool's, and failure for one of
    // another version.
    static store_t open(const spool_paths_t &paths);

    // Opens it read-only; nothing if there is none yet.
    static std::optional<store_t> open_to_read(const spool_paths_t &paths);

    // For the service: reads the whole database; throws damaged_t.
    void inspect() const;

    const spool_paths_t &paths() const { return paths_; }

    // ---- For commands ----

    // Changes during the lifetime of the result are committed together.
    transaction_t begin_changes() const { return transaction_t(database_); }

    // Stores the entry and returns its id; entry.id is ignored. All entries of one server have the same
    // `server`.
    int64_t add(const entry_t &entry, const std::string &server);

    // The same as a part of begin_changes().
    int64_t insert(const entry_t &entry, const std::string &server) const;

    // Nothing when there is no such entry.
    std::optional<entry_t> find(int64_t id) const;

    // Calls `take` for each entry in that state, or for all, in the order of their ids.
    void each(std::optional<state_t> state, const std::function<void(const entry_t &)> &take) const;

    figures_t figures() const;

    // A text that differs after each change of the database, whichever process made it.
    std::string version() const;

    // Each returns false, and changes nothing, unless the entry is in one of the states that are named.
    bool hold(int64_t id);    // queued, waiting or sending
    bool release(int64_t id); // held
    // queued, waiting or failed: forgets past tries and the expiry; `size_bytes` is the file's current size.
    bool retry(int64_t id, int64_t size_bytes);
    bool remove(int64_t id); // any

    // Removes the entries that are done; returns their number.
    int64_t clear_done();

    // ---- For the service: an entry's life ----
    // If a command has removed the entry, nothing changes.

    // After a crash: entries that were being sent are waiting again.
    void recover();

    // Queued and waiting entries that have expired -> failed. Returns their ids.
    std::vector<int64_t> expire(int64_t now_s);

    // The next entry of each server.
    std::vector<ready_t> ready(int64_t now_s) const;

    // The next time at which an entry may be sent or expires; 0: none.
    int64_t next_time(int64_t now_s) const;

    // The first entry in state "arrived"; 0: none.
    int64_t first_arrived() const;

    // queued or waiting -> sending; false in any other state. Entries with the same `place`, this one
    // included, can no longer be resumed, because this upload may overwrite what they sent there; moved()
    // makes this one resumable again.
    bool begin(int64_t id, const std::string &identity, const std::string &place = "");

    // An upload of the whole file has sent its first bytes.
    void moved(int64_t id);

    // The try has failed: sending -> waiting; a held entry stays held.
    void setback(int64_t id, const setback_t &why);

    // -> failed, from any state. Stores only error, message and resumable of `why`.
    void fail(int64_t id, const setback_t &why, int64_t now_s);

    // -> arrived, from any state: it may have been held, or held and released, since its try began. False
    // when it has been removed.
    bool arrived(int64_t id);

    // -> done. `note`: what could not be done with the local file.
    void done(int64_t id, const std::string &note, int64_t now_s);

    // True when the file of this name in paths().files() is the copy of an entry.
    bool owns_copy(const std::string &name) const;

    // For the tables of watches (watches.h), and for the log (log_keeper.h).
    const database_t &database() const { return database_; }

private:
    store_t(const spool_paths_t &paths, database_t::access_t access);

    spool_paths_t paths_;
    database_t database_;

    bool expire_one(int64_t id, int64_t now_s) const;

    // Runs a statement that changes one entry; true when it has changed.
    template <typename... Values> bool change(const char *sql, const Values &...values) const
    {
        statement_t(database_, sql).with(values...).run();
        return database_.changed() == 1;
    }
};
