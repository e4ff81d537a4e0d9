// Mutexes of the runtime core library: opaque handles around pthread mutexes.
#include "core/QorCore.h"

#include <pthread.h>
#include <new>

extern "C" {

void* QorCreateMutex(void)
{
    pthread_mutex_t* mutex = new (std::nothrow) pthread_mutex_t;
    if (mutex == nullptr) {
        return nullptr;  // callers work unlocked without a mutex
    }
    if (pthread_mutex_init(mutex, nullptr) != 0) {
        delete mutex;
        return nullptr;
    }
    return mutex;
}

void QorDestroyMutex(void* mutex)
{
    if (mutex == nullptr) {
        return;
    }
    pthread_mutex_t* handle = static_cast<pthread_mutex_t*>(mutex);
    pthread_mutex_destroy(handle);
    delete handle;
}

int QorLockMutex(void* mutex, int /*wait: only blocking waits are offered*/)
{
    if (mutex == nullptr) {
        return -1;
    }
    return pthread_mutex_lock(static_cast<pthread_mutex_t*>(mutex)) == 0 ? 0 : -1;
}

int QorUnlockMutex(void* mutex)
{
    if (mutex == nullptr) {
        return -1;
    }
    return pthread_mutex_unlock(static_cast<pthread_mutex_t*>(mutex)) == 0 ? 0 : -1;
}

}  // extern "C"
