// The state of a running script, shared by the fakes around the daemon.
#pragma once

#include "daemon.h"
#include "expectation.h"
#include "job_slot/job_slot.h"

#include <string>
#include <vector>

constexpr char ENDLESS_HOST[] = "endless";
constexpr int SAMPLES = 2; // progress callbacks of a transfer, samples of a Zixi upload

constexpr int NAPS_MAX = 17; // a cancel waits for 15 naps and acts the same after each later one

enum class phase_t { idle, request_read, request_served, check_due, checked };

struct scene_t {
    std::string script;
    std::string local_path;
    seen_t seen = {};

    // This run.
    std::string story = {};
    size_t next = 0; // of the script
    int passes_without_workers = 0;
    char request = '.'; // the request being served
    phase_t phase = phase_t::idle;
    int naps = 0; // during that request, NAPS_MAX at most
    bool abandoned = false;
    bool zixi_active = false;
    expectation_t engines[2] = {}; // libcurl's, Zixi's
    std::vector<size_t> engine_of_worker = {};
    uint32_t expected_detail = 0;
    std::string expected_notice = {};
    std::string notice = {};
    int joined_before = 0; // at this pass's check
    bool joins = false;

    expectation_t &active() { return engines[zixi_active ? 1 : 0]; }
    // The main loop's place in the script.
    std::string position() const
    {
        return ' ' + std::to_string(next) + ' ' + std::to_string(passes_without_workers);
    }
    void tell(const std::string &what) { story += (story.empty() ? "" : " ") + what; }
    void claim(bool holds, const std::string &what)
    {
        if (!holds && seen.fault.empty())
            seen.fault = what + ", after: " + story;
    }
};

extern scene_t *scene_;

// The slot of libcurl's engine (0) or Zixi's (1), which are initialised in this order.
job_slot_t &slot_of(size_t engine);
