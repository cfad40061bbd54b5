// Durations as people write them.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

// Reads "90", "1.5" (seconds), "500ms", "90s", "5m", "1h", "2d". Nothing for anything else or a negative
// duration. More than ten years count as ten years.
std::optional<std::chrono::milliseconds> duration_parse(std::string_view text);

// The shortest form: "10m", "90s", "500ms".
std::string duration_text(std::chrono::milliseconds duration);
