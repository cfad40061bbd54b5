// A JSON object on one line, written as it is built: a list of many entries is printed without a tree for
// each.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Each call adds a member. Keys need no escapes. The text is what nlohmann::ordered_json would print: without
// spaces, with U+FFFD for what is no UTF-8.
class json_line_t
{
public:
    json_line_t &text(const char *key, std::string_view value);
    json_line_t &text_or_null(const char *key, std::string_view value); // null for ""
    json_line_t &number(const char *key, int64_t value);
    json_line_t &number_or_null(const char *key, int64_t value); // null for 0
    json_line_t &truth(const char *key, bool value);

    // The whole object; nothing may be added then.
    std::string finish();

private:
    std::string line_;

    void begin(const char *key);
    json_line_t &add(const char *key, std::string_view value);
};
