// Keeps the database's write-ahead log short while the service runs.
#pragma once

#include "ftpspool/database.h"

#include <cstdint>

class log_keeper_t
{
public:
    // A log of this size is written back into the database.
    static constexpr int64_t LIMIT_BYTES = int64_t{400} << 10;

    // `database` must outlive this object. From now on only step() writes its log back. Throws failure.
    explicit log_keeper_t(const database_t &database);

    // Writes a long log back and restarts it at once, because the first write to a restarted log costs an
    // fsync more, which no command should pay. If another process reads from the log meanwhile, the next
    // attempt follows when the log has grown by LIMIT_BYTES. After a failure everything is still in the log,
    // and safe.
    void step();

private:
    const database_t &database_;
    int64_t most_bytes_ = LIMIT_BYTES; // only a longer log is written back

    int64_t log_bytes() const;
    void write_back() const;
};
