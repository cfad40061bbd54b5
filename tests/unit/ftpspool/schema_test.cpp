// Making and opening the database, and what is refused as one.
#include "spool_fixture.h"

#include "failing_calls.h"
#include "ftpspool/schema.h"

#include <csignal>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

using Schema = Spool;

TEST_F(Schema, MakesFilesForTheirOwnerOnly)
{
    umask(0);
    store_t store = open();
    add(store);
    EXPECT_EQ(mode_of(paths.folder), 0700u);
    EXPECT_EQ(mode_of(paths.database()), 0600u);
    EXPECT_EQ(mode_of(paths.database() + "-wal"), 0600u);
    EXPECT_THAT(names_in(paths.folder), ElementsAre("spool.db", "spool.db-shm", "spool.db-wal"));
    umask(022);
}

TEST_F(Schema, MakesADatabaseThatNeedsNoChangeByThoseWhoOpenIt)
{
    schema_make(paths);
    EXPECT_THAT(names_in(paths.folder), ElementsAre("spool.db"));
    const database_t database(paths.database(), database_t::access_t::READ, 64);
    EXPECT_EQ(database.text("PRAGMA journal_mode"), "wal");
}

TEST_F(Schema, RefusesAFileThatIsNoDatabase)
{
    std::filesystem::create_directory(paths.folder);
    fill(paths.database(), std::string(8192, 'x'));
    EXPECT_THROW(open(), damaged_t);
    EXPECT_THROW(store_t::open_to_read(paths), damaged_t);
    EXPECT_EQ(content_of(paths.database()), std::string(8192, 'x'));
}

TEST_F(Schema, TreatsAnEmptyFileAsDamaged)
{
    add(*std::make_unique<store_t>(open()));
    std::filesystem::resize_file(paths.database(), 0);
    std::filesystem::remove(paths.database() + "-wal");
    EXPECT_EQ(failure_of([&] { open(); }), "1 " + paths.database() + ": is not the database of a spool");
}

TEST_F(Schema, RefusesADatabaseOfALaterVersion)
{
    open();
    database_t(paths.database(), database_t::access_t::WRITE, 64).run("PRAGMA user_version = 2");
    EXPECT_EQ(failure_of([&] { open(); }),
              "1 " + paths.database() + ": was made by another version of ftpspool (2)");
}

TEST_F(Schema, SetsTheLogOfALostDatabaseAside)
{
    add(*std::make_unique<store_t>(open()));
    std::filesystem::remove(paths.database());
    EXPECT_FALSE(open().find(1));
    EXPECT_TRUE(std::filesystem::exists(paths.database() + ".left-wal"));
}

TEST_F(Schema, ReportsWhereItCannotBeMade)
{
    const spool_paths_t inside_file = {file + "/spool"};
    EXPECT_EQ(failure_of([&] { store_t::open(inside_file); }),
              "1 " + inside_file.database() + ": Not a directory");
    const spool_paths_t nowhere = {dir / "none/spool"};
    EXPECT_EQ(failure_of([&] { store_t::open(nowhere); }),
              "1 " + nowhere.folder + ": No such file or directory");
}

TEST_F(Schema, LeavesNothingBehindOnAFullDisk)
{
    rlimit usual = {};
    getrlimit(RLIMIT_FSIZE, &usual);
    const rlimit full = {0, usual.rlim_max};
    signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &full);
    const std::string failure = failure_of([&] { open(); });
    setrlimit(RLIMIT_FSIZE, &usual);
    signal(SIGXFSZ, SIG_DFL);
    EXPECT_THAT(failure, StartsWith("1 " + paths.database()));
    EXPECT_EQ(entries_of(paths.folder), 0u);
}

TEST_F(Schema, MakesTheWholeDatabaseOrNone)
{
    std::filesystem::create_directory(paths.folder);
    EXPECT_THAT(failure_without_descriptors([&] { open(); }), EndsWith(": Too many open files"));
    {
        const failing_call failing("link", EIO);
        EXPECT_EQ(failure_of([&] { open(); }), "1 " + paths.database() + ": Input/output error");
    }
    EXPECT_EQ(entries_of(paths.folder), 0u);
    const failing_call failing("fsync", EIO);
    EXPECT_EQ(failure_of([&] { open(); }), "1 " + paths.folder + ": Input/output error");
}

TEST_F(Schema, KeepsTheCopiesOfALostDatabase)
{
    std::filesystem::create_directories(paths.files());
    open(); // there is nothing to keep
    std::filesystem::remove(paths.database());
    fill(paths.files() + "/a", "a copy");
    testing::internal::CaptureStderr();
    {
        const failing_call failing("renameat2", EIO);
        EXPECT_EQ(failure_of([&] { open(); }), "1 " + paths.files() + ": Input/output error");
    }
    EXPECT_FALSE(std::filesystem::exists(paths.database()));
    std::filesystem::create_directory(paths.files() + ".left-1");
    open();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "ftpspool: copies without a database: they are kept as " + paths.files() + ".left-2\n");
    EXPECT_EQ(content_of(paths.files() + ".left-2/a"), "a copy");
}

TEST_F(Schema, KeepsTheEntriesOfManyFirstCommands)
{
    constexpr int COUNT = 8;
    std::vector<std::thread> makers;
    for (int i = 0; i < COUNT; i++)
        makers.emplace_back([&] { EXPECT_NO_THROW(add(*std::make_unique<store_t>(open()))); });
    for (std::thread &maker : makers)
        maker.join();
    int64_t count = 0;
    open().each(std::nullopt, [&](const entry_t &) { count++; });
    EXPECT_EQ(count, COUNT);
    EXPECT_FALSE(std::filesystem::exists(paths.database() + ".left-wal"));
}
