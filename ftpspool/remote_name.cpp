#include "ftpspool/remote_name.h"

#include "ftpctl/failure.h"

#include <algorithm>
#include <charconv>
#include <ctime>
#include <string_view>

namespace
{

struct placeholder_t {
    std::string_view name;
    std::string (*value)(const remote_facts_t &facts);
};

} // namespace

constexpr size_t WIDTH_MOST = 18;
constexpr std::string_view COUNTER_OF_WIDTH = "counter:";
constexpr std::string_view CONVERSIONS = "aAbBCdFgGHIjmMpRSTuUVwWyY%";

[[noreturn]] static void refuse_name(const std::string &line) { refuse("--name: " + line); }

// A leading dot does not start an extension.
static size_t base_length(const std::string &name)
{
    const size_t dot = name.rfind('.');
    return dot == 0 ? name.size() : std::min(dot, name.size());
}

constexpr placeholder_t PLACEHOLDERS[] = {
    {"name", [](const remote_facts_t &facts) { return facts.name; }},
    {"base", [](const remote_facts_t &facts) { return facts.name.substr(0, base_length(facts.name)); }},
    {"extension", [](const remote_facts_t &facts) { return facts.name.substr(base_length(facts.name)); }},
    {"host", [](const remote_facts_t &facts) { return facts.host; }},
    {"counter", [](const remote_facts_t &facts) { return std::to_string(facts.counter); }},
};

static std::string padded(const remote_facts_t &facts, std::string_view digits)
{
    size_t width = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), width);
    if (error != std::errc() || end != digits.data() + digits.size() || width < 1 || width > WIDTH_MOST)
        refuse_name("{counter:N}: N must be a number from 1 to " + std::to_string(WIDTH_MOST));
    const std::string number = std::to_string(facts.counter);
    return std::string(width - std::min(width, number.size()), '0') + number;
}

static std::string placeholder(const remote_facts_t &facts, std::string_view name)
{
    if (name.starts_with(COUNTER_OF_WIDTH))
        return padded(facts, name.substr(COUNTER_OF_WIDTH.size()));
    const auto *found = std::ranges::find(PLACEHOLDERS, name, &placeholder_t::name);
    if (found == std::end(PLACEHOLDERS))
        refuse_name(std::string("{").append(name).append(
            "} is unknown; there are {name}, {base}, {extension}, {host}, {counter} and {counter:6}"));
    return found->value(facts);
}

static std::string conversion(const remote_facts_t &facts, std::string_view letter)
{
    if (letter.empty() || CONVERSIONS.find(letter) == CONVERSIONS.npos)
        refuse_name(std::string("%").append(letter).append(
            " is unknown; there are %Y %m %d %H %M %S and more, and %% for a '%'"));
    const char format[] = {'%', letter[0], '\0'};
    const auto seconds = static_cast<time_t>(facts.changed_s);
    tm parts = {};
    char text[64] = "";
    gmtime_r(&seconds, &parts);
    return {text, strftime(text, sizeof text, format, &parts)};
}

std::string remote_name(const std::string &pattern, const remote_facts_t &facts)
{
    std::string made;
    for (size_t i = 0; i < pattern.size(); i++) {
        if (pattern[i] == '%') {
            made += conversion(facts, std::string_view(pattern).substr(++i, 1));
        } else if (pattern[i] == '{') {
            const size_t end = pattern.find('}', i);
            if (end == pattern.npos)
                refuse_name("'}' is missing");
            made += placeholder(facts, std::string_view(pattern).substr(i + 1, end - i - 1));
            i = end;
        } else {
            made += pattern[i];
        }
    }
    return made.empty() || made.back() == '/' ? made + facts.name : made;
}

void remote_name_check(const std::string &pattern)
{
    if (pattern.empty() || pattern.front() == '/' || pattern.back() == '/')
        refuse_name("must name a file, and neither begin nor end with '/'");
    remote_name(pattern, {"a", "a", 0, 0});
}
