// SPDX-License-Identifier: MIT
//
// link-monitor: an example of a daemon on libvelutils++.

#include "monitor.h"

#include <event.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <syslog.h>

namespace {

void onSignal(int, short, void* monitor) {
    static_cast<Monitor*>(monitor)->stop();
}

// A signal that ends the loop as a command does.
class StopSignal {
  public:
    StopSignal(int number, Monitor& monitor) {
        signal_set(&event_, number, onSignal, &monitor);
        signal_add(&event_, nullptr);
    }
    ~StopSignal() { signal_del(&event_); }

  private:
    struct event event_;
};

int runDaemon() {
    Monitor monitor;
    const StopSignal interrupt(SIGINT, monitor);
    const StopSignal terminate(SIGTERM, monitor);
    if (!monitor.start()) return EXIT_FAILURE;
    printf("link-monitor: running\n");
    fflush(stdout);
    monitor.run();
    printf("link-monitor: stopped\n");
    return EXIT_SUCCESS;
}

}  // namespace

int main() {
    openlog("link-monitor", LOG_PID, LOG_DAEMON);
    struct event_base* const base = event_init();
    if (base == nullptr) {
        fprintf(stderr, "link-monitor: no event base\n");
        return EXIT_FAILURE;
    }
    const int status = runDaemon();
    event_base_free(base);
    return status;
}
