// System calls as a test arranges them. While a fake_system exists, the calls of the code under test are
// recorded and do no harm: "/var/run" is a directory of the test's own, time passes only by waiting, and the
// test's process is left alone (fork, setsid, chdir, umask, its descriptors 0 to 2).
#pragma once

#include "support/not_copied.h"

#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

struct fake_system : not_copied {
    fake_system();
    ~fake_system();

    // The calls in order, e.g. "bind(/var/run/ftp.sock, 20)"; descriptors above 2 are left out.
    std::vector<std::string> calls;
    // The calls of one function.
    std::vector<std::string> calls_of(const std::string &name) const;

    // Makes the next call of this function, or the one `after` calls later, fail: -1 (NULL) with this errno.
    void fails(const char *name, int error, int after = 0);
    // Makes such a call do nothing and return `result`.
    void gives(const char *name, intptr_t result, int after = 0);
    // Makes the next calls of send do nothing and return these; -1: the call fails, the peer has gone.
    void sends(const std::vector<int> &results);
    // Stored in revents by a poll that `gives` 1.
    short revents = 0;

    int64_t now_ms = 5000; // CLOCK_MONOTONIC
    // Runs whenever the code under test waits. It may advance now_ms; a poll with time left then waits on.
    std::function<void()> on_wait;

    // If not 0, replaces the next limit set by SO_SNDTIMEO.
    int send_timeout_us = 0;

    // The real path that replaces one in /var/run.
    std::string path_of(const std::string &path);

    struct outcome {
        std::string name;
        int after;
        intptr_t result;
        int error;
    };
    std::vector<outcome> outcomes;
    std::map<int, void (*)(int)> handlers; // installed by signal()
    FILE *console = nullptr;
    std::string directory; // empty until needed
};

// Records a call that is faked elsewhere.
void note_call(const std::string &call);
