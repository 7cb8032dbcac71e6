// SPDX-License-Identifier: MIT
//
// What operations do when one of their system calls or one of their allocations fails, each in
// turn. Nothing stays open or allocated. The system calls of locks are in locks_test.cc, the
// allocations of String in text_test.cc, and both for the process table in process_table_test.cc.

#include <velutils++/configuration.h>
#include <velutils++/echo_client.h>
#include <velutils++/hash_tables.h>
#include <velutils++/interface_control.h>
#include <velutils++/ip_address.h>
#include <velutils++/locks.h>
#include <velutils++/status_publisher.h>

#include <gtest/gtest.h>

#include <errno.h>
#include <event.h>

#include <filesystem>
#include <set>

#include "platform/configd/configd.h"
#include "tests/support/allocations.h"
#include "tests/support/failing_calls.h"
#include "tests/support/fifo_observer.h"
#include "tests/support/files.h"

namespace {

using allocations::Refusal;
using failing_calls::Failure;

FifoObserver observer;
StatusInterface tree;
StatusPublisher kept, lost;
String value;
const ConfigDaemonClient* client;
std::string sentKey;

// Made here, so that the operations allocate only for what they do.
const String DIRECTORY("/directory/sub"), NAME("/value"), FIFO("/fifo"), OLD("old"), NEW("new");
const String LOCAL("127.0.0.1"), CIDR("192.168.100.100/24"), CONFIG("/tmp/conf"), ADDED("added");
const char LOCK[] = "/a-lock-with-a-name-that-needs-a-block";
const String TEMPLATE("a-template-for-a-key-%lu");
const String KEY("a-template-for-a-key-7");
const int WRONG = 99;
const int THROWN = -1;

std::set<std::string> namesIn(const std::string& directory) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory))
        names.insert(entry.path().filename());
    return names;
}

// Returns 1 if the text is as expected, and 0 if it is empty.
int wholeOrEmpty(const String& text, const char* expected) {
    if (text.length() == 0) return 0;
    return text == expected ? 1 : WRONG;
}

int makeAndRemoveFifo() {
    const unsigned long fifo = tree.setupIpcRxFifo(FIFO, &observer);
    tree.deleteIpcRxFifo(fifo);
    event_loop(EVLOOP_NONBLOCK);
    return fifo != 0;
}

// Returns how many of two entries the reader got: one from a file and one that is added.
int readAndAdd() {
    ConfigReader reader;
    bool isAdded = false;
    try {
        reader.initialize(CONFIG, 4);
        isAdded = reader.add(KEY, ADDED);
    } catch (const std::bad_alloc&) {
    }
    if (isAdded != (reader.getValue(KEY, String::EMPTY()) == ADDED)) return WRONG;
    // Without memory for the key, the reader finds nothing, not another entry.
    if (reader.getIndexedValueAsInt(TEMPLATE, 9, -1) != -1) return WRONG;
    const int loaded = wholeOrEmpty(reader.getIndexedValue(TEMPLATE, 3, String::EMPTY()), "loaded");
    return loaded + wholeOrEmpty(reader.getIndexedValue(TEMPLATE, 7, String::EMPTY()), "added");
}

// Returns how many of four indexed requests to the configuration daemon succeeded.
int askDaemon() {
    String text;
    long number = 0;
    int done = wholeOrEmpty(client->getIndexedValue(TEMPLATE, 7, text), "8");
    done += client->getIndexedValueAsInt(TEMPLATE, 7, number) == 8;
    done += client->setIndexedValue(TEMPLATE, 7, NEW);
    done += client->setIndexedValueAsInt(TEMPLATE, 7, 8);
    return sentKey == KEY.buffer() ? done : WRONG;
}

// Returns how many of two entries the table got.
template <class Table, class Key>
int addTwice(Table&& table, Key key) {
    int first, second;
    if (!table.addEntry(key, &first)) return table.getNumberOfKeys() == 0 ? 0 : WRONG;
    if (!table.addEntry(key, &second)) return table.getNumberOfKeys() == 1 ? 1 : WRONG;
    return table.getNumberOfKeys() == 2 ? 2 : WRONG;
}

// A truncated text would be another address.
int printAddress() {
    String out(CIDR);
    IpAddress(CIDR).getIpAddrAsString(out);
    return wholeOrEmpty(out, "192.168.100.100");
}

int lockAndUnlock() {
    void* const lock = sem_create(LOCK);
    const bool works = sem_lock(lock) == 0 && sem_unlock(lock) == 0;
    sem_release(lock);
    return works;
}

void publishOld() {
    kept.publish(NAME, OLD);
    lost.publish(NAME, OLD);
}

// Returns what the file holds, and the number of files in its directory.
std::string published(const std::string& directory) {
    return " " + contentOf(directory + "/value") + " " + std::to_string(namesIn(directory).size());
}

// The n-th call fails with `error`.
struct Row {
    const char* call;
    int error;
    std::string outcome;
    long n = 1;
    bool isCalled = true;
};

// An outcome is the result and the state after that.
const struct Operation {
    const char* name;
    int (*run)();
    std::string done;                     // the outcome if nothing fails
    std::set<std::string> withoutMemory;  // the permitted outcomes; empty: not tested
    std::vector<Row> rows = {};
    void (*prepare)() = [] {};
    std::string (*state)() = [] { return std::string(); };
} OPERATIONS[] = {
    {"setup", [] { return int(StatusInterface().setup(STATUS_BASE_TMP, DIRECTORY)); }, "1", {"0"}},
    {"setStatus",
     [] { return int(tree.setStatus(NAME, NEW)); },
     "1",
     {"0"},
     {{"open", EIO, "0"}, {"fstat", EIO, "1"}, {"write", EIO, "0"}}},
    {"getStatus",
     [] { return int(tree.getStatus(NAME, value)); },
     "1 new",
     {"0 "},
     {{"open", EIO, "0 "},
      {"fstat", EIO, "0 "},
      {"read", EINTR, "1 new"},
      {"read", EIO, "0 new", 2}},
     [] { tree.setStatus(NAME, NEW); },
     [] { return std::string(" ") + value.buffer(); }},
    {"setLink", [] { return int(tree.setLink(NAME, NEW)); }, "1", {"0"}},
    {"setupIpcRxFifo",
     makeAndRemoveFifo,
     "1",
     {"0", "thrown"},
     {{"open", EIO, "0"},
      {"lstat", EIO, "0"},
      {"fstat", EIO, "0"},
      {"epoll_ctl", EIO, "0"},
      {"fstat", EIO, "1", 2}}},
    {"publish to be kept",
     [] { return int(kept.publish(NAME, NEW)); },
     "1 new 1",
     {"0 old 1"},
     {{"statx", EIO, "0 old 1"},
      {"open", EIO, "0 old 1"},
      {"open", EIO, "1 new 1", 2},
      {"read", EIO, "1 new 1"},
      {"open", EIO, "0 old 1", 3},
      {"openat", EIO, "0 old 1"},
      {"openat", EEXIST, "1 new 1"},
      {"flock", EIO, "0 old 1"},
      {"flock", EWOULDBLOCK, "1 new 1"},
      {"statx", EIO, "0 old 1", 3},
      {"write", EIO, "0 old 1"},
      {"write", EINTR, "1 new 1"},
      {"fsync", EIO, "0 old 1"},
      {"fsync", EINTR, "1 new 1"},
      {"fcntl", EIO, "0 old 1"},
      {"close", EIO, "0 old 1"},
      {"statx", EIO, "0 old 1", 4},
      {"renameat", EIO, "0 old 1"},
      {"fsync", EIO, "0 new 1", 2}},
     publishOld,
     [] { return published("/nvstatus/a"); }},
    {"publish what is kept",
     [] { return int(kept.publish(NAME, OLD)); },
     "1 old 1",
     {"0 old 1"},
     {{"fsync", EIO, "0 old 1"}, {"fsync", EIO, "0 old 1", 2}, {"write", EIO, "1 old 1", 1, false}},
     publishOld,
     [] { return published("/nvstatus/a"); }},
    {"publish until the restart",
     [] { return int(lost.publish(NAME, NEW)); },
     "1 new 1",
     {"0 old 1"},
     {{"fsync", EIO, "1 new 1", 1, false}},
     publishOld,
     [] { return published("/tmp/status/b"); }},
    {"isInterfaceAvailable",
     [] { return int(IpInterfaceStatus().isInterfaceAvailable("lo")); },
     "1",
     {},
     {{"getifaddrs", EIO, "0"}}},
    {"sendSimplePing",
     [] { return PingClient().sendSimplePing(LOCAL, LOCAL); },
     "0",
     {},
     {{"setsockopt", EIO, "1"}}},
    {"ConfigReader", readAndAdd, "2", {"0", "1"}},
    {"ConfigDaemonClient", askDaemon, "4", {"3"}, {}, [] { client->setValueAsInt(KEY, 8); }},
    {"INUInt32HashTable",
     [] { return addTwice(INUInt32HashTable(4, HASH_LOW_BITS), 7UL); },
     "2",
     {"thrown", "0", "1"}},
    {"INStringHashTable",
     [] { return addTwice(INStringHashTable(4), "key"); },
     "2",
     {"thrown", "0", "1"}},
    {"getIpAddrAsString", printAddress, "1", {"0"}},
    {"sem_create", lockAndUnlock, "1", {"0"}},
};

// Returns the outcome with a Failure or a Refusal while the operation runs.
template <class Fault, class... Arguments>
std::string outcomeOf(const Operation& operation, bool* happened, Arguments... arguments) {
    int result = THROWN;
    {
        const Fault fault(arguments...);
        try {
            result = operation.run();
        } catch (const std::bad_alloc&) {
        }
        *happened = fault.happened();
    }
    return result == THROWN ? "thrown" : std::to_string(result) + operation.state();
}

TEST(Failures, OfCallsGiveTheResultOfTheOperation) {
    for (const Operation& operation : OPERATIONS) {
        SCOPED_TRACE(operation.name);
        for (const Row& row : operation.rows) {
            SCOPED_TRACE(row.call + std::to_string(row.n));
            operation.prepare();
            const int descriptors = openDescriptors();
            bool happened;
            EXPECT_EQ(row.outcome,
                      outcomeOf<Failure>(operation, &happened, row.call, row.error, row.n));
            EXPECT_EQ(row.isCalled, happened);
            EXPECT_EQ(descriptors, openDescriptors());
        }
    }
}

// Returns false if the operation has fewer than n allocations. In the first round the C library may
// keep what it allocates.
bool failAllocation(const Operation& operation, long n, bool firstRound) {
    SCOPED_TRACE(n);
    operation.prepare();
    const long before = allocations::outstanding();
    const int descriptors = openDescriptors();
    bool failed;
    const std::string outcome = outcomeOf<Refusal>(operation, &failed, n);
    // libevent can do without some allocations, but not without the first.
    if (!failed || (n > 1 && outcome == operation.done)) {
        EXPECT_EQ(operation.done, outcome);
    } else {
        EXPECT_EQ(1u, operation.withoutMemory.count(outcome)) << outcome;
    }
    operation.prepare();
    bool none;
    EXPECT_EQ(operation.done, outcomeOf<Refusal>(operation, &none, 0));
    EXPECT_EQ(descriptors, openDescriptors());
    if (!firstRound) {
        EXPECT_EQ(before, allocations::outstanding());
    }
    return failed;
}

TEST(Failures, OfAllocationsGiveAPermittedOutcome) {
    for (const bool firstRound : {true, false}) {
        for (const Operation& operation : OPERATIONS) {
            SCOPED_TRACE(operation.name);
            if (operation.withoutMemory.empty()) continue;
            for (long n = 1; failAllocation(operation, n, firstRound);) ++n;
        }
    }
    // Nothing was made under a truncated name.
    EXPECT_EQ((std::set<std::string>{"a", "b", "directory"}), namesIn("/tmp/status"));
    EXPECT_EQ(std::set<std::string>{"sub"}, namesIn("/tmp/status/directory"));
}

// Growing by a fixed step would take an allocation for every 99 bytes.
TEST(Failures, OfAllocationsMakeAReaderAllocateNoMoreOften) {
    const long length = 200000;
    EXPECT_TRUE(tree.setStatus(NAME, std::string(length, 'v').c_str()));
    bool failed = true;
    for (long n = 1; failed; ++n) {
        const long before = allocations::requests();
        const allocations::Refusal refusal(n);
        const bool whole = tree.getStatus(NAME, value);
        failed = refusal.happened();
        EXPECT_EQ(whole, value.length() == length) << n;
        EXPECT_GE(20, allocations::requests() - before) << n;
    }
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    event_init();
    tree.setup(STATUS_BASE_TMP, "/a");
    kept.setup(STATUS_BASE_NV, "/a");
    lost.setup(STATUS_BASE_TMP, "/b");
    writeFile("/tmp/conf", "a-template-for-a-key-3=loaded");
    configd_store = "/tmp/configd";
    configd_observer = [](const void* request) { sentKey = static_cast<const char*>(request) + 8; };
    const ConfigDaemonClient daemonClient;
    client = &daemonClient;
    return RUN_ALL_TESTS();
}
