// SPDX-License-Identifier: MIT

#include "side_by_side.h"

#include <velutils++/locks.h>

#include <pthread.h>
#include <sys/mman.h>

#include <memory>

namespace {

pthread_mutex_t* sharedMutex() {
    void* const memory = mmap(nullptr, sizeof(pthread_mutex_t), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    pthread_mutex_t* const mutex = static_cast<pthread_mutex_t*>(memory);
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutex_init(mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    return mutex;
}

void lockBare(pthread_mutex_t* mutex) {
    benchmark::DoNotOptimize(pthread_mutex_lock(mutex));
    benchmark::DoNotOptimize(pthread_mutex_unlock(mutex));
}

}  // namespace

void registerLocks() {
    sideBySide(
        "recursive lock and unlock", "CRecursiveSemaphore",
        repeat([lock = std::make_shared<CRecursiveSemaphore>("bench")] {
            benchmark::DoNotOptimize(lock->lock());
            benchmark::DoNotOptimize(lock->unlock());
        }),
        {{"bare shared mutex", "1.1", repeat([mutex = sharedMutex()] { lockBare(mutex); })}});
    // The handle lives until the program ends.
    sideBySide(
        "sem_lock and sem_unlock", "plain functions", repeat([lock = sem_create("bench")] {
            benchmark::DoNotOptimize(sem_lock(lock));
            benchmark::DoNotOptimize(sem_unlock(lock));
        }),
        {{"bare shared mutex", "1.1", repeat([mutex = sharedMutex()] { lockBare(mutex); })}});
}
