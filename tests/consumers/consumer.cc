// SPDX-License-Identifier: MIT
//
// A program of somebody else's, against the installed library: every header in one file, and one
// use of each kind of thing that the library exports.

#include <velutils++/configuration.h>
#include <velutils++/conversions.h>
#include <velutils++/interface_control.h>
#include <velutils++/text.h>

#include <stdio.h>
#include <string.h>

namespace {

int failures = 0;

void expect(bool holds, const char* what) {
    if (holds) return;
    fprintf(stderr, "consumer: not so: %s\n", what);
    ++failures;
}

// The base's virtual table and type information are the library's.
class Loud : public IpInterfaceStatus {
  public:
    bool haveNetworkConnectivity() override {
        return !IpInterfaceStatus::haveNetworkConnectivity();
    }
};

}  // namespace

int main() {
    String text;
    expect(text.format("%s-%02d", "eth", 7) == "eth-07", "a class");
    expect(valueOf32("FFh") == 255, "a plain function");
    expect(strcmp(binToHexLut[171], "ab") == 0, "a table");
    expect(Loud().haveNetworkConnectivity(), "a derived class");
    long number = 7;
    expect(ConfigDaemonClient().getValueAsInt("key", number) == 7, "no client library");
    return failures == 0 ? 0 : 1;
}
