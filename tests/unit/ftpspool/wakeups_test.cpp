#include "ftpspool/wakeups.h"

#include "spool_fixture.h"

#include <poll.h>
#include <thread>

namespace
{

using Wakeups = Spool;

} // namespace

TEST_F(Wakeups, ComeWhenAWriterClosesTheFile)
{
    wakeups_t wakeups(file);
    fill(file, "more"); // it waits for the next wait()
    wakeups.wait({}, 0, 0);
    std::thread writer([&] { fill(file, "still more"); });
    wakeups.wait({}, 0, 0);
    writer.join();
    EXPECT_FALSE(wakeups.is_database_gone());
}

TEST_F(Wakeups, ComeAtTheirTimes)
{
    wakeups_t wakeups(file);
    const int64_t due_ms = steady_ms() + 30;
    wakeups.wait({}, due_ms, 0);
    EXPECT_GE(steady_ms(), due_ms);
    const int64_t due_s = wall_s() + 1;
    wakeups.wait({}, 0, due_s);
    EXPECT_GE(wall_s(), due_s);
    wakeups.wait({}, 1, wall_s() + 1000); // what is over comes at once
    wakeups.wait({}, steady_ms() + 100000, 1);
}

TEST_F(Wakeups, ComeWhenADescriptorIsReadable)
{
    wakeups_t wakeups(file);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[1]);
    wakeups.wait({ends[0], -1}, 0, 0);
    wakeups.wait({-1, ends[0]}, 0, 0);
    close(ends[0]);
}

TEST_F(Wakeups, NoticeThatTheDatabaseIsGone)
{
    wakeups_t wakeups(file);
    const database_t open_elsewhere(dir.file("db", ""), database_t::access_t::READ, 64);
    std::filesystem::rename(file, dir / "b");
    wakeups.wait({}, 0, 0);
    EXPECT_TRUE(wakeups.is_database_gone());
    fill(file, "another");
    EXPECT_TRUE(wakeups.is_database_gone());
    EXPECT_THAT(failure_of([&] { wakeups_t(dir / "none"); }),
                "1 " + dir / "none" + ": cannot be watched: No such file or directory");
}
