// SPDX-License-Identifier: MIT
//
// A program of somebody else's: something of every header, against the installed library.

#include <velutils++/configuration.h>
#include <velutils++/conversions.h>
#include <velutils++/echo_probe.h>
#include <velutils++/interface_control.h>
#include <velutils++/ip_address.h>
#include <velutils++/line_receiver.h>
#include <velutils++/locks.h>
#include <velutils++/scoped_lock.h>
#include <velutils++/status.h>
#include <velutils++/status_publisher.h>
#include <velutils++/std_interop.h>
#include <velutils++/text.h>

#include <stdio.h>
#include <string.h>

#include <sstream>

namespace {

int failures = 0;

void expect(bool holds, const char* what) {
    if (holds) return;
    fprintf(stderr, "consumer: not so: %s\n", what);
    ++failures;
}

// A derived class: the virtual table and the type information are the library's.
class Loud : public IpInterfaceStatus {
  public:
    bool haveNetworkConnectivity() override {
        return !IpInterfaceStatus::haveNetworkConnectivity();
    }
};

class LastLine : public LineReceiver {
  public:
    void handleLine(const String& line) override { last = line; }
    String last;
};

}  // namespace

int main() {
    String text;
    expect(text.format("%s-%02d", "eth", 7) == "eth-07", "format");
    expect(valueOf32("FFh") == 255, "valueOf32");
    expect(strcmp(binToHexLut[171], "ab") == 0, "binToHexLut");

    expect(IpAddress::ipv4Loopback == 0x7F000001, "IpAddress::ipv4Loopback");
    Loud loud;
    expect(loud.haveNetworkConnectivity(), "a derived class");

    EchoProbe probe;
    expect(probe.poll() == EchoProbe::FAILED, "EchoProbe");

    StatusInterface status;
    expect(status.setup(STATUS_BASE_TMP, "/consumer"), "StatusInterface");
    StatusPublisher publisher;
    String published;
    expect(publisher.setup(STATUS_BASE_TMP, "/consumer") && publisher.publish("/b", "whole") &&
               status.getStatus("/b", published) && published == "whole",
           "StatusPublisher");
    LastLine lines;
    char bytes[] = "first\nlast\nunfinished";
    lines.handleFifoData(nullptr, bytes, strlen(bytes));
    expect(lines.last == "last", "LineReceiver");
    std::ostringstream stream;
    stream << lines.last << ' ' << IpAddress(0x0A010203, 0xFF000000);
    expect(stream.str() == "last 10.1.2.3/8", "std_interop");
    long number = 7;
    expect(ConfigDaemonClient().getValueAsInt("key", number) == 7, "ConfigDaemonClient");
    CRecursiveSemaphore lock("consumer");
    expect(ScopedLock<CRecursiveSemaphore>(lock, TRY_LOCK).held(), "ScopedLock");

    if (failures == 0) puts("consumer: all as promised");
    return failures == 0 ? 0 : 1;
}
