// SPDX-License-Identifier: MIT
//
// CRecursiveSemaphore for callers in C. A handle points to an allocated cell, which holds a pointer
// to the object. No exception leaves these functions.
//
// Tested by locks_test.cc and, from C, by plain_c_test.c.

#include <velutils++/locks.h>

#include <exception>
#include <new>

namespace {

struct Cell {
    std::unique_ptr<CRecursiveSemaphore> lock;
};

// Null if the handle has no lock.
CRecursiveSemaphore* lockOf(semaphore_handle handle) {
    return handle != nullptr ? static_cast<Cell*>(handle)->lock.get() : nullptr;
}

}  // namespace

semaphore_handle sem_create(const char* name) {
    if (name == nullptr) return nullptr;
    try {
        std::unique_ptr<Cell> cell(new (std::nothrow) Cell);
        if (!cell) return nullptr;
        const std::string text(name);
        cell->lock.reset(new (std::nothrow) CRecursiveSemaphore(text));
        return cell->lock ? cell.release() : nullptr;
    } catch (const std::exception&) {  // std::bad_alloc, of the text or in the object
        return nullptr;
    }
}

void sem_release(semaphore_handle handle) {
    delete static_cast<Cell*>(handle);
}

int sem_lock(semaphore_handle handle) {
    CRecursiveSemaphore* const lock = lockOf(handle);
    return lock != nullptr ? lock->lock() : -1;
}

int sem_unlock(semaphore_handle handle) {
    CRecursiveSemaphore* const lock = lockOf(handle);
    return lock != nullptr ? lock->unlock() : -1;
}

int sem_trylock(semaphore_handle handle) {
    CRecursiveSemaphore* const lock = lockOf(handle);
    return lock != nullptr ? lock->trylock() : -1;
}
