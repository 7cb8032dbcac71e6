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
      publication_(directory_),
      state_(UNKNOWN),
      waiting_(false),
      sentAt_(0),
      losses_(0) {}

bool Link::open(const String& parent) {
    if (!directory_.setup(STATUS_BASE_TMP, parent + "/" + settings_.interface)) return false;
    publication_.set("/losses", losses_);
    return true;
}

void Link::check(long long now) {
    if (waiting_) lose();
    const State state = lookAtInterface();
    if (state == UP && settings_.target.length() > 0)
        sendPing(now);
    else
        settle(state);
}

Link::State Link::lookAtInterface() {
    const char* const name = settings_.interface.buffer();
    publication_.set("/address", "");
    if (!interfaces_.isInterfaceAvailable(name)) return MISSING;
    if (!interfaces_.isInterfaceUp(name)) return DOWN;
    address_ = IpAddress(interfaces_.getIpV4Address(name), interfaces_.getIpV4Mask(name));
    if (address_.getV4IpAddrAsBinaryUInt32() == 0) return UNADDRESSED;

    String text;
    address_.getIpAddrAsString(text);
    text.concatf("/%lu", address_.getNetMaskSize());
    publication_.set("/address", text);
    publication_.set("/address-kind", kindOf(address_));
    return UP;
}

void Link::sendPing(long long now) {
    String source;
    waiting_ = ping_.sendSimplePing(settings_.target, address_.getIpAddrAsString(source)) == 0;
    sentAt_ = now;
    if (!waiting_) lose();
}

void Link::poll(long long now) {
    if (!waiting_) return;
    const int response = ping_.checkPingResponse();
    const long long elapsed = now - sentAt_;
    if (response == 0) {
        waiting_ = false;
        String time;
        publication_.set("/round-trip", time.format("%ld us", static_cast<long>(elapsed)));
        settle(UP);
    } else if (response != 2 || elapsed > settings_.answerTime * 1000LL) {
        lose();
    }
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
