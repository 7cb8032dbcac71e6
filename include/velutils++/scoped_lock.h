/* SPDX-License-Identifier: MIT
 *
 * ScopedLock: holds a lock for a scope. C++ only; nothing of it is in the library.
 *
 *     const ScopedLock<CSemaphore> guard(semaphore);
 *     if (!guard) return false;  // not taken: nothing to give back
 *     ...                        // the end of the scope gives it back, on every path
 */
#ifndef VELUTILS_SCOPED_LOCK_H
#define VELUTILS_SCOPED_LOCK_H

#include <velutils++/export.h>

#ifdef __cplusplus

// The second argument of a ScopedLock that tries instead of waiting.
enum TryLock { TRY_LOCK };

// Takes a lock when it is made and unlocks it when it is destroyed, if it holds it then.
//
// Lock is CSemaphore, CRecursiveSemaphore or any class with int lock() and int unlock(), for
// TRY_LOCK also int trylock(). 0 means success; after any other result the lock is not held.
//
// Failures: held() and result() report them. Nothing is logged here, and nothing is thrown but what
// the Lock throws itself.
//
// The lock stays the caller's and must outlive the guard. A process killed in the scope does not
// run the destructor: docs/locks.md says what that means for each lock.
//
// Threads: a guard belongs to the thread that made it.
template <class Lock>
class VELUTILS_NODISCARD ScopedLock {
  public:
    // Waits for the lock, or takes it only if that needs no waiting.
    VELUTILS_NODISCARD explicit ScopedLock(Lock& lock)
        : lock_(lock), result_(lock.lock()), held_(result_ == 0) {}
    VELUTILS_NODISCARD ScopedLock(Lock& lock, TryLock)
        : lock_(lock), result_(lock.trylock()), held_(result_ == 0) {}
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;
    ~ScopedLock() { unlock(); }

    // Whether the lock is held through this guard now.
    explicit operator bool() const { return held_; }
    bool held() const { return held_; }

    // What lock() or trylock() returned when the guard was made, also after unlock().
    int result() const { return result_; }

    // Unlocks early and returns what the lock's unlock() did, or -1 when nothing was held. Nothing
    // is held afterwards, whatever it returns.
    int unlock() {
        if (!held_) return -1;
        held_ = false;
        return lock_.unlock();
    }

  private:
    Lock& lock_;
    const int result_;
    bool held_;
};

#endif

#endif
