// The commands that show and change entries.
#include "ftpspool/spool_commands.h"

#include "ftpctl/report.h"
#include "ftpspool/entry_text.h"
#include "ftpspool/file_identity.h"

#include <cstdio>
#include <filesystem>
#include <functional>
#include <unistd.h>

[[noreturn]] static void unknown(int64_t id)
{
    throw failure(STATUS_NO_FILE, "there is no entry " + std::to_string(id));
}

static void answer(const spool_options_t &options, const std::string &message)
{
    output_line(options.json ? answer_json(options.command, STATUS_DONE, message, options.ids) : message);
}

static std::string many(int64_t count)
{
    return std::to_string(count) + (count == 1 ? " entry" : " entries");
}

int spool_list(const spool_options_t &options)
{
    const std::optional<store_t> store = store_t::open_to_read({options.folder});
    if (!store)
        return STATUS_DONE;
    store->each(options.state,
                [&](const entry_t &entry) { puts((options.json ? entry_json : entry_line)(entry).c_str()); });
    if (fflush(stdout) != 0 || ferror(stdout) != 0)
        throw failure(STATUS_LOCAL, "cannot write to standard output");
    return STATUS_DONE;
}

int spool_show(const spool_options_t &options)
{
    const std::optional<store_t> store = store_t::open_to_read({options.folder});
    for (const int64_t id : options.ids) {
        const std::optional<entry_t> entry = store ? store->find(id) : std::nullopt;
        if (!entry)
            unknown(id);
        output_line((options.json ? entry_json : entry_facts)(*entry));
    }
    return STATUS_DONE;
}

// `change` returns false if the entry's state does not allow it; `where` names the states that do.
static int change_all(const spool_options_t &options, const char *done, const char *where,
                      const std::function<bool(store_t &, const entry_t &)> &change)
{
    store_t store = store_t::open({options.folder});
    transaction_t transaction = store.begin_changes();
    for (const int64_t id : options.ids) {
        const std::optional<entry_t> entry = store.find(id);
        if (!entry)
            unknown(id);
        if (!change(store, *entry))
            throw failure(STATUS_USAGE, "entry " + std::to_string(id) + " is " + state_name(entry->state) +
                                            ", not " + where);
    }
    transaction.commit();
    answer(options, many(static_cast<int64_t>(options.ids.size())) + " " + done);
    return STATUS_DONE;
}

int spool_hold(const spool_options_t &options)
{
    return change_all(options, "held", "queued, waiting or sending",
                      [](store_t &store, const entry_t &entry) { return store.hold(entry.id); });
}

int spool_release(const spool_options_t &options)
{
    return change_all(options, "released", "held",
                      [](store_t &store, const entry_t &entry) { return store.release(entry.id); });
}

int spool_retry(const spool_options_t &options)
{
    return change_all(options, "queued again", "queued, waiting or failed",
                      [](store_t &store, const entry_t &entry) {
                          return store.retry(entry.id, file_identify(entry.source()).size_bytes);
                      });
}

// Copies are removed only after the commit; the service sweeps any that remain.
int spool_remove(const spool_options_t &options)
{
    std::vector<std::string> copies;
    const int status = change_all(options, "removed", "", [&](store_t &store, const entry_t &entry) {
        copies.push_back(entry.copy);
        return store.remove(entry.id);
    });
    for (const std::string &copy : copies)
        unlink(copy.c_str());
    return status;
}

int spool_clear(const spool_options_t &options)
{
    const int64_t count = store_t::open({options.folder}).clear_done();
    answer(options, many(count) + " removed");
    return STATUS_DONE;
}

int spool_run(const spool_options_t &options)
{
    service_options_t service = options.service;
    service.folder = options.folder;
    service.json = options.json;
    service_t(service).run();
    return STATUS_DONE;
}

int spool_main(spool_options_t options)
{
    int status = STATUS_LOCAL;
    std::string line;
    try {
        options.folder = std::filesystem::absolute(options.folder).string();
        return options.run(options);
    } catch (const failure &error) {
        status = error.status;
        line = error.what();
    } catch (const std::exception &error) {
        line = error.what();
    }
    fprintf(stderr, "ftpspool: %s\n", line.c_str());
    if (options.json)
        puts(answer_json(options.command, status, line, options.ids).c_str());
    return status;
}
