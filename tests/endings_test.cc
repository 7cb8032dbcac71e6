// SPDX-License-Identifier: MIT
//
// Programs that end while they use the library: in the destructors of static objects, in exit
// handlers, and in threads that still run when main returns. What the library keeps for the life of
// the process must be usable until the end, and must be released when the library is unloaded. For
// ThreadSanitizer, this is also the use of shared state in several threads.

#include <velutils++/configuration.h>
#include <velutils++/digests.h>
#include <velutils++/ip_address.h>
#include <velutils++/locks.h>
#include <velutils++/process_table.h>
#include <velutils++/status.h>

#include <dlfcn.h>
#include <event.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <thread>

#include "tests/support/allocations.h"
#include "tests/support/fifo_observer.h"
#include "tests/support/files.h"
#include "tests/support/processes.h"

namespace {

const int THREADS = 3;

const char CONFIGURATION[] = "/tmp/endings.conf";

typedef bool (*Operation)();  // returns true in any thread at any time

const struct {
    const char* name;
    Operation run;
} OPERATIONS[] = {
    {"texts and addresses",
     [] {
         String text(String::EMPTY());
         text += "abc";
         const String copy(text);
         IpAddress::EMPTY().getIpAddrAsString(text);
         return copy == "abc" && text == String::EMPTY();
     }},
    {"status values",
     [] {
         StatusInterface tree;
         String value;
         if (!tree.setup(STATUS_BASE_TMP, "/endings")) return false;
         if (!tree.setStatus("/state", "up")) return false;
         if (!tree.getStatus("/state", value)) return false;
         return value == "up" || value == "";  // another thread may be about to write
     }},
    {"locks",  // a name for each process, because it may end while it holds the lock
     [] {
         const std::string name = "/endings-" + std::to_string(getpid());
         static CRecursiveSemaphore* const shared = new CRecursiveSemaphore(name);
         static long counter;  // only the lock protects it
         if (shared->lock() != 0) return false;
         ++counter;
         if (shared->unlock() != 0) return false;
         CRecursiveSemaphore own(name);
         return own.lock() == 0 && own.unlock() == 0;
     }},
    {"configuration files, in hash tables",
     [] {
         ConfigReader reader;
         if (!reader.initialize(CONFIGURATION, 4)) return false;
         return reader.getIndexedValueAsInt("port%lu", 2, -1) == 80;
     }},
    {"FIFO receivers",  // libevent's default event base belongs to one thread at a time
     [] {
         static std::mutex turn;
         const std::lock_guard<std::mutex> guard(turn);
         event_base* const base = event_init();
         FifoObserver observer;
         StatusInterface tree;
         tree.setup(STATUS_BASE_TMP, "/endings");
         tree.setupIpcRxFifo("/fifo", &observer);
         tree.setStatus("/fifo", "up");
         event_loop(EVLOOP_NONBLOCK);
         tree.cleanup();
         event_base_free(base);
         return observer.received == "up";
     }},
    {"the process table",
     [] {
         ProcessControl processes;
         processes.refresh(true);
         return processes.getProcessEntryByPid(getpid()) != nullptr;
     }},
    {"digests",
     [] {
         unsigned char code[20] = {};
         Sha1HashContext sha1;
         HmacContext hmac(&sha1);
         hmac.initialize(code, 0, 0);
         hmac.getHash(code);
         return digestToHex(code, 20) == "fbdb1d1b18aa6c08324b7d64b71fb76370690e1d";
     }},
};

Operation inDestructor;
Operation inHandler;
std::atomic<long> completed(0);  // in threads
std::atomic<bool> threadsRun(false);

void runOrFail(Operation operation) {
    if (operation != nullptr && !operation()) _exit(1);
}

// Destroyed after everything that the library makes at its first use.
const struct EarlyObject {
    ~EarlyObject() { runOrFail(inDestructor); }
} earlyObject;

// Called last, after the destructors of the library's static objects.
void atTheVeryEnd(int, void*) {
    runOrFail(inHandler);
    for (const long last = completed + 20; threadsRun && completed < last;)
        std::this_thread::yield();
}

// Unlike atexit(3), on_exit(3) does not tie a handler to the static objects of the program.
void registerHandler() {
    on_exit(atTheVeryEnd, nullptr);
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// The sanitizers start after preinit_array and before constructors.
__attribute__((constructor(101))) void registerEarly() {
    registerHandler();
}
#else
// Before the constructors of the library.
__attribute__((section(".preinit_array"), used)) void (*const registerEarly)() = registerHandler;
#endif

int endIn(Operation* place, Operation operation) {
    runOrFail(operation);
    *place = operation;
    exit(0);
}

int endDuring(Operation operation) {
    threadsRun = true;
    for (int i = 0; i < THREADS; ++i)
        std::thread([operation] {
            for (;; ++completed) runOrFail(operation);
        }).detach();
    while (completed < THREADS) std::this_thread::yield();
    exit(0);
}

TEST(Endings, TheLibraryWorksUntilTheProcessEnds) {
    writeFile(CONFIGURATION, "port2 = 80");
    for (const auto& operation : OPERATIONS) {
        SCOPED_TRACE(operation.name);
        EXPECT_EQ(0, Process([&] { return endIn(&inDestructor, operation.run); }).result());
        EXPECT_EQ(0, Process([&] { return endIn(&inHandler, operation.run); }).result());
        EXPECT_EQ(0, Process([&] { return endDuring(operation.run); }).result());
    }
}

// The program is linked with another file than the installed library, so the loader loads that
// beside it. The loader and the sanitizers keep some blocks, but fewer than one for each load.
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
