// SPDX-License-Identifier: MIT
//
// link-monitor [CONFIGURATION]: an example of a daemon on libvelutils++.
//
// Watches links and publishes their state in /tmp/status/link-monitor. A stand-in replaces the
// configuration daemon; it stores its values in the file $CONFIGD_STORE.

#include <event.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <syslog.h>

// Links the configuration daemon's client library, in whatever form it is.
#include <velutils++/use_configd.h>

#include "configd/configd.h"
#include "monitor.h"
#include "settings.h"

namespace {

void onSignal(int, short, void* monitor) {
    static_cast<Monitor*>(monitor)->stop();
}

// Stops the daemon on a signal, as the stop command does.
class StopSignal {
  public:
    StopSignal(int number, Monitor& monitor) {
        signal_set(&event_, number, onSignal, &monitor);
        signal_add(&event_, nullptr);
    }
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;
    ~StopSignal() { signal_del(&event_); }

  private:
    struct event event_;
};

int runDaemon(const Settings& settings, const char* program) {
    Monitor monitor(settings, program);
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

int main(int argc, char** argv) {
    openlog("link-monitor", LOG_PID, LOG_DAEMON);
    configd_store = getenv("CONFIGD_STORE");

    Settings settings;
    if (argc > 1 && !settings.load(argv[1])) {
        fprintf(stderr, "link-monitor: cannot read the configuration %s\n", argv[1]);
        return EXIT_FAILURE;
    }
    struct event_base* const base = event_init();
    if (base == nullptr) {
        fprintf(stderr, "link-monitor: no event base\n");
        return EXIT_FAILURE;
    }
    const int status = runDaemon(settings, argv[0]);
    event_base_free(base);
    return status;
}
