// SPDX-License-Identifier: MIT
//
// What is at a name in the status tree, and walks through the tree.

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
        OTHER,  // sockets and devices: no part of the tree
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

// Reads a file from where it stands to its end. Returns 0 or an error number.
int readAll(int fd, std::string* content);

// Looks at a path, which may be relative to the directory. It waits for nobody and opens regular
// files only. Returns 0 or an error number; nothing there is no error.
enum class Links { KEEP, FOLLOW };
int examine(int directory, const char* path, Links links, Entry* entry);

// What a directory holds, without temporary files. The keys are the places of the names among full
// names: those of directories go on with "/".
typedef std::map<std::string, std::string> Contents;

// Sees what a walk comes by. Names are full, as "/wan/state".
class Visitor {
  public:
    virtual ~Visitor() {}
    // Whether the name is of interest.
    virtual bool wants(const std::string&) { return true; }
    // Before a directory is read. It is left out after false.
    virtual bool enter(int, const std::string&) { return true; }
    virtual void contents(const std::string&, const Contents&) {}
    virtual void visit(const std::string& name, const Entry& entry) = 0;
    virtual void fail(const std::string& name, int error) = 0;
};

// Visits the entry of a directory, and all below it in the order of their names' bytes. Temporary
// files and what is of another kind are passed over; links are not followed.
void walkEntry(int directory, const std::string& entry, const std::string& name, Visitor* visitor);

// The same for all in an open directory.
void walkDirectory(int directory, const std::string& name, Visitor* visitor);

#endif
