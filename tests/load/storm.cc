// SPDX-License-Identifier: MIT
//
// storm SECONDS: 16 processes open, lock, unlock and close named locks, with new names all the time
// and interrupted by interval timers. Twelve lockers take the locks. Four openers never hold a
// lock, so they may die anywhere: they are killed at random or at one of the library's calls. A
// round begins without a guard, or with a guard whose maker has died. No lock may have two owners
// or fail, and every locker must come to its end.

#include <velutils++/locks.h>

#include <sched.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/time.h>

#include <atomic>
#include <chrono>
#include <memory>

#include "tests/support/failing_calls.h"
#include "tests/support/processes.h"

namespace {

const int LOCKERS = 12, PROCESSES = 16;
const int LOCKED_NAMES = 3, NAMES = 8;
const int GENERATIONS = 1 << 15;  // each has names of its own
const int STEPS = 400;            // of a round: an opener is killed in each

struct Shared {
    std::atomic<bool> stop;
    std::atomic<int> generation, ended, locks, doubles, failures;
    std::atomic<int> owners[GENERATIONS][LOCKED_NAMES];
};
Shared* const shared = static_cast<Shared*>(
    mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

std::string nameOf(int generation, int name) {
    return "/storm-" + std::to_string(generation) + "-" + std::to_string(name);
}

void interruptOften() {
    signal(SIGALRM, [](int) {});
    const struct itimerval often = {{0, 1000}, {0, 1 + random() % 1000}};
    setitimer(ITIMER_REAL, &often, nullptr);
}

void mustSucceed(int result) {
    if (result != 0) ++shared->failures;
}

void lockTwice(CRecursiveSemaphore& mutex, std::atomic<int>& owners) {
    mustSucceed(mutex.lock());
    if (owners++ != 0) ++shared->doubles;
    mustSucceed(mutex.lock());
    if (shared->locks++ % 3 == 0) sched_yield();
    mustSucceed(mutex.unlock());
    --owners;
    mustSucceed(mutex.unlock());
}

int lockAll(int self) {
    for (int turn = self; !shared->stop; ++turn) {
        const int generation = shared->generation;
        const int name = turn % LOCKED_NAMES;
        CRecursiveSemaphore mutex(nameOf(generation, name));
        for (int i = 0; i < 10; ++i) lockTwice(mutex, shared->owners[generation][name]);
    }
    ++shared->ended;
    return 0;
}

int openAll(int self) {
    if (random() % 2 == 0) failing_calls::dieAt(1 + random() % 60);
    for (int turn = self;; ++turn) {
        const int generation = shared->generation;
        CRecursiveSemaphore mutex(nameOf(generation, turn % NAMES));
        if (mutex.unlock() == -1) ++shared->failures;
    }
}

void beginRound(bool guardIsUnused) {
    const key_t key = ftok("/usr/lib/libvelutils++.so.1.0.0", 1);
    semctl(semget(key, 1, 0), 0, IPC_RMID);
    if (guardIsUnused) semget(key, 1, IPC_CREAT | 0600);
    // No process has a name of an earlier round open. If one had, its lock would become two.
    if (system("rm -f /dev/shm/storm-*") != 0) abort();
    shared->stop = false;
    shared->ended = 0;
}

void stormOneRound() {
    std::unique_ptr<Process> processes[PROCESSES];
    const auto start = [&](int i) {
        random();  // the next child continues from another number
        processes[i].reset(new Process([i] {
            interruptOften();
            return i < LOCKERS ? lockAll(i) : openAll(i);
        }));
    };
    for (int i = 0; i < PROCESSES; ++i) start(i);
    const int locksBefore = shared->locks;
    soon([=] { return shared->locks > locksBefore; });
    for (int step = 0; step < STEPS; ++step) {
        usleep(3000);
        if (step % 16 == 0 && shared->generation < GENERATIONS - 1) ++shared->generation;
        start(LOCKERS + static_cast<int>(random()) % (PROCESSES - LOCKERS));
    }
    shared->stop = true;
    soon([] { return shared->ended == LOCKERS; });
}

}  // namespace

int main(int argc, char** argv) {
    const long seconds = argc == 2 ? atol(argv[1]) : 0;
    if (seconds <= 0) {
        fputs("usage: storm SECONDS\n", stderr);
        return 2;
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    int rounds = 0, stuck = 0;
    for (; stuck == 0 && std::chrono::steady_clock::now() < end; ++rounds) {
        beginRound(rounds % 2 != 0);
        stormOneRound();
        stuck = LOCKERS - shared->ended;
    }
    printf(
        "storm: %ld s, %d rounds, %d names, %d locks, %d openers killed: "
        "%d double owners, %d failures, %d processes stuck\n",
        seconds, rounds, shared->generation * NAMES, shared->locks.load(), rounds * STEPS,
        shared->doubles.load(), shared->failures.load(), stuck);
    return shared->doubles != 0 || shared->failures != 0 || stuck != 0;
}
