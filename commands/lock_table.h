// SPDX-License-Identifier: MIT
//
// Looks at named locks from outside: at the objects in /dev/shm, the mutexes in them and the
// processes that have them open.

#ifndef VELUTILS_COMMANDS_LOCK_TABLE_H
#define VELUTILS_COMMANDS_LOCK_TABLE_H

#include <stdint.h>
#include <sys/types.h>

#include <list>
#include <string>
#include <vector>

// Whether a lock can have the name: up to 255 characters, and no "/" except in front.
bool isLockName(const std::string& name);

// The name without a "/" in front.
std::string bareLockName(const std::string& name);

struct Lock {
    enum State { FREE, HELD, ABANDONED };  // ABANDONED: its holder is gone
    std::string name;
    State state = FREE;
    pid_t holder = 0;  // 0: none, or unknown
    std::vector<pid_t> users;
    // The object's.
    uid_t owner = 0;
    uint64_t device = 0;
    uint64_t inode = 0;
};

// Reads all but the users of a lock. Returns 0 or an error number, ENOENT if no lock has that name.
int readLock(const std::string& name, Lock* lock);

// Fills in the users of the locks, and finds out whether holders are gone.
void findUsers(std::list<Lock>* locks);

// NAME<TAB>STATE<TAB>HOLDER<TAB>USERS, without a newline.
std::string lineOf(const Lock& lock);

#endif
