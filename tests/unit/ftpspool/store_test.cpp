// The store as commands use it.
#include "spool_fixture.h"

namespace
{

using Store = Spool;

entry_t full_entry(const spool_paths_t &paths)
{
    entry_t entry;
    entry.priority = -3;
    entry.added_s = NOW_S;
    entry.not_before_s = NOW_S + 1;
    entry.expires_s = NOW_S + 2;
    entry.tries_most = 4;
    entry.local = "/l\xff";
    entry.copy = paths.file("c");
    entry.original = "o";
    entry.size_bytes = int64_t{1} << 40;
    entry.target = {"ftp://h/f", "u", "/pw", "sha1:00", "p:1", "/ppw", true, "p", "/profiles"};
    entry.after = after_t::MOVE;
    entry.move_to = "/m";
    return entry;
}

} // namespace

TEST_F(Store, KeepsAllFieldsOfAnEntry)
{
    const entry_t entry = full_entry(paths);
    const int64_t id = open().add(entry, "one");
    const entry_t found = *open().find(id);
    EXPECT_EQ(found.id, id);
    EXPECT_EQ(found.state, state_t::QUEUED);
    EXPECT_EQ(found.priority, entry.priority);
    EXPECT_EQ(found.added_s, entry.added_s);
    EXPECT_EQ(found.not_before_s, entry.not_before_s);
    EXPECT_EQ(found.expires_s, entry.expires_s);
    EXPECT_EQ(found.tries_most, entry.tries_most);
    EXPECT_EQ(found.tries, 0);
    EXPECT_EQ(found.local, entry.local);
    EXPECT_EQ(found.copy, entry.copy);
    EXPECT_EQ(found.source(), entry.copy);
    EXPECT_EQ(found.original, entry.original);
    EXPECT_EQ(found.size_bytes, entry.size_bytes);
    EXPECT_EQ(found.target.url, entry.target.url);
    EXPECT_EQ(found.target.user, entry.target.user);
    EXPECT_EQ(found.target.password_file, entry.target.password_file);
    EXPECT_EQ(found.target.pin, entry.target.pin);
    EXPECT_EQ(found.target.proxy, entry.target.proxy);
    EXPECT_EQ(found.target.proxy_password_file, entry.target.proxy_password_file);
    EXPECT_TRUE(found.target.active);
    EXPECT_EQ(found.target.profile, entry.target.profile);
    EXPECT_EQ(found.target.profiles, entry.target.profiles);
    EXPECT_EQ(found.after, after_t::MOVE);
    EXPECT_EQ(found.move_to, entry.move_to);
    EXPECT_FALSE(found.urged);
    EXPECT_FALSE(found.resumable);
    EXPECT_EQ(found.error + found.message + found.identity + found.place, "");
}

TEST_F(Store, NeverReusesAnId)
{
    store_t store = open();
    EXPECT_EQ(add(store), 1);
    EXPECT_EQ(add(store), 2);
    EXPECT_TRUE(store.remove(2));
    EXPECT_FALSE(store.remove(2));
    EXPECT_FALSE(store.find(2));
    EXPECT_EQ(add(store), 3);
}

TEST_F(Store, IsNotMadeByReading)
{
    EXPECT_FALSE(store_t::open_to_read(paths));
    EXPECT_FALSE(std::filesystem::exists(paths.folder));
    store_t store = open();
    add(store);
    EXPECT_TRUE(store_t::open_to_read(paths)->find(1));
}

TEST_F(Store, ListsEntriesByStateOrAll)
{
    store_t store = open();
    for (int i = 0; i < 3; i++)
        add(store);
    store.hold(2);
    const auto ids_of = [&](std::optional<state_t> state) {
        std::vector<int64_t> ids;
        store.each(state, [&](const entry_t &entry) { ids.push_back(entry.id); });
        return ids;
    };
    EXPECT_THAT(ids_of(std::nullopt), ElementsAre(1, 2, 3));
    EXPECT_THAT(ids_of(state_t::QUEUED), ElementsAre(1, 3));
    EXPECT_THAT(ids_of(state_t::HELD), ElementsAre(2));
    EXPECT_THAT(ids_of(state_t::DONE), IsEmpty());
    EXPECT_THAT(store.figures().counts, ElementsAre(2, 0, 1, 0, 0, 0, 0));
}

TEST_F(Store, KnowsTheOldestUnsentAndTheLastDoneEntry)
{
    store_t store = open();
    EXPECT_EQ(store.figures().oldest_s, 0);
    EXPECT_EQ(store.figures().last_done_s, 0);
    const auto add_of = [&](int64_t added_s, int64_t not_before_s) {
        entry_t entry = entry_to("ftp://one/a");
        entry.added_s = added_s;
        entry.not_before_s = not_before_s;
        return store.add(entry, "one");
    };
    add_of(NOW_S, NOW_S + 100);
    EXPECT_EQ(store.figures().oldest_s, NOW_S + 100);
    add_of(NOW_S + 50, 0);
    add_of(NOW_S + 60, 0);
    EXPECT_EQ(store.figures().oldest_s, NOW_S + 50);
    store.begin(2, "");
    EXPECT_EQ(store.figures().oldest_s, NOW_S + 50);
    store.setback(2, {});
    EXPECT_EQ(store.figures().oldest_s, NOW_S + 50);
    store.hold(2);
    EXPECT_EQ(store.figures().oldest_s, NOW_S + 60);
    store.done(3, "", NOW_S + 70);
    store.done(2, "", NOW_S + 80);
    store.fail(1, {}, NOW_S + 90);
    EXPECT_EQ(store.figures().oldest_s, 0);
    EXPECT_EQ(store.figures().last_done_s, NOW_S + 80);
}

TEST_F(Store, ChangesItsVersionWithEveryChange)
{
    store_t store = open();
    const std::string first = store.version();
    EXPECT_EQ(store.version(), first);
    add(store);
    const std::string second = store.version();
    EXPECT_NE(second, first);
    store_t another = open();
    add(another);
    EXPECT_NE(store.version(), second);
}

TEST_F(Store, ChangesStatesOnlyWhereAllowed)
{
    const std::array all = {state_t::QUEUED,  state_t::WAITING, state_t::HELD,  state_t::SENDING,
                            state_t::ARRIVED, state_t::DONE,    state_t::FAILED};
    const struct {
        const char *name;
        bool (*change)(store_t &, int64_t);
        std::vector<state_t> from;
        state_t to;
    } rows[] = {
        {"hold",
         [](store_t &store, int64_t id) { return store.hold(id); },
         {state_t::QUEUED, state_t::WAITING, state_t::SENDING},
         state_t::HELD},
        {"release",
         [](store_t &store, int64_t id) { return store.release(id); },
         {state_t::HELD},
         state_t::QUEUED},
        {"retry",
         [](store_t &store, int64_t id) { return store.retry(id, 11); },
         {state_t::QUEUED, state_t::WAITING, state_t::FAILED},
         state_t::QUEUED},
        {"begin",
         [](store_t &store, int64_t id) { return store.begin(id, "i"); },
         {state_t::QUEUED, state_t::WAITING},
         state_t::SENDING},
    };
    store_t store = open();
    const database_t raw(paths.database(), database_t::access_t::WRITE, 64);
    const int64_t id = add(store);
    for (const auto &row : rows) {
        for (const state_t state : all) {
            SCOPED_TRACE(std::string(row.name) + " " + state_name(state));
            statement_t(raw, "UPDATE entries SET state = ?1").with(static_cast<int64_t>(state)).run();
            const bool allowed = std::ranges::find(row.from, state) != row.from.end();
            EXPECT_EQ(row.change(store, id), allowed);
            EXPECT_EQ(state_of_entry(store, id), allowed ? row.to : state);
        }
    }
}

TEST_F(Store, ForgetsEarlierTriesOnRetry)
{
    store_t store = open();
    entry_t entry = full_entry(paths);
    const int64_t id = store.add(entry, "one");
    store.begin(id, "identity");
    store.fail(id, {"login-refused", "no"}, NOW_S);
    EXPECT_EQ(store.find(id)->tries, 1);
    EXPECT_TRUE(store.retry(id, 99));
    const entry_t found = *store.find(id);
    EXPECT_EQ(found.tries, 0);
    EXPECT_EQ(found.size_bytes, 99);
    EXPECT_EQ(found.expires_s, 0);
    EXPECT_EQ(found.ended_s, 0);
    EXPECT_TRUE(found.urged);
    EXPECT_EQ(found.error + found.message, "");
}

TEST_F(Store, ClearsOnlyDoneEntries)
{
    store_t store = open();
    for (int i = 0; i < 5; i++)
        add(store);
    store.done(1, "", NOW_S);
    store.done(3, "", NOW_S);
    store.fail(4, {}, NOW_S);
    store.arrived(5);
    EXPECT_EQ(store.clear_done(), 2);
    EXPECT_EQ(store.clear_done(), 0);
    for (const int64_t id : {2, 4, 5})
        EXPECT_TRUE(store.find(id)) << id;
}

TEST_F(Store, FindsDamageInsideTheDatabase)
{
    {
        store_t store = open();
        for (int i = 0; i < 200; i++)
            add(store);
        store.inspect();
    }
    database_t(paths.database(), database_t::access_t::WRITE, 64).run("PRAGMA wal_checkpoint(TRUNCATE)");
    std::string content = content_of(paths.database());
    content.replace(content.size() / 2, 4096, 4096, 'x');
    fill(paths.database(), content);
    EXPECT_THROW(open().inspect(), damaged_t);
}
