// SPDX-License-Identifier: MIT
//
// Events of the libevent loop that call member functions.

#ifndef LINK_MONITOR_LOOP_EVENTS_H
#define LINK_MONITOR_LOOP_EVENTS_H

#include <event.h>

// Calls a member function once each time it is started.
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

// Calls a member function whenever a descriptor is readable. REQUIRES: the descriptor outlives the
// watch.
template <class Owner, void (Owner::*read)()>
class Watch {
  public:
    explicit Watch(Owner& owner) : owner_(owner) { set(-1); }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch() { event_del(&event_); }

    // Has no effect if it is already started.
    void start(int fd) {
        if (event_pending(&event_, EV_READ, nullptr)) return;
        set(fd);
        event_add(&event_, nullptr);
    }

  private:
    void set(int fd) { event_set(&event_, fd, EV_READ | EV_PERSIST, onReadable, &owner_); }
    static void onReadable(int, short, void* owner) { (static_cast<Owner*>(owner)->*read)(); }

    Owner& owner_;
    struct event event_;
};

#endif
