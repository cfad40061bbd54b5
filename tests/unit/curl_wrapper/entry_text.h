// An entry of a listing as one line of text.
#pragma once

#include "curl_wrapper/curl_wrapper.h"

#include <cstdio>
#include <cstdlib>
#include <string>

// "name, owner, size, year-month-day hour:minute, attributes, link, kind", the attributes in hexadecimal.
inline std::string text_of(const list_info_t &entry)
{
    char text[1200];
    snprintf(text, sizeof text, "%s, %s, %lld, %d-%d-%d %d:%d, %s%x, %d, %d", entry.name, entry.owner,
             static_cast<long long>(entry.size), entry.year, entry.month, entry.day, entry.hour, entry.minute,
             entry.attributes < 0 ? "-" : "", static_cast<unsigned>(std::abs(entry.attributes)),
             entry.is_link, entry.kind);
    return text;
}
