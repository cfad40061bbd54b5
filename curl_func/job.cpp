#include "curl_func/job.h"

#include "strutil/strutil.h"

#include <pthread.h>

constexpr uint32_t RESUME_MASK = 0xFF; // the first byte of remote_file, little-endian

job_record_t curlf_info_;
static pthread_mutex_t mutex_;

int job_mutex_init()
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    const int rc = pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    log_if_failed("curl_func(2101)", "pthread_mutexattr_settype", rc);
    if (rc == 0)
        pthread_mutex_init(&mutex_, &attributes);
    pthread_mutexattr_destroy(&attributes);
    return rc == 0 ? 0 : -1;
}

job_lock::job_lock() { log_if_failed("curl_func(2124)", "pthread_mutex_lock", pthread_mutex_lock(&mutex_)); }

job_lock::~job_lock()
{
    log_if_failed("curl_func(2142)", "pthread_mutex_unlock", pthread_mutex_unlock(&mutex_));
}

bool job_running(const job_record_t *job)
{
    const job_lock lock;
    return job->module_info.running != 0;
}

bool job_cancelled(const job_record_t *job)
{
    const job_lock lock;
    return job->module_info.cancel != 0;
}

void job_store_result(job_record_t *job, uint32_t result)
{
    const job_lock lock;
    job->module_info.result = result;
}

void job_set_resume(job_record_t *job, uint32_t resume)
{
    uint32_t &flags = job->remote_file.looked_up;
    flags = (flags & ~RESUME_MASK) | (resume & RESUME_MASK);
}

bool job_resumes(const job_record_t *job) { return (job->remote_file.looked_up & RESUME_MASK) != 0; }
