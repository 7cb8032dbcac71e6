// SPDX-License-Identifier: MIT
//
// State that threads of one process share, mainly for ThreadSanitizer. Strings that share a buffer
// are in text_test.cc, and threads that use objects of their own in endings_test.cc.

#include <velutils++/ip_address.h>
#include <velutils++/locks.h>
#include <velutils++/text.h>

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <thread>
#include <vector>

namespace {

const int THREADS = 4;
const int ROUNDS = 200;

// Runs body() in all threads.
template <class Body>
void inThreads(Body body) {
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; ++i) threads.emplace_back(body);
    for (std::thread& thread : threads) thread.join();
}

// This test must be the first, because the first use makes the constants.
TEST(Threads, MakeTheEmptyValuesTogether) {
    inThreads([] {
        EXPECT_EQ(0, String::EMPTY().length());
        EXPECT_TRUE(IpAddress::EMPTY().isEmpty());
    });
}

TEST(Threads, TakeTurnsWithOneRecursiveLock) {
    CRecursiveSemaphore lock("/threads");
    int counter = 0;  // only the lock protects it
    inThreads([&] {
        for (int round = 0; round < ROUNDS; ++round) {
            EXPECT_EQ(0, lock.lock());
            ++counter;
            EXPECT_EQ(0, lock.unlock());
        }
    });
    EXPECT_EQ(THREADS * ROUNDS, counter);
    shm_unlink("/threads");
}

}  // namespace
