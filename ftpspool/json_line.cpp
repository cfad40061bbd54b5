#include "ftpspool/json_line.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

static bool needs_no_escape(unsigned char byte)
{
    return byte >= 0x20 && byte < 0x7F && byte != '"' && byte != '\\';
}

void json_line_t::begin(const char *key)
{
    line_ += line_.empty() ? "{\"" : ",\"";
    line_ += key;
    line_ += "\":";
}

json_line_t &json_line_t::add(const char *key, std::string_view value)
{
    begin(key);
    line_ += value;
    return *this;
}

// Most texts need no escapes, and so not the library.
json_line_t &json_line_t::text(const char *key, std::string_view value)
{
    if (!std::ranges::all_of(value, needs_no_escape))
        return add(key, nlohmann::json(value).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
    begin(key);
    line_ += '"';
    line_ += value;
    line_ += '"';
    return *this;
}

json_line_t &json_line_t::text_or_null(const char *key, std::string_view value)
{
    return value.empty() ? add(key, "null") : text(key, value);
}

json_line_t &json_line_t::number(const char *key, int64_t value) { return add(key, std::to_string(value)); }

json_line_t &json_line_t::number_or_null(const char *key, int64_t value)
{
    return value == 0 ? add(key, "null") : number(key, value);
}

json_line_t &json_line_t::truth(const char *key, bool value) { return add(key, value ? "true" : "false"); }

std::string json_line_t::finish()
{
    line_ += line_.empty() ? "{}" : "}";
    return std::move(line_);
}
