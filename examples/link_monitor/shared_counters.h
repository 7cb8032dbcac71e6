// SPDX-License-Identifier: MIT
//
// Counters that all copies of the daemon share. They are status files; a lock lets one process at a
// time change them.

#ifndef LINK_MONITOR_SHARED_COUNTERS_H
#define LINK_MONITOR_SHARED_COUNTERS_H

#include <velutils++/locks.h>
#include <velutils++/status_publisher.h>
#include <velutils++/text.h>

class SharedCounters {
  public:
    SharedCounters() : lock_("/link-monitor") {}

    bool open();

    // Adds one and returns the new count. Returns 0 if the lock is held for too long, or if the new
    // count could not be stored.
    unsigned long increment(const String& name);

  private:
    unsigned long addOne(const String& name);

    CRecursiveSemaphore lock_;
    StatusPublisher directory_;
};

#endif
