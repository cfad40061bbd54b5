// Watches as text and as JSON, as in entry_text.h.
#pragma once

#include "ftpspool/watches.h"

#include <string>

// One line of `watches`.
std::string watch_line(const watch_t &watch);

// All that is known; null for what does not apply.
std::string watch_json(const watch_t &watch);
