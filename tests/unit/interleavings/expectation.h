// What one engine must answer, step by step: a second reading of the interface, in which each step is one
// critical section.
#pragma once

#include <cstdint>
#include <string>

struct expectation_t {
    bool is_zixi = false;
    bool running = false;
    bool unjoined = false; // a worker has not been joined
    bool cancelled = false;
    uint32_t kind = 0; // of the last job
    uint32_t result = 0;

    // A start request; `fails`: there is no thread for it. The answer's detail.
    uint32_t starts(uint32_t job_kind, bool fails);
    // The worker ends.
    void ends(uint32_t job_result);
    // A cancel request; the answer's detail. 0 is answered after the end only.
    uint32_t cancels();
    // The check of each pass: the notice that must follow, in the words of a story; "" for none.
    std::string is_asked_for_finished_job(bool *joins);
};
