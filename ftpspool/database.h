// SQLite, as far as the store needs it: one connection, its statements and transactions.
//
// Every failure is thrown as failure (STATUS_LOCAL) with the file's name and SQLite's text, or as damaged_t
// if the file is damaged. Waits up to 10 s for a file that another process has locked.
#pragma once

#include "ftpctl/failure.h"

#include <cstdint>
#include <memory>
#include <sqlite3.h>
#include <string>
#include <string_view>

// The file is not a database, or its content is inconsistent.
struct damaged_t : failure {
    using failure::failure;
};

class database_t;

// A prepared statement. It must not outlive its database.
class statement_t
{
public:
    // Prepares the first statement of `sql`; throws for one that SQLite does not accept.
    statement_t(const database_t &database, const char *sql);

    // Restarts the statement with these values of ?1, ?2, ...
    template <typename... Values> statement_t &with(const Values &...values)
    {
        sqlite3_reset(made_.get());
        int index = 0;
        (set(++index, values), ...);
        return *this;
    }

    // Moves to the next row; false after the last one. Invalidates the texts of the previous row.
    bool next();

    // Runs a statement that has no rows.
    void run() { next(); }

    // A column of the current row, counted from 0. NULL is read as 0 or "".
    int64_t number(int column) const { return sqlite3_column_int64(made_.get(), column); }
    std::string_view text(int column) const;

private:
    struct finalize_t {
        void operator()(sqlite3_stmt *statement) const { sqlite3_finalize(statement); }
    };
    const database_t *database_;
    std::unique_ptr<sqlite3_stmt, finalize_t> made_;

    void set(int index, int64_t value);
    void set(int index, std::string_view value);
};

class database_t
{
public:
    enum class access_t { READ, WRITE };

    // Opens an existing file. The cache takes `cache_kib` at most.
    database_t(const std::string &path, access_t access, int cache_kib);

    // Runs one statement or several, separated by ';'. Ignores their rows.
    void run(const std::string &sql) const;

    // Writes the write-ahead log back into the database; while another process reads an earlier state, only a
    // part of it. Nobody else can write meanwhile.
    void write_log_back() const;

    // The first column of the first row of a query without parameters.
    int64_t number(const char *sql) const { return first(sql).number(0); }
    std::string text(const char *sql) const { return std::string(first(sql).text(0)); }

    // The id of the last INSERT, and the number of rows that the last statement changed, by this connection.
    int64_t last_id() const { return sqlite3_last_insert_rowid(made_.get()); }
    int64_t changed() const { return sqlite3_changes(made_.get()); }
    int64_t changed_in_all() const { return sqlite3_total_changes(made_.get()); } // since it was opened

    // Throws unless the code is SQLITE_OK, SQLITE_ROW or SQLITE_DONE.
    void check(int code) const;

    const std::string &path() const { return path_; }

private:
    friend class statement_t;
    struct close_t {
        void operator()(sqlite3 *database) const { sqlite3_close(database); }
    };
    std::string path_;
    std::unique_ptr<sqlite3, close_t> made_;

    statement_t first(const char *sql) const;
};

// A transaction for one scope: without commit() the destructor undoes all its changes. Meanwhile other
// connections can read but not write.
class transaction_t
{
public:
    explicit transaction_t(const database_t &database) : database_(database)
    {
        database.run("BEGIN IMMEDIATE");
    }
    ~transaction_t();
    transaction_t(const transaction_t &) = delete;
    transaction_t &operator=(const transaction_t &) = delete;

    // Returns when the changes are on the disk.
    void commit();

private:
    const database_t &database_;
    bool is_open_ = true;
};
