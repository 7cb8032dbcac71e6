// SPDX-License-Identifier: MIT
//
// Programs that end while the library is at work: in the destructors of static objects, in atexit
// handlers, and in threads that go on while main returns. Everything that the library keeps for
// as long as the process lives must be usable until then, and must go with an unloaded library.

#include <velutils++/configuration.h>
#include <velutils++/ip_address.h>
#include <velutils++/locks.h>
#include <velutils++/status.h>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "tests/support/allocations.h"
#include "tests/support/files.h"
#include "tests/support/processes.h"

namespace {

const int THREADS = 3;
const char CONFIG[] = "/tmp/endings.conf";

struct Operation {
    const char* name;
    bool (*run)();  // what must be true; in any thread
};

const Operation OPERATIONS[] = {
    {"texts",
     [] {
         String text(String::EMPTY());
         text += "abc";
         text.toUpperCase();
         const String copy(text);
         text.trim();
         text = String::EMPTY();
         return copy.equalsIgnoreCase("abc") && text.length() == 0;
     }},
    {"addresses",
     [] {
         String text;
         IpAddress::EMPTY().getIpAddrAsString(text);
         const bool empty = text == String::EMPTY() && IpAddress::EMPTY().isEmpty();
         return empty && IpAddress("10.1.2.3/8").getNetAddressAsString(text) == "10.0.0.0";
     }},
    {"status values",
     [] {
         StatusInterface tree;
         String value;
         if (!tree.setup(STATUS_BASE_TMP, "/endings")) return false;
         if (!tree.setStatus("/state", "up") || !tree.getStatus("/state", value)) return false;
         return value == "up" || value == "";  // another thread may be about to write
     }},
    {"configuration",
     [] {
         ConfigReader reader;
         return reader.initialize(CONFIG, 4) && reader.getIndexedValueAsInt("port%lu", 2, 0) == 8;
     }},
    {"locks",  // each process has its own, since it may end as its holder
     [] {
         CRecursiveSemaphore lock("/endings-" + std::to_string(getpid()));
         return lock.lock() == 0 && lock.unlock() == 0;
     }},
};

const Operation* inDestructor;
const Operation* inHandler;
std::atomic<long> completed(0);  // in threads
std::atomic<bool> threadsRun(false);

void runOrFail(const Operation* operation) {
    if (operation != nullptr && !operation->run()) _exit(1);
}

// Destroyed after everything that the library makes at its first use.
const struct EarlyObject {
    ~EarlyObject() { runOrFail(inDestructor); }
} earlyObject;

// Called last of all, after the destructors of the library's own static objects.
void atTheVeryEnd(int, void*) {
    runOrFail(inHandler);
    for (const long last = completed + 20; threadsRun && completed < last;)
        std::this_thread::yield();
}

// Unlike atexit(3), on_exit(3) does not tie a handler to the program's own static objects.
void registerHandler() {
    on_exit(atTheVeryEnd, nullptr);
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// The sanitizers start after preinit_array, and before constructors.
__attribute__((constructor(101))) void registerEarly() {
    registerHandler();
}
#else
// Before the constructors of the library.
__attribute__((section(".preinit_array"), used)) void (*const registerEarly)() = registerHandler;
#endif

int endIn(const Operation** place, const Operation* operation) {
    runOrFail(operation);
    *place = operation;
    exit(0);
}

int endDuring(const Operation* operation) {
    threadsRun = true;
    for (int i = 0; i < THREADS; ++i)
        std::thread([operation] {
            for (;; ++completed) runOrFail(operation);
        }).detach();
    while (completed < THREADS) std::this_thread::yield();
    exit(0);
}

TEST(Endings, InStaticDestructorsAndAtexitHandlers) {
    for (const Operation& operation : OPERATIONS) {
        SCOPED_TRACE(operation.name);
        EXPECT_EQ(0, Process([&] { return endIn(&inDestructor, &operation); }).result());
        EXPECT_EQ(0, Process([&] { return endIn(&inHandler, &operation); }).result());
    }
}

TEST(Endings, WhileThreadsAreAtWork) {
    for (const Operation& operation : OPERATIONS)
        EXPECT_EQ(0, Process([&] { return endDuring(&operation); }).result()) << operation.name;
}

// The installed library is another file than the one that this program is linked with, so it is
// loaded beside it. The loader and the sanitizers keep some blocks, but fewer than one a load.
TEST(Endings, UnloadedLibrariesLeaveNothing) {
    const char* const file = "/usr/lib/libvelutils++.so.1.0.0";
    const int loads = 1000;
    const long before = allocations::outstanding();
    for (int i = 0; i < loads; ++i) {
        void* const library = dlopen(file, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(nullptr, library) << dlerror();
        typedef const String& (*Empty)();
        const Empty empty = reinterpret_cast<Empty>(dlsym(library, "_ZN6String5EMPTYEv"));
        ASSERT_NE(&String::EMPTY, empty);
        EXPECT_EQ(0, empty().length());
        ASSERT_EQ(0, dlclose(library));
        ASSERT_EQ(nullptr, dlopen(file, RTLD_NOW | RTLD_NOLOAD));
    }
    EXPECT_LT(allocations::outstanding() - before, loads / 2);
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    writeFile(CONFIG, "port2=8\n");
    return RUN_ALL_TESTS();
}
