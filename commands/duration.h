// SPDX-License-Identifier: MIT
//
// Durations, and deadlines by the monotonic clock.

#ifndef VELUTILS_COMMANDS_DURATION_H
#define VELUTILS_COMMANDS_DURATION_H

#include <stdint.h>

// Reads a number of seconds: at least one decimal digit, and optionally a point before, between or
// after the digits. False for any other text. A longer time than 30 years becomes 30 years.
bool parseSeconds(const char* text, int64_t* nanoseconds);

// A moment, or never.
class Deadline {
  public:
    static Deadline never() { return Deadline(NEVER); }
    static Deadline in(int64_t nanoseconds);

    bool isOver() const;
    // The time left for poll(2): milliseconds, rounded up, or -1.
    int pollTime() const;
    // This moment or `most` nanoseconds from now, whichever comes first, by CLOCK_MONOTONIC.
    struct timespec atMost(int64_t most) const;

  private:
    static const int64_t NEVER = INT64_MAX;

    explicit Deadline(int64_t at) : at_(at) {}
    static int64_t now();

    int64_t at_;  // ns of CLOCK_MONOTONIC
};

#endif
