#include "job_slot/job_slot.h"
#include "wire/result_codes.h"

#include <unistd.h>

constexpr useconds_t POLL_US = 100000;
constexpr int PATIENT_POLLS = 15; // 1.5 s: libcurl calls back about once a second, if at all

static bool is_running(job_slot_t *slot)
{
    const job_lock lock(slot);
    return slot->record.module_info.running != 0;
}

// Sets the cancel flag for the worker. False when no job runs.
static bool ask_to_stop(job_slot_t *slot)
{
    const job_lock lock(slot);
    slot->record.module_info.cancel = 1;
    return slot->record.module_info.running != 0;
}

int job_cancel(job_slot_t *slot, void (*unheard)(job_slot_t *slot))
{
    if (!ask_to_stop(slot))
        return FTPCD_ERR_NOT_RUNNING;
    int polls = 0;
    do {
        if (polls++ >= PATIENT_POLLS && unheard != nullptr)
            unheard(slot);
        usleep(POLL_US);
    } while (is_running(slot));
    return 0;
}

bool job_is_cancelled(job_slot_t *slot)
{
    const job_lock lock(slot);
    return slot->record.module_info.cancel != 0;
}
