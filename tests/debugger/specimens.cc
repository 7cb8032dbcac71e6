// SPDX-License-Identifier: MIT
//
// Objects for a debugger to look at, sound and broken ones. try-printers compares what gdb shows at
// look_here() with what it should.

#include <velutils++/configuration.h>
#include <velutils++/hash_tables.h>
#include <velutils++/ip_address.h>
#include <velutils++/locks.h>
#include <velutils++/process_table.h>
#include <velutils++/status.h>
#include <velutils++/text.h>

#include <event2/event.h>
#include <event2/event_compat.h>
#include <event2/event_struct.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

// Storage for an object that is not constructed, or written over afterwards.
template <class T>
union Raw {
    Raw() { memset(static_cast<void*>(this), 0x5A, sizeof *this); }
    ~Raw() {}
    T object;
    unsigned char bytes[sizeof(T)];
    void* words[sizeof(T) / sizeof(void*)];
};

extern "C" __attribute__((noinline)) void look_here() {
    __asm__ volatile("" ::: "memory");
    if (getenv("DUMP_CORE") != nullptr) __builtin_trap();
}

class Silent : public StatusFifoObserver {
  public:
    void handleFifoData(struct bufferevent*, char*, size_t) override {}
};

template <class Table>
void makeEndless(Raw<Table>& table) {
    struct Entry {
        void* key;
        void* value;
        Entry* next;
    };
    Entry** buckets = static_cast<Entry**>(table.words[0]);
    for (int i = 0; i < 2; ++i)
        if (buckets[i] != nullptr) buckets[i]->next = buckets[i];
}

int main() {
    // Texts
    String plain("gate 7");
    String second(plain);
    String escaped("tab\t, \"quotes\"\n\001");
    escaped.concat("\0!", 2);
    String empty;
    Raw<String> raw;
    Raw<String> null;
    null.words[0] = nullptr;
    String torn("torn");
    const_cast<char*>(torn.buffer())[4] = '?';
    (void)second, (void)empty;

    // Addresses
    IpAddress address(String("192.168.1.20/24"));
    IpAddress none;
    Raw<IpAddress> noAddress;
    (void)address, (void)none;

    // Tables
    INUInt32HashTable numbers(2, HASH_LOW_BITS);
    numbers.addEntry(7, reinterpret_cast<void*>(0x70));
    numbers.addEntry(9, reinterpret_cast<void*>(0x90));
    numbers.addEntry(4, nullptr);
    INStringHashTable texts(8);
    texts.addEntry("eth\n0", reinterpret_cast<void*>(0x10));
    Raw<INUInt32HashTable> endless;
    new (&endless.object) INUInt32HashTable(2, HASH_LOW_BITS);
    endless.object.addEntry(1, nullptr);
    makeEndless(endless);
    Raw<INStringHashTable> noTable;

    // Configuration
    ConfigReader notLoaded;
    ConfigReader configuration;
    const int file = open("/tmp/specimens.conf", O_CREAT | O_WRONLY | O_TRUNC, 0600);
    const char lines[] = "name = gate 7\n";
    if (write(file, lines, sizeof lines - 1) < 0 ||
        !configuration.initialize("/tmp/specimens.conf", 8))
        return 1;
    Raw<ConfigReader> noReader;

    // Status
    event_init();
    Silent silent;
    StatusInterface status;
    if (!status.setup(STATUS_BASE_TMP, "/specimens")) return 1;
    if (status.setupIpcRxFifo("/knock", &silent) == 0) return 1;
    StatusInterface nowhere;
    Raw<StatusInterface> noStatus;

    // Processes
    ProcessControl noSnapshot;
    ProcessControl processes;
    processes.refresh(false);
    Raw<ProcessControl> noProcesses;

    // Locks
    CSemaphore unready("/tmp/specimens.conf", 3);
    CSemaphore freeSet("/tmp/specimens.conf", 1);
    CSemaphore heldSet("/tmp/specimens.conf", 2);
    CRecursiveSemaphore freeLock("specimen-free");
    CRecursiveSemaphore heldLock("specimen-held");
    CRecursiveSemaphore noLock("a/b");
    if (freeSet.init() != 0 || freeSet.lock() != 0 || freeSet.unlock() != 0) return 1;
    if (heldSet.init() != 0 || heldSet.lock() != 0) return 1;
    if (heldLock.lock() != 0 || heldLock.lock() != 0) return 1;
    Raw<CSemaphore> noSet;
    Raw<CRecursiveSemaphore> brokenLock;

    look_here();
    return 0;
}
