// SPDX-License-Identifier: MIT

#include "monitor.h"

#include <event.h>
#include <stdio.h>

namespace {

const EventCatalogueEntry* findEvent(const String& name) {
    for (const EventCatalogueEntry& entry : EVENT_CATALOGUE)
        if (name == entry.name) return &entry;
    return nullptr;
}

// Commands come from anyone: what is shown of them must not steer a terminal.
String printable(const String& text) {
    String shown(text);
    for (int ch = 1; ch < 256; ++ch)
        if (ch < ' ' || ch > '~') shown.replace(static_cast<char>(ch), '?');
    return shown;
}

}  // namespace

bool Monitor::start() {
    if (!directory_.setup(STATUS_BASE_TMP, "/link-monitor")) {
        fprintf(stderr, "link-monitor: no status directory\n");
        return false;
    }
    if (!port_.open(directory_, "/command")) {
        fprintf(stderr, "link-monitor: no command FIFO\n");
        return false;
    }
    publication_.set("/state", "running");
    publication_.set("/event-count", events_);
    return true;
}

void Monitor::run() {
    event_dispatch();
    publication_.set("/state", "stopped");
}

void Monitor::stop() {
    event_loopbreak();
}

void Monitor::handleCommand(const String& line) {
    String command(line);
    command.trim();
    if (command.length() == 0) return;
    if (command == "stop") return stop();
    if (command == "status") return publication_.print();
    if (command.startsWith("event ")) {
        String name(command.substring(6));
        name.trim();
        return handleEvent(name);
    }
    fprintf(stderr, "link-monitor: unknown command: %s\n", printable(command).buffer());
}

void Monitor::handleBadLine() {
    fprintf(stderr, "link-monitor: dropped a line that is no command\n");
}

void Monitor::handleEvent(const String& name) {
    const EventCatalogueEntry* const event = findEvent(name);
    if (event == nullptr) {
        fprintf(stderr, "link-monitor: unknown event: %s\n", printable(name).buffer());
        return;
    }
    publishEvent(*event);
}

void Monitor::publishEvent(const EventCatalogueEntry& event) {
    String id;
    id.format("0x%08lx", static_cast<unsigned long>(event.id));
    publication_.set("/event-id", id);
    publication_.set("/event-name", event.name);
    publication_.set("/event-description", event.description);
    publication_.set("/event-count", ++events_);
    if (!directory_.setLink("/last-event", "event-name"))
        fprintf(stderr, "link-monitor: cannot make the link last-event\n");
}
