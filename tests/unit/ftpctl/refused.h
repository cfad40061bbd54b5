// Expects a failure.
#pragma once

#include "ftpctl/failure.h"

#include <gmock/gmock.h>
#include <string>
#include <sys/resource.h>

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

// The same where no descriptor can be had.
template <typename Call> std::string failure_without_descriptors(Call call)
{
    rlimit before = {};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none = {0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    const std::string failure = failure_of(call);
    setrlimit(RLIMIT_NOFILE, &before);
    return failure;
}
