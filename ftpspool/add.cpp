// add: from the command line to an entry on the disk.
#include "ftpspool/add.h"

#include "ftpctl/duration.h"
#include "ftpctl/local_file.h"
#include "ftpctl/report.h"
#include "ftpspool/copies.h"
#include "ftpspool/entry_text.h"
#include "ftpspool/file_identity.h"
#include "ftpspool/spool_commands.h"
#include "ftpspool/upload_job.h"
#include "ftpspool/wakeups.h"

#include <algorithm>
#include <climits>
#include <ctime>
#include <filesystem>
#include <sys/stat.h>

static void make_absolute(std::string &path)
{
    if (!path.empty())
        path = std::filesystem::absolute(path).string();
}

// "90m" and "2d" count from now; "2026-12-24T18:00" is local time. 0 only for "".
static int64_t time_of(const std::string &text, const char *option, int64_t now_s)
{
    if (text.empty())
        return 0;
    if (const auto duration = duration_parse(text))
        return now_s + std::chrono::ceil<std::chrono::seconds>(*duration).count();
    tm parts = {};
    const char *end = strptime(text.c_str(), "%Y-%m-%dT%H:%M", &parts);
    parts.tm_isdst = -1;
    if (end == nullptr || *end != '\0')
        refuse(std::string(option) +
               ": must be a duration such as 90m or 2d, or a time such as 2026-12-24T18:00");
    return std::max<int64_t>(mktime(&parts), 1);
}

std::string add_folder(const std::string &url)
{
    if (url.empty() || url == ".") // the profile's
        return "";
    return url.ends_with('/') ? url : url + '/';
}

// Adds the file's name to the URL of a folder.
static void complete_url(entry_t &entry)
{
    std::string &url = entry.target.url;
    const url_t remote = url_parse(upload_options(entry, "").url, url_names::A_FILE_OR_FOLDER);
    if (!remote.path.empty() && remote.path.back() != '/')
        return;
    url = add_folder(url) + url_encoded(std::filesystem::path(entry.local).filename().string());
}

// Of the profile the entry stores only the name and the folder.
static void complete_profile(target_t &target)
{
    if (target.profile.empty())
        target.profiles.clear();
    else if (target.profiles.empty())
        target.profiles = PROFILES_FOLDER;
    make_absolute(target.profiles);
}

// The service cannot prompt: a password must come from a file or a profile.
static void check_password(const options_t &options)
{
    const url_t url = url_parse(options.url);
    const std::string user = request_user(options, url);
    if (!user.empty() && user != "anonymous" && options.password.is_empty())
        refuse("--password-file: is missing for " + user + "@" + url.host);
    if (!options.proxy.empty() && url_parse_proxy(options.proxy).user && options.proxy_password.is_empty())
        refuse("--proxy-password-file: is missing");
}

static void check_move(const entry_t &entry)
{
    struct stat file = {};
    struct stat folder = {};
    if (entry.move_to.empty())
        return;
    if (stat(entry.move_to.c_str(), &folder) != 0)
        fail_with_errno(entry.move_to);
    if (!S_ISDIR(folder.st_mode))
        refuse("--move-to: " + entry.move_to + ": is no folder");
    if (stat(entry.local.c_str(), &file) == 0 && file.st_dev != folder.st_dev)
        refuse("--move-to: " + entry.move_to + ": is on another file system than the file");
}

entry_t add_begin(const spool_options_t &options)
{
    entry_t entry = options.entry;
    target_t &target = entry.target;
    for (std::string *path :
         {&entry.local, &entry.move_to, &target.password_file, &target.proxy_password_file})
        make_absolute(*path);
    complete_profile(target);
    entry.after = options.delete_file     ? after_t::DELETE
                  : entry.move_to.empty() ? after_t::KEEP
                                          : after_t::MOVE;
    return entry;
}

void add_check(const entry_t &entry)
{
    check_password(upload_options(entry, ""));
    check_move(entry);
}

static entry_t complete(const spool_options_t &options)
{
    entry_t entry = add_begin(options);
    file_check_upload(entry.local);
    complete_url(entry);
    entry.added_s = wall_s();
    entry.not_before_s = time_of(options.not_before, "--not-before", entry.added_s);
    entry.expires_s = time_of(options.expires, "--expires", entry.added_s);
    add_check(entry);
    return entry;
}

// Only the service can read credentials: an empty password is used in place of each.
static options_t without_credentials(options_t options)
{
    for (password_source_t *source : {&options.password, &options.proxy_password}) {
        if (!source->credential.empty())
            *source = {"/dev/null", "", false};
    }
    return options;
}

void add_rehearse(const entry_t &entry)
{
    const options_t upload = upload_options(entry, "");
    job_t job = upload_job(upload, entry);
    upload_log_in(job, without_credentials(upload));
}

int spool_add(const spool_options_t &options)
{
    entry_t entry = complete(options);
    const spool_paths_t paths = {options.folder};
    store_t store = store_t::open(paths); // before the copy: a new spool sets existing copies aside
    std::optional<copying_t> copying;
    if (options.copy) {
        copying.emplace(paths);
        entry.original = file_identify(entry.local).text;
        entry.copy = copying->make(entry.local);
        if (!file_is_still(entry.local, entry.original))
            throw failure(STATUS_LOCAL, entry.local + ": changed while it was copied");
    }
    entry.size_bytes = file_identify(entry.source()).size_bytes;
    add_rehearse(entry);
    const int64_t id = store.add(entry, upload_server(upload_options(entry, "")));
    if (copying)
        copying->keep();
    const std::string number = std::to_string(id);
    output_line(options.json ? answer_json("add", STATUS_DONE, number, {id}) : number);
    return STATUS_DONE;
}
