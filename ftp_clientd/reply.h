// The first fields of every reply and notice.
#pragma once

#include "wire/wire.h"

// For an action that ended with `code`, an ftpcd_err.
inline reply_t reply_for(uint32_t code)
{
    return {.result = code != FTPCD_ERR_NONE ? 1u : 0u, .detail = code};
}
