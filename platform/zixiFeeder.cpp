// For machines without the device's closed library: the daemon starts and runs, and every upload ends with
// "not connected".
#include "platform/zixiFeeder.h"

int zixi_version(int *major, int *minor, int *patch, int *build)
{
    if (major == nullptr || minor == nullptr || patch == nullptr || build == nullptr)
        return ZIXI_ERROR_INVALID_PARAMETER;
    *major = *patch = *build = 0;
    *minor = 1;
    return ZIXI_ERROR_OK;
}

int zixi_configure_logging(int, zixi_log_callback, void *) { return ZIXI_ERROR_OK; }

int zixi_configure_credentials(const char *, int, const char *, int) { return ZIXI_ERROR_OK; }

int zixi_prepare_configuration(int, int, uintptr_t configuration[2])
{
    if (configuration == nullptr)
        return ZIXI_ERROR_INVALID_PARAMETER;
    configuration[0] = configuration[1] = 0;
    return ZIXI_ERROR_OK;
}

int zixi_upload_file(uintptr_t, uintptr_t, const char *, const char *, zixi_upload_parameters, void **)
{
    return ZIXI_ERROR_NOT_CONNECTED;
}

// No upload ever starts, so there is never a stream.
int zixi_get_upload_progress(void *, uint64_t *, uint64_t *, int *) { return ZIXI_ERROR_INVALID_PARAMETER; }

int zixi_close_stream(void *) { return ZIXI_ERROR_INVALID_PARAMETER; }
