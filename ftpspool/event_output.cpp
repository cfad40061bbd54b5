#include "ftpspool/event_output.h"

#include "ftpctl/failure.h"
#include "ftpspool/entry_text.h"
#include "ftpspool/wakeups.h"

#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>
#include <poll.h>
#include <utility>

using json = nlohmann::ordered_json;

namespace
{

struct variable_t {
    const char *name;
    const char *key; // of the event's object
};

} // namespace

// Document a new one in the manual page as well.
constexpr variable_t VARIABLES[] = {
    {"FTPSPOOL_EVENT", "event"}, {"FTPSPOOL_TIME", "time"},     {"FTPSPOOL_ID", "id"},
    {"FTPSPOOL_LOCAL", "local"}, {"FTPSPOOL_URL", "url"},       {"FTPSPOOL_MESSAGE", "message"},
    {"FTPSPOOL_WATCH", "watch"}, {"FTPSPOOL_FOLDER", "folder"},
};
constexpr const char *OBJECT = "FTPSPOOL_JSON";

static hook_program_t program()
{
    std::vector<std::string> names = {OBJECT};
    for (const variable_t &variable : VARIABLES)
        names.emplace_back(variable.name);
    return {"ftpspool", names, STDERR_FILENO, event_output_t::COMMANDS_MOST};
}

// A string without quotes and byte for byte, even if it is not UTF-8.
static std::string value_of(const json &value)
{
    return value.is_string() ? value.get<std::string>() : value.dump();
}

static event_t event_of(const json &object, const std::string &line)
{
    event_t event = {on_one_line(line), object.dump(-1, ' ', false, json::error_handler_t::replace), {}};
    event.variables.push_back(std::string(OBJECT) + "=" + event.json);
    for (const variable_t &variable : VARIABLES) {
        if (object.contains(variable.key))
            event.variables.push_back(std::string(variable.name) + "=" + value_of(object[variable.key]));
    }
    return event;
}

static json object_of(const char *event)
{
    return {{"event", event}, {"time", static_cast<int64_t>(time(nullptr))}};
}

static std::string line_of(const char *event, const entry_t &entry, const std::string &more)
{
    const std::string line =
        std::to_string(entry.id) + " " + event + ": " + entry.local + " -> " + entry.target.shown_url();
    return more.empty() ? line : line + " (" + more + ")";
}

// ---- Printing ----

event_output_t::event_output_t(bool as_json, const std::string &command, int64_t grace_ms)
    : json_(as_json), grace_ms_(grace_ms), hook_(command, program())
{
}

void event_output_t::tell(const event_t &event)
{
    puts((json_ ? event.json : event.line).c_str());
    fflush(stdout);
    drive([&] { hook_.add(event); });
}

void event_output_t::tell(const char *event, const entry_t &entry, const std::string &more)
{
    json object = object_of(event);
    object["id"] = entry.id;
    object["local"] = entry.local;
    object["url"] = entry.target.url;
    object["profile"] = entry.target.profile.empty() ? json(nullptr) : json(entry.target.profile);
    object["message"] = more;
    tell(event_of(object, line_of(event, entry, more)));
}

void event_output_t::tell_start(const std::array<int64_t, STATE_COUNT> &counts)
{
    json object = object_of("started");
    std::string list;
    for (size_t i = 0; i < counts.size(); i++) {
        const char *name = state_name(static_cast<state_t>(i));
        object[name] = counts[i];
        if (counts[i] != 0)
            list += (list.empty() ? "" : ", ") + std::to_string(counts[i]) + " " + name;
    }
    tell(event_of(object, "started (" + (list.empty() ? "no entries" : list) + ")"));
}

void event_output_t::tell_watch(const char *event, int64_t watch, const std::string &folder,
                                const std::string &why)
{
    json object = object_of(event);
    object["watch"] = watch;
    object["folder"] = folder;
    object["message"] = why;
    const std::string line = "watch " + std::to_string(watch) + " " + event + ": " + folder;
    tell(event_of(object, why.empty() ? line : line + " (" + why + ")"));
}

// ---- Commands ----

// A command that cannot be started is reported once and must not end the service.
void event_output_t::drive(const std::function<void()> &call)
{
    try {
        call();
        is_refused_ = false;
    } catch (const failure &error) {
        if (!std::exchange(is_refused_, true))
            fprintf(stderr, "ftpspool: %s\n", error.what());
    }
}

void event_output_t::step()
{
    if (hook_.busy())
        drive([this] { hook_.step(); });
}

event_output_t::~event_output_t()
{
    const int64_t end_ms = steady_ms() + grace_ms_;
    for (int64_t now_ms = steady_ms(); hook_.busy() && now_ms < end_ms; now_ms = steady_ms()) {
        pollfd ended = {fd(), POLLIN, 0};
        poll(&ended, 1, static_cast<int>(end_ms - now_ms));
        step();
    }
    drive([this] { hook_.stop(); });
}
