#include "job_slot/job_slot.h"

#include "strutil/guards.h"
#include "strutil/log.h"
#include "wire/result_codes.h"

#include <cerrno>
#include <cstddef>
#include <cstring>

constexpr size_t COPIED_BYTES = offsetof(transfer_request_t, resume);
constexpr size_t LOOKED_UP_BYTES = offsetof(remote_file_t, year); // its flags and the size

static void *run_worker(void *own)
{
    auto *slot = static_cast<job_slot_t *>(own);
    slot->engine->work(slot);
    const job_lock lock(slot);
    slot->record.module_info.running = 0;
    return nullptr;
}

static uint32_t refuse_start(job_slot_t *slot)
{
    log_errno(slot->engine->not_started_id);
    if (slot->engine->no_thread_id != nullptr)
        log_error(slot->engine->no_thread_id, "failed to create thread.");
    slot->record.module_info.running = 0;
    slot->record.module_info.result = FTPCD_ERR_INTERNAL;
    if (slot->started == 1 && slot->engine->unjoined == unjoined_t::forgotten) {
        slot->started = 0;
        pthread_detach(slot->thread); // its stack goes back to the system
    }
    return FTPCD_ERR_INTERNAL;
}

static uint32_t start_worker(job_slot_t *slot)
{
    if (slot->started == 1)
        return refuse_start(slot);
    const int rc = pthread_create(&slot->thread, nullptr, run_worker, slot);
    if (rc != 0) {
        errno = rc;
        log_errno(slot->engine->create_id);
        return refuse_start(slot);
    }
    slot->started = 1;
    return FTPCD_ERR_NONE;
}

job_lock::job_lock(job_slot_t *slot) : slot_(slot)
{
    log_if_failed(slot_->engine->lock_id, "pthread_mutex_lock", pthread_mutex_lock(&slot_->mutex));
}

job_lock::~job_lock()
{
    log_if_failed(slot_->engine->unlock_id, "pthread_mutex_unlock", pthread_mutex_unlock(&slot_->mutex));
}

int job_init(job_slot_t *slot)
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    const closing_owner<pthread_mutexattr_t *, nullptr, pthread_mutexattr_destroy> owned(&attributes);
    const int rc = pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    log_if_failed(slot->engine->not_recursive_id, "pthread_mutexattr_settype", rc);
    if (rc != 0)
        return -1;
    pthread_mutex_init(&slot->mutex, &attributes);
    const job_lock lock(slot);
    ftp_clientd_if_module_info_init(&slot->record.module_info);
    slot->started = 0;
    return 0;
}

uint32_t job_start(job_slot_t *slot, job_kind kind, const transfer_request_t *request, uint8_t upload_flag)
{
    const job_lock lock(slot);
    job_record_t *record = &slot->record;
    if (record->module_info.running != 0)
        return FTPCD_ERR_BUSY;
    memcpy(&record->request, request, COPIED_BYTES);
    if (kind == JOB_UPLOAD)
        memcpy(&record->remote_file, &upload_flag, sizeof upload_flag);
    else if (kind == JOB_DL_FILE_INFO)
        memset(&record->remote_file, 0, LOOKED_UP_BYTES);
    ftp_clientd_if_exec_info_init(&record->exec_info);
    ftp_clientd_if_module_info_init(&record->module_info);
    record->module_info.running = 1;
    record->module_info.exec = kind;
    return start_worker(slot);
}

int job_finished(job_slot_t *slot)
{
    const job_lock lock(slot);
    if (slot->record.module_info.running != 0 || slot->started == 0)
        return -1;
    const int rc = pthread_join(slot->thread, nullptr);
    if (rc != 0) {
        errno = rc;
        log_errno(slot->engine->join_id);
    }
    slot->started = 0;
    return rc;
}

void job_get_state(job_slot_t *slot, void *out)
{
    const job_lock lock(slot);
    memcpy(out, &slot->record, sizeof slot->record);
}

void job_store_result(job_slot_t *slot, uint32_t result)
{
    const job_lock lock(slot);
    slot->record.module_info.result = result;
}

uint8_t job_upload_flag(const job_slot_t *slot)
{
    uint8_t flag;
    memcpy(&flag, &slot->record.remote_file, sizeof flag);
    return flag;
}
