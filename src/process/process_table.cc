// SPDX-License-Identifier: MIT
//
// A snapshot of the running processes as a list of entries, from /proc.
//
// With keep a refresh marks every entry invalid, scans, marks what it finds again as valid and
// appends what is new, and removes what is still invalid. /proc lists processes by ascending id
// and so does the list, but for entries appended after the ids wrapped: a known process is nearly
// always the one behind the last one found, and the scan looks there first.
//
// processCount follows the entries that are in the list at any time, so that an exception in the
// middle of a scan leaves it right.
//
// Tested by process_table_test.cc.

#include <velutils++/process_table.h>

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

namespace {

const size_t NAME_SIZE = 256;
const size_t PATH_SIZE = 256;

class Directory {
  public:
    explicit Directory(const char* path) : stream(opendir(path)) {}
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;
    ~Directory() {
        if (stream != nullptr) closedir(stream);
    }

    bool isOpen() const { return stream != nullptr; }
    const struct dirent* read() const { return readdir(stream); }

  private:
    DIR* stream;
};

// Reads up to `size` bytes of a process's command line. -1 when the process has ended; 0 also when
// it has no command line.
ssize_t readCommandLine(int pid, char* buffer, size_t size) {
    char path[PATH_SIZE];
    snprintf(path, sizeof path, "/proc/%d/cmdline", pid);
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return -1;

    // The kernel gives all it has: what ends in a NUL is complete, and needs no second read to
    // find its end.
    size_t length = 0;
    do {
        const ssize_t n = read(fd, buffer + length, size - length);
        if (n <= 0) break;
        length += static_cast<size_t>(n);
    } while (length < size && buffer[length - 1] != '\0');
    close(fd);
    return static_cast<ssize_t>(length);
}

// The kernel ends every argument with a NUL. An empty last argument keeps the space before it: one
// separator is taken off, no more.
void joinArguments(char* name, size_t length) {
    for (size_t i = 0; i < length; ++i)
        if (name[i] == '\0') name[i] = ' ';
    if (name[length - 1] == ' ') name[length - 1] = '\0';
}

void writeBracketed(char (&name)[NAME_SIZE], int pid) {
    snprintf(name, sizeof name, "[%d]", pid);
}

// Whether an entry counts as named from a command line. Asked when it comes and when it goes, so
// that a process that calls itself by its id in brackets is treated alike both times.
bool isCounted(const ProcessEntry& entry) {
    const char* const name = entry.getName();
    if (name[0] != '[') return true;
    char bracketed[NAME_SIZE];
    writeBracketed(bracketed, entry.getPid());
    return strcmp(name, bracketed) != 0;
}

// False when the process has ended.
bool readName(int pid, char (&name)[NAME_SIZE]) {
    memset(name, 0, sizeof name);
    const ssize_t length = readCommandLine(pid, name, sizeof name - 1);
    if (length < 0) return false;
    if (length > 0)
        joinArguments(name, static_cast<size_t>(length));
    else
        writeBracketed(name, pid);
    return true;
}

ProcessEntry* findPid(ProcessEntry* from, const ProcessEntry* end, int pid) {
    while (from != end && from->getPid() != pid) from = from->getNext();
    return from != end ? from : nullptr;
}

// The entry of a process, looked for from `expected` on and then before it.
ProcessEntry* find(ProcessEntry* first, ProcessEntry* expected, int pid) {
    ProcessEntry* const entry = findPid(expected, nullptr, pid);
    return entry != nullptr ? entry : findPid(first, expected, pid);
}

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

// Links the valid entries together in their order and deletes the others. Returns how many of those
// counted.
int removeInvalid(ProcessEntry** first) {
    ProcessEntry* entry = *first;
    ProcessEntry* tail = nullptr;
    int counted = 0;
    *first = nullptr;
    while (entry != nullptr) {
        ProcessEntry* const next = entry->getNext();
        if (entry->isValid()) {
            append(entry, first, &tail);
        } else {
            if (isCounted(*entry)) ++counted;
            delete entry;
        }
        entry = next;
    }
    if (tail != nullptr) tail->setNext(nullptr);
    return counted;
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

    ProcessEntry* expected = firstEntry;
    while (const struct dirent* file = proc.read()) {
        if (file->d_type != DT_DIR || !isNumeric(file->d_name)) continue;
        const int pid = atoi(file->d_name);

        ProcessEntry* const known = keep ? find(firstEntry, expected, pid) : nullptr;
        if (known != nullptr) {
            known->setValid(true);
            expected = known->getNext();
            continue;
        }

        char name[NAME_SIZE];
        if (!readName(pid, name)) continue;
        ProcessEntry* const entry = new ProcessEntry(pid, name);
        append(entry, &firstEntry, &tail);
        if (isCounted(*entry)) ++processCount;
    }
    if (keep) processCount -= removeInvalid(&firstEntry);
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
    return findPid(firstEntry, nullptr, pid);
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
