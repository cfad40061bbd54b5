#include "ftpctl/profile.h"

#include "ftpctl/failure.h"
#include "ftpctl/local_file.h"
#include "ftpctl/server_pin.h"
#include "ftpctl/url.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fstream>

constexpr mode_t OTHERS_WRITE = 022;

// ---- What is wrong with a value; "" for a right one ----

// The messages of option checks begin with the option's name, which is left out here.
template <auto PARSE> static std::string fault_of(const std::string &text)
{
    try {
        PARSE(text);
    } catch (const failure &error) {
        const std::string line = error.what();
        return line.substr(line.find(": ") + 2);
    }
    return "";
}

static void check_url(std::string_view text)
{
    if (url_parse(text, url_names::A_SERVER).user)
        refuse("URL: must name no user: that is the key user");
}

static std::string no_fault(const std::string &) { return ""; }

static std::string path_fault(const std::string &path)
{
    return path.starts_with('/') ? "" : "must be an absolute path";
}

static std::string mode_fault(const std::string &mode)
{
    return mode == "passive" || mode == "active" ? "" : "must be passive or active";
}

std::string profile_name_fault(const std::string &name)
{
    return name.empty() || name.starts_with('.') || name.find('/') != name.npos
               ? "must be a name without '/' that does not begin with '.'"
               : "";
}

// ---- Keys ----

namespace
{

struct row_t {
    const char *name;
    std::string profile_t::*value;
    std::string (*fault)(const std::string &);
};

} // namespace

constexpr row_t KEYS[] = {
    {"url", &profile_t::url, fault_of<check_url>},
    {"user", &profile_t::user, no_fault},
    {"password-file", &profile_t::password_file, path_fault},
    {"password-credential", &profile_t::password_credential, profile_name_fault},
    {"pin", &profile_t::pin, fault_of<server_pin_parse>},
    {"mode", &profile_t::mode, mode_fault},
    {"proxy", &profile_t::proxy, fault_of<url_parse_proxy>},
    {"proxy-password-file", &profile_t::proxy_password_file, path_fault},
    {"proxy-password-credential", &profile_t::proxy_password_credential, profile_name_fault},
};

// Names only the first word: the rest of a line without '=' may be a password.
[[noreturn]] static void refuse_key(const std::string &name)
{
    const auto end = std::ranges::find_if(
        name, [](char c) { return isalnum(static_cast<unsigned char>(c)) == 0 && c != '-' && c != '_'; });
    std::string keys;
    for (const row_t &key : KEYS)
        keys += (keys.empty() ? "" : ", ") + std::string(key.name);
    refuse("'" + std::string(name.begin(), end) + "' does not begin a valid line KEY = VALUE; the keys are " +
           keys);
}

static void take(profile_t &profile, const CLI::ConfigItem &item)
{
    constexpr std::string_view WITHOUT_VALUE = "true"; // the reader's value of a line without '='
    const std::string name = item.fullname();
    const auto *key = std::ranges::find(KEYS, name, &row_t::name);
    if (key == std::end(KEYS))
        refuse_key(name);
    std::string &value = profile.*key->value;
    if (item.inputs.size() != 1 || !value.empty()) // the reader joins neighbours
        refuse(name + ": is given twice");
    value = item.inputs.front();
    if (value.empty() || value == WITHOUT_VALUE)
        refuse(name + ": has no value");
    if (const std::string fault = key->fault(value); !fault.empty())
        refuse(name + ": " + fault);
}

// ---- What must stand together ----

// The password of a login, by the names of its keys.
static void check_login(bool has_user, const std::string &file, const std::string &credential,
                        const std::string &key, const char *needs)
{
    if (!file.empty() && !credential.empty())
        refuse(key + "-credential: cannot be used together with " + key + "-file");
    if (!has_user && !(file.empty() && credential.empty()))
        refuse(key + (file.empty() ? "-credential: " : "-file: ") + needs);
}

static void check_whole(const profile_t &profile)
{
    if (profile.url.empty())
        refuse("url: is missing");
    check_login(!profile.user.empty(), profile.password_file, profile.password_credential, "password",
                "needs the key user");
    check_login(!profile.proxy.empty() && url_parse_proxy(profile.proxy).user, profile.proxy_password_file,
                profile.proxy_password_credential, "proxy-password", "needs proxy = USER@HOST");
}

static std::vector<CLI::ConfigItem> items_of(const std::string &path)
{
    file_check_mode(path, OTHERS_WRITE, "a regular file that only its owner can write to");
    std::ifstream file(path);
    if (!file)
        fail_with_errno(path);
    CLI::ConfigBase reader;
    // Makes every value plain text: the special characters become a line feed, which no line holds.
    reader.comment('\n')->arrayBounds('\n', '\n')->arrayDelimiter('\n');
    return reader.from_config(file);
}

profile_t profile_read(const std::string &folder, const std::string &name)
{
    const std::string path = folder + "/" + name + ".conf";
    const std::vector<CLI::ConfigItem> items = items_of(path);
    profile_t profile;
    try {
        for (const CLI::ConfigItem &item : items)
            take(profile, item);
        check_whole(profile);
    } catch (const failure &error) {
        throw failure(error.status, path + ": " + error.what());
    }
    return profile;
}

static std::string joined(const std::string &base, const std::string &relative)
{
    if (relative.find("://") != relative.npos || relative.starts_with('/'))
        refuse("URL: must be relative to the profile's, such as dir/file");
    const std::string folder = base.ends_with('/') ? base : base + "/";
    return relative == "." ? folder : folder + relative;
}

void profile_apply(options_t &options)
{
    if (options.profile.empty())
        return;
    const profile_t profile = profile_read(options.profiles, options.profile);
    options.url = joined(profile.url, options.url);
    if (options.pin.empty())
        options.pin = profile.pin;
    options.active = options.active || profile.mode == "active";
    if (!options.user) {
        if (!profile.user.empty())
            options.user = profile.user;
        if (options.password.is_empty())
            options.password = {profile.password_file, profile.password_credential, true};
    }
    if (options.proxy.empty()) {
        options.proxy = profile.proxy;
        if (options.proxy_password.is_empty())
            options.proxy_password = {profile.proxy_password_file, profile.proxy_password_credential, true};
    }
}
