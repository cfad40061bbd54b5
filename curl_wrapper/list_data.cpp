// The bytes of a listing between their arrival and their parsing.
#include "curl_wrapper/curl_wrapper.h"
#include "strutil/log.h"

#include <cstdlib>
#include <cstring>

// The longest line of a listing; a longer one aborts it.
constexpr uint64_t LINE_LIMIT_BYTES = UINT64_C(1024) * 1024;

static bool ends_line(char byte) { return byte == '\r' || byte == '\n' || byte == '\0'; }

// Bytes behind the last end of line, once `len` more at `data` have arrived.
static uint64_t unfinished_bytes(const dynamic_buffer_t *buffer, const char *data, size_t len)
{
    for (size_t behind = 0; behind < len; ++behind) {
        if (ends_line(data[len - 1 - behind]))
            return behind;
    }
    uint32_t before = 0;
    while (before < buffer->length && buffer->data[buffer->length - 1 - before] != '\0')
        ++before;
    return uint64_t{before} + len;
}

// Scans for the start of the last line only when that line can be too long: a listing that arrives byte by
// byte would cost a scan for each byte.
static bool within_limit(const dynamic_buffer_t *buffer, const char *data, size_t len)
{
    return uint64_t{buffer->length} + len <= LINE_LIMIT_BYTES ||
           unfinished_bytes(buffer, data, len) <= LINE_LIMIT_BYTES;
}

static bool make_room(dynamic_buffer_t *buffer, uint64_t need)
{
    if (need <= buffer->capacity)
        return true;
    // It looks like rounding, but clears one bit: the capacity is `need` or up to 256 bytes more. Kept as it
    // is, because the capacity decides at which line memory runs out.
    const uint64_t capacity = (need + 0x100) & ~UINT64_C(0x100);
    if (capacity > UINT32_MAX)
        return false;
    const auto bytes = static_cast<size_t>(capacity);
    auto *data = static_cast<char *>(buffer->data == nullptr ? malloc(bytes) : realloc(buffer->data, bytes));
    if (data == nullptr)
        return false;
    memset(data + buffer->capacity, 0, bytes - buffer->capacity);
    buffer->data = data;
    buffer->capacity = static_cast<uint32_t>(capacity);
    return true;
}

static void append(dynamic_buffer_t *buffer, const char *data, size_t len)
{
    char *dst = buffer->data + buffer->length;
    for (size_t i = 0; i < len; ++i)
        dst[i] = data[i] == '\r' || data[i] == '\n' ? '\0' : data[i];
    buffer->length += static_cast<uint32_t>(len);
}

int list_data_add(list_tmp_t *tmp, const char *data, size_t len)
{
    if (len == 0 || data == nullptr)
        return 1;
    if (tmp->buffer == nullptr)
        tmp->buffer = static_cast<dynamic_buffer_t *>(calloc(1, sizeof(dynamic_buffer_t)));
    if (log_if_null("curl_wrapper(2447)", "dynamic_buffer_alloc(): Failed", tmp->buffer))
        return 0;
    if (!within_limit(tmp->buffer, data, len) ||
        !make_room(tmp->buffer, uint64_t{tmp->buffer->length} + len)) {
        log_error("curl_wrapper(2458)", "dynamic_buffer_realloc(): Failed");
        return 0;
    }
    append(tmp->buffer, data, len);
    return 1;
}
