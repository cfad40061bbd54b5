// A model of one engine, written from the interface: its reply at each step, where a step is one critical
// section.
#pragma once

#include <cstdint>
#include <string>

struct expectation_t {
    bool is_zixi = false;
    bool running = false;
    bool unjoined = false; // a worker was started but not joined yet
    bool cancelled = false;
    uint32_t kind = 0; // of the latest job
    uint32_t result = 0;

    // A start request, without a thread for it if `fails`; returns the reply's detail.
    uint32_t starts(uint32_t job_kind, bool fails);
    // The worker ends.
    void ends(uint32_t job_result);
    // A cancel request; returns the reply's detail. The reply 0 comes only after the job's end.
    uint32_t cancels();
    // The check of each pass: returns the notice that must follow, as in a story; "" for none.
    std::string is_asked_for_finished_job(bool *joins);
};
