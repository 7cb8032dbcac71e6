// SPDX-License-Identifier: MIT
//
// Reports the progress of the measurements on standard error, because Google Benchmark, which runs
// them in random order, prints nothing until all are done.

#ifndef VELUTILS_BENCH_PROGRESS_H
#define VELUTILS_BENCH_PROGRESS_H

// Records the time of one run of a benchmark. Ignores runs of less than half of $BENCH_SECONDS,
// which only determine the number of iterations. $BENCH_MEASUREMENTS is the expected number of the
// others. Without these variables nothing is reported.
void reportRun(double seconds);

#endif
