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

#define NAMED(error, number) {error, #error},
constexpr error_name_t ERROR_NAMES[] = {ZIXI_ERRORS(NAMED)};

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
