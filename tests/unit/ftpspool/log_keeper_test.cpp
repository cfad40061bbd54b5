#include "ftpspool/log_keeper.h"

#include "spool_fixture.h"

#include <chrono>

namespace
{

class LogKeeper : public Spool
{
protected:
    store_t store = open(); // the service's
    log_keeper_t keeper{store.database()};

    std::string log_path() const { return paths.database() + "-wal"; }
    std::string log() const { return content_of(log_path()); }
    int64_t log_bytes() const { return static_cast<int64_t>(std::filesystem::file_size(log_path())); }

    // How often the log was begun: a number in its head.
    int log_number() const
    {
        const std::string head = log().substr(12, 4);
        return static_cast<unsigned char>(head.back());
    }

    void make_log_longer_than(int64_t bytes) const
    {
        store_t command = open();
        while (log_bytes() <= bytes)
            add_many(command);
    }

    void add_many(const store_t &command) const
    {
        transaction_t transaction = command.begin_changes();
        for (int i = 0; i < 100; i++)
            command.insert(entry_to("ftp://one/" + std::string(2000, 'a')), "one");
        transaction.commit();
    }

    int64_t entries_in_database() const
    {
        std::filesystem::copy_file(paths.database(), dir / "copy",
                                   std::filesystem::copy_options::overwrite_existing);
        return database_t(dir / "copy", database_t::access_t::WRITE, 64)
            .number("SELECT count(*) FROM entries");
    }
};

} // namespace

TEST_F(LogKeeper, LeavesAShortLogAlone)
{
    add(store);
    const std::string before = log();
    keeper.step();
    EXPECT_EQ(log(), before);
}

TEST_F(LogKeeper, WritesALongLogBackAndReusesItsFile)
{
    for (int round = 0; round < 3; round++) {
        make_log_longer_than(3 * log_keeper_t::LIMIT_BYTES);
        const int number = log_number();
        const int64_t entries = store.database().number("SELECT count(*) FROM entries");
        keeper.step();
        EXPECT_EQ(entries_in_database(), entries);
        EXPECT_EQ(log_bytes(), log_keeper_t::LIMIT_BYTES);
        EXPECT_EQ(log_number(), number + 1);
        store_t command = open();
        add(command);
        EXPECT_EQ(log_number(), number + 1) << "the command has begun the log";
    }
}

// Nobody is asked to wait, and nothing is written in vain at each step.
TEST_F(LogKeeper, LetsTheLogGrowWhileItIsRead)
{
    make_log_longer_than(log_keeper_t::LIMIT_BYTES);
    const int number = log_number();
    {
        const database_t reader(paths.database(), database_t::access_t::READ, 64);
        reader.run("BEGIN; SELECT count(*) FROM entries");
        add(store);
        const auto begin = std::chrono::steady_clock::now();
        keeper.step();
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
        const std::string grown = log();
        EXPECT_GT(static_cast<int64_t>(grown.size()), log_keeper_t::LIMIT_BYTES);
        for (int i = 0; i < 10; i++)
            keeper.step();
        EXPECT_EQ(log(), grown);
        EXPECT_EQ(log_number(), number);
    }
    make_log_longer_than(3 * log_keeper_t::LIMIT_BYTES);
    keeper.step();
    EXPECT_EQ(log_number(), number + 1);
    EXPECT_EQ(log_bytes(), log_keeper_t::LIMIT_BYTES);
}

TEST_F(LogKeeper, GoesOnWhenTheLogCannotBeWrittenBack)
{
    make_log_longer_than(log_keeper_t::LIMIT_BYTES);
    EXPECT_EQ(failure_without_descriptors([this] { keeper.step(); }), "");
    add(store);
    EXPECT_EQ(open().figures().counts[0], store.database().number("SELECT count(*) FROM entries"));
}

// Without a service.
TEST_F(LogKeeper, IsNotNeededForALogThatMustNotFillTheDisk)
{
    make_log_longer_than(int64_t{14} << 20);
    EXPECT_EQ(entries_in_database(), 0);
    store_t command = open();
    for (int i = 0; i < 20; i++)
        add_many(command);
    EXPECT_GT(entries_in_database(), 0);
    EXPECT_LT(log_bytes(), int64_t{17} << 20);
}
