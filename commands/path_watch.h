// SPDX-License-Identifier: MIT
//
// File changes reported by inotify(7), and watches on what a path leads to.

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
    std::string name;  // of a directory's entry; empty for the watched file itself
};

// The kernel's queue of changes. A file has one watch, however often it is added; the kernel drops
// it after as many remove()s as add()s.
class ChangeQueue {
  public:
    ChangeQueue();
    ChangeQueue(const ChangeQueue&) = delete;
    ChangeQueue& operator=(const ChangeQueue&) = delete;
    ~ChangeQueue();

    // Returns 0 or an error number.
    int open();

    // Watches the path for the kinds of changes in mask, in addition to those of earlier calls.
    // Returns the watch, or -1 with errno.
    int add(const char* path, uint32_t mask);
    void remove(int watch);

    // Waits for the next change. False when the time is up or, with LOOK_AFTER, when standard
    // output no longer has a reader.
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

// Says why add() or open() failed.
const char* watchFailure(int error);

// Watches everything that decides where a path leads: each directory on the way, and the entry in
// it that the path continues with.
class PathWatch {
  public:
    explicit PathWatch(ChangeQueue* queue) : queue_(queue) {}

    // Watches where the path leads now. Look at the file after this call, and call again after each
    // change that concerns the path. Returns 0 or an error number.
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
