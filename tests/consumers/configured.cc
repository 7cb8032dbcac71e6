// SPDX-License-Identifier: MIT
//
// A daemon of somebody else's with values in the configuration daemon. Ends with 3 when it has no
// connection.

#include <velutils++/configuration.h>

int main() {
    const ConfigDaemonClient client;
    long value = 0;
    if (!client.setValueAsInt("key", 7)) return 3;
    return client.getValueAsInt("key", value) == 7 ? 0 : 1;
}
