#include "expectation.h"

uint32_t expectation_t::starts(uint32_t job_kind, bool fails)
{
    if (running)
        return 3;
    const bool unseen = unjoined;
    kind = job_kind;
    cancelled = false;
    result = 0;
    if (!unseen && !fails) {
        running = unjoined = true;
        return 0;
    }
    // libcurl's engine detaches an unjoined worker; Zixi's still joins and reports it.
    if (!is_zixi)
        unjoined = false;
    result = 5;
    return 5;
}

void expectation_t::ends(uint32_t job_result)
{
    running = false;
    result = job_result;
}

uint32_t expectation_t::cancels()
{
    cancelled = true;
    return running ? 0 : 2;
}

std::string expectation_t::is_asked_for_finished_job(bool *joins)
{
    *joins = !running && unjoined;
    if (!*joins)
        return "";
    unjoined = false;
    if (cancelled)
        return "";
    return std::string("!") + " dui"[kind] + std::to_string(result);
}
