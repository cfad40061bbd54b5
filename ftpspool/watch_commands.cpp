// The commands of watches.
#include "ftpctl/report.h"
#include "ftpspool/add.h"
#include "ftpspool/entry_text.h"
#include "ftpspool/remote_name.h"
#include "ftpspool/spool_commands.h"
#include "ftpspool/upload_job.h"
#include "ftpspool/watch_text.h"
#include "ftpspool/watches.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <sys/stat.h>

namespace fs = std::filesystem;

static void check_folder(const std::string &folder)
{
    struct stat status = {};
    if (stat(folder.c_str(), &status) != 0)
        fail_with_errno(folder);
    if (!S_ISDIR(status.st_mode))
        refuse(folder + ": is no folder");
}

// The relative path from one folder to another, links resolved: "." for the same one, "../x" for a sibling.
static fs::path way(const std::string &from, const std::string &to)
{
    return fs::weakly_canonical(to).lexically_relative(fs::weakly_canonical(from));
}

// True when the watch would take files in that folder. It ignores names that begin with '.', which include
// the ".." of a path that leads out.
static bool is_watched(const watch_t &watch, const std::string &folder)
{
    const fs::path inside = way(watch.folder, folder);
    return inside == "." || (watch.is_deep && std::ranges::none_of(inside, [](const fs::path &part) {
                                 return part.native().starts_with('.');
                             }));
}

static void check_places(const watch_t &watch, const std::string &spool)
{
    if (is_watched(watch, spool) || *way(spool, watch.folder).begin() != "..")
        refuse(watch.folder + ": is the spool's own folder, or one around it or in it");
    if (!watch.entry.move_to.empty() && is_watched(watch, watch.entry.move_to))
        refuse("--move-to: " + watch.entry.move_to +
               ": is watched itself, so files would be sent again and again");
}

static void check_globs(const watch_t &watch)
{
    for (const std::string &glob : watch.globs) {
        if (glob.empty() || glob.find('/') != glob.npos)
            refuse("--match: is compared with a file's name alone, so it must not be empty or hold a '/'");
    }
}

// The URL of a folder; with --name its final '/' may be left out and is added.
static void complete_url(watch_t &watch)
{
    std::string &url = watch.entry.target.url;
    url_parse(upload_options(watch.entry, "").url,
              watch.name == watch_t().name ? url_names::A_FOLDER : url_names::A_FILE_OR_FOLDER);
    url = add_folder(url);
}

// Refuses now what `add` would refuse for every file.
static void rehearse(const watch_t &watch)
{
    entry_t entry = watch.entry;
    const remote_facts_t facts = {"a", "host", 0, 1};
    entry.local = watch.folder;
    entry.target.url += url_encoded(remote_name(watch.name, facts));
    add_check(entry);
    entry.local += "/" + facts.name;
    if (watch.copies)
        entry.copy = "/copy";
    add_rehearse(entry);
}

static watch_t complete(const spool_options_t &options)
{
    watch_t watch = options.watch;
    watch.copies = options.copy;
    watch.entry = add_begin(options);
    watch.folder = watch.entry.local;
    while (watch.folder.size() > 1 && watch.folder.ends_with('/'))
        watch.folder.pop_back();
    check_folder(watch.folder);
    check_globs(watch);
    complete_url(watch);
    remote_name_check(watch.name);
    rehearse(watch);
    check_places(watch, options.folder);
    return watch;
}

int spool_watch(const spool_options_t &options)
{
    const watch_t watch = complete(options);
    const store_t store = store_t::open({options.folder});
    const int64_t id = watches_t(store).add(watch);
    const std::string number = std::to_string(id);
    output_line(options.json ? answer_json(options.command, STATUS_DONE, number, {id}) : number);
    return STATUS_DONE;
}

int spool_watches(const spool_options_t &options)
{
    const std::optional<store_t> store = store_t::open_to_read({options.folder});
    if (!store)
        return STATUS_DONE;
    for (const watch_t &watch : watches_t(*store).all())
        output_line((options.json ? watch_json : watch_line)(watch));
    return STATUS_DONE;
}

int spool_unwatch(const spool_options_t &options)
{
    const store_t store = store_t::open({options.folder});
    transaction_t transaction = store.begin_changes();
    for (const int64_t id : options.ids) {
        if (!watches_t(store).remove(id))
            throw failure(STATUS_NO_FILE, "there is no watch " + std::to_string(id));
    }
    transaction.commit();
    const size_t count = options.ids.size();
    const std::string message = std::to_string(count) + (count == 1 ? " watch removed" : " watches removed");
    output_line(options.json ? answer_json(options.command, STATUS_DONE, message, options.ids) : message);
    return STATUS_DONE;
}
