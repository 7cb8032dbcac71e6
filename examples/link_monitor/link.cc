// SPDX-License-Identifier: MIT

#include "link.h"

namespace {

const char* kindOf(const IpAddress& address) {
    if (address.isLoopback()) return "loopback";
    if (address.isIfaceType()) return "interface";
    if (address.isHostType()) return "host";
    if (address.isNetType()) return "network";
    return address.isValidAddress() ? "broadcast" : "invalid";
}

}  // namespace

Link::Link(const LinkSettings& settings, LinkObserver& observer)
    : settings_(settings),
      observer_(observer),
      answers_(*this),
      patience_(*this),
      state_(UNKNOWN),
      waiting_(false),
      losses_(0) {}

bool Link::open(const String& parent) {
    if (!publication_.setup(STATUS_BASE_TMP, parent + "/" + settings_.interface)) return false;
    publication_.set("/losses", losses_);
    return true;
}

void Link::check() {
    if (waiting_) lose();
    const State state = lookAtInterface();
    publication_.set("/address", state == UP ? addressWithPrefix(address_) : String());
    if (state == UP) publication_.set("/address-kind", kindOf(address_));
    if (state == UP && !settings_.target.isEmpty())
        sendRequest();
    else
        settle(state);
}

Link::State Link::lookAtInterface() {
    const char* const name = settings_.interface.buffer();
    if (!interfaces_.isInterfaceAvailable(name)) return MISSING;
    if (!interfaces_.isInterfaceUp(name)) return DOWN;
    address_ = IpAddress(interfaces_.getIpV4Address(name), interfaces_.getIpV4Mask(name));
    return address_.getV4IpAddrAsBinaryUInt32() == 0 ? UNADDRESSED : UP;
}

void Link::sendRequest() {
    waiting_ = probe_.send(settings_.target, address_);
    if (!waiting_) return lose();
    answers_.start(probe_.descriptor());
    patience_.start(settings_.answerTime);
}

void Link::readAnswer() {
    const EchoProbe::Answer answer = probe_.poll();
    if (!waiting_ || answer == EchoProbe::NOTHING_YET) return;
    if (answer != EchoProbe::REPLY) return lose();
    waiting_ = false;
    publication_.set("/round-trip", String::stringOf(probe_.roundTripMicroseconds()) + " us");
    settle(UP);
}

void Link::giveUp() {
    if (waiting_) lose();
}

void Link::lose() {
    waiting_ = false;
    publication_.set("/round-trip", "lost");
    publication_.set("/losses", ++losses_);
    settle(UNREACHABLE);
}

void Link::settle(State state) {
    static const char* const names[] = {"unknown",    "missing",     "down",
                                        "no address", "unreachable", "up"};
    const bool changed = state_ == UNKNOWN || (state == UP) != (state_ == UP);
    state_ = state;
    publication_.set("/state", names[state]);
    if (changed) observer_.handleLinkChange(settings_, state == UP);
}
