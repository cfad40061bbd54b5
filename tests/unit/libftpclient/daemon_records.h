// The daemon's records under a name of their own, where the library's names are taken already.
#pragma once

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

namespace daemon_side
{
#include "wire/wire.h"
}
