// SPDX-License-Identifier: MIT
//
// A wall clock that a test sets, for its process, its children and the library under test: the
// program's own time(), gettimeofday() and clock_gettime() stand before the C library's. A time
// namespace would not do, which leaves the wall clock as it is.

#ifndef VELUTILS_TESTS_WALL_CLOCK_H
#define VELUTILS_TESTS_WALL_CLOCK_H

#include <atomic>

// Seconds that the clock is ahead.
extern std::atomic<int>* const wallClockOffset;

#endif
