// SPDX-License-Identifier: MIT
//
// Each workload of the library beside what a user would pick instead. ./run-bench runs it in a
// sandbox of its own and makes tables of its results.

#include "side_by_side.h"

int main(int argc, char** argv) {
    registerText();
    registerFormat();
    registerConversions();
    registerContainers();
    registerAddresses();
    registerConfiguration();
    registerStatus();
    registerProcesses();
    registerLocks();
    registerDigests();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
