#include "support/failing_threads.h"

#include <pthread.h>

failing_threads threads_;

// The result of a call whose real result is `rc`.
static int told(std::atomic<int> &fault, int rc)
{
    const int error = fault.exchange(0);
    return error != 0 ? error : rc;
}

extern "C" {
int __real_pthread_create(pthread_t *id, const pthread_attr_t *attributes, void *(*run)(void *), void *own);
int __real_pthread_join(pthread_t id, void **result);
int __real_pthread_mutexattr_settype(pthread_mutexattr_t *attributes, int type);
int __real_pthread_mutex_lock(pthread_mutex_t *mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t *mutex);

int __wrap_pthread_create(pthread_t *id, const pthread_attr_t *attributes, void *(*run)(void *), void *own)
{
    const int error = threads_.create.exchange(0);
    return error != 0 ? error : __real_pthread_create(id, attributes, run, own);
}

int __wrap_pthread_join(pthread_t id, void **result)
{
    return told(threads_.join, __real_pthread_join(id, result));
}

int __wrap_pthread_mutexattr_settype(pthread_mutexattr_t *attributes, int type)
{
    const int error = threads_.settype.exchange(0);
    return error != 0 ? error : __real_pthread_mutexattr_settype(attributes, type);
}

int __wrap_pthread_mutex_lock(pthread_mutex_t *mutex)
{
    return told(threads_.lock, __real_pthread_mutex_lock(mutex));
}

// The fault is taken before the unlock, because other threads may then make calls.
int __wrap_pthread_mutex_unlock(pthread_mutex_t *mutex)
{
    const int error = threads_.unlock.exchange(0);
    const int rc = __real_pthread_mutex_unlock(mutex);
    return error != 0 ? error : rc;
}
}
