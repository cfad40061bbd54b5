// System calls that fail where a test wants it.
#pragma once

// For one scope the named call fails with that errno: fdatasync, fork, fsync, link, readdir64, rename,
// renameat2.
class failing_call
{
public:
    failing_call(const char *name, int error);
    ~failing_call();
    failing_call(const failing_call &) = delete;
    failing_call &operator=(const failing_call &) = delete;
};
