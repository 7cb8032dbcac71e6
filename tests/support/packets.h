// SPDX-License-Identifier: MIT
//
// ICMP messages and IPv4 packets as they are on the wire.

#ifndef VELUTILS_TESTS_PACKETS_H
#define VELUTILS_TESTS_PACKETS_H

#include "tests/support/network.h"

// `rest` follows the checksum.
inline Bytes icmp(int type, int code, const Bytes& rest) {
    const Bytes start = {static_cast<char>(type), static_cast<char>(code)};
    return start + internetChecksum(start + rest) + rest;
}

inline Bytes ipv4(const char* from, const char* to, const Bytes& message) {
    Bytes header = Bytes{0x45, 0} + number(static_cast<unsigned>(20 + message.size())) +
                   Bytes{0, 0, 0, 0, static_cast<char>(128), 1, 0, 0} + address(from) + address(to);
    return header.replace(10, 2, internetChecksum(header)) + message;
}

#endif
