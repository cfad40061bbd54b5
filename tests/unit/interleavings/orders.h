// The ways a program can go on: those that were taken, and which is next.
#pragma once

#include <cstddef>
#include <functional>
#include <unordered_set>
#include <vector>

class orders_t
{
public:
    // A run begins: it takes the decisions of the last one again, up to the one that go_back has changed.
    void begin() { decided_ = 0; }
    // Which of `choices` ways is taken now. -1 when `state`, a hash, has been seen before: all that can
    // follow has been taken or will be, from there. -2 when a decision that is taken again has other choices.
    int choose(size_t choices, const std::function<size_t()> &state);
    // A run has ended: to the next way that was not taken. False when there is none.
    bool go_back();
    size_t states() const { return seen_.size(); }

private:
    struct decision_t {
        size_t choices;
        size_t chosen;
    };
    std::vector<decision_t> path_;
    size_t decided_ = 0; // of this run
    std::unordered_set<size_t> seen_;
};
