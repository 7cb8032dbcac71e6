/* SPDX-License-Identifier: MIT
 *
 * ScopedLock: holds a lock for a scope.
 *
 *     const ScopedLock<CSemaphore> guard(semaphore);
 *     if (!guard) return false;  // the lock was not taken
 *     ...                        // the end of the scope unlocks it, on every path
 *
 * Header-only: the library exports nothing for it. C++ only. In C the header declares nothing.
 */
#ifndef VELUTILS_SCOPED_LOCK_H
#define VELUTILS_SCOPED_LOCK_H

#include <velutils++/export.h>

#ifdef __cplusplus

// The second argument of a ScopedLock that tries instead of waiting.
enum TryLock { TRY_LOCK };

// The constructor takes a lock. The destructor unlocks it, if the guard still holds it.
//
// Lock is CSemaphore, CRecursiveSemaphore or any class with int lock() and int unlock(), and with
// int trylock() for TRY_LOCK. They return 0 for success. After any other result of lock() or
// trylock() the guard does not hold the lock.
//
// Failures: held() and result() report them. The guard logs nothing, and throws only what the Lock
// throws.
//
// The caller owns the lock, which must outlive the guard. The destructor does not run if the
// process is killed: docs/locks.md says what happens to each lock then.
//
// Threads: a guard belongs to the thread that made it.
template <class Lock>
class VELUTILS_NODISCARD ScopedLock {
  public:
    // Waits for the lock.
    VELUTILS_NODISCARD explicit ScopedLock(Lock& lock)
        : lock_(lock), result_(lock.lock()), held_(result_ == 0) {}
    // Takes the lock only if that needs no waiting.
    VELUTILS_NODISCARD ScopedLock(Lock& lock, TryLock)
        : lock_(lock), result_(lock.trylock()), held_(result_ == 0) {}
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;
    ~ScopedLock() { unlock(); }

    // Whether the guard holds the lock now.
    explicit operator bool() const { return held_; }
    bool held() const { return held_; }

    // What lock() or trylock() returned in the constructor.
    int result() const { return result_; }

    // Unlocks before the end of the scope and returns the result of the lock's unlock(), or -1 if
    // the guard does not hold the lock. The guard does not hold it afterwards, whatever the result.
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
