// SPDX-License-Identifier: MIT
//
// Measures each workload with the library and with its peers. ./run-bench runs this program in a
// sandbox and makes tables of the results.

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
