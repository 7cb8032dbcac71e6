/* SPDX-License-Identifier: MIT
 *
 * Locks between processes. CSemaphore is a kernel semaphore whose key is made from a file.
 * CRecursiveSemaphore is a recursive mutex shared by name. Plain functions give it to C programs.
 *
 * The plain functions can be called from C; the classes need C++11.
 *
 *                          CSemaphore                      CRecursiveSemaphore
 *   stored in              a System V semaphore set        /dev/shm/<name>
 *   inspect it with        ipcs -s                         ls -l /dev/shm
 *   remove it with         ipcrm -s <id>                   rm /dev/shm/<name>, once no one uses it
 *   held by                a process                       a thread
 *   lock() by its holder   waits for itself, forever       succeeds, and needs its own unlock()
 *   when a holder dies     the kernel releases it          it stays locked forever
 *
 * The semaphore set and the shared memory outlive the objects and the processes. The library
 * removes only those that were never made ready. Both have mode 0600. Named locks belong to one
 * user of the machine: the user whose process made the first of them owns the guard (see
 * CRecursiveSemaphore), and no other user can have named locks.
 *
 * Operations return their failures. The reasons go to syslog(3) under the identity that the daemon
 * chose with openlog(3). The classes throw only std::bad_alloc, when an ordinary allocation fails.
 * The plain functions throw nothing.
 */
#ifndef VELUTILS_LOCKS_H
#define VELUTILS_LOCKS_H

#include <velutils++/export.h>

#ifdef __cplusplus

#include <sys/types.h>

#include <memory>
#include <string>

extern "C" {
#endif

/* A CRecursiveSemaphore for callers without classes: everything said at that class applies.
 *
 * The caller owns a handle from sem_create to sem_release. A null handle has no lock. */
typedef void* semaphore_handle;

/* Opens the named lock, and creates it if it does not exist. Returns null only if name is null or
 * when out of memory. After any other failure it returns a handle, too, and the functions that take
 * it return -1. */
VELUTILS_API semaphore_handle sem_create(const char* name);

/* Releases the handle. The mutex is neither unlocked nor removed.
 * REQUIRES: this process does not hold the mutex through the handle. */
VELUTILS_API void sem_release(semaphore_handle handle);

/* Waits for the mutex and locks it. Returns as CRecursiveSemaphore::lock(). */
VELUTILS_API int sem_lock(semaphore_handle handle);

/* Unlocks the mutex once. Returns as CRecursiveSemaphore::unlock(). */
VELUTILS_API int sem_unlock(semaphore_handle handle);

/* Locks the mutex if that needs no waiting. Returns as CRecursiveSemaphore::trylock(). */
VELUTILS_API int sem_trylock(semaphore_handle handle);

#ifdef __cplusplus
}  // extern "C"

// One System V semaphore: 1 while free, 0 while held. Construct it, call init(), then lock() and
// unlock() in pairs. All objects with the same file and project id, in all processes, use the same
// semaphore.
//
// The key is made from the file's inode and device (ftok(3)). A replaced file is therefore another
// lock, and all its users must be restarted. A process that is killed after it created the set and
// before it made the set free leaves a lock that everyone else waits for. ipcrm removes it.
// (CRecursiveSemaphore removes such a guard itself, after five seconds.) Another user's set is used
// if its mode allows it.
//
// Threads: any thread may use the object after init(). The process holds the lock, not the thread.
//
// A copy uses the same set. The order of the fields is part of the binary interface.
class VELUTILS_API CSemaphore {
  public:
    // Only the low 8 bits of projectID are used. An empty pathname or a projectID of 0 is logged,
    // but init() tries it anyway.
    CSemaphore(const std::string& pathname, int projectID);

    // Neither unlocks nor removes the semaphore. A lock that the process holds stays held until it
    // calls unlock() on another object, or ends.
    virtual ~CSemaphore();

    // Opens the set, or creates it and makes it free. Returns 0, or -1 if the file cannot be
    // reached or the kernel refuses. It can be called again. It does not change a set that exists.
    int init();

    // Waits until the lock is free and takes it. Signals do not end the wait. Returns 0, or -1
    // without a successful init() or if the set was removed.
    int lock();

    // Releases the lock. Returns 0, or -1 as lock() does.
    // REQUIRES: this process holds the lock. This is not checked: after two releases, two processes
    // can hold the lock at once.
    int unlock();

  private:
    friend class CRecursiveSemaphore;
    struct Failure;

    // What init(), lock() and unlock() do, without their messages. report() logs a failure and
    // returns -1; for none it returns 0.
    VELUTILS_LOCAL Failure tryInit();
    VELUTILS_LOCAL Failure tryLock() const;
    VELUTILS_LOCAL Failure tryUnlock() const;
    VELUTILS_LOCAL int report(const Failure& failure) const;

    // For a guard, between init() and lock(): waits until the set was used once, and removes it if
    // its maker must have died. Fails for another user's set, and for a set that it may not
    // inspect. Succeeds if the set was removed: the lock will fail then.
    VELUTILS_LOCAL Failure awaitFirstUse() const;

    // Locks a guard. If its set is marked for removal, removes the set and fails.
    VELUTILS_LOCAL Failure tryLockUnmarked() const;

    std::string pathname;
    int projectID;
    key_t key;
    int semId;
};

// A recursive mutex in named shared memory. The first construction of a name, in any process,
// creates it, and the others open it. Locking it costs the same as locking a bare pthread mutex.
//
// A guard lets one process at a time create and open named mutexes. It is a CSemaphore whose file
// is /usr/lib/libvelutils++.so.1.0.0. Without that file no mutex can be opened. A different file
// there means a different guard: restart every daemon that uses these locks, or an old and a new
// one could set up the same name at the same time.
//
// Only objects of the effective user are used. A guard that another user made or owns, and an
// object that another user owns or that is no regular file, are refused, logged and left in place.
// The log names EPERM, or the error of shm_open(3) for what cannot be opened, such as a directory
// (EINVAL), a socket (ENXIO) or a link (ELOOP).
// The permissions of an object do not matter and can be changed at any time. Its sticky bit marks
// it as unfinished. Never set it: the next process would set up the mutex again while it is held.
// If the guard is removed before a process has taken it, the process makes it again without a
// message.
//
// The mutex is not robust: if a process ends while it holds the mutex, every later lock() waits
// forever. So unlock it before the process ends or the object is destroyed. To recover, stop its
// users, remove /dev/shm/<name> and start them again.
//
// The mutex knows its owner by the thread's number alone, as counted in its PID namespace. If two
// namespaces share /dev/shm, two threads with the same number can hold the mutex at once. If a
// holder dies, a new process with its number owns the mutex. So keep all users of a name in one PID
// namespace, or use flock(2) or fcntl(2).
//
// Threads: any thread may use the object. Only the thread that locked the mutex can unlock it.
// After fork() the child can use the object, and does not hold the mutex.
class VELUTILS_API CRecursiveSemaphore {
  public:
    // Opens the named mutex, and creates it if it does not exist. The name is that of shm_open(3):
    // up to 255 characters, with no "/" except one in front. If it fails, the reason is logged and
    // lock(), unlock() and trylock() return -1.
    explicit CRecursiveSemaphore(const std::string& name);
    CRecursiveSemaphore(const CRecursiveSemaphore&) = delete;
    CRecursiveSemaphore& operator=(const CRecursiveSemaphore&) = delete;

    // Does not unlock or remove the mutex.
    // REQUIRES: no thread of this process holds the mutex through this object.
    virtual ~CRecursiveSemaphore();

    // Waits for the mutex and locks it. The thread that holds it locks it once more. Returns 0, -1
    // if the object could not be set up, or the mutex's error number.
    int lock();
    // Unlocks the mutex once. It is free after as many unlock()s as lock()s. Returns as lock()
    // does; EPERM if this thread does not hold the mutex.
    int unlock();
    // As lock(), but does not wait: returns EBUSY if another thread holds the mutex.
    int trylock();

  private:
    class private_impl;
    std::unique_ptr<private_impl> impl;
};

#endif  // __cplusplus

#endif
