// Durations as people write them.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

// Reads "90", "1.5" (seconds), "500ms", "90s", "5m", "1h", "2d", rounded to milliseconds. Nothing for
// anything else or a negative duration. More than ten years count as ten years.
std::optional<std::chrono::milliseconds> duration_parse(std::string_view text);

// As the largest unit of which it is a multiple: "10m", "90s", "500ms"; "0s" for 0.
std::string duration_text(std::chrono::milliseconds duration);
