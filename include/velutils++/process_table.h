/* SPDX-License-Identifier: MIT
 *
 * The process table: a snapshot of the running processes, read from /proc (proc(5)), to find them
 * by command line or by id, and to count them. C++ only.
 *
 *     ProcessControl processes;
 *     processes.refresh(false);
 *     if (processes.getNumberOfProcessesByName("/usr/sbin/pppd") == 0) ...
 *
 * Only refresh() and cleanup() change the snapshot. A process may have ended since, and its id may
 * belong to another one.
 *
 * Threads: a ProcessControl belongs to one thread at a time. Several threads may call its const
 * operations at once while no thread calls another one.
 */
#ifndef VELUTILS_PROCESS_TABLE_H
#define VELUTILS_PROCESS_TABLE_H

#include <velutils++/export.h>

#ifdef __cplusplus

// The order of virtual operations and of fields in both classes is part of the binary interface.

// One process of a snapshot.
class VELUTILS_API ProcessEntry {
  public:
    // Copies the name. The new entry is valid and has no successor.
    // REQUIRES: nameText is not null.
    ProcessEntry(int processId, const char* nameText);
    ProcessEntry(const ProcessEntry&) = delete;
    ProcessEntry& operator=(const ProcessEntry&) = delete;
    virtual ~ProcessEntry();

    // The process id.
    virtual int getPid() const;
    // The command line: the arguments with a space between them, cut to 255 bytes. It is read until
    // a read ends in a NUL, which ends every argument, or until the end of the file. A process that
    // has overwritten its arguments to rename itself may leave blanks at the end. For a process
    // without a command line (a kernel thread, a zombie) the name is that of its directory in
    // /proc, which is its id, in brackets: "[2]".
    virtual const char* getName() const;
    // The next entry of the snapshot, or null.
    virtual ProcessEntry* getNext() const;
    // Sets the next entry. Only ProcessControl should call it.
    virtual void setNext(ProcessEntry* entry);
    // Sets whether the latest scan has found the process. Only ProcessControl should call it.
    virtual void setValid(bool isRunning);
    // Whether the latest scan has found the process. False only if that scan could not open /proc.
    virtual bool isValid();

  private:
    int pid;
    char* name;
    ProcessEntry* next;
    bool valid;
};

// The snapshot. It owns its entries. A pointer to an entry is valid until a refresh() that removes
// the entry, cleanup() or destruction.
class VELUTILS_API ProcessControl {
  public:
    ProcessControl();
    ProcessControl(const ProcessControl&) = delete;
    ProcessControl& operator=(const ProcessControl&) = delete;
    virtual ~ProcessControl();

    // Reads /proc.
    //
    // Without keep, the snapshot is rebuilt, in the order of /proc.
    //
    // With keep, the entries of processes that still run stay: the same objects, with their old
    // names and in their old order. Entries of ended processes are removed, and new processes
    // follow at the end. Only names of new ids are read. So a process that now runs another program
    // keeps its old name, and so does an id that now belongs to another process.
    //
    // A process that ends during the scan is left out. If /proc cannot be opened, the snapshot
    // becomes empty without keep, and with keep all entries stay and are marked invalid. If an
    // allocation fails, std::bad_alloc is thrown and the snapshot is incomplete. The next refresh,
    // with or without keep, completes it.
    //
    // The time is proportional to the number of processes. A new process takes two heap blocks.
    // With keep, refresh maps 8 to 16 bytes for each entry (twice that on 64-bit machines), at
    // least 4 KiB, as an index until it returns. Without memory for the index the time is
    // quadratic. Files are opened close-on-exec.
    virtual void refresh(bool keep);

    // Returns the first entry after previous whose name begins with prefix. If previous is null,
    // the search begins with the first entry. If prefix is null, every name matches. Returns null
    // if there is no such entry, or if previous is not in the snapshot.
    virtual ProcessEntry* getNextProcessEntryByName(const char* prefix,
                                                    const ProcessEntry* previous) const;
    // Returns how many names begin with prefix. If prefix is null, the number of entries.
    virtual int getNumberOfProcessesByName(const char* prefix) const;
    // Returns the entry of that process, or null.
    virtual ProcessEntry* getProcessEntryByPid(int pid);
    // Returns the number of entries, including those whose name is an id in brackets.
    virtual int getNumberOfProcesses() const;

    // Removes all entries.
    virtual void cleanup();

    // Whether every byte is a digit from 0 to 9. True for the empty text.
    bool isNumeric(const char* text) const;

  private:
    ProcessEntry* firstEntry;
    int processCount;
};

static_assert(sizeof(ProcessEntry) == 5 * sizeof(void*), "pid, name, next, valid");
static_assert(sizeof(ProcessControl) == 3 * sizeof(void*), "firstEntry, processCount");
#endif

#endif
