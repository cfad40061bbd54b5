// Another user for one scope: no privileges, and files of root that are not its own.
#pragma once

#include <unistd.h>

class as_nobody
{
public:
    as_nobody() : is_other_(seteuid(65534) == 0) {}
    ~as_nobody()
    {
        if (is_other_)
            is_other_ = seteuid(0) != 0;
    }
    as_nobody(const as_nobody &) = delete;
    as_nobody &operator=(const as_nobody &) = delete;

    // False unless the tests run as root.
    bool is_other() const { return is_other_; }

private:
    bool is_other_;
};
