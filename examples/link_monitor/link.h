// SPDX-License-Identifier: MIT
//
// One watched link: its interface, its address, and whether its target answers. What is found is
// published in a directory of the link's own.

#ifndef LINK_MONITOR_LINK_H
#define LINK_MONITOR_LINK_H

#include <velutils++/echo_client.h>
#include <velutils++/interface_control.h>
#include <velutils++/ip_address.h>
#include <velutils++/status.h>

#include "publication.h"
#include "settings.h"

class LinkObserver {
  public:
    virtual ~LinkObserver() {}
    virtual void handleLinkChange(const LinkSettings& link, bool up) = 0;
};

class Link {
  public:
    Link(const LinkSettings& settings, LinkObserver& observer);
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    // `parent` is the daemon's directory below /tmp/status.
    bool open(const String& parent);

    // Looks at the interface and sends a ping; the answer is seen by a later poll. Neither waits.
    void check(long long now);  // in us
    void poll(long long now);

    bool awaitsAnswer() const { return waiting_; }
    void print() const { publication_.print(); }

  private:
    enum State { UNKNOWN, MISSING, DOWN, UNADDRESSED, UNREACHABLE, UP };

    State lookAtInterface();
    void sendPing(long long now);
    void lose();
    void settle(State state);

    const LinkSettings settings_;
    LinkObserver& observer_;
    StatusInterface directory_;
    Publication publication_;
    const IpInterfaceStatus interfaces_;
    IpAddress address_;
    PingClient ping_;
    State state_;
    bool waiting_;
    long long sentAt_;
    unsigned long losses_;
};

#endif
