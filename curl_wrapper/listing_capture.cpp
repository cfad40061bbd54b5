#include "curl_wrapper/listing_capture.h"

#include "listparse/listparse.h"
#include "strutil/guards.h"
#include "strutil/log.h"
#include "wire/job_status.h"

#include <cstdlib>
#include <cstring>
#include <utility>

namespace
{

// One line as the parser reads it.
struct file_info_t {
    char name[FILE_INFO_NAME_SIZE];
    int64_t size;
    file_time_t time;
    uint32_t attributes;
    char owner[FILE_INFO_OWNER_SIZE];
    uint32_t is_link;
    uint32_t valid;
};

} // namespace

constexpr int FILE_TYPE_OTHER = 2; // the parser returns none so far

static uint8_t kind_of(int type)
{
    switch (type) {
    case FILE_TYPE_DIRECTORY:
        return LIST_KIND_DIRECTORY;
    case FILE_TYPE_FILE:
        return LIST_KIND_FILE;
    case FILE_TYPE_OTHER:
        return LIST_KIND_OTHER;
    default:
        return LIST_KIND_NONE;
    }
}

template <typename Number, typename Value> static Number or_unset(bool given, Value value, Number unset)
{
    return given ? static_cast<Number>(value) : unset;
}

static list_info_t entry_of(char *line, file_info_t &file, int type)
{
    const bool dated = (file.valid & FILE_INFO_DATE) != 0;
    const bool timed = (file.valid & FILE_INFO_TIME) != 0;
    const file_time_t &time = file.time;
    return {
        .line = line,
        .name = file.name,
        .owner = file.owner,
        .size = or_unset<int64_t>((file.valid & FILE_INFO_SIZE) != 0, file.size, -1),
        .year = or_unset<uint16_t>(dated && time.year != 0, time.year, REMOTE_FILE_YEAR_UNKNOWN),
        .month = or_unset<uint8_t>(dated && time.month != 0, time.month, REMOTE_FILE_UNKNOWN),
        .day = or_unset<uint8_t>(dated && time.day != 0, time.day, REMOTE_FILE_UNKNOWN),
        .hour = or_unset<uint8_t>(timed, time.hour, REMOTE_FILE_UNKNOWN),
        .minute = or_unset<uint8_t>(timed, time.minute, REMOTE_FILE_UNKNOWN),
        .attributes = or_unset<int16_t>((file.valid & FILE_INFO_ATTR) != 0, file.attributes, -1),
        .is_link = static_cast<uint8_t>(file.is_link),
        .kind = kind_of(type),
    };
}

static bool fits(const char *name, const char *pattern)
{
    return pattern != nullptr && (pattern[0] == '*' || strcmp(name, pattern) == 0);
}

// The callback's result for the entry on this line; 0 if it does not match.
static int hand_on(list_setting_info_t *info, char *line)
{
    static file_info_t file;
    const list_format_t format = AnalizeFileInfo(line);
    if (format == LIST_FMT_UNKNOWN) {
        log_error("curl_wrapper(2313)", "Unknown 'LIST' format: %s", line);
        return 0;
    }
    const int type = ResolvFileInfo(line, format, file.name, &file.size, &file.time, &file.attributes,
                                    file.owner, &file.is_link, &file.valid);
    if (file.name[0] == '\0') {
        log_error("curl_wrapper(2320)", "Parsing line has been failed: %s", line);
        return 0;
    }
    if (!fits(file.name, info->pattern))
        return 0;
    info->tmp->matched = 1;
    list_info_t entry = entry_of(line, file, type);
    return info->callback != nullptr ? info->callback(&entry, info->context, 1) : 0;
}

static void drop_front(dynamic_buffer_t *buffer, uint32_t bytes)
{
    buffer->length -= bytes;
    memmove(buffer->data, buffer->data + bytes, buffer->length);
    memset(buffer->data + buffer->length, 0, bytes);
}

// False when the last `len` bytes contain no end of line, so that no line is complete.
static bool completes_line(const dynamic_buffer_t *buffer, size_t len)
{
    return memchr(buffer->data + buffer->length - len, '\0', len) != nullptr;
}

list_setting_info_t *list_setting_malloc(list_callback_fn callback, void *context)
{
    auto *info = static_cast<list_setting_info_t *>(malloc(sizeof(list_setting_info_t)));
    if (info != nullptr)
        *info = {.pattern = nullptr, .callback = callback, .context = context, .tmp = nullptr};
    return info;
}

void list_setting_free(list_setting_info_t *info)
{
    const heap_ptr<list_setting_info_t> owned(info);
    if (info != nullptr)
        list_capture_free(info);
}

bool list_capture_start(list_setting_info_t *info)
{
    list_capture_free(info);
    info->tmp = static_cast<list_tmp_t *>(calloc(1, sizeof(list_tmp_t)));
    return info->tmp != nullptr;
}

bool list_capture_end(list_setting_info_t *info)
{
    list_tmp_t *tmp = info->tmp;
    if (tmp->buffer != nullptr && tmp->stop == 0 && list_data_add(tmp, "", 1) == 1)
        parse_dynamic_buffer(info);
    return tmp->matched != 0;
}

// The owners free in reverse order: the data first.
void list_capture_free(list_setting_info_t *info)
{
    const heap_ptr<list_tmp_t> tmp(std::exchange(info->tmp, nullptr));
    const heap_ptr<dynamic_buffer_t> buffer(tmp ? tmp->buffer : nullptr);
    const heap_string data(buffer ? buffer->data : nullptr);
}

int parse_dynamic_buffer(list_setting_info_t *info)
{
    if (log_if_null("curl_wrapper(2241)", "'info->tmp' data pointer is null.", info->tmp))
        return 0;
    dynamic_buffer_t *buffer = info->tmp->buffer;
    if (buffer == nullptr || buffer->length == 0)
        return 0;
    int result = 0;
    uint32_t taken = 0;
    while (result == 0) {
        while (taken < buffer->length && buffer->data[taken] == '\0')
            ++taken;
        auto *line = buffer->data + taken;
        const auto *end = static_cast<const char *>(memchr(line, '\0', buffer->length - taken));
        if (end == nullptr)
            break;
        taken += static_cast<uint32_t>(end - line) + 1;
        result = hand_on(info, line);
    }
    drop_front(buffer, taken);
    return result;
}

size_t cb_list_write(char *data, size_t size, size_t nmemb, list_setting_info_t *info)
{
    if (log_if_null("curl_wrapper(2189)", "Download data pointer is null.", data) ||
        log_if_null("curl_wrapper(2195)", "CURLOPT_WRITEDATA has not been set.", info) ||
        log_if_null("curl_wrapper(2201)", "'tmp' data pointer is null.", info->tmp))
        return 0;
    list_tmp_t *tmp = info->tmp;
    const size_t bytes = size * nmemb;
    if (tmp->stop != 0)
        return bytes;
    if (list_data_add(tmp, data, bytes) == 0) {
        log_error("curl_wrapper(2214)", "add_list_data(): Failed");
        return 0;
    }
    if (bytes != 0 && completes_line(tmp->buffer, bytes))
        tmp->stop = parse_dynamic_buffer(info);
    return bytes;
}
