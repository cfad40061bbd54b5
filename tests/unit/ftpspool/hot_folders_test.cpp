// `ftpspool run` with watched folders, the whole program, against a daemon that follows a script.
#include "server_script.h"
#include "spool_fixture.h"

#include "ftpspool/hot_folders.h"

namespace fs = std::filesystem;

namespace
{

class HotFolders : public Spool
{
protected:
    std::string root = dir / "in";
    fake_daemon daemon{uploading({whole()})};

    void SetUp() override { fs::create_directory(root); }

    int64_t watch(const std::string &folder) const
    {
        watch_t watch;
        watch.folder = folder;
        watch.entry.target.url = "ftp://one/";
        return watches_t(open()).add(watch);
    }

    program service(std::vector<std::string> more = {}) const
    {
        std::vector<std::string> words = {"--spool", paths.folder, "run", "--socket", daemon.path()};
        words.insert(words.end(), more.begin(), more.end());
        return program(words);
    }

    std::string in(const std::string &name) const { return root + "/" + name; }

    static std::string stop(program &service)
    {
        service.signal(SIGTERM);
        const outcome_t outcome = service.wait();
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return outcome.out;
    }
};

} // namespace

TEST_F(HotFolders, SendPresentAndNewFiles)
{
    fill(in("a"), "0123456789");
    watch(root);
    program running = service();
    ASSERT_TRUE(running.has_printed("1 done: "));
    fill(in("b"), "0123456789");
    ASSERT_TRUE(running.has_printed("2 done: "));
    EXPECT_THAT(stop(running), StartsWith("started (no entries)\n"
                                          "1 queued: " +
                                          in("a") +
                                          " -> ftp://one/a\n"
                                          "1 sending: " +
                                          in("a") + " -> ftp://one/a\n"));
}

TEST_F(HotFolders, FollowAddedAndRemovedWatches)
{
    program running = service();
    ASSERT_TRUE(running.has_printed("started"));
    fs::create_directory(dir / "second");
    const int64_t first = watch(root);
    watch(dir / "second");
    fill(in("a"), "0123456789");
    ASSERT_TRUE(running.has_printed("1 done: "));
    ASSERT_TRUE(watches_t(open()).remove(first));
    fill(in("b"), "0123456789");
    fill(dir / "second/c", "0123456789");
    ASSERT_TRUE(running.has_printed("/second/c -> ftp://one/c (10 of"));
    EXPECT_THAT(stop(running), testing::Not(HasSubstr("/in/b")));
}

TEST_F(HotFolders, FailTheEntryOfARefusedName)
{
    fill(in("a#"), "0123456789");
    watch(root);
    program running = service();
    ASSERT_TRUE(running.has_printed("1 failed: " + in("a#") + " -> ftp://one/a%23"));
    fill(in("b"), "0123456789");
    ASSERT_TRUE(running.has_printed("2 done: "));
    EXPECT_EQ(open().find(1)->error, "usage");
    stop(running);
}

// An upload may take hours.
TEST_F(HotFolders, QueueFilesWhileOneIsSent)
{
    fake_daemon slow(endless(2));
    watch(root);
    fill(in("a"), "0123456789");
    program running({"--spool", paths.folder, "run", "--socket", slow.path()});
    ASSERT_TRUE(running.has_printed("1 sending: "));
    fill(in("b"), "0123456789");
    EXPECT_TRUE(running.has_printed("2 queued: "));
    stop(running);
}

TEST_F(HotFolders, ReportALostFolderOnceAndItsReturn)
{
    watch(root);
    fs::remove(root);
    program running = service({"--json"});
    ASSERT_TRUE(running.has_printed("\"lost\""));
    fs::create_directory(root);
    fill(in("a"), "0123456789");
    watch(dir.path.string()); // it wakes the service
    ASSERT_TRUE(running.has_printed("\"found\""));
    ASSERT_TRUE(running.has_printed("\"done\"", 1));
    const std::string out = stop(running);
    const size_t begin = out.find("{\"event\":\"lost\"");
    const json lost = json::parse(out.substr(begin, out.find('\n', begin) - begin));
    EXPECT_EQ(lost["watch"], 1);
    EXPECT_EQ(lost["folder"], root);
    EXPECT_EQ(lost["message"], root + ": cannot be watched: No such file or directory");
    EXPECT_EQ(out.find("\"lost\"", begin + 12), out.npos);
}

TEST_F(HotFolders, ThrowWithoutDescriptors)
{
    const store_t store = open();
    event_output_t events(false, "");
    EXPECT_EQ(failure_without_descriptors([&] { hot_folders_t(store, events); }),
              "1 epoll: Too many open files");
}
