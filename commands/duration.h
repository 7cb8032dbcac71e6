// SPDX-License-Identifier: MIT
//
// Times to wait, by the monotonic clock.

#ifndef VELUTILS_COMMANDS_DURATION_H
#define VELUTILS_COMMANDS_DURATION_H

#include <stdint.h>

// Reads seconds: digits, and a fraction of any length after a point. False for any other text.
// Longer than 30 years counts as 30 years.
bool parseSeconds(const char* text, int64_t* nanoseconds);

// A moment from now, or none.
class Deadline {
  public:
    static Deadline never() { return Deadline(NEVER); }
    static Deadline in(int64_t nanoseconds);

    bool isOver() const;
    // For poll(2): milliseconds, rounded up, -1 without a moment.
    int pollTime() const;
    // Of the monotonic clock, no more than `most` nanoseconds from now.
    struct timespec atMost(int64_t most) const;

  private:
    static const int64_t NEVER = INT64_MAX;

    explicit Deadline(int64_t at) : at_(at) {}
    static int64_t now();

    int64_t at_;  // nanoseconds of the monotonic clock
};

#endif
