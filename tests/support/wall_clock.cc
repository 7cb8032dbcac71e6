// SPDX-License-Identifier: MIT

#include "tests/support/wall_clock.h"

#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

// Shared with children. Null until the program's constructors run, which is when others ask first.
std::atomic<int>* const wallClockOffset = static_cast<std::atomic<int>*>(
    mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

extern "C" int clock_gettime(clockid_t clock, struct timespec* now) noexcept {
    const int result = static_cast<int>(syscall(SYS_clock_gettime, clock, now));
    if (clock == CLOCK_REALTIME && wallClockOffset != nullptr) now->tv_sec += *wallClockOffset;
    return result;
}

extern "C" int gettimeofday(struct timeval* now, void*) noexcept {
    struct timespec exact;
    const int result = clock_gettime(CLOCK_REALTIME, &exact);
    now->tv_sec = exact.tv_sec;
    now->tv_usec = exact.tv_nsec / 1000;
    return result;
}

extern "C" time_t time(time_t* now) noexcept {
    struct timespec exact;
    clock_gettime(CLOCK_REALTIME, &exact);
    if (now != nullptr) *now = exact.tv_sec;
    return exact.tv_sec;
}
