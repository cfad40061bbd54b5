#include "curl_func/listing_callback.h"

#include "strutil/log.h"

#include <cstring>

static void take_over(job_slot_t *job, const list_info_t *entry)
{
    const job_lock lock(job);
    remote_file_t *remote_file = &job->record.remote_file;
    remote_file->looked_up = 1;
    remote_file->exists = 1;
    remote_file->size = entry->size;
    remote_file->year = entry->year;
    remote_file->month = entry->month;
    remote_file->day = entry->day;
    remote_file->hour = entry->hour;
    remote_file->minute = entry->minute;
    remote_file->attributes = entry->attributes;
    remote_file->is_link = entry->is_link;
}

int cb_list(list_info_t *entry, void *context, int)
{
    if (log_if_null("curl_func(1754)", "'struct list_info_t' is not available.", entry))
        return 0;
    if (log_if_null("curl_func(1760)", "'struct cb_list_info_t' has not been set.", context))
        return 1;
    const auto *wanted = static_cast<const cb_list_info_t *>(context);
    if (entry->is_link != 0 || entry->kind != LIST_KIND_FILE || entry->name == nullptr ||
        wanted->name == nullptr)
        return 0;
    if (strcmp(entry->name, wanted->name) == 0)
        take_over(wanted->job, entry);
    log_info("curl_func(1778)", "%s, size: %lld", entry->name, static_cast<long long>(entry->size));
    return 0;
}
