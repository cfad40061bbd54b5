#include "zixi_func/error_names.h"

#include "platform/zixiFeeder.h"
#include "strutil/log.h"

namespace
{

struct error_name_t {
    int error;
    const char *name;
};

} // namespace

#define NAMED(error)                                                                                         \
    {                                                                                                        \
        error, #error                                                                                        \
    }

constexpr error_name_t ERROR_NAMES[] = {
    NAMED(ZIXI_WARNING_REMOTE_FILE_EXISTS),
    NAMED(ZIXI_ERROR_FILE_REMOTE),
    NAMED(ZIXI_ERROR_FILE_LOCAL),
    NAMED(ZIXI_ERROR_BAD_URL),
    NAMED(ZIXI_ERROR_NOT_FOUND),
    NAMED(ZIXI_ERROR_NETWORK),
    NAMED(ZIXI_ERROR_CACHE_TO_SMALL),
    NAMED(ZIXI_ERROR_RESOLVING_FAILED),
    NAMED(ZIXI_ERROR_TEST_FAILED),
    NAMED(ZIXI_ERROR_NOT_SUPPORTED),
    NAMED(ZIXI_ERROR_EOF),
    NAMED(ZIXI_ERROR_SERVER_FULL),
    NAMED(ZIXI_ERROR_VERSION),
    NAMED(ZIXI_ERROR_NETWORK_ERRORS),
    NAMED(ZIXI_ERROR_LICENSING_FAILED),
    NAMED(ZIXI_ERROR_AUTHORIZATION_FAILED),
    NAMED(ZIXI_ERROR_FUNCTION_NOT_FOUND),
    NAMED(ZIXI_ERROR_DLL_NOT_FOUND),
    NAMED(ZIXI_ERROR_NOT_CONNECTED),
    NAMED(ZIXI_ERROR_NOT_INITIALIZED),
    NAMED(ZIXI_ERROR_TIMEOUT),
    NAMED(ZIXI_ERROR_FAILED),
    NAMED(ZIXI_ERROR_OK),
    NAMED(ZIXI_ERROR_INVALID_PARAMETER),
    NAMED(ZIXI_ERROR_STREAM_CHANGED),
    NAMED(ZIXI_ERROR_ALREADY_INITIALIZED),
    NAMED(ZIXI_ERROR_ALREADY_CONNECTED),
    NAMED(ZIXI_ERROR_NOT_READY),
    NAMED(ZIXI_ERROR_BUFFER_TO_SMALL),
    NAMED(ZIXI_ERROR_RECONNECTING),
};

static const char *name_of(int error)
{
    for (const error_name_t &known : ERROR_NAMES)
        if (known.error == error)
            return known.name;
    return "Unknown error";
}

void zixif_log_error(int error)
{
    if (error != ZIXI_ERROR_OK)
        log_error("zixi_func(1170)", "%s(%d) ", name_of(error), error);
}
