#include "ftpctl/duration.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

using std::chrono::milliseconds;

namespace
{

struct unit_t {
    std::string_view name;
    int64_t length_ms;
};

} // namespace

// The longest first.
constexpr unit_t UNITS[] = {{"d", 86400000}, {"h", 3600000}, {"m", 60000}, {"s", 1000}, {"ms", 1}};
constexpr double LONGEST_MS = 3650.0 * 86400000;

std::optional<milliseconds> duration_parse(std::string_view text)
{
    // No sign, exponent, hexadecimal number or "inf", which strtod() would accept.
    const std::string digits(text.substr(0, text.find_first_not_of("0123456789.")));
    char *end = nullptr;
    const double number = strtod(digits.c_str(), &end);
    if (end == digits.c_str())
        return std::nullopt;
    const std::string_view name = text.substr(static_cast<size_t>(end - digits.c_str()));
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
