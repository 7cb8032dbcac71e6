// SPDX-License-Identifier: MIT
//
// velutils lock list and recover: named locks seen from outside.

#include <velutils++/locks.h>

#include <dirent.h>
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <unistd.h>

#include <list>

#include "lock_run.h"
#include "lock_table.h"
#include "report.h"

namespace {

// The semaphore under which the library opens and creates named locks.
const char GUARD_FILE[] = "/usr/lib/libvelutils++.so.1.0.0";
const int GUARD_ID = 1;

int compareNames(const struct dirent** a, const struct dirent** b) {
    return strcmp((*a)->d_name, (*b)->d_name);
}

int list(const Request&) {
    struct dirent** entries;
    const int count = scandir("/dev/shm", &entries, nullptr, compareNames);
    if (count < 0) return failed("/dev/shm", errno);
    int status = DONE;
    std::list<Lock> locks;
    for (int i = 0; i < count; ++i) {
        const std::string name = entries[i]->d_name;
        free(entries[i]);
        locks.emplace_back();
        const int error = readLock(name, &locks.back());
        if (error != 0) locks.pop_back();
        if (error != 0 && error != ENOENT) status = failed(name, error);
    }
    free(entries);
    findUsers(&locks);
    for (const Lock& lock : locks) put({lineOf(lock), "\n"});
    return status;
}

// Holds the guard while it lives: until then no process can open a lock. If this process is killed,
// the kernel releases it.
class Guard {
  public:
    Guard() : semaphore_(GUARD_FILE, GUARD_ID) {}
    ~Guard() {
        if (isHeld_) semaphore_.unlock();
    }

    // Prints why it fails.
    bool take() {
        if (semaphore_.init() != 0) {
            failed(GUARD_FILE, "the guard of the locks cannot be used");
            return false;
        }
        if (!isOwn()) {
            failed(GUARD_FILE, "the guard of the locks belongs to another user");
            return false;
        }
        isHeld_ = semaphore_.lock() == 0;
        return isHeld_;
    }

  private:
    // The library refuses a guard of another user.
    static bool isOwn() {
        struct semid_ds status;
        const int set = semget(ftok(GUARD_FILE, GUARD_ID), 1, 0);
        return set != -1 && semctl(set, 0, IPC_STAT, &status) == 0 &&
               status.sem_perm.uid == geteuid() && status.sem_perm.cuid == geteuid();
    }

    CSemaphore semaphore_;
    bool isHeld_ = false;
};

int refuseRecovery(const Lock& lock, const char* why) {
    put({lineOf(lock), "\n"});
    return refused(lock.name, why);
}

int recover(const Request& request) {
    const std::string given = request.operands[0];
    if (!isLockName(given)) return failed(given, "not a lock name");
    const std::string name = bareLockName(given);
    std::list<Lock> locks(1);
    int error = readLock(name, &locks.front());
    // Without a lock, do not create a guard.
    Guard guard;
    if (error == 0) {
        if (!guard.take()) return FAILED;
        error = readLock(name, &locks.front());
    }
    if (error == ENOENT) return refused(name, "there is no such lock");
    if (error != 0) return failed(name, error);
    const Lock& lock = locks.front();
    findUsers(&locks);
    if (lock.state == Lock::FREE) return refuseRecovery(lock, "is free");
    if (!lock.users.empty()) return refuseRecovery(lock, "is still open in a process");
    if (lock.state == Lock::HELD) return refuseRecovery(lock, "is held");
    if (lock.owner != geteuid()) return failed(name, EPERM);
    if (shm_unlink(joined({"/", name}).c_str()) != 0) return failed(name, errno);
    return DONE;
}

const char RUN[] = {OPTION_TRY, OPTION_TIMEOUT, '\0'};

const Command COMMANDS[] = {
    {"lock run", RUN, 2, ANY_NUMBER, LOCK_RUN_FAILED,
     "[--try | --timeout S] NAME [--] COMMAND [ARGUMENT...]",
     "Runs COMMAND while holding the recursive lock of that name. Passes HUP, INT, QUIT, TERM, "
     "USR1\n"
     "and USR2 on to it.\n"
     "\n"
     "  --try        do not wait for the lock\n"
     "  --timeout S  wait no longer than this, in seconds\n"
     "\n"
     "Exit status: that of COMMAND, 128 + n if signal n ended it; 1 the lock stayed taken; 125\n"
     "failed, 126 COMMAND cannot be run, 127 COMMAND is not there.\n",
     lockRun},
    {"lock list", "", 0, 0, FAILED, "",
     "Prints the named locks: NAME<TAB>STATE<TAB>HOLDER<TAB>USERS.\n"
     "\n"
     "Exit status: 0 done, 2 something could not be read.\n",
     list},
    {"lock recover", "", 1, 1, FAILED, "NAME",
     "Removes a lock whose holder is gone, if no process has it open.\n"
     "\n"
     "Exit status: 0 done, 1 nothing to recover, 2 failed.\n",
     recover},
};

}  // namespace

const Family LOCK_FAMILY = {"lock", "", "locks between processes, by name\n", COMMANDS,
                            sizeof COMMANDS / sizeof *COMMANDS};
