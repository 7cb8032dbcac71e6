// SPDX-License-Identifier: MIT
//
// Functions that register workloads. The name of a benchmark has all that bench/tables needs:
//
//     copy and destroy, 20 chars | String
//     copy and destroy, 20 chars | std::string | 0.15      the peer, and the largest ratio allowed

#ifndef VELUTILS_BENCH_SIDE_BY_SIDE_H
#define VELUTILS_BENCH_SIDE_BY_SIDE_H

#include <benchmark/benchmark.h>

#include <chrono>
#include <functional>
#include <initializer_list>
#include <string>

#include "progress.h"

typedef std::function<void(benchmark::State&)> Body;

// Makes a Body from an operation, which a benchmark repeats.
template <class Operation>
Body repeat(Operation operation) {
    return [operation](benchmark::State& state) {
        Operation run = operation;
        for (auto _ : state) run();
    };
}

inline void registerRuns(const std::string& name, const Body& body) {
    benchmark::RegisterBenchmark(name.c_str(), [body](benchmark::State& state) {
        const auto start = std::chrono::steady_clock::now();
        body(state);
        reportRun(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    });
}

struct Peer {
    const char* name;
    const char* aim;  // the largest ratio ours / peer allowed
    Body body;
};

inline void sideBySide(const std::string& workload, const char* ours, const Body& body,
                       std::initializer_list<Peer> peers) {
    registerRuns(workload + " | " + ours, body);
    for (const Peer& peer : peers)
        registerRuns(workload + " | " + peer.name + " | " + peer.aim, peer.body);
}

// Registers an operation on inputs of n, 10 n and 100 n. `growth` is the growth that the library's
// documented behaviour implies.
inline void scaling(const char* operation, const char* growth, long n,
                    const std::function<Body(long n)>& bodyFor) {
    for (long size = n; size <= 100 * n; size *= 10) {
        const std::string name =
            std::string("scaling | ") + operation + " | " + growth + " | " + std::to_string(size);
        registerRuns(name, bodyFor(size));
    }
}

// Hides a value from the optimiser.
template <class Value>
Value hidden(Value value) {
    asm volatile("" : "+r"(value));
    return value;
}

void registerText();
void registerFormat();
void registerConversions();
void registerContainers();
void registerAddresses();
void registerConfiguration();
void registerStatus();
void registerProcesses();
void registerLocks();
void registerDigests();

#endif
