// Expects a failure.
#pragma once

#include "ftpctl/failure.h"

#include <gmock/gmock.h>
#include <string>

// Runs `call`; what it fails with as "<status> <line>", "" when it does not fail.
template <typename Call> std::string failure_of(Call call)
{
    try {
        call();
    } catch (const failure &error) {
        return std::to_string(error.status) + " " + error.what();
    }
    return "";
}
