// Files to be looked at again, each after a pause that grows.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

// Times are milliseconds of steady_ms().
class recheck_list_t
{
public:
    // The first pause is short: a file is reported as closed a moment before its writer lets go of it.
    static constexpr int64_t FIRST_MS = 100;
    static constexpr int64_t LONGEST_MS = 30000;
    static constexpr size_t MOST = 64;

    // False when there are too many.
    bool put(const std::string &path, int64_t now_ms);

    // Calls `offer` for each file whose pause is over; false: the next pause is twice as long.
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
