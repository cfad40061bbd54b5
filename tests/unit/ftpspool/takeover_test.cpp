#include "ftpspool/takeover.h"

#include "ftpspool/copies.h"

#include "failing_calls.h"
#include "spool_fixture.h"

namespace
{

using Takeover = Spool;

} // namespace

TEST_F(Takeover, AllowsOneServiceAtATime)
{
    const descriptor first = takeover_lock(paths);
    EXPECT_EQ(mode_of(paths.folder), 0700u);
    EXPECT_EQ(failure_of([&] { takeover_lock(paths); }), "4 " + paths.folder + ": another ftpspool runs");
    descriptor(first.get()).release(); // still held
    EXPECT_NE(failure_of([&] { takeover_lock(paths); }), "");
}

TEST_F(Takeover, ReleasesTheLockWithItsOwner)
{
    takeover_lock(paths);
    EXPECT_EQ(failure_of([&] { takeover_lock(paths); }), "");
    EXPECT_EQ(failure_of([&] { takeover_lock({file}); }), "1 " + file + "/lock: Not a directory");
}

TEST_F(Takeover, OpensASoundSpool)
{
    store_t made = open();
    add(made);
    EXPECT_TRUE(takeover_open(paths).find(1));
}

TEST_F(Takeover, SetsADamagedDatabaseAsideWithItsLog)
{
    for (const char *number : {"1", "2"}) {
        std::filesystem::create_directory(paths.folder);
        fill(paths.database(), std::string(8192, *number));
        fill(paths.database() + "-wal", "log");
        const std::string aside = paths.database() + ".damaged-" + number;
        EXPECT_THAT(failure_of([&] { takeover_open(paths); }),
                    EndsWith("; it is kept as " + aside + ", and the next start begins with an empty spool"));
        EXPECT_EQ(content_of(aside), std::string(8192, *number));
        EXPECT_EQ(content_of(aside + "-wal"), "log");
        EXPECT_FALSE(std::filesystem::exists(paths.database()));
    }
    store_t next = takeover_open(paths);
    EXPECT_EQ(add(next), 1);
}

// The producers may have deleted their files.
TEST_F(Takeover, SetsTheCopiesOfADamagedDatabaseAside)
{
    std::filesystem::create_directories(paths.files());
    fill(paths.files() + "/abcdef", "content");
    fill(paths.database(), std::string(8192, 'x'));
    fill(paths.database() + ".damaged-1", "an earlier one");
    EXPECT_THAT(failure_of([&] { takeover_open(paths); }),
                HasSubstr(".damaged-2, the copies as " + paths.files() + ".damaged-2, and the next start"));
    const store_t next = takeover_open(paths);
    copies_sweep(next);
    EXPECT_EQ(content_of(paths.files() + ".damaged-2/abcdef"), "content");
}

TEST_F(Takeover, LeavesADatabaseOfALaterVersionInPlace)
{
    open();
    database_t(paths.database(), database_t::access_t::WRITE, 64).run("PRAGMA user_version = 2");
    EXPECT_THAT(failure_of([&] { takeover_open(paths); }), HasSubstr("another version"));
    EXPECT_TRUE(std::filesystem::exists(paths.database()));
}

TEST_F(Takeover, ReportsThatItCouldNotSetADatabaseAside)
{
    std::filesystem::create_directory(paths.folder);
    fill(paths.database(), std::string(8192, 'x'));
    const failing_call failing("renameat2", EROFS);
    EXPECT_THAT(failure_of([&] { takeover_open(paths); }),
                EndsWith("; it could not be kept aside: Read-only file system"));
    EXPECT_TRUE(std::filesystem::exists(paths.database()));
}
