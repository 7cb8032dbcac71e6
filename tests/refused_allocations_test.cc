// SPDX-License-Identifier: MIT
//
// Every operation that takes memory, with each of its allocations refused in turn: it ends with one
// of the outcomes that its header promises, half done nowhere, and nothing is lost. Those of String
// and the formatter are in the tables of text_test.cc, those of refresh() in process_table_test.cc.

#include <velutils++/configuration.h>
#include <velutils++/digests.h>
#include <velutils++/echo_client.h>
#include <velutils++/hash_tables.h>
#include <velutils++/interface_control.h>
#include <velutils++/ip_address.h>
#include <velutils++/locks.h>
#include <velutils++/process_table.h>
#include <velutils++/status.h>

#include <gtest/gtest.h>

#include <event.h>
#include <fcntl.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "platform/configd/configd.h"
#include "tests/support/allocations.h"
#include "tests/support/files.h"

namespace {

const String DIRECTORY("/a-directory-with-a-long-name/and-another");
const String NAME("/a-name-that-needs-a-buffer-of-its-own");
const String TEXT("a value that takes a buffer of its own");
const String TEMPLATE("a-template-for-a-key-%lu");
const String KEY("a-template-for-a-key-7");
const String CONFIG("/tmp/conf");
const String ADDRESS("192.168.100.100/24");
const std::string LOCK = "/a-lock-with-a-name-that-needs-a-block";
char values[2];

class Observer : public StatusFifoObserver {
  public:
    void handleFifoData(struct bufferevent*, char*, size_t length) override { heard += length; }
    size_t heard = 0;
} observer;

StatusInterface* tree;
const ConfigDaemonClient* daemonClient;
char sentKey[256];

void remember(const void* request) {
    memcpy(sentKey, static_cast<const char*>(request) + 8, sizeof sentKey);
}

const char* wholeOrEmpty(const String& text) {
    if (text.length() == 0) return "none";
    return text == TEXT ? "whole" : "half";
}

const char* ofKeySeven(const char* outcome) {
    return strcmp(sentKey, "a-template-for-a-key-7") == 0 ? outcome : "of another key";
}

template <class Table, class Key>
const char* addTwice(Table& table, Key key) {
    if (!table.addEntry(key, &values[0])) return table.getNumberOfKeys() == 0 ? "first" : "half";
    if (!table.addEntry(key, &values[1])) return table.getNumberOfKeys() == 1 ? "second" : "half";
    void* oldest = nullptr;
    table.getValueFromKey(key, &oldest);
    return table.getNumberOfKeys() == 2 && oldest == &values[0] ? "both" : "half";
}

struct Operation {
    const char* name;
    const char* done;     // the outcome when nothing is refused
    const char* refused;  // those that a refusal may have
    const char* (*run)();
};

const Operation OPERATIONS[] = {
    {"setup", "made", "refused",
     [] { return StatusInterface().setup(STATUS_BASE_TMP, DIRECTORY) ? "made" : "refused"; }},
    {"setStatus", "written", "refused",
     [] { return tree->setStatus(NAME, TEXT) ? "written" : "refused"; }},
    {"getStatus", "whole", "refused",
     [] {
         String value;
         return tree->getStatus(NAME, value) ? wholeOrEmpty(value) : "refused";
     }},
    {"setLink", "linked", "refused",
     [] { return tree->setLink(NAME, TEXT) ? "linked" : "refused"; }},
    {"setupIpcRxFifo, deleteIpcRxFifo", "made", "refused thrown",
     [] {
         const unsigned long identifier = tree->setupIpcRxFifo(NAME, &observer);
         tree->deleteIpcRxFifo(identifier);
         event_loop(EVLOOP_NONBLOCK);  // where libevent frees it
         return identifier != 0 ? "made" : "refused";
     }},
    {"initialize, add, lookups", "both", "thrown none first",
     [] {
         ConfigReader reader;
         bool thrown = false;
         try {
             reader.initialize(CONFIG, 4);
             reader.add(KEY, TEXT);
         } catch (const std::bad_alloc&) {
             thrown = true;
         }
         // Also a refused key finds no other entry.
         const String& loaded = reader.getIndexedValue(TEMPLATE, 3, String::EMPTY());
         const String& added = reader.getIndexedValue(TEMPLATE, 7, String::EMPTY());
         if (wholeOrEmpty(loaded) == std::string("half")) return "half loaded";
         if (wholeOrEmpty(added) == std::string("half")) return "half added";
         if (reader.getIndexedValueAsInt(TEMPLATE, 9, -1) != -1) return "found another";
         if (added.length() != 0) return loaded.length() != 0 ? "both" : "none";
         return thrown ? "thrown" : loaded.length() != 0 ? "first" : "none";
     }},
    {"setIndexedValue", "set", "refused",
     [] {
         return daemonClient->setIndexedValue(TEMPLATE, 7, TEXT) ? ofKeySeven("set") : "refused";
     }},
    {"setIndexedValueAsInt", "set", "refused",
     [] {
         return daemonClient->setIndexedValueAsInt(TEMPLATE, 7, 8) ? ofKeySeven("set") : "refused";
     }},
    {"getIndexedValueAsInt", "8", "default",
     [] {
         long number = 5;
         daemonClient->getIndexedValueAsInt(TEMPLATE, 7, number);
         return number == 8 ? "8" : number == 5 ? "default" : "another";
     }},
    {"getIndexedValue", "8", "default",
     [] {
         String value;
         daemonClient->getIndexedValue(TEMPLATE, 7, value);
         return value == "8" ? "8" : value == "" ? "default" : "another";
     }},
    {"INUInt32HashTable", "both", "thrown first second",
     [] {
         INUInt32HashTable table(4, HASH_LOW_BITS);
         return addTwice(table, 7UL);
     }},
    {"INStringHashTable", "both", "thrown first second",
     [] {
         INStringHashTable table(4);
         return addTwice(table, "key");
     }},
    // Better no address than another one.
    {"getIpAddrAsString", "printed", "empty",
     [] {
         String out(ADDRESS);
         IpAddress(ADDRESS).getIpAddrAsString(out);
         return out == "192.168.100.100" ? "printed" : out == "" ? "empty" : "half";
     }},
    {"isInterfaceAvailable", "true", "false",
     [] { return IpInterfaceStatus().isInterfaceAvailable("lo") ? "true" : "false"; }},
    {"sendSimplePing", "sent", "refused",
     [] {
         const String local("127.0.0.1");
         return PingClient().sendSimplePing(local, local) == 0 ? "sent" : "refused";
     }},
    {"ProcessEntry", "made", "thrown",
     [] {
         const ProcessEntry entry(1, "name");
         return "made";
     }},
    {"CSemaphore", "made", "thrown",
     [] {
         CSemaphore lock("/usr/lib/libvelutils++.so.1.0.0", 1);
         return lock.init() == 0 && lock.lock() == 0 && lock.unlock() == 0 ? "made" : "refused";
     }},
    {"CRecursiveSemaphore", "made", "thrown",
     [] {
         CRecursiveSemaphore lock(LOCK);
         return lock.lock() == 0 && lock.unlock() == 0 ? "made" : "refused";
     }},
    {"sem_create", "made", "null",
     [] {
         void* const lock = sem_create(LOCK.c_str());
         const char* const outcome = lock == nullptr                                ? "null"
                                     : sem_lock(lock) == 0 && sem_unlock(lock) == 0 ? "made"
                                                                                    : "-1";
         sem_release(lock);
         return outcome;
     }},
    {"HmacContext", "made", "thrown",
     [] {
         Md5HashContext md5;
         HmacContext hmac(&md5);
         const unsigned char key[] = "key";
         unsigned char code[16];
         hmac.initialize(key, 3, 0);
         hmac.hash(key, 3);
         hmac.getHash(code);
         return "made";
     }},
};

const char* outcomeOf(const Operation& operation) {
    try {
        return operation.run();
    } catch (const std::bad_alloc&) {
        return "thrown";
    }
}

void refuseEach(const Operation& operation, bool settled) {
    SCOPED_TRACE(operation.name);
    bool refused = true;
    for (long n = 1; refused; ++n) {
        SCOPED_TRACE(n);
        const long before = allocations::outstanding();
        const int descriptors = openDescriptors();
        const char* outcome;
        {
            const allocations::Refusal refusal(n);
            outcome = outcomeOf(operation);
            refused = refusal.happened();
        }
        EXPECT_STREQ(operation.done, operation.run());  // as if nothing had happened
        EXPECT_EQ(descriptors, openDescriptors());
        EXPECT_TRUE(!settled || before == allocations::outstanding());
        // A refused one may have been one that the C library or libevent can do without.
        const std::string allowed = std::string(operation.refused) + " " + operation.done + " ";
        EXPECT_NE(std::string::npos, allowed.find(std::string(outcome) + " ")) << outcome;
        const bool done = strcmp(operation.done, outcome) == 0;
        EXPECT_TRUE(refused ? n > 1 || !done : done) << outcome;
    }
}

TEST(RefusedAllocations, EndAsPromised) {
    writeFile(CONFIG.buffer(), std::string("a-template-for-a-key-3=") + TEXT.buffer());
    // The first time the C library may still allocate what it keeps.
    for (const Operation& operation : OPERATIONS) refuseEach(operation, false);
    for (const Operation& operation : OPERATIONS) refuseEach(operation, true);
    // Nothing was made under half a name.
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator("/tmp/status"))
        names.insert(entry.path());
    const std::string d = "/tmp/status/a-directory-with-a-long-name";
    EXPECT_EQ((std::set<std::string>{d, d + "/and-another", "/tmp/status/t"}), names);
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    event_init();
    configd_store = "/tmp/configd";
    configd_observer = remember;
    StatusInterface status;
    const ConfigDaemonClient client;
    status.setup(STATUS_BASE_TMP, "/t");
    tree = &status, daemonClient = &client;
    return RUN_ALL_TESTS();
}
