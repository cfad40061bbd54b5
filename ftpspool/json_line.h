// Writes a JSON object on one line, without building a tree first: lists may have many entries.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Each call adds a member. Keys must need no escapes. The text is what nlohmann::ordered_json prints without
// spaces, with U+FFFD for invalid UTF-8.
class json_line_t
{
public:
    json_line_t &text(const char *key, std::string_view value);
    json_line_t &text_or_null(const char *key, std::string_view value); // null for ""
    json_line_t &number(const char *key, int64_t value);
    json_line_t &number_or_null(const char *key, int64_t value); // null for 0
    json_line_t &truth(const char *key, bool value);

    // The whole object; nothing may be added afterwards.
    std::string finish();

private:
    std::string line_;

    void begin(const char *key);
    json_line_t &add(const char *key, std::string_view value);
};
