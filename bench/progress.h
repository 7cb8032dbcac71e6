// SPDX-License-Identifier: MIT
//
// Says on standard error how far the measurements are: Google Benchmark, which runs them in random
// order, prints nothing before the last one.

#ifndef VELUTILS_BENCH_PROGRESS_H
#define VELUTILS_BENCH_PROGRESS_H

// A run of a benchmark took that long. $BENCH_MEASUREMENTS is the number of runs that count, those
// of at least half of $BENCH_SECONDS: shorter ones only look for the number of iterations. Without
// these variables nothing is said.
void reportRun(double seconds);

#endif
