#include "ftpspool/watch_text.h"

#include "ftpspool/entry_text.h"

#include <cstdio>
#include <nlohmann/json.hpp>

using json = nlohmann::ordered_json;

std::string watch_line(const watch_t &watch)
{
    char head[32];
    snprintf(head, sizeof head, "%6lld  ", static_cast<long long>(watch.id));
    std::string line = head + watch.folder + " -> " + watch.entry.target.shown_url() + watch.name;
    for (const std::string &glob : watch.globs)
        line += ", " + glob;
    return on_one_line(line) + (watch.is_deep ? ", with sub-folders" : "") + " (" +
           std::to_string(watch.taken) + " taken)";
}

static json or_null(const std::string &text) { return text.empty() ? json(nullptr) : json(text); }

std::string watch_json(const watch_t &watch)
{
    const entry_t &entry = watch.entry;
    const target_t &target = entry.target;
    const json object = {
        {"id", watch.id},
        {"folder", watch.folder},
        {"match", watch.globs},
        {"recursive", watch.is_deep},
        {"url", target.url},
        {"name", watch.name},
        {"profile", or_null(target.profile)},
        {"profiles", or_null(target.profiles)},
        {"taken", watch.taken},
        {"copy", watch.copies},
        {"user", or_null(target.user)},
        {"password_file", or_null(target.password_file)},
        {"pin", or_null(target.pin)},
        {"proxy", or_null(target.proxy)},
        {"proxy_password_file", or_null(target.proxy_password_file)},
        {"active", target.active},
        {"priority", entry.priority},
        {"tries_most", entry.tries_most == 0 ? json(nullptr) : json(entry.tries_most)},
        {"after", after_name(entry.after)},
        {"move_to", or_null(entry.move_to)},
    };
    return object.dump(-1, ' ', false, json::error_handler_t::replace);
}
