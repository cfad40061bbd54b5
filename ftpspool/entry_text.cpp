#include "ftpspool/entry_text.h"

#include "ftpctl/statuses.h"
#include "ftpctl/text.h"
#include "ftpspool/json_line.h"

#include <algorithm>
#include <cctype>
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

std::string on_one_line(std::string text)
{
    std::ranges::replace_if(
        text, [](unsigned char byte) { return std::iscntrl(byte) != 0; }, '?');
    return text;
}

std::string entry_line(const entry_t &entry)
{
    char head[64];
    snprintf(head, sizeof head, "%6lld  %-8s %9s  ", static_cast<long long>(entry.id),
             state_name(entry.state), text_size(static_cast<double>(entry.size_bytes)).c_str());
    const std::string line = head + entry.local + " -> " + entry.target.shown_url();
    return on_one_line(entry.message.empty() ? line : line + " (" + entry.message + ")");
}

std::string entry_facts(const entry_t &entry)
{
    std::string facts;
    const auto add = [&](const char *name, const std::string &value) {
        if (!value.empty())
            facts.append(facts.empty() ? "" : "\n").append(name).append(": ").append(on_one_line(value));
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

std::string entry_json(const entry_t &entry)
{
    const target_t &target = entry.target;
    return json_line_t()
        .number("id", entry.id)
        .text("state", state_name(entry.state))
        .text_or_null("error", entry.error)
        .text_or_null("message", entry.message)
        .text("local", entry.local)
        .text_or_null("copy", entry.copy)
        .number("size_bytes", entry.size_bytes)
        .text("url", target.url)
        .text_or_null("profile", target.profile)
        .text_or_null("profiles", target.profiles)
        .text_or_null("user", target.user)
        .text_or_null("password_file", target.password_file)
        .text_or_null("pin", target.pin)
        .text_or_null("proxy", target.proxy)
        .text_or_null("proxy_password_file", target.proxy_password_file)
        .truth("active", target.active)
        .number("priority", entry.priority)
        .number("tries", entry.tries)
        .number_or_null("tries_most", entry.tries_most)
        .truth("resumable", entry.resumable)
        .text("after", after_name(entry.after))
        .text_or_null("move_to", entry.move_to)
        .number("added", entry.added_s)
        .number_or_null("not_before", entry.not_before_s)
        .number_or_null("expires", entry.expires_s)
        .number_or_null("ended", entry.ended_s)
        .finish();
}

static json or_null(const std::string &text) { return text.empty() ? json(nullptr) : json(text); }

std::string answer_json(const std::string &command, int status, const std::string &message,
                        const std::vector<int64_t> &ids)
{
    const json object = {
        {"command", or_null(command)},
        {"status", status},
        {"error", or_null(status == STATUS_DONE ? "" : status_find(status).name)},
        {"message", message},
        {"ids", ids},
    };
    return object.dump(-1, ' ', false, json::error_handler_t::replace);
}
