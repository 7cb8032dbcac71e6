// SPDX-License-Identifier: MIT
//
// CSemaphore: one System V semaphore as a lock between processes.
//
//   init()     semget creates the set (value 0), +1 makes it free; an existing set is only opened
//   lock()     -1, waits while the value is 0
//   unlock()   +1
//
// The first +1 is for good. The others carry SEM_UNDO, which comes to 0 over a pair, so that the
// kernel gives back what a process holds when it ends. The set is removed in one case only: its
// first +1 failed, and it would be a lock that nobody can ever take.
//
// Tested by locks_test.cc.

#include <velutils++/locks.h>

#include <errno.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <syslog.h>
#include <time.h>

static_assert(sizeof(key_t) == 4 && static_cast<key_t>(-1) < 0, "keys are 32 bits, signed");

namespace {

const int MODE = 0600;

int change(int semId, short by, short flags) {
    struct sembuf operation = {0, by, flags};
    return semop(semId, &operation, 1);
}

// A maker needs microseconds to make its set free. One that takes this long has died.
const time_t PATIENCE = 5;  // s

bool isStale(time_t made) {
    return time(nullptr) - made >= PATIENCE;
}

}  // namespace

CSemaphore::CSemaphore(const std::string& file, int id)
    : pathname(file), projectID(id), key(-1), semId(-1) {
    if (pathname.empty()) syslog(LOG_ERR, "CSemaphore - constructed with empty pathname!");
    if (projectID == 0) syslog(LOG_ERR, "CSemaphore - constructed with invalid projectID!");
}

CSemaphore::~CSemaphore() = default;

int CSemaphore::init() {
    key = ftok(pathname.c_str(), projectID);
    if (key == -1) {
        syslog(LOG_ERR, "CSemaphore::init() - ftok failed (errno=%i) for file %s", errno,
               pathname.c_str());
        return -1;
    }
    // Only the one that creates the set may make it free: the value of another's is its state.
    semId = semget(key, 1, IPC_CREAT | IPC_EXCL | MODE);
    const bool created = semId != -1;
    if (!created && errno == EEXIST) semId = semget(key, 1, IPC_CREAT | MODE);
    if (semId == -1) {
        syslog(LOG_ERR, "CSemaphore::init() - unable to obtain semaphore-set - errno=%i", errno);
        return -1;
    }
    if (created && change(semId, 1, 0) == -1) {
        syslog(LOG_ERR,
               "CSemaphore::init() - semop() failed - unable to initialize semaphore - errno=%i",
               errno);
        semctl(semId, 0, IPC_RMID);
        semId = -1;
        return -1;
    }
    return 0;
}

bool CSemaphore::awaitFirstUse() {
    const struct timespec pause = {0, 10 * 1000 * 1000};
    bool stale = false;
    for (;;) {
        struct semid_ds status;
        // A stale set that is gone was removed by another process here; any other, lock() reports.
        if (semctl(semId, 0, IPC_STAT, &status) == -1) return !stale;
        if (status.sem_otime != 0 || semctl(semId, 0, GETVAL) != 0) return true;
        if (stale) {
            semctl(semId, 0, IPC_RMID);
            return false;
        }
        nanosleep(&pause, nullptr);
        stale = isStale(status.sem_ctime);
    }
}

int CSemaphore::lock() {
    if (semId == -1) {
        syslog(LOG_ERR, "CSemaphore::lock() - invalid semId!");
        return -1;
    }
    while (change(semId, -1, SEM_UNDO) == -1) {
        if (errno == EINTR) continue;
        syslog(LOG_ERR, "CSemaphore::lock() - semop failed, errno=%i", errno);
        return -1;
    }
    return 0;
}

int CSemaphore::unlock() {
    if (semId == -1) {
        syslog(LOG_ERR, "CSemaphore::unlock() - invalid semId!");
        return -1;
    }
    if (change(semId, 1, SEM_UNDO) == -1) {
        syslog(LOG_ERR, "CSemaphore::unlock() - semop() failed errno=%i", errno);
        return -1;
    }
    return 0;
}
