// The system as a test arranges it. While a fake_system lives, the system calls of the code under test are
// noted and go where they do no harm: "/var/run" is a directory of the test's own, time passes only by
// waiting, and nothing is done to the test's process (fork, setsid, chdir, umask, its descriptors 0 to 2).
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

struct fake_system {
    fake_system();
    ~fake_system();
    fake_system(const fake_system &) = delete;
    fake_system &operator=(const fake_system &) = delete;

    // Every call noted, in order, as "bind(/var/run/ftp.sock, 20)"; descriptors above 2 are left out.
    std::vector<std::string> calls;
    // Those of one function.
    std::vector<std::string> calls_of(const std::string &name) const;

    // The next call of this function fails, or, `after` calls later, one does: -1 (NULL) with this errno.
    void fails(const char *name, int error, int after = 0);
    // The same with a result of the test's choice; the call itself does nothing.
    void gives(const char *name, intptr_t result, int after = 0);
    // What the next calls of send give, and do nothing; -1 = one fails, its peer has gone.
    void sends(const std::vector<int> &results);
    // What poll puts into revents when it `gives` a 1.
    short revents = 0;

    int64_t now_ms = 5000; // CLOCK_MONOTONIC
    // Runs whenever the code under test waits. It may move now_ms; a poll that has more time then goes on.
    std::function<void()> on_wait;

    // Replaces the next limit given by SO_SNDTIMEO when not 0.
    int send_timeout_us = 0;

    // The path that stands in for one in /var/run.
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
    std::string directory; // empty until it is needed
};

// Notes a call that is faked elsewhere.
void note_call(const std::string &call);
