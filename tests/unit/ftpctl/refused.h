// Calls that must fail.
#pragma once

#include "ftpctl/failure.h"

#include <gmock/gmock.h>
#include <string>
#include <sys/resource.h>

// Runs `call`; returns its failure as "<status> <line>", or "" if it does not fail.
template <typename Call> std::string failure_of(Call call)
{
    try {
        call();
    } catch (const failure &error) {
        return std::to_string(error.status) + " " + error.what();
    }
    return "";
}

// The same with no free descriptor.
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
