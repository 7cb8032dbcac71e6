// SPDX-License-Identifier: MIT
//
// Changes of files as inotify(7) reports them, and what a path leads to.

#ifndef VELUTILS_COMMANDS_PATH_WATCH_H
#define VELUTILS_COMMANDS_PATH_WATCH_H

#include <stdint.h>

#include <list>
#include <map>
#include <string>
#include <string_view>

#include "duration.h"

struct Change {
    int watch;
    uint32_t mask;
    std::string name;  // of the entry of a directory, or empty
};

// The kernel's queue of changes. The same file or directory has one watch, however often it is
// added, and each add() needs its remove().
class ChangeQueue {
  public:
    ChangeQueue();
    ChangeQueue(const ChangeQueue&) = delete;
    ChangeQueue& operator=(const ChangeQueue&) = delete;
    ~ChangeQueue();

    // 0 or an error number.
    int open();

    // Adds the kinds of changes to those that are watched for. Returns the watch, or -1 with errno.
    int add(const char* path, uint32_t mask);
    void remove(int watch);

    // Waits for the next change. False when the time is up first or, with an output to look after,
    // its reader leaves.
    enum class Output { IGNORE, LOOK_AFTER };
    bool next(const Deadline& deadline, Output output, Change* change);

  private:
    bool await(const Deadline& deadline, Output output);

    int fd_ = -1;
    std::map<int, int> uses_;
    alignas(8) char buffer_[16384];
    size_t at_ = 0;
    size_t end_ = 0;
};

// Why a watch could not be added, for people.
const char* watchFailure(int error);

// Watches all that decides where a path leads: each directory on the way, and in it the entry that
// the path goes on with.
class PathWatch {
  public:
    explicit PathWatch(ChangeQueue* queue) : queue_(queue) {}

    // Begins anew, with the path as it leads now. What the path leads to is to be looked at after
    // this, and again after each change that concerns it. 0 or an error number.
    int follow(const std::string& path);

    bool concerns(const Change& change) const;

  private:
    struct Watched {
        int watch;
        uint32_t mask;
        std::string name;  // of the entry
        bool operator==(const Watched& other) const {
            return watch == other.watch && mask == other.mask && name == other.name;
        }
    };
    typedef std::list<Watched> Watches;

    int walk(const std::string& path, Watches* watches);
    int watch(const std::string& directory, uint32_t mask, std::string_view name, Watches* watches);
    void drop(const Watches& watches);

    ChangeQueue* const queue_;
    Watches watches_;
};

#endif
