// The store as the service drives it.
#include "spool_fixture.h"

namespace
{

using StoreLife = Spool;

std::vector<int64_t> ids_of(const std::vector<ready_t> &lines)
{
    std::vector<int64_t> ids;
    for (const ready_t &line : lines)
        ids.push_back(line.id);
    return ids;
}

} // namespace

TEST_F(StoreLife, OffersTheFirstEntryOfEachServer)
{
    store_t store = open();
    add(store, "one");
    add(store, "two");
    add(store, "one", 7);
    add(store, "two");
    const std::vector<ready_t> lines = store.ready(NOW_S);
    EXPECT_THAT(ids_of(lines), ElementsAre(3, 2));
    EXPECT_EQ(lines[0].priority, 7);
    EXPECT_NE(lines[0].server, lines[1].server);
    store.hold(3);
    EXPECT_THAT(ids_of(store.ready(NOW_S)), ElementsAre(1, 2));
    store.begin(1, "");
    EXPECT_THAT(ids_of(store.ready(NOW_S)), ElementsAre(2));
}

TEST_F(StoreLife, PutsAnEntryThatFailsByItselfBehindTheOthers)
{
    store_t store = open();
    for (int i = 0; i < 3; i++)
        add(store);
    store.begin(1, "");
    store.setback(1, {"different-size", "", false, true, true});
    EXPECT_THAT(ids_of(store.ready(NOW_S)), ElementsAre(2));
    store.begin(2, "");
    store.setback(2, {"broken", "", false, true, false});
    EXPECT_THAT(ids_of(store.ready(NOW_S)), ElementsAre(2));
    store.retry(3, 10);
    EXPECT_THAT(ids_of(store.ready(NOW_S)), ElementsAre(3));
    EXPECT_TRUE(store.ready(NOW_S)[0].urged);
    store.begin(3, "");
    EXPECT_FALSE(store.find(3)->urged);
}

// Each has failed that often because of the server.
TEST_F(StoreLife, PutsAnEntryBehindTheOthersOfItsPriorityAfterThreeFailedTries)
{
    store_t store = open();
    const auto fail = [&](int64_t id, bool counts = true) {
        store.begin(id, "");
        store.setback(id, {"broken", "", false, counts, false});
    };
    const auto line = [&] {
        std::vector<int64_t> ids;
        while (!store.ready(NOW_S).empty()) {
            ids.push_back(store.ready(NOW_S)[0].id);
            store.hold(ids.back());
        }
        for (const int64_t id : ids)
            store.release(id);
        return ids;
    };
    add(store, "one", 5);
    for (int i = 0; i < 3; i++)
        add(store);
    for (int i = 0; i < 4; i++)
        fail(1);
    fail(2);
    fail(2);
    fail(2, false); // the daemon's fault
    EXPECT_THAT(line(), ElementsAre(1, 2, 3, 4));
    fail(2);
    EXPECT_THAT(line(), ElementsAre(1, 3, 4, 2)); // the priority counts first
    for (int i = 0; i < 4; i++)
        fail(3);
    EXPECT_THAT(line(), ElementsAre(1, 4, 2, 3)); // those that always fail take turns
    fail(2);
    fail(2);
    EXPECT_THAT(line(), ElementsAre(1, 4, 3, 2));
    store.retry(2, 10);
    EXPECT_EQ(store.ready(NOW_S)[0].id, 2);
}

TEST_F(StoreLife, FindsTheFirstOfALineWithoutSortingIt)
{
    const store_t store = open();
    statement_t plan(store.database(),
                     "EXPLAIN QUERY PLAN SELECT id FROM entries WHERE server = 1 AND state IN (0, 1) "
                     "ORDER BY urged DESC, setbacks, priority DESC, max(tries, 2), id LIMIT 1");
    ASSERT_TRUE(plan.next());
    EXPECT_THAT(std::string(plan.text(3)), HasSubstr("USING INDEX lines (server=?)"));
    EXPECT_FALSE(plan.next()) << plan.text(3);
}

TEST_F(StoreLife, HoldsEntriesBackUntilTheirTime)
{
    store_t store = open();
    entry_t entry = entry_to("ftp://one/a");
    EXPECT_EQ(store.next_time(NOW_S), 0);
    entry.not_before_s = NOW_S + 10;
    store.add(entry, "one");
    entry.not_before_s = NOW_S + 5;
    entry.expires_s = NOW_S + 20;
    store.add(entry, "one");
    EXPECT_THAT(store.ready(NOW_S + 4), IsEmpty());
    EXPECT_EQ(store.next_time(NOW_S + 4), NOW_S + 5);
    EXPECT_THAT(ids_of(store.ready(NOW_S + 5)), ElementsAre(2));
    EXPECT_EQ(store.next_time(NOW_S + 5), NOW_S + 10);
    EXPECT_EQ(store.next_time(NOW_S + 10), NOW_S + 20);
    store.hold(2);
    EXPECT_EQ(store.next_time(NOW_S + 10), 0);
}

TEST_F(StoreLife, FailsExpiredEntries)
{
    store_t store = open();
    entry_t entry = entry_to("ftp://one/a");
    entry.expires_s = NOW_S + 10;
    for (int i = 0; i < 3; i++)
        store.add(entry, "one");
    store.begin(2, "");
    store.hold(3);
    EXPECT_THAT(store.expire(NOW_S + 9), IsEmpty());
    EXPECT_THAT(store.expire(NOW_S + 10), ElementsAre(1));
    const entry_t found = *store.find(1);
    EXPECT_EQ(found.state, state_t::FAILED);
    EXPECT_EQ(found.error, "expired");
    EXPECT_EQ(found.ended_s, NOW_S + 10);
    EXPECT_EQ(found.tries, 0);
}

TEST_F(StoreLife, RemembersTheFileOfATryAndWhetherItCanBeResumed)
{
    store_t store = open();
    add(store);
    EXPECT_TRUE(store.begin(1, "identity", "place"));
    EXPECT_EQ(store.find(1)->identity, "identity");
    EXPECT_EQ(store.find(1)->place, "place");
    EXPECT_FALSE(store.find(1)->resumable);
    store.moved(1);
    EXPECT_TRUE(store.find(1)->resumable);
    store.setback(1, {"broken", "the connection broke", true, true, false});
    entry_t found = *store.find(1);
    EXPECT_EQ(found.state, state_t::WAITING);
    EXPECT_TRUE(found.resumable);
    EXPECT_EQ(found.tries, 1);
    EXPECT_EQ(found.error, "broken");
    EXPECT_EQ(found.message, "the connection broke");
    // Whoever is killed while he appends does not know what has arrived.
    EXPECT_TRUE(store.begin(1, "identity"));
    EXPECT_FALSE(store.find(1)->resumable);
    store.setback(1, {"no-daemon", "", false, false, false});
    EXPECT_EQ(store.find(1)->tries, 1);
}

TEST_F(StoreLife, QueuesAgainWhatACrashInterrupted)
{
    store_t store = open();
    for (int i = 0; i < 3; i++)
        add(store);
    store.begin(1, "", "place");
    store.moved(1);
    store.begin(2, "", "another place");
    store.arrived(2);
    store.recover();
    EXPECT_EQ(state_of_entry(store, 1), state_t::WAITING);
    EXPECT_TRUE(store.find(1)->resumable);
    EXPECT_EQ(store.find(1)->tries, 0);
    EXPECT_EQ(state_of_entry(store, 2), state_t::ARRIVED);
    EXPECT_EQ(state_of_entry(store, 3), state_t::QUEUED);
    EXPECT_EQ(store.first_arrived(), 2);
    store.done(2, "a note", NOW_S);
    EXPECT_EQ(store.first_arrived(), 0);
    EXPECT_EQ(store.find(2)->message, "a note");
    EXPECT_EQ(store.find(2)->ended_s, NOW_S);
}

TEST_F(StoreLife, LeavesAnEntryHeldThatWasHeldDuringItsTry)
{
    store_t store = open();
    add(store);
    store.begin(1, "");
    store.hold(1);
    store.setback(1, {"", "interrupted", true, false, false});
    EXPECT_EQ(state_of_entry(store, 1), state_t::HELD);
    EXPECT_TRUE(store.find(1)->resumable);
    store.arrived(1); // it was whole before the wish was seen
    EXPECT_EQ(state_of_entry(store, 1), state_t::ARRIVED);
}

TEST_F(StoreLife, RecordsTheArrivalOfAnEntryHeldAndReleasedDuringItsTry)
{
    store_t store = open();
    add(store);
    store.begin(1, "");
    store.hold(1);
    store.release(1);
    store.setback(1, {"", "interrupted", true, false, false}); // the next try is to begin anew
    EXPECT_EQ(state_of_entry(store, 1), state_t::QUEUED);
    EXPECT_FALSE(store.find(1)->resumable);
    store.arrived(1);
    EXPECT_EQ(state_of_entry(store, 1), state_t::ARRIVED);
}

TEST_F(StoreLife, AnEntryForTheSamePlaceMakesEarlierOnesStartOver)
{
    store_t store = open();
    for (int i = 0; i < 3; i++)
        add(store);
    for (const int64_t id : {1, 2}) {
        store.begin(id, "identity", id == 1 ? "place" : "another place");
        store.moved(id);
        store.setback(id, {"broken", "", true, true, false});
    }
    store.hold(1);
    store.begin(3, "other", "place");
    EXPECT_FALSE(store.find(1)->resumable);
    EXPECT_TRUE(store.find(2)->resumable);
}

TEST_F(StoreLife, ARetryResumesOnlyIfTheFailureLeftABeginning)
{
    store_t store = open();
    for (const bool resumable : {false, true}) {
        const int64_t id = add(store);
        store.begin(id, "identity", "place");
        store.moved(id);
        store.fail(id, {"different-size", "why", resumable}, NOW_S);
        EXPECT_EQ(store.find(id)->resumable, resumable);
    }
}

TEST_F(StoreLife, IgnoresTheArrivalOfARemovedEntry)
{
    store_t store = open();
    add(store);
    store.begin(1, "");
    EXPECT_TRUE(store.arrived(1));
    store.remove(1);
    EXPECT_FALSE(store.arrived(1));
}
