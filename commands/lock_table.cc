// SPDX-License-Identifier: MIT
//
// Objects are read, not mapped: mapping one would make this process one of its users. A mutex names
// the thread that holds it; users are the processes that map the object's device and inode.
//
// When a thread ends, a new thread may get its number. So a holder is reported as alive only if its
// process maps the object, or if we may not see what it maps.

#include "lock_table.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>

#include "config_file.h"
#include "escape.h"
#include "pieces.h"
#include "status_entry.h"

namespace {

const char DIRECTORY[] = "/dev/shm/";

// The library sets this bit until the mutex is initialised.
const mode_t UNFINISHED = S_ISVTX;

std::string ofProcess(pid_t process, const char* file) {
    return joined({"/proc/", numberOf(static_cast<unsigned>(process)), "/", file});
}

// Whether the object is a lock's, by its type, size and mode.
bool isLock(const struct stat& object) {
    return S_ISREG(object.st_mode) && (object.st_mode & UNFINISHED) == 0 &&
           object.st_size == static_cast<off_t>(sizeof(pthread_mutex_t));
}

// Finds out whether the mutex is held, and by which thread.
void examine(const pthread_mutex_t& mutex, bool* isHeld, pid_t* thread) {
#ifdef __GLIBC__
    *isHeld = mutex.__data.__lock != 0;
    *thread = mutex.__data.__owner;
#else
#error "say how this C library's mutexes show their holder"
#endif
}

// The process that a thread belongs to; 0 if the thread does not exist.
pid_t processOf(pid_t thread) {
    std::string status;
    if (thread <= 0 || readFile(ofProcess(thread, "status").c_str(), &status) != 0) return 0;
    const size_t line = status.find("\nTgid:");
    return line == std::string::npos ? 0 : atoi(status.c_str() + line + 6);
}

// Adds the process to the users of the lock that is mapped in a line of its /proc/PID/maps.
void addUser(pid_t process, const char* line, std::list<Lock>* locks) {
    unsigned major, minor;
    unsigned long long inode;
    if (sscanf(line, "%*s %*s %*s %x:%x %llu", &major, &minor, &inode) != 3 || inode == 0) return;
    const uint64_t device = gnu_dev_makedev(major, minor);
    for (Lock& lock : *locks) {
        const bool isNew = lock.users.empty() || lock.users.back() != process;
        if (isNew && lock.inode == inode && lock.device == device) lock.users.push_back(process);
    }
}

// In numerical order, as /proc lists them.
std::vector<pid_t> processes() {
    std::vector<pid_t> found;
    DIR* const stream = opendir("/proc");
    if (stream == nullptr) return found;
    while (const struct dirent* const entry = readdir(stream)) {
        const int process = atoi(entry->d_name);
        if (process > 0) found.push_back(process);
    }
    closedir(stream);
    return found;
}

std::string commandOf(pid_t process) {
    std::string name;
    readFile(ofProcess(process, "comm").c_str(), &name);
    if (!name.empty() && name.back() == '\n') name.pop_back();
    return joined(
        {numberOf(static_cast<unsigned>(process)), name.empty() ? "" : " ", escaped(name)});
}

bool contains(const std::vector<pid_t>& processes, pid_t process) {
    return std::find(processes.begin(), processes.end(), process) != processes.end();
}

}  // namespace

bool isLockName(const std::string& name) {
    const std::string bare = bareLockName(name);
    return !bare.empty() && bare.size() <= NAME_MAX && bare.find('/') == std::string::npos &&
           bare != "." && bare != "..";
}

std::string bareLockName(const std::string& name) {
    return name.compare(0, 1, "/") == 0 ? name.substr(1) : name;
}

int readLock(const std::string& name, Lock* lock) {
    *lock = Lock();
    lock->name = name;
    const std::string path = joined({DIRECTORY, name});
    // Before the open, which has effects on some devices.
    struct stat object;
    if (lstat(path.c_str(), &object) != 0) return errno;
    if (!isLock(object)) return ENOENT;
    const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    if (!file.isOpen()) return errno;
    if (fstat(file.get(), &object) != 0) return errno;
    if (!isLock(object)) return ENOENT;
    pthread_mutex_t mutex;
    if (pread(file.get(), &mutex, sizeof mutex, 0) != static_cast<ssize_t>(sizeof mutex))
        return EIO;
    lock->owner = object.st_uid;
    lock->device = object.st_dev;
    lock->inode = object.st_ino;
    bool isHeld;
    examine(mutex, &isHeld, &lock->holder);
    if (!isHeld) lock->holder = 0;
    lock->state = isHeld ? Lock::HELD : Lock::FREE;
    return 0;
}

void findUsers(std::list<Lock>* locks) {
    std::vector<pid_t> hidden;
    for (const pid_t process : processes()) {
        std::string maps;
        if (readFile(ofProcess(process, "maps").c_str(), &maps) != 0) hidden.push_back(process);
        for (size_t at = 0; at < maps.size(); at = std::min(maps.find('\n', at), maps.size()) + 1)
            addUser(process, maps.c_str() + at, locks);
    }
    for (Lock& lock : *locks) {
        if (lock.state == Lock::FREE) continue;
        const pid_t process = processOf(lock.holder);
        if (process != 0 && (contains(lock.users, process) || contains(hidden, process)))
            lock.holder = process;
        else if (lock.holder != 0 || lock.users.empty())
            lock.state = Lock::ABANDONED;
    }
}

std::string lineOf(const Lock& lock) {
    const char* const states[] = {"free", "held", "held by a process that is gone"};
    const std::string holder = lock.holder > 0 ? commandOf(lock.holder) : "-";
    std::string text = joined({escaped(lock.name), "\t", states[lock.state], "\t", holder, "\t"});
    const char* separator = "";
    for (const pid_t user : lock.users) {
        append(&text, {separator, commandOf(user)});
        separator = ", ";
    }
    if (lock.users.empty()) text += '-';
    return text;
}
