// The common part of every option setter: set the option, store the result, log a refusal.
#pragma once

#include "curl_wrapper/curl_wrapper.h"
#include "strutil/log.h"
#include "wire/result_codes.h"

#include <type_traits>

// libcurl reads its variable argument list by the option's number, unchecked: an int instead of a long is a
// wrong value on some machines only.
template <CURLoption option, typename Value> static constexpr bool option_takes()
{
    using target = std::remove_pointer_t<Value>;
    switch (option / 10000 * 10000) {
    case CURLOPTTYPE_LONG:
        return std::is_same_v<Value, long>;
    case CURLOPTTYPE_OBJECTPOINT:
        return std::is_pointer_v<Value> && !std::is_function_v<target>;
    case CURLOPTTYPE_FUNCTIONPOINT:
        return std::is_pointer_v<Value> && std::is_function_v<target>;
    case CURLOPTTYPE_OFF_T:
        return std::is_same_v<Value, curl_off_t>;
    }
    return false;
}

// True when libcurl accepted the value. The CURLcode is stored either way; a refusal sets FTPCD_ERR_INTERNAL,
// and the caller logs it.
template <CURLoption option, typename Value> static bool try_option(curl_e_handle_t *rec, Value value)
{
    static_assert(option_takes<option, Value>(), "libcurl expects another type in its argument list");
    rec->curl_code = curl_easy_setopt(rec->curl, option, value);
    if (rec->curl_code == CURLE_OK)
        return true;
    rec->error = FTPCD_ERR_INTERNAL;
    return false;
}

// The same, but logs a refusal under `id`.
template <CURLoption option, typename Value>
static bool set_option(curl_e_handle_t *rec, const char *id, const char *name, Value value)
{
    if (try_option<option>(rec, value))
        return true;
    log_error(id, "curl_easy_setopt(%s): Failed(%d)", name, rec->curl_code);
    return false;
}

// Sets CURLOPT_... `option`, given by its name, which is logged too. True when libcurl accepted the value.
#define SET(rec, id, option, value) set_option<option>(rec, id, #option, value)

// 0 is the protocol's default port.
constexpr bool curl_e_is_port(long port) { return port >= 0 && port <= 65535; }
