// SPDX-License-Identifier: MIT
//
// The named locks of the machine, looked at from outside: the objects in /dev/shm, the mutexes in
// them, and the processes that have them open.

#ifndef VELUTILS_COMMANDS_LOCK_TABLE_H
#define VELUTILS_COMMANDS_LOCK_TABLE_H

#include <stdint.h>
#include <sys/types.h>

#include <list>
#include <string>
#include <vector>

// Whether a name can be a lock's: up to 255 characters without "/" but for one in front.
bool isLockName(const std::string& name);

// Without the "/" in front.
std::string bareLockName(const std::string& name);

struct Lock {
    enum State { FREE, HELD, ABANDONED };  // ABANDONED: held by a process that is gone
    std::string name;
    State state = FREE;
    pid_t holder = 0;  // 0 without one, or when the platform does not tell
    std::vector<pid_t> users;
    // Of the object.
    uid_t owner = 0;
    uint64_t device = 0;
    uint64_t inode = 0;
};

// Looks at the object of that name. 0 or an error number; ENOENT when there is none, or it is not a
// lock's. Who uses it is left out.
int readLock(const std::string& name, Lock* lock);

// Adds who uses the locks, and whether a holder is gone.
void findUsers(std::list<Lock>* locks);

// NAME<TAB>STATE<TAB>HOLDER<TAB>USERS, without a newline.
std::string lineOf(const Lock& lock);

#endif
