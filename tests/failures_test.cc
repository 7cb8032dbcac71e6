// SPDX-License-Identifier: MIT
//
// Operations that ask the kernel for something or take memory: what comes of them when one of their
// calls fails, or when one of their allocations fails, each in turn. Nothing stays open or
// allocated. Failing calls of locks are in locks_test.cc, failing allocations of String in
// text_test.cc and those of refresh() in process_table_test.cc.

#include <velutils++/configuration.h>
#include <velutils++/echo_client.h>
#include <velutils++/hash_tables.h>
#include <velutils++/interface_control.h>
#include <velutils++/ip_address.h>
#include <velutils++/locks.h>
#include <velutils++/process_table.h>
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

FifoObserver observer;
StatusInterface tree;
StatusPublisher kept, lost;
String value;
IpInterfaceStatus interfaces;
PingClient pinger;
ProcessControl processes;
const ConfigDaemonClient* client;
std::string sentKey;

// Made here: an operation takes memory for nothing but what it does.
const String DIRECTORY("/directory/sub"), NAME("/value"), OLD("old"), NEW("new");
const String LOCAL("127.0.0.1"), CIDR("192.168.100.100/24"), CONFIG("/tmp/conf"), ADDED("added");
const std::string LOCK("/a-lock-with-a-name-that-needs-a-block");
const String TEMPLATE("a-template-for-a-key-%lu");
const String KEY("a-template-for-a-key-7");
const int WRONG = 99;

std::set<std::string> namesIn(const std::string& directory) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory))
        names.insert(entry.path().filename());
    return names;
}

// 1 when a text is what it should be, 0 when it is empty.
int wholeOrEmpty(const String& text, const char* expected) {
    if (text.length() == 0) return 0;
    return text == expected ? 1 : WRONG;
}

// How many entries a table has of two.
template <class Table, class Key>
int addTwice(Table&& table, Key key) {
    int first, second;
    if (!table.addEntry(key, &first)) return table.getNumberOfKeys() == 0 ? 0 : WRONG;
    if (!table.addEntry(key, &second)) return table.getNumberOfKeys() == 1 ? 1 : WRONG;
    return table.getNumberOfKeys() == 2 ? 2 : WRONG;
}

// How many of two entries a reader has, one of a file and one that is added.
int readAndAdd() {
    ConfigReader reader;
    try {
        reader.initialize(CONFIG, 4);
        reader.add(KEY, ADDED);
    } catch (const std::bad_alloc&) {
    }
    // A key for which there is no memory finds no other entry.
    if (reader.getIndexedValueAsInt(TEMPLATE, 9, -1) != -1) return WRONG;
    const int loaded = wholeOrEmpty(reader.getIndexedValue(TEMPLATE, 3, String::EMPTY()), "loaded");
    return loaded + wholeOrEmpty(reader.getIndexedValue(TEMPLATE, 7, String::EMPTY()), "added");
}

// What a file holds, and the number of files beside it.
std::string published(const std::string& directory) {
    return " " + contentOf(directory + "/value") + " " + std::to_string(namesIn(directory).size());
}
// How many processes are named, and how many are valid, of the sandbox's shell and this program.
std::string listed() {
    int named = 0, valid = 0;
    ProcessEntry* entry = nullptr;
    while ((entry = processes.getNextProcessEntryByName(nullptr, entry)) != nullptr) {
        named += entry->getName()[0] != '[';
        valid += entry->isValid();
    }
    return " " + std::to_string(named) + " of " + std::to_string(valid);
}

// The n-th call fails with `error`.
struct Row {
    const char* call;
    int error;
    std::string outcome;
    long n = 1;
};

// An outcome is the result and the state afterwards. In the first row nothing fails.
struct Operation {
    const char* name;
    int (*run)();
    std::vector<Row> rows;
    std::set<std::string> withoutMemory;  // the outcomes there may be; none: takes no memory
    void (*prepare)() = [] {};
    std::string (*state)() = [] { return std::string(); };
};

const Operation OPERATIONS[] = {
    {"setup",
     [] { return int(StatusInterface().setup(STATUS_BASE_TMP, DIRECTORY)); },
     {{"", 0, "1"}, {"mkdir", EIO, "0"}, {"mkdir", EIO, "0", 4}, {"stat", EIO, "1"}},
     {"0"},
     [] { std::filesystem::remove_all("/tmp/status/directory"); }},
    {"setStatus",
     [] { return int(tree.setStatus(NAME, NEW)); },
     {{"", 0, "1"},
      {"stat", EIO, "1"},
      {"open", EIO, "0"},
      {"fstat", EIO, "1"},
      {"write", EIO, "0"},
      {"write", EINTR, "0"},
      {"close", EIO, "1"}},
     {"0"}},
    {"getStatus",
     [] { return int(tree.getStatus(NAME, value)); },
     {{"", 0, "1 new"},
      {"stat", EIO, "0 "},
      {"open", EIO, "0 "},
      {"fstat", EIO, "0 "},
      {"read", EIO, "0 "},
      {"read", EINTR, "1 new"},
      {"read", EIO, "0 new", 2},
      {"close", EIO, "1 new"}},
     {"0 "},
     [] { tree.setStatus(NAME, NEW); },
     [] { return std::string(" ") + value.buffer(); }},
    {"publish to be kept",
     [] { return int(kept.publish(NAME, NEW)); },
     {{"", 0, "1 new 1"},
      {"statx", EIO, "0 old 1"},
      {"open", EIO, "0 old 1"},
      {"open", EIO, "1 new 1", 2},
      {"open", EPERM, "1 new 1", 2},
      {"statx", EIO, "1 new 1", 2},
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
      {"fsync", EIO, "0 new 1", 2},
      {"fsync", EINTR, "1 new 1", 2},
      {"close", EIO, "1 new 1", 2}},
     {"0 old 1"},
     [] { kept.publish(NAME, OLD); },
     [] { return published("/nvstatus/a"); }},
    {"publish what is kept",
     [] { return int(kept.publish(NAME, OLD)); },
     {{"", 0, "1 old 1"},
      {"fsync", EIO, "0 old 1"},
      {"fsync", EIO, "0 old 1", 2},
      {"write", EIO, "1 old 1, not called"}},
     {"0 old 1"},
     [] { kept.publish(NAME, OLD); },
     [] { return published("/nvstatus/a"); }},
    {"publish until the restart",
     [] { return int(lost.publish(NAME, NEW)); },
     {{"", 0, "1 new 1"}, {"fsync", EIO, "1 new 1, not called"}},
     {"0 old 1"},
     [] { lost.publish(NAME, OLD); },
     [] { return published("/tmp/status/b"); }},
    {"setLink",
     [] { return int(tree.setLink(NAME, NEW)); },
     {{"", 0, "1"}, {"unlink", EIO, "0"}, {"symlink", EIO, "0"}},
     {"0"},
     [] { tree.setLink(NAME, OLD); }},
    {"setupIpcRxFifo, deleteIpcRxFifo",
     [] {
         const unsigned long fifo = tree.setupIpcRxFifo(NAME, &observer);
         tree.deleteIpcRxFifo(fifo);
         event_loop(EVLOOP_NONBLOCK);
         return fifo != 0 ? 1 : 0;
     },
     {{"", 0, "1"},
      {"unlink", EIO, "1"},
      {"mkfifo", EIO, "0"},
      {"open", EIO, "0"},
      {"lstat", EIO, "0"},
      {"fstat", EIO, "0"},
      {"epoll_ctl", EIO, "0"},
      {"lstat", EIO, "1", 2},
      {"fstat", EIO, "1", 2},
      {"unlink", EIO, "1", 2},
      {"close", EIO, "1"}},
     {"0", "thrown"}},
    {"isInterfaceAvailable",
     [] { return int(interfaces.isInterfaceAvailable("lo")); },
     {{"", 0, "1"}, {"getifaddrs", EIO, "0"}},
     {}},
    {"setInterfaceUp",
     [] { return int(interfaces.setInterfaceUp("lo", 1)); },
     {{"", 0, "1"},
      {"socket", EIO, "0"},
      {"ioctl", EIO, "0"},
      {"ioctl", EIO, "0", 2},
      {"close", EIO, "1"}},
     {}},
    {"setIpV4Address",
     [] { return int(interfaces.setIpV4Address("lo", 0x7F000001)); },
     {{"", 0, "1"}, {"socket", EIO, "0"}, {"ioctl", EIO, "0"}},
     {}},
    {"haveNetworkConnectivity",
     [] { return int(interfaces.haveNetworkConnectivity()); },
     {{"", 0, "1"}, {"open", EIO, "0"}, {"close", EIO, "1"}},
     {},
     [] {
         StatusInterface().setup(STATUS_BASE_TMP, "/link-manager/hotlink");
         writeFile("/tmp/status/link-manager/hotlink/interface", "");
     }},
    {"sendSimplePing",
     [] { return PingClient().sendSimplePing(LOCAL, LOCAL); },
     {{"", 0, "0"},
      {"socket", EIO, "1"},
      {"setsockopt", EIO, "1"},
      {"sendto", EIO, "1"},
      {"close", EIO, "0"}},
     {}},
    {"checkPingResponse",
     [] { return pinger.checkPingResponse(); },
     {{"", 0, "0"}, {"recvfrom", EIO, "3"}, {"recvfrom", EINTR, "3"}, {"recvfrom", EAGAIN, "2"}},
     {},
     [] { pinger.sendSimplePing(LOCAL, LOCAL); }},
    // A process whose command line cannot be opened is left out. One whose command line cannot be
    // read is named by its id.
    {"refresh",
     [] { return processes.refresh(false), 0; },
     {{"", 0, "0 2 of 2"},
      {"opendir", EIO, "0 0 of 0"},
      {"readdir", EIO, "0 0 of 0"},
      {"open", EIO, "0 1 of 1"},
      {"read", EIO, "0 1 of 2"},
      {"read", EINTR, "0 1 of 2", 2},
      {"close", EIO, "0 2 of 2"}},
     {},
     [] {},
     listed},
    {"refresh, keep",
     [] { return processes.refresh(true), 0; },
     {{"", 0, "0 2 of 2"}, {"opendir", EIO, "0 2 of 0"}, {"readdir", EIO, "0 0 of 0"}},
     {},
     [] { processes.refresh(false); },
     listed},
    {"initialize, add, lookups", readAndAdd, {{"", 0, "2"}}, {"0", "1"}},
    {"setIndexedValue",
     [] {
         if (!client->setIndexedValue(TEMPLATE, 7, NEW)) return 0;
         return sentKey == KEY.buffer() ? 1 : WRONG;
     },
     {{"", 0, "1"}},
     {"0"}},
    {"setIndexedValueAsInt",
     [] {
         if (!client->setIndexedValueAsInt(TEMPLATE, 7, 8)) return 0;
         return sentKey == KEY.buffer() ? 1 : WRONG;
     },
     {{"", 0, "1"}},
     {"0"}},
    {"getIndexedValueAsInt",
     [] {
         long number = 0;
         return int(client->getIndexedValueAsInt(TEMPLATE, 7, number));
     },
     {{"", 0, "8"}},
     {"0"}},
    {"getIndexedValue",
     [] {
         String text;
         return wholeOrEmpty(client->getIndexedValue(TEMPLATE, 7, text), "8");
     },
     {{"", 0, "1"}},
     {"0"}},
    {"INUInt32HashTable",
     [] { return addTwice(INUInt32HashTable(4, HASH_LOW_BITS), 7UL); },
     {{"", 0, "2"}},
     {"thrown", "0", "1"}},
    {"INStringHashTable",
     [] { return addTwice(INStringHashTable(4), "key"); },
     {{"", 0, "2"}},
     {"thrown", "0", "1"}},
    // Better no address than another one.
    {"getIpAddrAsString",
     [] {
         String out(CIDR);
         IpAddress(CIDR).getIpAddrAsString(out);
         return wholeOrEmpty(out, "192.168.100.100");
     },
     {{"", 0, "1"}},
     {"0"}},
    {"ProcessEntry", [] { return ProcessEntry(1, "name").getPid(); }, {{"", 0, "1"}}, {"thrown"}},
    {"CRecursiveSemaphore",
     [] {
         CRecursiveSemaphore lock(LOCK);
         return lock.lock() == 0 ? lock.unlock() : WRONG;
     },
     {{"", 0, "0"}},
     {"thrown"}},
    {"sem_create",
     [] {
         void* const lock = sem_create(LOCK.c_str());
         const bool works = sem_lock(lock) == 0 && sem_unlock(lock) == 0;
         sem_release(lock);
         return int(works);
     },
     {{"", 0, "1"}},
     {"0"}},
};

const int THROWN = -1;

int resultOf(const Operation& operation) {
    try {
        return operation.run();
    } catch (const std::bad_alloc&) {
        return THROWN;
    }
}

std::string outcomeOf(const Operation& operation, int result) {
    return result == THROWN ? "thrown" : std::to_string(result) + operation.state();
}

std::string outcomeOf(const Operation& operation, const Row& row) {
    int result;
    bool happened;
    {
        const failing_calls::Failure failure(row.call, row.error, row.n);
        result = operation.run();
        happened = row.error == 0 || failure.happened();
    }
    return outcomeOf(operation, result) + (happened ? "" : ", not called");
}

TEST(Failures, OfCallsGiveTheResultOfTheOperation) {
    for (const Operation& operation : OPERATIONS) {
        for (const Row& row : operation.rows) {
            SCOPED_TRACE(operation.name + std::string(" ") + row.call + std::to_string(row.n));
            operation.prepare();
            const int descriptors = openDescriptors();
            EXPECT_EQ(row.outcome, outcomeOf(operation, row));
            EXPECT_EQ(descriptors, openDescriptors());
        }
    }
}

// False when the operation has fewer than n allocations. At first the C library may keep what it
// allocates.
bool failAllocation(const Operation& operation, long n, bool settled) {
    SCOPED_TRACE(operation.name + std::string(" ") + std::to_string(n));
    const std::string done = operation.rows[0].outcome;
    operation.prepare();
    const long before = allocations::outstanding();
    const int descriptors = openDescriptors();
    int result;
    bool failed;
    {
        const allocations::Refusal refusal(n);
        result = resultOf(operation);
        failed = refusal.happened();
    }
    const std::string outcome = outcomeOf(operation, result);
    // It may have been one that libevent can do without, but not the first.
    if (!failed || (n > 1 && outcome == done)) {
        EXPECT_EQ(done, outcome);
    } else {
        EXPECT_EQ(1u, operation.withoutMemory.count(outcome)) << outcome;
    }
    operation.prepare();
    EXPECT_EQ(done, outcomeOf(operation, resultOf(operation)));  // as if nothing had happened
    EXPECT_EQ(descriptors, openDescriptors());
    if (settled) {
        EXPECT_EQ(before, allocations::outstanding());
    }
    return failed;
}

TEST(Failures, OfAllocationsGiveAnOutcomeThatIsPromised) {
    for (const bool settled : {false, true}) {
        for (const Operation& operation : OPERATIONS) {
            if (operation.withoutMemory.empty()) continue;
            for (long n = 1; failAllocation(operation, n, settled);) ++n;
        }
    }
    // Nothing was made under half a name.
    EXPECT_EQ((std::set<std::string>{"a", "b", "directory", "link-manager"}),
              namesIn("/tmp/status"));
    EXPECT_EQ(std::set<std::string>{"sub"}, namesIn("/tmp/status/directory"));
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
