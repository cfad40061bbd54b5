// Files to offer again: after growing pauses, then once in each round (wakeups.h).
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

// Times are milliseconds of steady_ms().
class recheck_list_t
{
public:
    // The first pause is short: the kernel reports a close a moment before the writer is gone.
    static constexpr int64_t FIRST_MS = 100;
    static constexpr int64_t LONGEST_MS = 10000; // a pause that would be longer ends with the round
    static constexpr size_t MOST = 64;

    // Adds the file, or restarts its pauses if it is in the list. False when the list is full.
    bool put(const std::string &path, int64_t now_ms);

    bool has(const std::string &path) const { return pauses_.contains(path); }

    // Calls `offer` for each file whose pause is over. True removes the file; after false the next pause is
    // four times as long.
    void offer_due(int64_t now_ms, const std::function<bool(const std::string &path)> &offer);

    // When the first pause ends; 0: none.
    int64_t next_ms() const;

private:
    struct pause_t {
        int64_t length_ms = 0;
        int64_t end_ms = 0;
    };
    std::map<std::string, pause_t> pauses_; // by path
};
