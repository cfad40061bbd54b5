#include "curl_wrapper/redact.h"

#include <cstring>
#include <strings.h>

constexpr std::string_view HIDDEN = "****";

// The rest of a line that begins with one of these is a credential.
constexpr std::string_view LEADS[] = {"PASS ", "Authorization:", "Proxy-Authorization:"};

static bool begins_with(std::string_view line, std::string_view lead)
{
    return line.size() >= lead.size() && strncasecmp(line.data(), lead.data(), lead.size()) == 0;
}

static char *put(char *dst, std::string_view text)
{
    return static_cast<char *>(mempcpy(dst, text.data(), text.size()));
}

// Moves text up to and including the first URL with a user part from `rest` to the output, redacted; without
// such a URL, moves all of it.
static char *put_redacted_url(char *dst, std::string_view &rest)
{
    constexpr std::string_view AUTHORITY = "://";
    const size_t mark = rest.find(AUTHORITY);
    if (mark == std::string_view::npos) {
        dst = put(dst, rest);
        rest = {};
        return dst;
    }
    const size_t host = mark + AUTHORITY.size();
    dst = put(dst, {rest.data(), host});
    rest.remove_prefix(host);
    const std::string_view authority(rest.data(), std::min(rest.find_first_of("/?# "), rest.size()));
    const size_t at = authority.rfind('@'); // a password may contain '@', a host cannot
    if (at == std::string_view::npos || at == 0)
        return dst;
    rest.remove_prefix(at);
    return put(dst, HIDDEN);
}

heap_string curl_e_redacted(std::string_view line)
{
    // Enough for the worst case: "://x@" has 5 bytes and becomes "://****@" with 8.
    heap_string redacted(static_cast<char *>(malloc(line.size() * 2 + HIDDEN.size() + 2)));
    if (!redacted)
        return nullptr;
    char *end = redacted.get();
    for (const std::string_view lead : LEADS) {
        if (!begins_with(line, lead))
            continue;
        end = put(end, {line.data(), lead.size()});
        if (lead.back() == ':')
            end = put(end, " ");
        end = put(end, HIDDEN);
        line = {};
    }
    while (!line.empty())
        end = put_redacted_url(end, line);
    *end = '\0';
    return redacted;
}
