// SPDX-License-Identifier: MIT
//
// CSemaphore: one System V semaphore as a lock between processes.
//
//   init()     semget creates the set (value 0), +1 makes it free; an existing set is only opened
//   lock()     -1, waits while the value is 0
//   unlock()   +1
//
// The initial +1 is permanent. Later changes use SEM_UNDO and cancel out over lock and unlock, so
// the kernel releases what a process holds when it ends. init() removes a set only if its initial
// +1 failed, because no process could ever take that lock.
//
// The guard of named locks is a CSemaphore that is also removed if its maker died before the
// initial +1. The maker may only be slow, so the initial +1 and the first lock can come at any
// moment of the removal:
//
//   remover   marks the set, checks it again, and removes it if it is still unused
//   locker    takes the lock, then checks for the mark; if marked, removes the set and starts again
//
// The mark stays until the set is removed. A holder of the guard found no mark after taking the
// lock, so a remover that marks the set later finds it used and leaves it alone.
//
// Tested by locks_test.cc.

#include <velutils++/locks.h>

#include <errno.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include "semaphore_internal.h"

static_assert(sizeof(key_t) == 4 && static_cast<key_t>(-1) < 0, "keys are 32 bits, signed");

namespace {

const int MODE = 0600;
const int MARK = 0100;  // a permission bit that the kernel keeps, and ignores, for semaphores

// How often init() tries to create or open a set that others remove at the same time.
const int ATTEMPTS = 100;

// A maker takes microseconds to make its set free. After five seconds the maker is presumed dead.
// The time is counted in pauses: the wall clock can be set, and the time for which this process is
// stopped must not count.
const int PATIENCE = 500;  // pauses
const struct timespec PAUSE = {0, 10 * 1000 * 1000};

const char NOT_OBTAINED[] = "CSemaphore::init() - unable to obtain semaphore-set - errno=%i";
const char NOT_LOCKED[] = "CSemaphore::lock() - semop failed, errno=%i";

int change(int semId, short by, short flags) {
    struct sembuf operation = {0, by, flags};
    return semop(semId, &operation, 1);
}

// Sleeps for the whole pause, even if signals arrive.
void pauseOnce() {
    struct timespec left = PAUSE;
    while (nanosleep(&left, &left) == -1 && errno == EINTR) {
    }
}

}  // namespace

CSemaphore::CSemaphore(const std::string& file, int id)
    : pathname(file), projectID(id), key(-1), semId(-1) {
    if (pathname.empty()) syslog(LOG_ERR, "CSemaphore - constructed with empty pathname!");
    if (projectID == 0) syslog(LOG_ERR, "CSemaphore - constructed with invalid projectID!");
}

CSemaphore::~CSemaphore() = default;

int CSemaphore::init() {
    return report(tryInit());
}

int CSemaphore::lock() {
    if (semId == -1) return report({"CSemaphore::lock() - invalid semId!", EINVAL});
    return report(tryLock());
}

int CSemaphore::unlock() {
    if (semId == -1) return report({"CSemaphore::unlock() - invalid semId!", EINVAL});
    return report(tryUnlock());
}

int CSemaphore::report(const Failure& failure) const {
    if (failure.message == nullptr) return 0;
    syslog(LOG_ERR, failure.message, failure.error, pathname.c_str());
    return -1;
}

CSemaphore::Failure CSemaphore::tryInit() {
    key = ftok(pathname.c_str(), projectID);
    if (key == -1) return {"CSemaphore::init() - ftok failed (errno=%i) for file %s", errno};
    // Only the creator of a set may make it free, because the value of an existing set says whether
    // it is held. So the second call must not create one, and if the set is removed between the two
    // calls, both are repeated.
    bool created = false;
    for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
        semId = semget(key, 1, IPC_CREAT | IPC_EXCL | MODE);
        created = semId != -1;
        if (created || errno != EEXIST) break;
        semId = semget(key, 1, MODE);
        if (semId != -1 || (errno != ENOENT && errno != EIDRM)) break;
    }
    if (semId == -1) return {NOT_OBTAINED, errno};
    if (!created || change(semId, 1, 0) == 0) return {};
    const Failure failure = {
        "CSemaphore::init() - semop() failed - unable to initialize semaphore - errno=%i", errno};
    semctl(semId, 0, IPC_RMID);
    semId = -1;
    return failure;
}

CSemaphore::Failure CSemaphore::tryLock() const {
    while (change(semId, -1, SEM_UNDO) == -1)
        if (errno != EINTR) return {NOT_LOCKED, errno};
    return {};
}

CSemaphore::Failure CSemaphore::tryUnlock() const {
    if (change(semId, 1, SEM_UNDO) == 0) return {};
    return {"CSemaphore::unlock() - semop() failed errno=%i", errno};
}

CSemaphore::Failure CSemaphore::awaitFirstUse() const {
    struct semid_ds status;
    for (int left = PATIENCE; semctl(semId, 0, IPC_STAT, &status) == 0; --left) {
        const uid_t user = geteuid();
        if (status.sem_perm.cuid != user || status.sem_perm.uid != user)
            return {NOT_OBTAINED, EPERM};
        if (status.sem_otime != 0) return {};
        const int value = semctl(semId, 0, GETVAL);
        if (value > 0) return {};
        if (value == -1) break;
        if (left > 0) {
            pauseOnce();
        } else if (left == 0) {
            status.sem_perm.mode |= MARK;
            semctl(semId, 0, IPC_SET, &status);
        } else {
            semctl(semId, 0, IPC_RMID);
            return {};
        }
    }
    // A set that we may not inspect can be another user's, and its lock would wait forever.
    if (errno != EIDRM && errno != EINVAL) return {NOT_OBTAINED, errno};
    return {};
}

CSemaphore::Failure CSemaphore::tryLockUnmarked() const {
    const Failure failure = tryLock();
    if (failure.message != nullptr) return failure;
    struct semid_ds status;
    if (semctl(semId, 0, IPC_STAT, &status) == 0 && (status.sem_perm.mode & MARK) == 0) return {};
    semctl(semId, 0, IPC_RMID);
    return {NOT_LOCKED, EIDRM};
}
