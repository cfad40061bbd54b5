#include "ftpspool/shown.h"

#include "ftpctl/statuses.h"
#include "ftpctl/text.h"

#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>

using json = nlohmann::ordered_json;

static std::string time_text(int64_t s)
{
    const auto seconds = static_cast<time_t>(s);
    tm parts = {};
    char text[sizeof "2026-11-22 17:00:00"] = "";
    localtime_r(&seconds, &parts);
    strftime(text, sizeof text, "%F %T", &parts);
    return text;
}

static std::string tries_text(const entry_t &entry)
{
    const std::string tries = std::to_string(entry.tries);
    return entry.tries_most == 0 ? tries : tries + " of " + std::to_string(entry.tries_most);
}

std::string shown_line(const entry_t &entry)
{
    char head[64];
    snprintf(head, sizeof head, "%6lld  %-8s %9s  ", static_cast<long long>(entry.id),
             state_name(entry.state), text_size(static_cast<double>(entry.size_bytes)).c_str());
    const std::string line = head + entry.local + " -> " + entry.target.shown_url();
    return entry.message.empty() ? line : line + " (" + entry.message + ")";
}

std::string shown_facts(const entry_t &entry)
{
    std::string facts;
    const auto add = [&](const char *name, const std::string &value) {
        if (!value.empty())
            facts.append(facts.empty() ? "" : "\n").append(name).append(": ").append(value);
    };
    const auto at = [](int64_t s) { return s == 0 ? "" : time_text(s); };
    const target_t &target = entry.target;
    add("entry", std::to_string(entry.id));
    add("state", state_name(entry.state));
    add("message", entry.message);
    add("local", entry.local);
    add("copy", entry.copy);
    add("size", std::to_string(entry.size_bytes) + " bytes");
    add("remote", target.url);
    add("profile", target.profile);
    add("profiles", target.profiles);
    add("user", target.user);
    add("password file", target.password_file);
    add("pin", target.pin);
    add("proxy", target.proxy);
    add("proxy's password file", target.proxy_password_file);
    add("mode", target.active ? "active" : "");
    add("priority", std::to_string(entry.priority));
    add("tries", tries_text(entry));
    add("then", entry.after == after_t::MOVE ? "move to " + entry.move_to : after_name(entry.after));
    add("added", at(entry.added_s));
    add("not before", at(entry.not_before_s));
    add("expires", at(entry.expires_s));
    add("ended", at(entry.ended_s));
    return facts;
}

static json or_null(const std::string &text) { return text.empty() ? json(nullptr) : json(text); }

static json or_null(int64_t number) { return number == 0 ? json(nullptr) : json(number); }

static std::string printed(const json &object)
{
    return object.dump(-1, ' ', false, json::error_handler_t::replace);
}

std::string shown_json(const entry_t &entry)
{
    const target_t &target = entry.target;
    return printed({
        {"id", entry.id},
        {"state", state_name(entry.state)},
        {"error", or_null(entry.error)},
        {"message", or_null(entry.message)},
        {"local", entry.local},
        {"copy", or_null(entry.copy)},
        {"size_bytes", entry.size_bytes},
        {"url", target.url},
        {"profile", or_null(target.profile)},
        {"profiles", or_null(target.profiles)},
        {"user", or_null(target.user)},
        {"password_file", or_null(target.password_file)},
        {"pin", or_null(target.pin)},
        {"proxy", or_null(target.proxy)},
        {"proxy_password_file", or_null(target.proxy_password_file)},
        {"active", target.active},
        {"priority", entry.priority},
        {"tries", entry.tries},
        {"tries_most", or_null(entry.tries_most)},
        {"resumable", entry.resumable},
        {"after", after_name(entry.after)},
        {"move_to", or_null(entry.move_to)},
        {"added", entry.added_s},
        {"not_before", or_null(entry.not_before_s)},
        {"expires", or_null(entry.expires_s)},
        {"ended", or_null(entry.ended_s)},
    });
}

std::string shown_answer(const std::string &command, int status, const std::string &message,
                         const std::vector<int64_t> &ids)
{
    return printed({
        {"command", or_null(command)},
        {"status", status},
        {"error", or_null(status == STATUS_DONE ? "" : status_find(status).name)},
        {"message", message},
        {"ids", ids},
    });
}
