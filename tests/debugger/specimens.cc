// SPDX-License-Identifier: MIT
//
// Sound and broken objects for a debugger. try-printers compares what gdb shows of them at
// look_here() with the file expected.

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
#include <stdlib.h>
#include <string.h>

// Storage for an object that is not constructed, or is overwritten later.
template <class T>
union Raw {
    Raw() { memset(static_cast<void*>(this), 0x5A, sizeof *this); }
    ~Raw() {}
    T object;
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

    // Addresses
    IpAddress address(String("192.168.1.20/24"));
    IpAddress none;
    Raw<IpAddress> noAddress;

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
    configuration.initialize("/dev/null", 8);
    configuration.add("name", "gate 7");

    // Status
    event_init();
    Silent silent;
    StatusInterface status;
    if (!status.setup(STATUS_BASE_TMP, "/specimens")) return 1;
    if (status.setupIpcRxFifo("/knock", &silent) == 0) return 1;
    StatusInterface nowhere;

    // Processes
    ProcessControl noSnapshot;
    ProcessControl processes;
    processes.refresh(false);

    // Locks
    CSemaphore unready("/tmp", 3);
    CSemaphore freeSet("/tmp", 1);
    CSemaphore heldSet("/tmp", 2);
    CRecursiveSemaphore freeLock("specimen-free");
    CRecursiveSemaphore heldLock("specimen-held");
    CRecursiveSemaphore noLock("a/b");
    if (freeSet.init() != 0 || freeSet.lock() != 0 || freeSet.unlock() != 0) return 1;
    if (heldSet.init() != 0 || heldSet.lock() != 0) return 1;
    if (heldLock.lock() != 0 || heldLock.lock() != 0) return 1;
    Raw<CSemaphore> noSet;

    look_here();
    return 0;
}
