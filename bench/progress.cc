// SPDX-License-Identifier: MIT

#include "progress.h"

#include <stdio.h>
#include <stdlib.h>

#include <chrono>

typedef std::chrono::steady_clock Clock;

namespace {

const int STEP = 5;  // per cent

double fromEnvironment(const char* name) {
    const char* const text = getenv(name);
    return text != nullptr ? atof(text) : 0;
}

}  // namespace

void reportRun(double seconds) {
    static const double total = fromEnvironment("BENCH_MEASUREMENTS");
    static const double shortest = fromEnvironment("BENCH_SECONDS") / 2;
    static const Clock::time_point start = Clock::now();
    static double done = 0;
    static int next = STEP;
    if (total == 0 || seconds < shortest || done >= total) return;
    done += 1;
    if (100 * done < next * total || next >= 100) return;
    while (100 * done >= next * total) next += STEP;
    const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    fprintf(stderr, "run-bench: %2.0f %%, about %.0f s left\n", 100 * done / total,
            elapsed * (total - done) / done);
}
