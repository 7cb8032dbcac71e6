// SPDX-License-Identifier: MIT
//
// What the headers allow from several threads at once and what has state that they share, for
// ThreadSanitizer to look at. Sharers of String buffers are in text_test.cc.

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

TEST(Threads, PublishInOneDirectory) {
    inThreads([](int i) {
        StatusInterface tree;
        EXPECT_TRUE(tree.setup(STATUS_BASE_TMP, "/threads"));
        const String name = "/" + String::stringOf(long(i));
        for (int round = 0; round < ROUNDS; ++round) {
            String value;
            EXPECT_TRUE(tree.setStatus(name, String::stringOf(long(round))));
            EXPECT_TRUE(tree.getStatus(name, value));
            EXPECT_EQ(String::stringOf(long(round)), value);
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
            if (i == 0) {
                EXPECT_EQ(0, lock.lock());
                EXPECT_EQ(0, lock.unlock());
            }
            ++taken;
            EXPECT_EQ(0, lock.unlock());
        }
    });
    EXPECT_EQ(THREADS * ROUNDS, taken);
    shm_unlink("/threads");
}

}  // namespace
