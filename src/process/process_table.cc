// SPDX-License-Identifier: MIT
//
// A snapshot of the running processes as a list of entries, from /proc.
//
// With keep, a refresh marks every entry invalid, scans, marks the processes that it knows as
// valid, appends the new ones, and removes the entries that are still invalid. /proc lists
// processes by ascending id, and so does the list until the ids wrap: the scan expects the entries
// in the order of the list. After the first process that is not the expected one, an index finds
// the entries. The time of a refresh is therefore proportional to the number of processes.
//
// processCount follows the entries in the list at any time, so that an exception in the middle of a
// scan leaves it correct.
//
// Tested by process_table_test.cc.

#include <velutils++/process_table.h>

#include <dirent.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

const size_t NAME_SIZE = 256;
const size_t PATH_SIZE = 256;

class Directory {
  public:
    explicit Directory(const char* path) : stream_(opendir(path)) {}
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;
    ~Directory() {
        if (stream_ != nullptr) closedir(stream_);
    }

    bool isOpen() const { return stream_ != nullptr; }
    const struct dirent* read() const { return readdir(stream_); }

  private:
    DIR* stream_;
};

// Reads up to `size` bytes of a process's command line. Returns -1 if the process has ended, and 0
// if it has no command line.
ssize_t readCommandLine(int pid, char* buffer, size_t size) {
    char path[PATH_SIZE];
    snprintf(path, sizeof path, "/proc/%d/cmdline", pid);
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return -1;

    // The kernel returns all that it has, so text that ends in a NUL is complete and needs no
    // second read to find its end.
    size_t length = 0;
    do {
        const ssize_t n = read(fd, buffer + length, size - length);
        if (n <= 0) break;
        length += static_cast<size_t>(n);
    } while (length < size && buffer[length - 1] != '\0');
    close(fd);
    return static_cast<ssize_t>(length);
}

// The kernel ends each argument with a NUL. Only one separator is removed at the end, so an empty
// last argument keeps the space before it.
void joinArguments(char* name, size_t length) {
    for (size_t i = 0; i < length; ++i)
        if (name[i] == '\0') name[i] = ' ';
    if (name[length - 1] == ' ') name[length - 1] = '\0';
}

// `directory` is the process's entry in /proc. Returns false if the process has ended.
bool readName(int pid, const char* directory, char (&name)[NAME_SIZE]) {
    memset(name, 0, sizeof name);
    const ssize_t length = readCommandLine(pid, name, sizeof name - 1);
    if (length < 0) return false;
    if (length > 0)
        joinArguments(name, static_cast<size_t>(length));
    else
        snprintf(name, sizeof name, "[%.253s]", directory);
    return true;
}

ProcessEntry* findPid(ProcessEntry* entry, int pid) {
    while (entry != nullptr && entry->getPid() != pid) entry = entry->getNext();
    return entry;
}

// Finds the entries of a list during one scan. The index is an open-addressing table of the entries
// by id, at most half full. It is mapped memory, so that a refresh allocates only entries. If an id
// occurs several times, its first entry is found.
class Lookup {
  public:
    explicit Lookup(ProcessEntry* first)
        : expected_(first), lastPid_(-1), slots_(nullptr), bits_(0), used_(0) {}
    Lookup(const Lookup&) = delete;
    Lookup& operator=(const Lookup&) = delete;
    ~Lookup() { release(); }

    // `first` is the current first entry of the list.
    ProcessEntry* find(ProcessEntry* first, int pid) {
        // The ids have been ascending so far, so no entry before this one has the same id.
        if (expected_ != nullptr && pid > lastPid_ && expected_->getPid() == pid) {
            ProcessEntry* const found = expected_;
            expected_ = found->getNext();
            lastPid_ = pid;
            return found;
        }
        expected_ = nullptr;
        if (used_ * 2 >= capacity() && !build(first)) return findPid(first, pid);
        return *slotOf(pid);
    }

    // Adds an entry that was appended to the list.
    void add(ProcessEntry* entry) {
        if (slots_ != nullptr) insert(entry);
    }

  private:
    static const size_t SLOT_SIZE = sizeof(void*);
    static const unsigned FEWEST_BITS = 10;  // a page on 32-bit machines

    size_t capacity() const { return slots_ != nullptr ? size_t{1} << bits_ : 0; }

    // Returns the slot of the id's entry, or the empty slot where it belongs.
    ProcessEntry** slotOf(int pid) const {
        // The multiplier is 2^32 divided by the golden ratio: it spreads consecutive ids evenly.
        size_t i = static_cast<uint32_t>(pid) * 2654435769u >> (32 - bits_);
        while (slots_[i] != nullptr && slots_[i]->getPid() != pid) i = (i + 1) & (capacity() - 1);
        return &slots_[i];
    }

    void insert(ProcessEntry* entry) {
        ProcessEntry** const slot = slotOf(entry->getPid());
        if (*slot != nullptr) return;
        *slot = entry;
        ++used_;
    }

    // Builds a new index of all entries, less than half full. Returns false when out of memory.
    bool build(ProcessEntry* first) {
        release();
        size_t count = 0;
        for (ProcessEntry* entry = first; entry != nullptr; entry = entry->getNext()) ++count;
        for (bits_ = FEWEST_BITS; size_t{1} << bits_ <= count * 2; ++bits_) continue;
        void* const mapping = mmap(nullptr, SLOT_SIZE << bits_, PROT_READ | PROT_WRITE,
                                   MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (mapping == MAP_FAILED) return false;
        slots_ = static_cast<ProcessEntry**>(mapping);
        for (ProcessEntry* entry = first; entry != nullptr; entry = entry->getNext()) insert(entry);
        return true;
    }

    void release() {
        if (slots_ != nullptr) munmap(slots_, capacity() * SLOT_SIZE);
        slots_ = nullptr;
        used_ = 0;
    }

    ProcessEntry* expected_;  // null after the first miss
    int lastPid_;             // id of the entry before the expected one
    ProcessEntry** slots_;    // null without an index
    unsigned bits_;           // the index has 2^bits slots
    size_t used_;
};

// Returns the last entry.
ProcessEntry* invalidateAll(ProcessEntry* entry) {
    ProcessEntry* last = nullptr;
    for (; entry != nullptr; entry = entry->getNext()) {
        entry->setValid(false);
        last = entry;
    }
    return last;
}

void append(ProcessEntry* entry, ProcessEntry** first, ProcessEntry** tail) {
    if (*tail != nullptr)
        (*tail)->setNext(entry);
    else
        *first = entry;
    *tail = entry;
}

// Deletes the invalid entries and keeps the others in their order. Returns how many are left.
int removeInvalid(ProcessEntry** first) {
    ProcessEntry* entry = *first;
    ProcessEntry* tail = nullptr;
    int left = 0;
    *first = nullptr;
    while (entry != nullptr) {
        ProcessEntry* const next = entry->getNext();
        if (entry->isValid()) {
            append(entry, first, &tail);
            ++left;
        } else {
            delete entry;
        }
        entry = next;
    }
    if (tail != nullptr) tail->setNext(nullptr);
    return left;
}

bool beginsWith(const ProcessEntry& entry, const char* prefix) {
    return prefix == nullptr || strncmp(entry.getName(), prefix, strlen(prefix)) == 0;
}

}  // namespace

// ProcessEntry

ProcessEntry::ProcessEntry(int processId, const char* nameText)
    : pid(processId),
      name(strcpy(new char[strlen(nameText) + 1], nameText)),
      next(nullptr),
      valid(true) {}

ProcessEntry::~ProcessEntry() {
    delete[] name;
}

int ProcessEntry::getPid() const {
    return pid;
}

const char* ProcessEntry::getName() const {
    return name;
}

ProcessEntry* ProcessEntry::getNext() const {
    return next;
}

void ProcessEntry::setNext(ProcessEntry* entry) {
    next = entry;
}

void ProcessEntry::setValid(bool isRunning) {
    valid = isRunning;
}

bool ProcessEntry::isValid() {
    return valid;
}

// ProcessControl

ProcessControl::ProcessControl() : firstEntry(nullptr), processCount(0) {}

ProcessControl::~ProcessControl() {
    ProcessControl::cleanup();
}

void ProcessControl::refresh(bool keep) {
    const Directory proc("/proc");
    ProcessEntry* tail = nullptr;
    if (keep)
        tail = invalidateAll(firstEntry);
    else
        cleanup();
    if (!proc.isOpen()) return;

    Lookup lookup(firstEntry);
    while (const struct dirent* file = proc.read()) {
        if (file->d_type != DT_DIR || !isNumeric(file->d_name)) continue;
        const int pid = atoi(file->d_name);

        ProcessEntry* const known = keep ? lookup.find(firstEntry, pid) : nullptr;
        if (known != nullptr) {
            known->setValid(true);
            continue;
        }

        char name[NAME_SIZE];
        if (!readName(pid, file->d_name, name)) continue;
        ProcessEntry* const entry = new ProcessEntry(pid, name);
        append(entry, &firstEntry, &tail);
        ++processCount;
        if (keep) lookup.add(entry);
    }
    if (keep) processCount = removeInvalid(&firstEntry);
}

ProcessEntry* ProcessControl::getNextProcessEntryByName(const char* prefix,
                                                        const ProcessEntry* previous) const {
    ProcessEntry* entry = firstEntry;
    if (previous != nullptr) {
        while (entry != nullptr && entry != previous) entry = entry->getNext();
        if (entry == nullptr) return nullptr;
        entry = entry->getNext();
    }
    while (entry != nullptr && !beginsWith(*entry, prefix)) entry = entry->getNext();
    return entry;
}

int ProcessControl::getNumberOfProcessesByName(const char* prefix) const {
    int number = 0;
    for (const ProcessEntry* entry = firstEntry; entry != nullptr; entry = entry->getNext())
        if (beginsWith(*entry, prefix)) ++number;
    return number;
}

ProcessEntry* ProcessControl::getProcessEntryByPid(int pid) {
    return findPid(firstEntry, pid);
}

int ProcessControl::getNumberOfProcesses() const {
    return processCount;
}

void ProcessControl::cleanup() {
    ProcessEntry* entry = firstEntry;
    processCount = 0;
    firstEntry = nullptr;
    while (entry != nullptr) {
        ProcessEntry* const next = entry->getNext();
        delete entry;
        entry = next;
    }
}

bool ProcessControl::isNumeric(const char* text) const {
    while (*text >= '0' && *text <= '9') ++text;
    return *text == '\0';
}
