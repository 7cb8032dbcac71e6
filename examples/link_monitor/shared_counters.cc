// SPDX-License-Identifier: MIT

#include "shared_counters.h"

#include <velutils++/conversions.h>

#include <time.h>

namespace {

// The lock stays held when its holder is killed: never wait for it without an end.
bool lockSoon(CRecursiveSemaphore& lock) {
    const struct timespec pause = {0, 1000 * 1000};
    for (int attempt = 0; attempt < 50; ++attempt) {
        if (lock.trylock() == 0) return true;
        nanosleep(&pause, nullptr);
    }
    return false;
}

}  // namespace

bool SharedCounters::open() {
    return directory_.setup(STATUS_BASE_TMP, "/link-monitors");
}

unsigned long SharedCounters::increment(const String& name) {
    if (!lockSoon(lock_)) return 0;
    String text;
    directory_.getStatus(name, text);
    const unsigned long count = u_valueOf32(text.buffer()) + 1UL;
    const bool stored = directory_.setStatus(name, String::stringOf(count));
    lock_.unlock();
    return stored ? count : 0;
}
