// SPDX-License-Identifier: MIT
//
// The daemon: its status directory, its commands and its links, from start to stop.

#ifndef LINK_MONITOR_MONITOR_H
#define LINK_MONITOR_MONITOR_H

#include <velutils++/configuration.h>
#include <velutils++/line_receiver.h>
#include <velutils++/text.h>

#include <memory>
#include <vector>

#include "authority.h"
#include "link.h"
#include "loop_events.h"
#include "publication.h"
#include "settings.h"
#include "shared_counters.h"

class Monitor : private LineReceiver, private LinkObserver {
  public:
    // `program` is the path with which copies of the daemon are started. REQUIRES: libevent has its
    // default event base.
    Monitor(const Settings& settings, const char* program);

    // Returns false, with the reason on standard error, if the daemon cannot start.
    bool start();

    // Runs until a stop command or signal.
    void run();

    void stop();

  private:
    void handleLine(const String& line) override;
    void handleBadLine(long length) override;
    void handleLinkChange(const LinkSettings& link, bool up) override;

    bool isRunningAlready();
    void countStart();
    bool openLinks();
    void handleEvent(const String& name);
    void publishEvent(const EventCatalogueEntry& event);
    void handleSet(const String& arguments);
    void print() const;
    void checkLinks();

    const Settings settings_;
    const char* const program_;
    Publication publication_;  // also has the command FIFO
    const ConfigDaemonClient daemon_;
    const Authority authority_;
    SharedCounters counters_;
    std::vector<std::unique_ptr<Link>> links_;
    Timer<Monitor, &Monitor::checkLinks> checkTimer_;
    unsigned long events_;
    unsigned long accepted_;
    unsigned long refused_;
};

#endif
