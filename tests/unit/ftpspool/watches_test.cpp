// Watches on the disk, and files that become entries.
#include "ftpspool/watches.h"

#include "spool_fixture.h"

namespace
{

class Watches : public Spool
{
protected:
    store_t store = open();
    watches_t watches{store};

    int64_t add_watch() const
    {
        watch_t watch;
        watch.folder = "/in";
        return watches.add(watch);
    }

    std::optional<int64_t> take(int64_t watch, const std::string &path, const std::string &identity,
                                const std::vector<std::string> &gone = {}, const std::string &copy = "") const
    {
        taken_t taken = {path, "fs", identity, entry_to("ftp://h/" + path), "one"};
        taken.entry.copy = copy;
        return watches.take(watch, taken, gone);
    }
};

} // namespace

TEST_F(Watches, KeepAllTheirFields)
{
    watch_t watch;
    watch.folder = "/in";
    watch.globs = {"*.ts", "a?"};
    watch.is_deep = true;
    watch.name = "%Y/{name}";
    watch.copies = true;
    watch.entry.priority = -3;
    watch.entry.tries_most = 4;
    watch.entry.target = {"ftp://h/d/", "u", "/pw", "sha1:00", "p:1", "/ppw", true, "camera", "/profiles"};
    watch.entry.after = after_t::MOVE;
    watch.entry.move_to = "/m";
    EXPECT_EQ(watches.add(watch), 1);
    EXPECT_EQ(add_watch(), 2);
    const std::vector<watch_t> found = watches.all();
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0].id, 1);
    EXPECT_EQ(found[0].folder, "/in");
    EXPECT_THAT(found[0].globs, ElementsAre("*.ts", "a?"));
    EXPECT_TRUE(found[0].is_deep);
    EXPECT_EQ(found[0].name, "%Y/{name}");
    EXPECT_TRUE(found[0].copies);
    EXPECT_EQ(found[0].taken, 0);
    EXPECT_EQ(found[0].entry.priority, -3);
    EXPECT_EQ(found[0].entry.tries_most, 4);
    const target_t &target = found[0].entry.target;
    EXPECT_THAT((std::vector{target.url, target.user, target.password_file, target.pin, target.proxy,
                             target.proxy_password_file}),
                ElementsAre("ftp://h/d/", "u", "/pw", "sha1:00", "p:1", "/ppw"));
    EXPECT_TRUE(target.active);
    EXPECT_EQ(target.profile + target.profiles, "camera/profiles");
    EXPECT_EQ(found[0].entry.after, after_t::MOVE);
    EXPECT_EQ(found[0].entry.move_to, "/m");
    EXPECT_THAT(found[1].globs, IsEmpty());
    EXPECT_FALSE(found[1].is_deep || found[1].copies || found[1].entry.target.active);
    EXPECT_EQ(found[1].name, "{name}");
}

TEST_F(Watches, RememberTheFilesThatBecameEntries)
{
    const int64_t one = add_watch();
    const int64_t other = add_watch();
    EXPECT_EQ(take(one, "a", "x"), 1);
    EXPECT_EQ(take(one, "b", "x"), 2);
    EXPECT_TRUE(watches.has_seen(one, "a", "x"));
    EXPECT_FALSE(watches.has_seen(one, "a", "y"));
    EXPECT_FALSE(watches.has_seen(one, "c", "x"));
    EXPECT_FALSE(watches.has_seen(other, "a", "x"));
    EXPECT_EQ(watches.all()[0].taken, 2);
    EXPECT_EQ(watches.all()[1].taken, 0);
    EXPECT_EQ(store.find(2)->target.url, "ftp://h/b");
}

TEST_F(Watches, AreForgottenWithTheirFiles)
{
    const int64_t one = add_watch();
    const int64_t other = add_watch();
    take(one, "a", "x");
    take(other, "a", "x");
    EXPECT_TRUE(watches.remove(one));
    EXPECT_FALSE(watches.remove(one));
    EXPECT_THAT(watches.ids(), ElementsAre(other));
    EXPECT_FALSE(watches.has_seen(one, "a", "x"));
    EXPECT_TRUE(watches.has_seen(other, "a", "x"));
    EXPECT_TRUE(store.find(1));
    EXPECT_EQ(take(one, "b", "x"), std::nullopt);
    EXPECT_FALSE(store.find(3));
    EXPECT_FALSE(watches.has_seen(one, "b", "x"));
    EXPECT_EQ(add_watch(), 3); // no id twice
}

TEST_F(Watches, ForgetVanishedFiles)
{
    const int64_t one = add_watch();
    for (const char *path : {"a", "b", "c", "d"})
        take(one, path, "x");
    EXPECT_THAT(watches.seen_behind(one, "fs", "", 2), ElementsAre("a", "b"));
    EXPECT_THAT(watches.seen_behind(one, "fs", "b", 9), ElementsAre("c", "d"));
    EXPECT_THAT(watches.seen_behind(one, "another card", "", 9), IsEmpty());
    take(one, "e", "x", {"b", "d"});
    EXPECT_THAT(watches.seen_behind(one, "fs", "", 9), ElementsAre("a", "c", "e"));
}

// What the earlier one would send is the new content as well.
TEST_F(Watches, ReplaceTheEntryOfARewrittenFile)
{
    const int64_t one = add_watch();
    take(one, "a", "1");
    take(one, "b", "1");
    EXPECT_EQ(take(one, "a", "2"), 3);
    EXPECT_FALSE(store.find(1));
    EXPECT_TRUE(store.find(2));
    store.begin(3, "");
    EXPECT_EQ(take(one, "a", "3"), 4);
    EXPECT_FALSE(store.find(3));
    store.setback(4, {});
    EXPECT_EQ(take(one, "a", "4"), 5);
    EXPECT_FALSE(store.find(4));
}

TEST_F(Watches, KeepAnEntryThatHasEndedIsHeldOrHasACopy)
{
    const int64_t one = add_watch();
    take(one, "a", "1");
    store.hold(1);
    take(one, "a", "2");
    store.arrived(2);
    take(one, "a", "3");
    store.done(3, "", NOW_S);
    take(one, "a", "4");
    store.fail(4, {}, NOW_S);
    take(one, "a", "5", {}, "/copy");
    EXPECT_EQ(take(one, "a", "6"), 6);
    for (int64_t id = 1; id <= 6; id++)
        EXPECT_TRUE(store.find(id)) << id;
}

// Whatever ends the process before the end leaves nothing of it.
TEST_F(Watches, RecordAFileCompletelyOrNotAtAll)
{
    const int64_t one = add_watch();
    take(one, "a", "1");
    store.database().run("CREATE TRIGGER refuses BEFORE INSERT ON seen BEGIN SELECT RAISE(ABORT, 'no'); END");
    EXPECT_THAT(failure_of([&] { take(one, "a", "2", {"a"}); }), EndsWith(": no"));
    store.database().run("DROP TRIGGER refuses");
    EXPECT_TRUE(watches.has_seen(one, "a", "1"));
    EXPECT_TRUE(store.find(1));
    EXPECT_FALSE(store.find(2));
    EXPECT_EQ(watches.all()[0].taken, 1);
}
