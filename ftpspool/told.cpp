#include "ftpspool/told.h"

#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>

using json = nlohmann::ordered_json;

static std::string object_of(const char *event, const entry_t &entry, const std::string &more)
{
    const json object = {
        {"event", event},          {"time", static_cast<int64_t>(time(nullptr))},
        {"id", entry.id},          {"local", entry.local},
        {"url", entry.target.url}, {"message", more},
    };
    return object.dump(-1, ' ', false, json::error_handler_t::replace);
}

static std::string line_of(const char *event, const entry_t &entry, const std::string &more)
{
    const std::string line =
        std::to_string(entry.id) + " " + event + ": " + entry.local + " -> " + entry.target.url;
    return more.empty() ? line : line + " (" + more + ")";
}

static void print(const std::string &line)
{
    puts(line.c_str());
    fflush(stdout);
}

void told_t::tell(const char *event, const entry_t &entry, const std::string &more) const
{
    print((json_ ? object_of : line_of)(event, entry, more));
}

void told_t::tell_start(const std::array<int64_t, 7> &counts) const
{
    json object = {{"event", "started"}, {"time", static_cast<int64_t>(time(nullptr))}};
    std::string list;
    for (size_t i = 0; i < counts.size(); i++) {
        const char *name = state_name(static_cast<state_t>(i));
        object[name] = counts[i];
        if (counts[i] != 0)
            list += (list.empty() ? "" : ", ") + std::to_string(counts[i]) + " " + name;
    }
    print(json_ ? object.dump() : "started (" + (list.empty() ? "no entries" : list) + ")");
}

void told_t::tell_watch(const char *event, int64_t watch, const std::string &folder,
                        const std::string &why) const
{
    const json object = {{"event", event},
                         {"time", static_cast<int64_t>(time(nullptr))},
                         {"watch", watch},
                         {"folder", folder},
                         {"message", why}};
    const std::string line = "watch " + std::to_string(watch) + " " + event + ": " + folder;
    print(json_         ? object.dump(-1, ' ', false, json::error_handler_t::replace)
          : why.empty() ? line
                        : line + " (" + why + ")");
}
