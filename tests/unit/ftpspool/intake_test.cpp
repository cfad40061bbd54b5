#include "ftpspool/intake.h"

#include "as_nobody.h"
#include "failing_calls.h"
#include "spool_fixture.h"

#include "ftpspool/wakeups.h"

#include <fcntl.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

class Intake : public Spool
{
protected:
    store_t store = open();
    event_output_t events{false, ""};
    std::string root = dir / "in";
    watch_t watch;

    void SetUp() override
    {
        fs::create_directory(root);
        watch.folder = root;
        watch.entry.target.url = "ftp://host/d/";
    }

    intake_t begin()
    {
        watch.id = watches_t(store).add(watch);
        return {store, events, watch};
    }

    std::string in(const std::string &name) const { return root + "/" + name; }

    // The result, and what was told.
    static std::pair<bool, std::string> offer(intake_t &intake, const std::string &path)
    {
        testing::internal::CaptureStdout();
        const bool is_settled = intake.offer(path);
        return {is_settled, testing::internal::GetCapturedStdout()};
    }

    std::vector<std::string> urls() const
    {
        std::vector<std::string> urls;
        store.each(std::nullopt, [&](const entry_t &entry) { urls.push_back(entry.target.url); });
        return urls;
    }

    static void set_time(const std::string &path, int64_t s)
    {
        const timespec times[] = {{0, UTIME_OMIT}, {static_cast<time_t>(s), 0}};
        utimensat(AT_FDCWD, path.c_str(), times, 0);
    }
};

} // namespace

TEST_F(Intake, MakesOneEntryForAFile)
{
    watch.entry.priority = 7;
    watch.entry.after = after_t::DELETE;
    intake_t intake = begin();
    fill(in("a b"), "12345");
    const auto [is_settled, line] = offer(intake, "a b");
    EXPECT_TRUE(is_settled);
    EXPECT_EQ(line, "1 queued: " + in("a b") + " -> ftp://host/d/a%20b\n");
    const entry_t entry = *store.find(1);
    EXPECT_EQ(entry.local, in("a b"));
    EXPECT_EQ(entry.size_bytes, 5);
    EXPECT_EQ(entry.priority, 7);
    EXPECT_EQ(entry.after, after_t::DELETE);
    EXPECT_NEAR(static_cast<double>(entry.added_s), static_cast<double>(wall_s()), 60);
    EXPECT_EQ(offer(intake, "a b"), std::pair(true, std::string()));
    intake_t next(store, events, watches_t(store).all()[0]); // of a later service
    EXPECT_EQ(offer(next, "a b"), std::pair(true, std::string()));
    EXPECT_EQ(urls().size(), 1u);
}

TEST_F(Intake, MakesAnotherEntryForARewrittenFile)
{
    intake_t intake = begin();
    fill(in("a"), "12345");
    offer(intake, "a");
    store.done(1, "", NOW_S);
    fill(in("a"), "123456");
    offer(intake, "a");
    EXPECT_EQ(store.find(2)->size_bytes, 6);
}

TEST_F(Intake, NamesFilesByThePattern)
{
    watch.name = "%Y/{base}-{counter:3}{extension}";
    intake_t intake = begin();
    fs::create_directories(in("x/y"));
    for (const char *path : {"a.ts", "x/y/b%.ts"}) {
        fill(in(path), "1");
        set_time(in(path), NOW_S);
        offer(intake, path);
    }
    EXPECT_THAT(urls(), ElementsAre("ftp://host/d/2023/a-001.ts", "ftp://host/d/x/y/2023/b%25-002.ts"));
    intake_t next(store, events, watches_t(store).all()[0]);
    fill(in("c.ts"), "1");
    set_time(in("c.ts"), NOW_S);
    offer(next, "c.ts");
    EXPECT_EQ(urls().back(), "ftp://host/d/2023/c-003.ts");
}

TEST_F(Intake, PutsTheDevicesNameIntoThePattern)
{
    watch.name = "{host}";
    intake_t intake = begin();
    fill(in("a"), "1");
    offer(intake, "a");
    char host[256] = "";
    gethostname(host, sizeof host);
    EXPECT_THAT(urls(), ElementsAre(std::string("ftp://host/d/") + host));
}

TEST_F(Intake, TakesOnlyMatchingNames)
{
    watch.globs = {"*.ts", "img-[0-9]?"};
    intake_t intake = begin();
    fs::create_directory(in("x.ts"));
    for (const char *path : {"a.ts", "a.tsx", "img-12", "img-1", "x.ts/b", "x.ts/c.ts"}) {
        fill(in(path), "1");
        EXPECT_TRUE(offer(intake, path).first);
    }
    EXPECT_THAT(urls(), ElementsAre("ftp://host/d/a.ts", "ftp://host/d/img-12", "ftp://host/d/x.ts/c.ts"));
}

TEST_F(Intake, IgnoresAllButRegularFiles)
{
    intake_t intake = begin();
    fs::create_symlink(file, in("link"));
    fs::create_directory(in("folder"));
    ASSERT_EQ(mkfifo(in("pipe").c_str(), 0600), 0);
    for (const char *path : {"link", "folder", "pipe", "gone", "gone/a"})
        EXPECT_EQ(offer(intake, path), std::pair(true, std::string())) << path;
    EXPECT_THAT(urls(), IsEmpty());
}

TEST_F(Intake, WaitsForTheLastWriter)
{
    intake_t intake = begin();
    std::ofstream writer(in("a"));
    fill(in("a"), "12345"); // another one has closed
    EXPECT_EQ(offer(intake, "a"), std::pair(false, std::string()));
    writer.close();
    EXPECT_TRUE(offer(intake, "a").first);
    EXPECT_EQ(store.find(1)->size_bytes, 5);
}

TEST_F(Intake, TakesAFileWithUnknownWritersOnceItHasSettled)
{
    intake_t intake = begin();
    fill(in("a"), "1");
    fs::permissions(in("a"), fs::perms::none);
    fs::permissions(dir.path, fs::perms::all);
    {
        const as_nobody other;
        if (!other.is_other()) {
            // CI runs as root and so runs this: a file of another user is needed.
            GTEST_SKIP() << "only root can become another user";
        }
        EXPECT_EQ(offer(intake, "a"), std::pair(false, std::string()));
    }
    set_time(in("a"), wall_s() - 60);
    const as_nobody other;
    EXPECT_TRUE(offer(intake, "a").first);
    EXPECT_EQ(urls().size(), 1u);
}

TEST_F(Intake, ReportsAnUnreadableFileOnce)
{
    intake_t intake = begin();
    fill(in("a"), "1");
    testing::internal::CaptureStdout();
    rlimit before = {};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none = {0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    const bool first = intake.offer("a");
    const bool second = intake.offer("a");
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_FALSE(first || second);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "watch 1 delayed: " + root + " (" + in("a") + ": Too many open files)\n");
    EXPECT_TRUE(offer(intake, "a").first);
}

TEST_F(Intake, ReportsEachReasonOnceUntilItsFilesAreQueued)
{
    watch.copies = true;
    intake_t intake = begin();
    for (const char *name : {"a", "b", "fine"})
        fill(in(name), "1");
    const auto told_for = [&](const char *name, int error) {
        const failing_call failing("fsync", error);
        return offer(intake, name).second;
    };
    EXPECT_THAT(told_for("a", ENOSPC), EndsWith(paths.files() + ": No space left on device)\n"));
    EXPECT_THAT(told_for("b", EIO), EndsWith(paths.files() + ": Input/output error)\n"));
    EXPECT_TRUE(offer(intake, "fine").first) << "it does not make the others forgotten";
    EXPECT_EQ(told_for("a", ENOSPC), "");
    EXPECT_EQ(told_for("b", EIO), "");
    EXPECT_TRUE(offer(intake, "a").first);
    EXPECT_EQ(told_for("b", EIO), "");
    EXPECT_NE(told_for("b", ENOSPC), "") << "a's is over";
}

TEST_F(Intake, MakesACopyForEachEntry)
{
    watch.copies = true;
    intake_t intake = begin();
    fill(in("a"), "12345");
    EXPECT_TRUE(offer(intake, "a").first);
    fs::remove(in("a"));
    const entry_t entry = *store.find(1);
    EXPECT_EQ(content_of(entry.source()), "12345");
    EXPECT_NE(entry.original, "");
    fill(in("b"), "1");
    {
        const failing_call failing("fsync", EIO);
        const auto [is_settled, line] = offer(intake, "b");
        EXPECT_FALSE(is_settled);
        EXPECT_THAT(line, EndsWith("Input/output error)\n"));
    }
    EXPECT_EQ(entries_of(paths.files()), 1u);
    EXPECT_TRUE(offer(intake, "b").first);
    EXPECT_EQ(entries_of(paths.files()), 2u);
}

TEST_F(Intake, QueuesNothingForARemovedWatch)
{
    watch.copies = true;
    intake_t intake = begin();
    watches_t(store).remove(watch.id);
    fill(in("a"), "1");
    EXPECT_EQ(offer(intake, "a"), std::pair(true, std::string()));
    EXPECT_THAT(urls(), IsEmpty());
    EXPECT_EQ(entries_of(paths.files()), 0u);
}

TEST_F(Intake, ForgetsVanishedFilesAsItTakesNewOnes)
{
    intake_t intake = begin();
    fill(in("kept"), "1");
    offer(intake, "kept");
    for (int i = 0; i < 200; i++) {
        const std::string name = std::to_string(i);
        fill(in(name), "1");
        offer(intake, name);
        fs::remove(in(name));
    }
    EXPECT_LT(store.database().number("SELECT count(*) FROM seen"), 12);
    EXPECT_EQ(offer(intake, "kept").second, "");
}

TEST_F(Intake, PutsFilesBelowTheProfilesUrl)
{
    profile("url = ftp://host/base/\n");
    watch.entry.target = entry_by_profile("d/").target;
    intake_t intake = begin();
    fill(in("a"), "1");
    EXPECT_TRUE(offer(intake, "a").first);
    EXPECT_EQ(store.find(1)->target.shown_url(), "cam:d/a");
    fs::remove(dir / "cam.conf");
    fill(in("b"), "1");
    const auto [is_settled, told_line] = offer(intake, "b");
    EXPECT_FALSE(is_settled) << "without its profile a file waits";
    EXPECT_THAT(told_line, testing::HasSubstr("watch 1 delayed: " + root));
}
