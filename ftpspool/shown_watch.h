// Watches as text and as JSON, as in shown.h.
#pragma once

#include "ftpspool/watches.h"

#include <string>

// One line of `watches`.
std::string shown_watch_line(const watch_t &watch);

// All that is known; null for what does not apply.
std::string shown_watch_json(const watch_t &watch);
