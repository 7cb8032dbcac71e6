// SPDX-License-Identifier: MIT
//
// Reads entries of the status tree, and walks through it.

#ifndef VELUTILS_COMMANDS_STATUS_ENTRY_H
#define VELUTILS_COMMANDS_STATUS_ENTRY_H

#include <map>
#include <string>

struct Entry {
    enum Kind {
        NONE,
        VALUE,
        LINK,
        FIFO,
        DIRECTORY,
        OTHER,  // sockets and devices, which are ignored
    };
    Kind kind = NONE;
    std::string text;  // the value, or the link's target
};

// Owns a descriptor.
class Descriptor {
  public:
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor();
    int get() const { return fd_; }
    bool isOpen() const { return fd_ >= 0; }

  private:
    int fd_;
};

// Reads the rest of a file. Returns 0 or an error number.
int readAll(int fd, std::string* content);

// Looks at a path, relative to the directory unless absolute. Opens regular files only, and never
// blocks. Returns 0 or an error number; a missing file is no error.
enum class Links { KEEP, FOLLOW };
int examine(int directory, const char* path, Links links, Entry* entry);

// The names in a directory, except temporary files. The keys give them the order of the full names:
// those of directories end in "/".
typedef std::map<std::string, std::string> Contents;

// Is called with what a walk meets. Names are full ones, such as "/wan/state".
class Visitor {
  public:
    virtual ~Visitor() {}
    // Whether to look at the name.
    virtual bool wants(const std::string&) { return true; }
    // Called with an open directory before it is read. False skips the directory.
    virtual bool enter(int, const std::string&) { return true; }
    virtual void contents(const std::string&, const Contents&) {}
    virtual void visit(const std::string& name, const Entry& entry) = 0;
    virtual void fail(const std::string& name, int error) = 0;
};

// Visits an entry of the directory and everything below it, sorted by the bytes of the full names.
// Does not follow links.
void walkEntry(int directory, const std::string& entry, const std::string& name, Visitor* visitor);

// Visits everything in an open directory.
void walkDirectory(int directory, const std::string& name, Visitor* visitor);

#endif
