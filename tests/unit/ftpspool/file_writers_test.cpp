#include "ftpspool/file_writers.h"

#include "as_nobody.h"
#include "spool_fixture.h"

#include "strutil/guards.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <thread>

namespace
{

using FileWriters = Spool;

descriptor opened(const std::string &path, int flags)
{
    return descriptor(open(path.c_str(), flags | O_CLOEXEC));
}

} // namespace

TEST_F(FileWriters, AreHeldOffFromAClosedFile)
{
    const descriptor reader = opened(file, O_RDONLY);
    const descriptor another_reader = opened(file, O_RDONLY);
    EXPECT_EQ(writers_hold_off(reader.get()), writers_t::NONE);
    EXPECT_EQ(::open(file.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK), -1);
    EXPECT_EQ(errno, EWOULDBLOCK);
}

TEST_F(FileWriters, AreFoundWhileOneHasTheFileOpen)
{
    const descriptor reader = opened(file, O_RDONLY);
    for (const int flags : {O_WRONLY, O_RDWR | O_APPEND}) {
        const descriptor writer = opened(file, flags);
        EXPECT_EQ(writers_hold_off(reader.get()), writers_t::SOME);
    }
    EXPECT_EQ(writers_hold_off(reader.get()), writers_t::NONE);
}

TEST_F(FileWriters, IncludeWritableMappings)
{
    void *mapped = nullptr;
    {
        const descriptor writer = opened(file, O_RDWR);
        mapped = mmap(nullptr, 10, PROT_WRITE, MAP_SHARED, writer.get(), 0);
        ASSERT_NE(mapped, MAP_FAILED);
    }
    const descriptor reader = opened(file, O_RDONLY);
    EXPECT_EQ(writers_hold_off(reader.get()), writers_t::SOME);
    munmap(mapped, 10);
    EXPECT_EQ(writers_hold_off(reader.get()), writers_t::NONE);
}

// The kernel's usual signal to the holder would end this program.
TEST_F(FileWriters, WaitForTheHolderWithoutHarmingIt)
{
    descriptor reader = opened(file, O_RDONLY);
    ASSERT_EQ(writers_hold_off(reader.get()), writers_t::NONE);
    std::thread writer([this] { fill(file, "more"); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(content_of(file), "0123456789");
    reader.close();
    writer.join();
    EXPECT_EQ(content_of(file), "more");
}

TEST_F(FileWriters, AreUnknownWhereNoLeaseCanBeTaken)
{
    const descriptor device = opened("/dev/null", O_RDONLY);
    EXPECT_EQ(writers_hold_off(device.get()), writers_t::UNKNOWN);
    const descriptor foreign = opened(file, O_RDONLY);
    const as_nobody other;
    if (!other.is_other()) {
        // CI runs as root and so runs this: a file of another user is needed.
        GTEST_SKIP() << "only root can become another user";
    }
    EXPECT_EQ(writers_hold_off(foreign.get()), writers_t::UNKNOWN);
}

TEST_F(FileWriters, AreAssumedGoneFiveSecondsFromTheLastChange)
{
    struct stat status = {};
    status.st_mtim = {NOW_S, 999999999};
    for (const int64_t away_s : {0, 1, 4})
        EXPECT_FALSE(has_settled(status, NOW_S + away_s) || has_settled(status, NOW_S - away_s)) << away_s;
    for (const int64_t away_s : {5, 6, 100000000})
        EXPECT_TRUE(has_settled(status, NOW_S + away_s) && has_settled(status, NOW_S - away_s)) << away_s;
}
