// SPDX-License-Identifier: MIT
//
// A program of somebody else's: something of every header, against the installed library.

#include <velutils++/configuration.h>
#include <velutils++/conversions.h>
#include <velutils++/digests.h>
#include <velutils++/echo_client.h>
#include <velutils++/echo_probe.h>
#include <velutils++/hash_tables.h>
#include <velutils++/interface_control.h>
#include <velutils++/ip_address.h>
#include <velutils++/line_receiver.h>
#include <velutils++/locks.h>
#include <velutils++/process_table.h>
#include <velutils++/scoped_lock.h>
#include <velutils++/status.h>
#include <velutils++/status_publisher.h>
#include <velutils++/std_interop.h>
#include <velutils++/text.h>

#include <stdio.h>
#include <string.h>
#include <unistd.h>

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

    INStringHashTable table(4);
    void* found = nullptr;
    expect(table.addEntry("key", &text) && table.getValueFromKey("key", &found) && found == &text,
           "hash table");

    expect(IpAddress(String("10.1.2.3/8")).getNetMaskSize() == 8, "IpAddress");
    expect(IpAddress::ipv4Loopback == 0x7F000001, "IpAddress::ipv4Loopback");
    Loud loud;
    expect(loud.isInterfaceUp("lo") && loud.haveNetworkConnectivity(), "IpInterfaceStatus");
    PingClient ping;
    expect(ping.checkPingResponse() == 3, "PingClient");

    EchoProbe probe;
    expect(probe.poll() == EchoProbe::FAILED, "EchoProbe");

    StatusInterface status;
    expect(status.setup(STATUS_BASE_TMP, "/consumer") && status.setStatus("/a.conf", "on = On\n"),
           "StatusInterface");
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
    ConfigReader reader;
    expect(
        reader.initialize("/tmp/status/consumer/a.conf", 4) && reader.getValueAsInt("on", 7) == 1,
        "ConfigReader");
    long number = 7;
    expect(ConfigDaemonClient().getValueAsInt("key", number) == 7, "ConfigDaemonClient");

    Md5HashContext md5;
    Sha1HashContext sha1;
    HmacContext hmac(&sha1);
    expect(md5.test() == 0 && sha1.test() == 0 && hmac.getCompleteHashLength() == 20, "digests");

    ProcessControl processes;
    processes.refresh(false);
    expect(processes.getProcessEntryByPid(getpid()) != nullptr, "ProcessControl");

    CRecursiveSemaphore lock("consumer");
    expect(lock.lock() == 0 && lock.trylock() == 0 && lock.unlock() == 0 && lock.unlock() == 0,
           "CRecursiveSemaphore");
    expect(ScopedLock<CRecursiveSemaphore>(lock, TRY_LOCK).held(), "ScopedLock");

    if (failures == 0) puts("consumer: all as promised");
    return failures == 0 ? 0 : 1;
}
