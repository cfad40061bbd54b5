#include "tools/resume.h"

#include "tools/failure.h"

#include <string>

resume_t resume_decide(const remote_file_t &remote, int64_t local_bytes)
{
    if (remote.exists == 0 && remote.looked_up == 0)
        throw failure(STATUS_NO_RESUME,
                      "cannot resume: the server lists no file of that name, perhaps a folder or link");
    if (remote.exists == 0 || remote.size == 0)
        return resume_t::WHOLE;
    if (remote.size < 0)
        throw failure(STATUS_NO_RESUME, "cannot resume: the server does not tell the remote file's size");
    if (remote.size > local_bytes)
        throw failure(STATUS_NO_RESUME, "cannot resume: the remote file has " + std::to_string(remote.size) +
                                            " bytes, the local one only " + std::to_string(local_bytes));
    return remote.size == local_bytes ? resume_t::DONE : resume_t::APPEND;
}
