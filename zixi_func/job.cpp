#include "zixi_func/job.h"

#include "strutil/strutil.h"
#include "wire/job_init.h"

static pthread_mutex_t mutex_;
static zixif_info_t zixif_info_;

int zixif_job_init()
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    const int rc = pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    log_if_failed("zixi_func(921)", "pthread_mutexattr_settype", rc);
    if (rc == 0)
        pthread_mutex_init(&mutex_, &attributes);
    pthread_mutexattr_destroy(&attributes);
    if (rc != 0)
        return -1;
    const zixif_lock held;
    ftp_clientd_if_module_info_init(&zixif_info_.job.module_info);
    zixif_info_.started = 0;
    return 0;
}

zixif_lock::zixif_lock()
{
    log_if_failed("zixi_func(944)", "pthread_mutex_lock", pthread_mutex_lock(&mutex_));
}

zixif_lock::~zixif_lock()
{
    log_if_failed("zixi_func(962)", "pthread_mutex_unlock", pthread_mutex_unlock(&mutex_));
}

zixif_info_t &zixif_info(const zixif_lock &) { return zixif_info_; }

const transfer_request_t &zixif_request() { return zixif_info_.job.request; }
