#include "ftpspool/database.h"

#include "spool_fixture.h"

namespace
{

class Database : public Spool
{
protected:
    std::string path = dir.file("db", "");
    database_t database{path, database_t::access_t::WRITE, 64};
    void SetUp() override { database.run("CREATE TABLE t (n INTEGER, s TEXT)"); }
    int64_t rows() const { return database.number("SELECT count(*) FROM t"); }
};

} // namespace

TEST_F(Database, KeepsNumbersAndTexts)
{
    const std::string odd("a\0b\xff", 4);
    statement_t insert(database, "INSERT INTO t VALUES (?1, ?2)");
    insert.with(int64_t{1} << 40, odd).run();
    insert.with(int64_t{-1}, std::string_view()).run();
    EXPECT_EQ(database.last_id(), 2);
    EXPECT_EQ(database.changed(), 1);
    statement_t query(database, "SELECT n, s, NULL FROM t ORDER BY n DESC");
    ASSERT_TRUE(query.next());
    EXPECT_EQ(query.number(0), int64_t{1} << 40);
    EXPECT_EQ(query.text(1), odd);
    EXPECT_EQ(query.number(2), 0);
    EXPECT_EQ(query.text(2), "");
    ASSERT_TRUE(query.next());
    EXPECT_EQ(query.text(1), "");
    EXPECT_FALSE(query.next());
}

TEST_F(Database, CommitsAllOrNothing)
{
    {
        transaction_t transaction(database);
        database.run("INSERT INTO t VALUES (1, '')");
    }
    EXPECT_EQ(rows(), 0);
    {
        transaction_t transaction(database);
        database.run("INSERT INTO t VALUES (1, '')");
        transaction.commit();
    }
    EXPECT_EQ(rows(), 1);
    {
        transaction_t transaction(database);
        database.run("ROLLBACK"); // as SQLite does by itself when the disk is full
    }
    EXPECT_EQ(rows(), 1);
}

TEST_F(Database, ReportsWhatItCannotDo)
{
    EXPECT_EQ(failure_of([&] { database.run("DROP TABLE none"); }), "1 " + path + ": no such table: none");
    EXPECT_EQ(failure_of([&] { statement_t(database, "SELECT none FROM t"); }),
              "1 " + path + ": no such column: none");
    EXPECT_EQ(failure_of([&] { database_t(dir / "none", database_t::access_t::READ, 64); }),
              "1 " + dir / "none" + ": unable to open database file");
    const database_t reading(path, database_t::access_t::READ, 64);
    EXPECT_EQ(failure_of([&] { reading.run("DELETE FROM t"); }),
              "1 " + path + ": attempt to write a readonly database");
}

TEST_F(Database, ReportsADamagedFile)
{
    fill(dir / "text", std::string(8192, 'x'));
    EXPECT_THROW(database_t(dir / "text", database_t::access_t::WRITE, 64).number("SELECT count(*) FROM t"),
                 damaged_t);
}
