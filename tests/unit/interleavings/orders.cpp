#include "orders.h"

int orders_t::choose(size_t choices, const std::function<size_t()> &state)
{
    if (decided_ == path_.size()) {
        if (!seen_.insert(state()).second)
            return -1;
        path_.push_back({choices, 0});
    }
    const decision_t &decision = path_[decided_++];
    return decision.choices == choices ? static_cast<int>(decision.chosen) : -2;
}

bool orders_t::go_back()
{
    while (!path_.empty() && path_.back().chosen + 1 == path_.back().choices)
        path_.pop_back();
    if (path_.empty())
        return false;
    path_.back().chosen++;
    return true;
}
