// SPDX-License-Identifier: MIT
//
// Reports the progress of the measurements on standard error, because Google Benchmark, which runs
// them in random order, prints nothing until all are done.

#ifndef VELUTILS_BENCH_PROGRESS_H
#define VELUTILS_BENCH_PROGRESS_H

// Records that a run of a benchmark took that long. $BENCH_MEASUREMENTS is the number of runs that
// count. Runs of less than half of $BENCH_SECONDS do not count, because they only determine the
// number of iterations. Without these variables nothing is reported.
void reportRun(double seconds);

#endif
