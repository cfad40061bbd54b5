#include "ftpspool/after_arrival.h"

#include "failing_calls.h"
#include "ftpspool/file_identity.h"
#include "spool_fixture.h"

namespace
{

class AfterArrival : public Spool
{
protected:
    entry_t entry;
    std::string moved_to = dir / "sent";

    void SetUp() override
    {
        entry = entry_to("ftp://one/a");
        entry.identity = file_identify(file).text;
        entry.move_to = moved_to;
        std::filesystem::create_directory(moved_to);
    }
    bool is_there() const { return std::filesystem::exists(file); }
};

} // namespace

TEST_F(AfterArrival, KeepsDeletesOrMovesTheFile)
{
    EXPECT_EQ(after_arrival(entry), "");
    EXPECT_TRUE(is_there());
    entry.after = after_t::MOVE;
    EXPECT_EQ(after_arrival(entry), "");
    EXPECT_FALSE(is_there());
    EXPECT_EQ(content_of(moved_to + "/a"), "0123456789");
    std::filesystem::rename(moved_to + "/a", file);
    entry.after = after_t::DELETE;
    EXPECT_EQ(after_arrival(entry), "");
    EXPECT_FALSE(is_there());
}

TEST_F(AfterArrival, MayBeRepeated)
{
    for (const after_t after : {after_t::DELETE, after_t::MOVE}) {
        fill(file, "0123456789");
        entry.identity = file_identify(file).text;
        entry.after = after;
        EXPECT_EQ(after_arrival(entry), "");
        EXPECT_EQ(after_arrival(entry), "");
    }
    EXPECT_THAT(names_in(moved_to), ElementsAre("a"));
}

TEST_F(AfterArrival, KeepsAFileThatHasChangedSinceItWasSent)
{
    std::filesystem::rename(file, dir / "old");
    fill(file, "0123456789");
    for (const after_t after : {after_t::DELETE, after_t::MOVE}) {
        entry.after = after;
        EXPECT_EQ(after_arrival(entry), file + ": has changed since it was sent, and is kept");
        EXPECT_TRUE(is_there());
    }
}

TEST_F(AfterArrival, MovesToAFreeName)
{
    entry.after = after_t::MOVE;
    for (const char *name : {"a", "a.1", "a.2"}) {
        fill(file, name);
        entry.identity = file_identify(file).text;
        EXPECT_EQ(after_arrival(entry), "");
        EXPECT_EQ(content_of(moved_to + "/" + name), name);
    }
}

// As on NFS.
TEST_F(AfterArrival, MovesToAFreeNameWithoutTheKernelsOwnCall)
{
    const failing_call failing("renameat2", EINVAL);
    entry.after = after_t::MOVE;
    for (const char *name : {"a", "a.1"}) {
        fill(file, name);
        entry.identity = file_identify(file).text;
        EXPECT_EQ(after_arrival(entry), "");
        EXPECT_EQ(content_of(moved_to + "/" + name), name);
        EXPECT_FALSE(is_there());
    }
}

TEST_F(AfterArrival, ReportsWhatCouldNotBeDone)
{
    entry.after = after_t::MOVE;
    entry.move_to = dir / "none";
    EXPECT_EQ(after_arrival(entry),
              file + ": could not be moved to " + dir / "none" + ": No such file or directory");
    EXPECT_TRUE(is_there());
    std::filesystem::create_directory(dir / "folder");
    fill(dir / "folder/a", "x");
    entry.local = "/proc/self/status"; // a regular file that nobody can delete
    entry.identity = file_identify(entry.local).text;
    entry.after = after_t::DELETE;
    EXPECT_THAT(after_arrival(entry), StartsWith("/proc/self/status: could not be deleted: "));
}

TEST_F(AfterArrival, RemovesTheCopyAndComparesTheOriginalWithWhatWasCopied)
{
    entry.copy = dir.file("copy", "0123456789");
    entry.original = entry.identity;
    entry.identity = file_identify(entry.copy).text;
    EXPECT_EQ(after_arrival(entry), "");
    EXPECT_TRUE(is_there());
    EXPECT_FALSE(std::filesystem::exists(entry.copy));
    entry.after = after_t::DELETE;
    EXPECT_EQ(after_arrival(entry), "");
    EXPECT_FALSE(is_there());
}
