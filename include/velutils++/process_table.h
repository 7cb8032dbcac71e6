/* SPDX-License-Identifier: MIT
 *
 * The process table: a snapshot of the running processes, read from /proc (proc(5)), to find them
 * by command line or by id and to count them. C++ only.
 *
 *     ProcessControl processes;
 *     processes.refresh(false);
 *     if (processes.getNumberOfProcessesByName("/usr/sbin/pppd") == 0) ...
 *
 * The snapshot changes only in refresh() and cleanup(). In between processes end, and their ids
 * may come to belong to others.
 *
 * Threads: a ProcessControl belongs to one thread at a time; its const operations may run side by
 * side while nothing else does.
 */
#ifndef VELUTILS_PROCESS_TABLE_H
#define VELUTILS_PROCESS_TABLE_H

#include <velutils++/export.h>

#ifdef __cplusplus

// The order of virtual operations and of fields in both classes is part of the binary interface.

// One process of a snapshot.
class VELUTILS_API ProcessEntry {
  public:
    // Keeps a copy of name, which must not be null. Valid, and without a successor.
    ProcessEntry(int processId, const char* nameText);
    ProcessEntry(const ProcessEntry&) = delete;
    ProcessEntry& operator=(const ProcessEntry&) = delete;
    virtual ~ProcessEntry();

    // The process id.
    virtual int getPid() const;
    // The command line: the arguments with single spaces between them, cut at 255 bytes. Reading
    // stops after the first read that ends in a NUL, which ends every argument, or at the end of
    // the file. A process without a command line (a kernel thread, a zombie) has the name of its
    // directory in /proc, which is its id, in brackets instead, as "[2]".
    virtual const char* getName() const;
    // The entry behind this one, or null.
    virtual ProcessEntry* getNext() const;
    virtual void setNext(ProcessEntry* entry);
    // Whether the latest scan has seen the process. False is met only when /proc could not be read.
    virtual void setValid(bool isRunning);
    virtual bool isValid();

  private:
    int pid;
    char* name;
    ProcessEntry* next;
    bool valid;
};

// The snapshot. It owns its entries; pointers to them are good until a refresh() that removes
// them, cleanup() or destruction.
class VELUTILS_API ProcessControl {
  public:
    ProcessControl();
    ProcessControl(const ProcessControl&) = delete;
    ProcessControl& operator=(const ProcessControl&) = delete;
    virtual ~ProcessControl();

    // Reads /proc. With keep, entries of processes that still run stay the same objects with the
    // names they have, and in their order; new processes follow at the end, those that ended are
    // removed. Names are then read for new ids only: an id that was given to another process since
    // the last refresh, or a process that runs another program now, keeps its old name. Without
    // keep the snapshot is built anew, in the order of /proc.
    //
    // Processes that end while they are looked at are left out. When /proc cannot be opened the
    // snapshot is empty without keep; with keep it stays, every entry marked invalid. A refused
    // allocation propagates and leaves part of a snapshot, which the next refresh, with or without
    // keep, puts right.
    //
    // The time is proportional to the number of processes, also with keep. A new process costs two
    // allocations from the heap. With keep, an index of the snapshot may take a mapping of 8 to 16
    // bytes an entry (twice that on 64-bit machines), at least 4 KiB, until the call returns. When
    // there is no memory for it, the time grows with the square. Files are opened close-on-exec.
    virtual void refresh(bool keep);

    // The first entry after `previous`, or of all when it is null, whose name begins with prefix;
    // null when there is none or previous is not in the snapshot. A null prefix fits every name.
    virtual ProcessEntry* getNextProcessEntryByName(const char* prefix,
                                                    const ProcessEntry* previous) const;
    // How many names begin with prefix; with null the number of entries.
    virtual int getNumberOfProcessesByName(const char* prefix) const;
    // The entry of that process, or null.
    virtual ProcessEntry* getProcessEntryByPid(int pid);
    // The number of entries, those named by an id in brackets included.
    virtual int getNumberOfProcesses() const;

    // Empties the snapshot.
    virtual void cleanup();

    // Whether every byte is a digit 0 to 9, as they are in the empty text.
    bool isNumeric(const char* text) const;

  private:
    ProcessEntry* firstEntry;
    int processCount;
};

static_assert(sizeof(ProcessEntry) == 5 * sizeof(void*), "pid, name, next, valid");
static_assert(sizeof(ProcessControl) == 3 * sizeof(void*), "firstEntry, processCount");
#endif

#endif
