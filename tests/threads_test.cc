// SPDX-License-Identifier: MIT
//
// What the headers allow from several threads at once, for ThreadSanitizer to look at. Sharers of
// String buffers are in text_test.cc.

#include <velutils++/conversions.h>
#include <velutils++/digests.h>
#include <velutils++/interface_control.h>
#include <velutils++/ip_address.h>
#include <velutils++/locks.h>
#include <velutils++/status.h>
#include <velutils++/text.h>

#include <gtest/gtest.h>
#include <string.h>
#include <sys/mman.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

const int THREADS = 4;
const int ROUNDS = 200;

// Runs body(i) in thread i, all starting together.
template <class Body>
void inThreads(Body body) {
    std::atomic<int> waiting(THREADS);
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&waiting, &body, i] {
            for (--waiting; waiting > 0;) std::this_thread::yield();
            body(i);
        });
    }
    for (std::thread& thread : threads) thread.join();
}

// Comes first: the constants are made by whoever needs them first.
TEST(Threads, MakeTheEmptyValuesTogether) {
    inThreads([](int) {
        EXPECT_EQ(0, String::EMPTY().length());
        EXPECT_TRUE(IpAddress::EMPTY().isEmpty());
    });
}

TEST(Threads, FormatAndConvertOnTheirOwnBuffers) {
    inThreads([](int i) {
        for (int round = 0; round < ROUNDS; ++round) {
            char area[40];
            EXPECT_EQ(9, snxprintf(area, 0, sizeof area, "%3d|%-5s", i, "ab"));
            EXPECT_EQ(9, strlenf("%3d|%-5s", i, "ab"));
            EXPECT_EQ(round, valueOf32(i32toa(round, area, 10)));
            unsigned char digest[16];
            Md5HashContext md5;
            EXPECT_EQ(0, md5.test());
            md5.getHash(digest);
        }
    });
}

TEST(Threads, ControlInterfacesThroughOneObject) {
    IpInterfaceStatus interfaces;
    inThreads([&](int) {
        for (int round = 0; round < ROUNDS; ++round) {
            EXPECT_TRUE(interfaces.isInterfaceAvailable("lo") && interfaces.isInterfaceUp("lo"));
            EXPECT_EQ(0x7F000001u, interfaces.getIpV4Address("lo"));
        }
    });
}

TEST(Threads, ReadOneAddress) {
    const IpAddress net("10.1.0.0/16");
    inThreads([&](int i) {
        for (int round = 0; round < ROUNDS; ++round) {
            String text;
            EXPECT_TRUE(net.isNetType() && net.contains(IpAddress(0x0A010000u + unsigned(i), ~0u)));
            EXPECT_TRUE(net.getIpAddrAsString(text) == "10.1.0.0");
        }
    });
}

TEST(Threads, PublishInOneDirectory) {
    inThreads([](int i) {
        StatusInterface tree;
        EXPECT_TRUE(tree.setup(STATUS_BASE_TMP, "/threads"));
        const String name = "/" + String::stringOf(long(i));
        for (int round = 0; round < ROUNDS; ++round) {
            String value;
            EXPECT_TRUE(tree.setStatus(name, String::stringOf(long(round))));
            EXPECT_TRUE(tree.getStatus(name, value) && value == String::stringOf(long(round)));
        }
    });
}

// One object, locked twice by its holder now and then; `taken` is behind nothing but the lock.
TEST(Threads, TakeTurnsWithOneRecursiveLock) {
    CRecursiveSemaphore lock("/threads");
    int taken = 0;
    inThreads([&](int i) {
        for (int round = 0; round < ROUNDS; ++round) {
            while ((round % 2 == 0 ? lock.lock() : lock.trylock()) != 0) std::this_thread::yield();
            EXPECT_EQ(0, i == 0 ? lock.lock() | lock.unlock() : 0);
            ++taken;
            EXPECT_EQ(0, lock.unlock());
        }
    });
    EXPECT_EQ(THREADS * ROUNDS, taken);
    shm_unlink("/threads");
}

// The kernel's lock orders the threads, but no sanitizer can know: the count is atomic.
TEST(Threads, TakeTurnsWithOneSemaphore) {
    CSemaphore lock("/usr/lib/libvelutils++.so.1.0.0", 7);
    EXPECT_EQ(0, lock.init());
    std::atomic<int> taken(0), inside(0);
    inThreads([&](int) {
        for (int round = 0; round < ROUNDS; ++round) {
            EXPECT_EQ(0, lock.lock());
            EXPECT_EQ(1, ++inside);
            ++taken;
            --inside;
            EXPECT_EQ(0, lock.unlock());
        }
    });
    EXPECT_EQ(THREADS * ROUNDS, taken);
}

TEST(Threads, MakeAndOpenOneLock) {
    std::atomic<int> held(0);
    inThreads([&](int) {
        for (int round = 0; round < 20; ++round) {
            void* const lock = sem_create("/threads-made");
            EXPECT_EQ(0, sem_lock(lock));
            EXPECT_EQ(1, ++held);
            --held;
            EXPECT_EQ(0, sem_unlock(lock));
            sem_release(lock);
        }
    });
    shm_unlink("/threads-made");
}

}  // namespace
