// SPDX-License-Identifier: MIT
//
// CRecursiveSemaphore for callers without classes. A handle is a heap cell that holds one pointer
// to the object. Exceptions end here.
//
// Tested by locks_test.cc and, from C, by plain_c_test.c.

#include <velutils++/locks.h>

#include <exception>
#include <new>

struct velutils_semaphore {
    std::unique_ptr<CRecursiveSemaphore> lock;
};

namespace {

bool isEmpty(semaphore_handle handle) {
    return handle == nullptr || !handle->lock;
}

}  // namespace

semaphore_handle sem_create(const char* name) {
    if (name == nullptr) return nullptr;
    try {
        std::unique_ptr<velutils_semaphore> cell(new (std::nothrow) velutils_semaphore);
        if (!cell) return nullptr;
        const std::string text(name);
        cell->lock.reset(new (std::nothrow) CRecursiveSemaphore(text));
        return cell->lock ? cell.release() : nullptr;
    } catch (const std::exception&) {  // an ordinary allocation, of the text or in the object
        return nullptr;
    }
}

void sem_release(semaphore_handle handle) {
    delete handle;
}

int sem_lock(semaphore_handle handle) {
    return isEmpty(handle) ? -1 : handle->lock->lock();
}

int sem_unlock(semaphore_handle handle) {
    return isEmpty(handle) ? -1 : handle->lock->unlock();
}

int sem_trylock(semaphore_handle handle) {
    return isEmpty(handle) ? -1 : handle->lock->trylock();
}
