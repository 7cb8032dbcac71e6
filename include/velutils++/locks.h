/* SPDX-License-Identifier: MIT
 *
 * Locks between processes: CSemaphore, a lock kept by the kernel under a key made from a file, and
 * CRecursiveSemaphore, a recursive mutex shared by name, which five plain functions offer too.
 *
 * The plain functions can be called from C; the classes need C++11.
 *
 *                          CSemaphore                      CRecursiveSemaphore
 *   kept in                a System V semaphore set        /dev/shm/<name>
 *   look at it with        ipcs -s                         ls -l /dev/shm
 *   remove it with         ipcrm -s <id>                   rm /dev/shm/<name>, once nobody uses it
 *   belongs to             a process                       a thread
 *   locked again by        waits for itself for ever       held once more
 *   the holder
 *   when a holder dies     the kernel gives it back        stays held for ever
 *
 * What the locks are kept in outlives the objects and the processes: the library removes only what
 * was never made ready. Both have mode 0600. Named locks belong to one user of the machine: the one
 * whose process made the first of them owns the guard (below), and others get none.
 *
 * Failures are results, never exceptions; the reasons go to syslog(3) under the identity that the
 * daemon chose with openlog(3). Only an ordinary allocation that fails throws std::bad_alloc, and
 * the plain functions throw nothing.
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

/* CRecursiveSemaphore, below, for callers without classes. All that is said there holds here.
 *
 * The handle is the caller's from sem_create to sem_release; null is a handle without a lock. */
typedef void* semaphore_handle;

/* Null when name is null or memory is short. A handle whose set-up failed is given all the same:
 * the functions below then return -1. */
VELUTILS_API semaphore_handle sem_create(const char* name);

/* Neither unlocks nor removes the mutex: REQUIRES that this process no longer holds it. */
VELUTILS_API void sem_release(semaphore_handle handle);

/* 0, -1 without a working lock, else the error number of the mutex. */
VELUTILS_API int sem_lock(semaphore_handle handle);
VELUTILS_API int sem_unlock(semaphore_handle handle);
VELUTILS_API int sem_trylock(semaphore_handle handle);

#ifdef __cplusplus
}  // extern "C"

// One System V semaphore: 1 while free, 0 while held. Construct, init(), then lock() and unlock()
// in pairs. Every process, and every object, with the same file and project id uses the same one.
//
// The key comes from the file's inode and device (ftok(3)), so the file must stay in place: a
// replaced file is another lock, and its users are all to be restarted. A process killed between
// its creation of the set and the increment that makes it free leaves a set that all others wait
// for; ipcrm removes it. (CRecursiveSemaphore removes such a guard by itself, after five seconds.)
// Another user's set is used like any other if its mode allows it.
//
// Threads: any, once init() is done. The holder is the process, not the thread.
//
// Copies use the same set. The order of the fields is part of the binary interface.
class VELUTILS_API CSemaphore {
  public:
    // Of projectID only the low 8 bits count. An empty pathname and the id 0 are logged; the
    // object is built all the same, and init() tries what it was given.
    CSemaphore(const std::string& pathname, int projectID);

    // Neither unlocks nor removes: a lock held here stays held until unlock() through another
    // object or the end of the process.
    virtual ~CSemaphore();

    // Opens the set, or creates it and makes it free. 0, or -1: the file cannot be reached, or
    // the kernel refuses. May be repeated; the state of a set that exists is left alone.
    int init();

    // Waits until the lock is free and takes it. Signals do not end the wait. 0, or -1: not
    // initialised, or the set was removed.
    int lock();

    // 0, or -1 as for lock().
    // REQUIRES: this process holds the lock. It is not checked, and a lock given back twice
    // lets two in.
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
    // its maker must have died. Refuses another user's set. Whether the set still exists is for the
    // lock to find out.
    VELUTILS_LOCAL Failure awaitFirstUse() const;

    // The lock of a guard: removes a set that is marked for removal, and fails.
    VELUTILS_LOCAL Failure tryLockUnmarked() const;

    std::string pathname;
    int projectID;
    key_t key;
    int semId;
};

// A recursive mutex in named shared memory. The first construction of a name, in any process,
// creates it, and the others open it. Its operations cost what those of a mutex of the process
// cost.
//
// Creating and opening is done by one process at a time, guarded by a CSemaphore whose file is
// /usr/lib/libvelutils++.so.1.0.0. Without that file nothing can be opened. Installing another
// file there changes the key: restart every daemon that uses these locks, or an old and a new one
// could set up the same name at the same time.
//
// Only what belongs to the effective user is used. A guard that another user made or owns, and an
// object that is another user's or no regular file, are refused, logged and left in place. The mode
// of an object does not matter, and may be changed at any time. A guard that is removed before a
// process has it is made again, silently.
//
// Not robust: a process that ends with the mutex held leaves it held, and every lock() after that
// waits for ever. So give it back before the process ends or the object is destroyed; to recover,
// stop its users, remove /dev/shm/<name> and start them again.
//
// The owner is known by its thread number alone, as its PID namespace numbers it. Two namespaces
// that share /dev/shm can have the same number twice: both may hold the mutex at once. After a
// holder's death a new process with its number owns the mutex, too. Keep all users of a name in one
// PID namespace; across several, take flock(2) or fcntl(2).
//
// Threads: any. The mutex belongs to the thread that locked it, and only that thread unlocks it.
// After fork() the child may use the object, and holds nothing.
class VELUTILS_API CRecursiveSemaphore {
  public:
    // name as for shm_open(3): up to 255 characters without "/" but for one in front. When it
    // fails the reason is logged, and the operations below return -1.
    explicit CRecursiveSemaphore(const std::string& name);
    CRecursiveSemaphore(const CRecursiveSemaphore&) = delete;
    CRecursiveSemaphore& operator=(const CRecursiveSemaphore&) = delete;

    // Does not unlock. The shared mutex stays as it is.
    // REQUIRES: no thread of this process holds the mutex through this object.
    virtual ~CRecursiveSemaphore();

    // All three: 0, -1 without a working lock, else the error number of the mutex.
    int lock();     // waits; the holding thread takes it once more
    int unlock();   // EPERM: held by another thread, or by none; free after as many as lock()s
    int trylock();  // EBUSY: held by another thread

  private:
    class private_impl;
    std::unique_ptr<private_impl> impl;
};

#endif  // __cplusplus

#endif
