// Keeps the database's write-ahead log short while the service runs.
#pragma once

#include "ftpspool/database.h"

#include <cstdint>

class log_keeper_t
{
public:
    // A log of this size is written back into the database.
    static constexpr int64_t LIMIT_BYTES = int64_t{400} << 10;

    // `database` must live longer. From now on only step() writes its log back. Throws failure.
    explicit log_keeper_t(const database_t &database);

    // Writes a long log back, whoever made it long, and begins it anew at once: the process that begins the
    // log needs one more fsync, and no command is to be that one. While another process reads what the log
    // has, it grows by LIMIT_BYTES before the next attempt. A failure leaves all in the log, where it is safe.
    void step();

private:
    const database_t &database_;
    int64_t most_bytes_ = LIMIT_BYTES; // a log that is not longer is left alone

    int64_t log_bytes() const;
    void write_back() const;
};
