// SPDX-License-Identifier: MIT
//
// A timer of the libevent loop that calls a member function once each time it is started.

#ifndef LINK_MONITOR_TIMER_H
#define LINK_MONITOR_TIMER_H

#include <event.h>

template <class Owner, void (Owner::*expire)()>
class Timer {
  public:
    explicit Timer(Owner& owner) { evtimer_set(&event_, onExpiry, &owner); }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;
    ~Timer() { evtimer_del(&event_); }

    void start(long milliseconds) {
        const struct timeval time = {milliseconds / 1000, milliseconds % 1000 * 1000};
        evtimer_add(&event_, &time);
    }

  private:
    static void onExpiry(int, short, void* owner) { (static_cast<Owner*>(owner)->*expire)(); }

    struct event event_;
};

#endif
