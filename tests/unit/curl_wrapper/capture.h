// A listing capture whose callback keeps the entries.
#pragma once

#include "curl_wrapper/listing_capture.h"
#include "entry_text.h"
#include "support/logged.h"
#include "support/not_copied.h"

#include <cerrno>
#include <gtest/gtest.h>

class capture_t : not_copied
{
public:
    list_setting_info_t *info = list_setting_malloc(cb_entry, this);
    lines names;
    lines entries;
    std::string line, last_owner;
    int flag = 0;
    std::string stop_at; // the callback ends the listing here
    int stop_with = 0;

    explicit capture_t(const char *pattern = "*")
    {
        info->pattern = pattern;
        EXPECT_TRUE(list_capture_start(info));
        errno = 0; // a stale ERANGE would make every size 0
    }
    ~capture_t() { list_setting_free(info); }

    size_t write(std::string data) { return cb_list_write(data.data(), 1, data.size(), info); }
    void entry_of(const std::string &text)
    {
        write(text + "\n");
        EXPECT_EQ(names, lines{text});
    }
    std::string buffered() const
    {
        const dynamic_buffer_t *buffer = info->tmp->buffer;
        return buffer == nullptr ? "" : std::string(buffer->data, buffer->length);
    }

private:
    static int cb_entry(list_info_t *entry, void *context, int flag)
    {
        auto *self = static_cast<capture_t *>(context);
        self->names.emplace_back(entry->name);
        self->line = entry->line;
        self->last_owner = entry->owner;
        self->entries.push_back(text_of(*entry));
        self->flag = flag;
        return entry->name == self->stop_at ? self->stop_with : 0;
    }
};
