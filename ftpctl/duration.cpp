#include "ftpctl/duration.h"

#include <algorithm>
#include <charconv>
#include <cmath>

using std::chrono::milliseconds;

namespace
{

struct unit_t {
    std::string_view name;
    int64_t length_ms;
};

// The longest first.
constexpr unit_t UNITS[] = {{"d", 86400000}, {"h", 3600000}, {"m", 60000}, {"s", 1000}, {"ms", 1}};
constexpr double LONGEST_MS = 3650.0 * 86400000;

bool is_digit(char c) { return c >= '0' && c <= '9'; }

} // namespace

std::optional<milliseconds> duration_parse(std::string_view text)
{
    double number = 0;
    if (text.empty() || !(is_digit(text[0]) || text[0] == '.')) // neither a sign nor "inf"
        return std::nullopt;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    if (error != std::errc())
        return std::nullopt;
    const std::string_view name(end, static_cast<size_t>(text.data() + text.size() - end));
    const auto *unit = std::ranges::find(UNITS, name.empty() ? "s" : name, &unit_t::name);
    if (unit == std::end(UNITS))
        return std::nullopt;
    const double length_ms = number * static_cast<double>(unit->length_ms);
    return milliseconds(llround(std::min(length_ms, LONGEST_MS)));
}

std::string duration_text(milliseconds duration)
{
    const auto *unit = std::ranges::find_if(UNITS, [&](const unit_t &u) {
        return duration.count() % u.length_ms == 0 && duration.count() >= u.length_ms;
    });
    if (unit == std::end(UNITS))
        return "0s";
    return std::to_string(duration.count() / unit->length_ms) + std::string(unit->name);
}
