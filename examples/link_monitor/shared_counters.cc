// SPDX-License-Identifier: MIT

#include "shared_counters.h"

#include <velutils++/conversions.h>
#include <velutils++/scoped_lock.h>

#include <time.h>

bool SharedCounters::open() {
    return directory_.setup(STATUS_BASE_TMP, "/link-monitors");
}

// The lock stays held if its holder is killed, so the wait for it is limited.
unsigned long SharedCounters::increment(const String& name) {
    const struct timespec pause = {0, 1000 * 1000};
    for (int attempt = 0; attempt < 50; ++attempt, nanosleep(&pause, nullptr)) {
        const ScopedLock<CRecursiveSemaphore> guard(lock_, TRY_LOCK);
        if (guard) return addOne(name);
    }
    return 0;
}

unsigned long SharedCounters::addOne(const String& name) {
    String text;
    directory_.getStatus(name, text);
    const unsigned long count = u_valueOf32(text.buffer()) + 1UL;
    return directory_.publish(name, String::stringOf(count)) ? count : 0;
}
