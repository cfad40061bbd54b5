// Which entry is sent next.
#pragma once

#include "ftpspool/pauses.h"

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

// A server's next entry, as store_t::ready() orders them.
struct ready_t {
    int64_t server = 0;
    int64_t id = 0;
    int64_t priority = 0;
    bool urged = false; // does not wait for the end of a pause
};

struct choice_t {
    std::optional<ready_t> entry;
    int64_t wake_ms = 0; // without an entry: when a pause ends; 0 when no server has one
};

// Chooses among the servers that are not paused: the one with the highest priority, and among equals the one
// whose last turn is longest ago.
class chooser_t
{
public:
    // `lines` has the next entry of each server, `now_ms` is steady_ms(). Chooses none if all servers are
    // paused or `lines` is empty.
    choice_t choose(const std::vector<ready_t> &lines, const pauses_t &pauses, int64_t now_ms);

private:
    std::map<int64_t, int64_t> turn_of_; // by server: the number of its last turn
    int64_t turns_ = 0;

    bool goes_before(const ready_t &one, const ready_t &other) const;
    int64_t turn_of(int64_t server) const;
};
