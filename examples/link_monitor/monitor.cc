// SPDX-License-Identifier: MIT

#include "monitor.h"

#include <velutils++/conversions.h>
#include <velutils++/std_interop.h>

#include <event.h>
#include <stdio.h>
#include <unistd.h>

#include "copies.h"

namespace {

const long LONGEST_COMMAND = 1000;

// Anyone can send commands, so what is printed of them must not control a terminal.
String printable(const String& text) {
    String shown;
    for (const char ch : text) shown += ch < ' ' || ch > '~' ? '?' : ch;
    return shown;
}

void complain(const char* what, const String& about) {
    fprintf(stderr, "link-monitor: %s: %s\n", what, printable(about).buffer());
}

}  // namespace

Monitor::Monitor(const Settings& settings, const char* program)
    : LineReceiver(LONGEST_COMMAND),
      settings_(settings),
      program_(program),
      authority_(settings.key),
      checkTimer_(*this),
      events_(0),
      accepted_(0),
      refused_(0) {}

bool Monitor::start() {
    if (!publication_.setup(STATUS_BASE_TMP, "/" + settings_.name) || !counters_.open()) {
        complain("no status directory", settings_.name);
        return false;
    }
    if (isRunningAlready()) return false;
    if (publication_.setupIpcRxFifo("/command", this) == 0) {
        complain("no command FIFO", settings_.name);
        return false;
    }
    publication_.set("/pid", static_cast<unsigned long>(getpid()));
    publication_.set("/state", "running");
    publication_.set("/event-count", events_);
    publication_.set("/accepted", accepted_);
    publication_.set("/refused", refused_);
    countStart();
    return openLinks();
}

// Whether another copy uses this status directory: starting would take its FIFO away.
bool Monitor::isRunningAlready() {
    const int others = countOtherCopies(program_);
    if (others > 0) printf("link-monitor: other copies running: %d\n", others);
    String pid;
    publication_.getStatus("/pid", pid);
    if (!isOtherCopy(program_, valueOf32(pid.buffer()))) return false;
    complain("already running as process", pid);
    return true;
}

// Counts the start in the configuration daemon, which remembers the number.
void Monitor::countStart() {
    const String key("link-monitor.starts");
    long starts = 0;
    daemon_.getValueAsInt(key, starts);
    if (daemon_.setValueAsInt(key, ++starts))
        publication_.set("/starts", static_cast<unsigned long>(starts));
    else
        complain("the configuration daemon does not take", key);
}

bool Monitor::openLinks() {
    for (const LinkSettings& settings : settings_.links) {
        links_.emplace_back(new Link(settings, *this));
        if (links_.back()->open("/" + settings_.name)) continue;
        complain("no status directory for", settings.interface);
        return false;
    }
    if (!links_.empty()) checkLinks();
    return true;
}

void Monitor::run() {
    event_dispatch();
    publication_.set("/state", "stopped");
}

void Monitor::stop() {
    event_loopbreak();
}

void Monitor::checkLinks() {
    for (const std::unique_ptr<Link>& link : links_) link->check();
    checkTimer_.start(settings_.interval);
}

void Monitor::handleLinkChange(const LinkSettings& link, bool up) {
    printf("link-monitor: %s is %s\n", link.interface.buffer(), up ? "up" : "not up");
    fflush(stdout);
    handleEvent(link.kind + (up ? "-up" : "-down"));
}

void Monitor::handleLine(const String& line) {
    String command(line);
    command.trim();
    if (command.length() == 0) return;
    if (command == "stop") return stop();
    if (command == "status") return print();
    if (command.startsWith("event ")) return handleEvent(command.substring(6));
    if (command.startsWith("set ")) return handleSet(command.substring(4));
    complain("unknown command", command);
}

void Monitor::handleBadLine(long length) {
    fprintf(stderr, "link-monitor: dropped a line of %ld bytes\n", length);
}

void Monitor::handleEvent(const String& text) {
    String name(text);
    name.trim();
    const EventCatalogueEntry* const event = findEventByName(name.buffer());
    if (event != nullptr)
        publishEvent(*event);
    else
        complain("unknown event", name);
}

void Monitor::publishEvent(const EventCatalogueEntry& event) {
    String id;
    publication_.set("/event-id", id.format("0x%08lx", static_cast<unsigned long>(event.id)));
    publication_.set("/event-name", event.name);
    publication_.set("/event-description", event.description);
    publication_.set("/event-count", ++events_);
    if (!publication_.setLink("/last-event", "event-name")) complain("no link", "last-event");
    if (counters_.increment("/events") == 0) complain("not counted for all", event.name);
}

// The arguments are NAME VALUE CODE. The code proves that the sender of "NAME VALUE" has the key.
void Monitor::handleSet(const String& arguments) {
    const long beforeValue = arguments.indexOf(' ');
    const long beforeCode = arguments.lastIndexOf(' ');
    const String name(arguments.substring(0, beforeValue));
    const String text(arguments.substring(0, beforeCode));
    const bool authentic = beforeValue > 0 && beforeCode > beforeValue && isName(name) &&
                           authority_.accepts(text, arguments.substring(beforeCode + 1));
    if (!authentic) {
        publication_.set("/refused", ++refused_);
        return complain("refused to set", name);
    }
    const String value(text.substring(beforeValue + 1));
    publication_.set("/accepted", ++accepted_);
    publication_.set("/setting-" + name, value);
    if (!daemon_.setValue("link-monitor." + name, value))
        complain("the configuration daemon does not take", name);
}

void Monitor::print() const {
    publication_.print();
    for (const std::unique_ptr<Link>& link : links_) link->print();
}
