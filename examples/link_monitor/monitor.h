// SPDX-License-Identifier: MIT
//
// The daemon: its status directory, its commands, its life.

#ifndef LINK_MONITOR_MONITOR_H
#define LINK_MONITOR_MONITOR_H

#include <velutils++/status.h>
#include <velutils++/text.h>

#include "command_port.h"
#include "publication.h"

class Monitor : private CommandHandler {
  public:
    Monitor() : port_(*this), publication_(directory_), events_(0) {}

    // Needs libevent's default event base. False, with the reason on standard error, when the
    // daemon cannot start.
    bool start();

    // Runs until a stop command or signal.
    void run();

    void stop();

  private:
    void handleCommand(const String& line) override;
    void handleBadLine() override;
    void handleEvent(const String& name);
    void publishEvent(const EventCatalogueEntry& event);

    CommandPort port_;
    StatusInterface directory_;  // goes before the port, and takes the port's receiver along
    Publication publication_;
    unsigned long events_;
};

#endif
