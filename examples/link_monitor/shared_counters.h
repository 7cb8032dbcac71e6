// SPDX-License-Identifier: MIT
//
// Counters that all copies of the daemon share: status files, changed by one process at a time.

#ifndef LINK_MONITOR_SHARED_COUNTERS_H
#define LINK_MONITOR_SHARED_COUNTERS_H

#include <velutils++/locks.h>
#include <velutils++/status_publisher.h>
#include <velutils++/text.h>

class SharedCounters {
  public:
    SharedCounters() : lock_("/link-monitor") {}

    bool open();

    // Adds one and returns the new count; 0 when the counter could not be had in good time.
    unsigned long increment(const String& name);

  private:
    unsigned long addOne(const String& name);

    CRecursiveSemaphore lock_;
    StatusPublisher directory_;
};

#endif
