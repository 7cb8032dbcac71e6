// SPDX-License-Identifier: MIT
//
// start_up ROUNDS PROGRAM...: runs the programs in turn, ROUNDS times, and prints for each the
// median time from start to exit in microseconds, and its ratio to that of the first.

#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <vector>

namespace {

double run(char* program) {
    char* arguments[] = {program, nullptr};
    char* environment[] = {nullptr};
    const auto start = std::chrono::steady_clock::now();
    pid_t child = 0;
    int status = 1;
    if (posix_spawn(&child, program, nullptr, nullptr, arguments, environment) != 0 ||
        waitpid(child, &status, 0) != child || status != 0) {
        fprintf(stderr, "%s failed\n", program);
        exit(1);
    }
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
        .count();
}

}  // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 2 ? atoi(argv[1]) : 0;
    if (rounds < 1) return 2;
    std::vector<std::vector<double>> times(static_cast<size_t>(argc));
    for (int round = 0; round < rounds; ++round)
        for (int i = 2; i < argc; ++i) times[static_cast<size_t>(i)].push_back(run(argv[i]));
    double first = 0;
    for (size_t i = 2; i < times.size(); ++i) {
        std::nth_element(times[i].begin(), times[i].begin() + rounds / 2, times[i].end());
        const double median = times[i][static_cast<size_t>(rounds / 2)];
        if (i == 2) first = median;
        printf("%8.0f us  x %.2f  %s\n", median, median / first, argv[i]);
    }
    return 0;
}
