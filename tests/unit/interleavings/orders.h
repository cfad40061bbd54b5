// The search through all ways in which a program can go on.
#pragma once

#include <cstddef>
#include <functional>
#include <unordered_set>
#include <vector>

class orders_t
{
public:
    // Begins a run: it repeats the decisions of the last one up to the one that go_back has changed.
    void begin() { decided_ = 0; }
    // Returns which of `choices` ways to take. -1: `state`, a hash, was seen before; what can follow is or
    // will be covered. -2: a repeated decision has other choices than before.
    int choose(size_t choices, const std::function<size_t()> &state);
    // After a run: goes back to the next way not taken. False if there is none.
    bool go_back();
    size_t states() const { return seen_.size(); }

private:
    struct decision_t {
        size_t choices;
        size_t chosen;
    };
    std::vector<decision_t> path_;
    size_t decided_ = 0; // decisions in this run
    std::unordered_set<size_t> seen_;
};
