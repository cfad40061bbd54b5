#include "ftpspool/hot_folder.h"

#include "failing_calls.h"
#include "spool_fixture.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>

using testing::UnorderedElementsAre;
namespace fs = std::filesystem;

namespace
{

class HotFolder : public Spool
{
protected:
    descriptor epoll{epoll_create1(EPOLL_CLOEXEC)};
    std::string root = dir / "in";
    std::vector<std::string> offered;
    bool is_finished = true;
    std::unique_ptr<hot_folder_t> hot;
    int64_t now_ms = 1000;

    void SetUp() override { fs::create_directory(root); }

    void watch(bool is_deep = false)
    {
        hot = std::make_unique<hot_folder_t>(root, is_deep, epoll.get(), [this](const std::string &path) {
            offered.push_back(path);
            return is_finished;
        });
    }

    bool has_changes() const
    {
        pollfd waiting = {epoll.get(), POLLIN, 0};
        return poll(&waiting, 1, 0) == 1;
    }

    // Goes on until nothing is left to do now; returns what was offered.
    std::vector<std::string> step()
    {
        offered.clear();
        do
            hot->step(now_ms);
        while (has_changes() || (hot->wake_ms() != 0 && hot->wake_ms() <= now_ms));
        return offered;
    }

    std::string in(const std::string &name) const { return root + "/" + name; }
};

} // namespace

TEST_F(HotFolder, OffersPresentAndNewFiles)
{
    fill(in("a"), "1");
    watch();
    EXPECT_EQ(hot->wake_ms(), 1);
    EXPECT_THAT(step(), ElementsAre("a"));
    EXPECT_EQ(hot->wake_ms(), 0);
    EXPECT_EQ(hot->problem(), "");
    fill(in("b"), "2");
    EXPECT_TRUE(has_changes());
    EXPECT_THAT(step(), ElementsAre("b"));
    fs::rename(file, in("c"));
    EXPECT_THAT(step(), ElementsAre("c"));
    fill(in("a"), "3");
    EXPECT_THAT(step(), ElementsAre("a"));
    EXPECT_THAT(step(), IsEmpty());
}

TEST_F(HotFolder, WaitsForTheEndOfWriting)
{
    watch();
    step();
    std::ofstream writer(in("a"));
    writer << "1" << std::flush;
    EXPECT_THAT(step(), IsEmpty());
    writer.close();
    EXPECT_THAT(step(), ElementsAre("a"));
}

TEST_F(HotFolder, IgnoresHiddenNamesAndSubFolders)
{
    watch();
    for (const char *when : {"found by the scan", "told"}) {
        fill(in(".a"), when);
        fs::create_directories(in("sub"));
        fill(in("sub/b"), when);
        EXPECT_THAT(step(), IsEmpty()) << when;
    }
}

TEST_F(HotFolder, OffersFilesInSubFoldersOnRequest)
{
    fs::create_directories(in("x/y"));
    fs::create_directories(in(".hidden"));
    fs::create_directory_symlink(dir.path, in("link"));
    fill(in("x/y/a"), "1");
    fill(in(".hidden/a"), "1");
    watch(true);
    EXPECT_THAT(step(), UnorderedElementsAre("x/y/a", "link"));
    fill(in("x/b"), "2");
    EXPECT_THAT(step(), ElementsAre("x/b"));
    fs::create_directories(in("new/deep"));
    fill(in("new/deep/c"), "3"); // before anybody watches there
    EXPECT_THAT(step(), ElementsAre("new/deep/c"));
    fill(in("new/deep/d"), "4");
    fill(in(".hidden/b"), "4");
    EXPECT_THAT(step(), ElementsAre("new/deep/d"));
    fs::create_directory(dir / "outside");
    fill(dir / "outside/e", "5");
    fs::rename(dir / "outside", in("came"));
    EXPECT_THAT(step(), ElementsAre("came/e"));
}

TEST_F(HotFolder, ScansAgainAfterAScanThatFailed)
{
    fill(in("a"), "1");
    watch();
    {
        const failing_call failing("readdir64", EIO);
        EXPECT_THAT(step(), IsEmpty());
    }
    EXPECT_EQ(hot->problem(), root + ": cannot be watched: Input/output error");
    now_ms = hot->wake_ms();
    EXPECT_THAT(step(), ElementsAre("a"));
    EXPECT_EQ(hot->problem(), "");
}

TEST_F(HotFolder, FollowsRenamedSubFolders)
{
    fs::create_directories(in("x/y"));
    watch(true);
    step();
    fs::rename(in("x"), in("z"));
    step();
    fill(in("z/y/a"), "1");
    EXPECT_THAT(step(), ElementsAre("z/y/a"));
    fs::remove_all(in("z"));
    step();
    EXPECT_EQ(hot->problem(), "");
    fs::create_directories(in("z"));
    fill(in("z/b"), "2");
    EXPECT_THAT(step(), ElementsAre("z/b"));
}

TEST_F(HotFolder, ScansAgainWhenChangesWereLost)
{
    watch();
    fill(in("a"), "");
    fill(in("b"), "");
    step();
    std::ifstream limit("/proc/sys/fs/inotify/max_queued_events");
    int most = 0;
    limit >> most;
    for (int i = 0; i <= most; i++)
        descriptor(
            ::open(in(i % 2 == 0 ? "a" : "b").c_str(), O_WRONLY | O_CLOEXEC)); // like ones would be told once
    fill(in("c"), "unheard");
    EXPECT_THAT(step(), testing::Contains("c"));
    fill(in("d"), "");
    EXPECT_THAT(step(), ElementsAre("d"));
}

TEST_F(HotFolder, ScansManyFilesInParts)
{
    for (int i = 0; i < 200; i++)
        fill(in(std::to_string(i)), "");
    watch();
    hot->step(now_ms);
    EXPECT_LT(offered.size(), 100u);
    EXPECT_EQ(hot->wake_ms(), 1);
    const size_t first = offered.size();
    EXPECT_EQ(step().size() + first, 200u);
}

TEST_F(HotFolder, OffersUnfinishedFilesAgain)
{
    is_finished = false;
    watch();
    fill(in("a"), "");
    EXPECT_THAT(step(), ElementsAre("a"));
    EXPECT_EQ(hot->wake_ms(), now_ms + 100);
    now_ms += 100;
    EXPECT_THAT(step(), ElementsAre("a"));
    is_finished = true;
    now_ms += 400;
    EXPECT_THAT(step(), ElementsAre("a"));
    EXPECT_EQ(hot->wake_ms(), 0);
}

TEST_F(HotFolder, ScansAgainWhenTooManyFilesAreUnfinished)
{
    is_finished = false;
    for (int i = 0; i < 100; i++)
        fill(in(std::to_string(i)), "");
    watch();
    step();
    is_finished = true;
    now_ms += 28000;
    EXPECT_LE(step().size(), 64u);
    now_ms += 1000;
    EXPECT_EQ(step().size(), 100u);
    EXPECT_EQ(hot->wake_ms(), 0);
}

TEST_F(HotFolder, OftenLooksOnlyAtAnOpenFileThatHasChanged)
{
    is_finished = false;
    for (int i = 0; i < 100; i++)
        fill(in(std::to_string(i)), "");
    watch();
    step();
    for (now_ms = hot->wake_ms(); now_ms < 60000; now_ms = hot->wake_ms())
        step();
    EXPECT_EQ(step().size(), 164u); // each by the scan, and those whose pause is over
    EXPECT_EQ(hot->wake_ms(), 90000);
    std::ranges::sort(offered);
    fill(in(*std::ranges::adjacent_find(offered)), "");
    step();
    EXPECT_EQ(hot->wake_ms(), now_ms + 100);
}

// Each wake-up costs a sleeping device energy, so they look at the same times.
TEST_F(HotFolder, LooksForMissingFoldersTogether)
{
    fs::remove(root);
    std::vector<std::unique_ptr<hot_folder_t>> missing;
    for (int i = 0; i < 10; i++) {
        watch();
        missing.push_back(std::move(hot));
        missing.back()->step(now_ms += 2345);
    }
    const int64_t begin_ms = now_ms;
    int64_t wakes = 0;
    while (now_ms < begin_ms + 600000) {
        const auto wake_ms = [](const auto &folder) { return folder->wake_ms(); };
        now_ms = (*std::ranges::min_element(missing, {}, wake_ms))->wake_ms();
        for (const auto &folder : missing)
            folder->step(now_ms);
        wakes++;
    }
    EXPECT_LE(wakes, 21); // in ten minutes
    EXPECT_GE(wakes, 20);
}

TEST_F(HotFolder, LooksForAMissingFolderInEachRound)
{
    fs::remove(root);
    watch();
    step();
    EXPECT_EQ(hot->problem(), root + ": cannot be watched: No such file or directory");
    EXPECT_EQ(hot->wake_ms(), 30000);
    now_ms = 30000;
    step();
    EXPECT_EQ(hot->wake_ms(), now_ms + 30000);
    EXPECT_NE(hot->problem(), "");
    fs::create_directory(root);
    fill(in("a"), "");
    now_ms += 30000;
    EXPECT_THAT(step(), ElementsAre("a"));
    EXPECT_EQ(hot->problem(), "");
    EXPECT_EQ(hot->wake_ms(), 0);
}

TEST_F(HotFolder, NoticesThatItsFolderHasGone)
{
    for (const bool is_moved : {false, true}) {
        watch();
        step();
        if (is_moved)
            fs::rename(root, dir / "away");
        else
            fs::remove(root);
        EXPECT_TRUE(has_changes());
        step();
        EXPECT_EQ(hot->problem(), root + ": cannot be watched: No such file or directory");
        fs::create_directory(root);
        fill(in("a"), "");
        EXPECT_THAT(step(), ElementsAre("a")); // with the next step, whatever it is for
        EXPECT_EQ(hot->problem(), "");
        fs::remove_all(root);
        fs::create_directory(root);
    }
}

TEST_F(HotFolder, NoticesAnotherFolderInItsPlace)
{
    watch();
    step();
    fs::create_directory(dir / "new");
    fill(dir / "new/a", "");
    fs::rename(root, dir / "old");
    fs::rename(dir / "new", root);
    EXPECT_THAT(step(), ElementsAre("a"));
    fill(dir / "old/b", "");
    EXPECT_FALSE(has_changes());
    fill(in("c"), "");
    EXPECT_THAT(step(), ElementsAre("c"));
}

TEST_F(HotFolder, ReportsWhatItCannotWatch)
{
    watch();
    EXPECT_EQ(failure_without_descriptors([this] { hot->step(now_ms); }), "");
    EXPECT_EQ(hot->problem(), root + ": cannot be watched: Too many open files");
    fs::remove(root);
    fill(root, "a file");
    now_ms += 30000;
    step();
    EXPECT_EQ(hot->problem(), root + ": cannot be watched: Not a directory");
}
