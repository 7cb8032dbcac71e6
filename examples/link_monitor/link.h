// SPDX-License-Identifier: MIT
//
// A watched link. Publishes the state of its interface, its address, and whether its target
// answers, in its own directory.

#ifndef LINK_MONITOR_LINK_H
#define LINK_MONITOR_LINK_H

#include <velutils++/echo_probe.h>
#include <velutils++/interface_control.h>
#include <velutils++/ip_address.h>

#include "loop_events.h"
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

    // Examines the interface and sends an echo request. The event loop receives the reply.
    void check();

    void print() const { publication_.print(); }

  private:
    enum State { UNKNOWN, MISSING, DOWN, UNADDRESSED, UNREACHABLE, UP };

    State lookAtInterface();
    void sendRequest();
    void readAnswer();
    void giveUp();
    void lose();
    void settle(State state);

    const LinkSettings settings_;
    LinkObserver& observer_;
    Publication publication_;
    const IpInterfaceStatus interfaces_;
    IpAddress address_;
    EchoProbe probe_;
    Watch<Link, &Link::readAnswer> answers_;
    Timer<Link, &Link::giveUp> patience_;
    State state_;
    bool waiting_;
    unsigned long losses_;
};

#endif
