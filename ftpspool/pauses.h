// The pauses after failures, separate for each server: they grow, and are shortened at random.
#pragma once

#include <cstdint>
#include <functional>
#include <map>

// Times are milliseconds of steady_ms().
class pauses_t
{
public:
    // The n-th failure in a row is followed by a pause of first_ms * 2^(n-1), at most longest_ms, shortened
    // at random by up to half, so that devices that lost their server together do not return together.
    // `random` gives numbers from 0 to 1.
    pauses_t(int64_t first_ms, int64_t longest_ms, std::function<double()> random);

    // Begins a pause; returns its length.
    int64_t failed(int64_t key, int64_t now_ms);

    // Forgets the failures and ends the pause.
    void succeeded(int64_t key) { of_.erase(key); }

    // When the pause ends; 0 or a time in the past if there is none.
    int64_t end_ms(int64_t key) const;

private:
    struct pause_t {
        int64_t whole_ms = 0; // before the random part was left out
        int64_t end_ms = 0;
    };
    int64_t first_ms_;
    int64_t longest_ms_;
    std::function<double()> random_;
    std::map<int64_t, pause_t> of_;
};
