// SPDX-License-Identifier: MIT

#include "duration.h"

#include <limits.h>
#include <time.h>

#include <algorithm>

namespace {

const int64_t SECOND = 1000 * 1000 * 1000;
const int64_t MILLISECOND = 1000 * 1000;
const int64_t LONGEST = int64_t{30} * 366 * 24 * 3600;  // s

bool isDigit(char ch) {
    return ch >= '0' && ch <= '9';
}

}  // namespace

bool parseSeconds(const char* text, int64_t* nanoseconds) {
    bool hasDigits = isDigit(*text);
    int64_t seconds = 0;
    for (; isDigit(*text); ++text) seconds = std::min(seconds * 10 + (*text - '0'), LONGEST);
    int64_t fraction = 0;
    if (*text == '.') {
        hasDigits = isDigit(*++text) || hasDigits;
        for (int64_t unit = SECOND / 10; isDigit(*text); ++text, unit /= 10)
            fraction += (*text - '0') * unit;
    }
    *nanoseconds = seconds * SECOND + fraction;
    return hasDigits && *text == '\0';
}

int64_t Deadline::now() {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return int64_t{time.tv_sec} * SECOND + time.tv_nsec;
}

Deadline Deadline::in(int64_t nanoseconds) {
    return Deadline(now() + nanoseconds);
}

bool Deadline::isOver() const {
    return at_ != NEVER && now() >= at_;
}

int Deadline::pollTime() const {
    if (at_ == NEVER) return -1;
    const int64_t left = std::max<int64_t>(at_ - now(), 0);
    return static_cast<int>(std::min<int64_t>((left + MILLISECOND - 1) / MILLISECOND, INT_MAX));
}

struct timespec Deadline::atMost(int64_t most) const {
    const int64_t at = std::min(at_, now() + most);
    struct timespec time = {};
    time.tv_sec = static_cast<time_t>(at / SECOND);
    time.tv_nsec = static_cast<long>(at % SECOND);
    return time;
}
