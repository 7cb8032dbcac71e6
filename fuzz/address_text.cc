// SPDX-License-Identifier: MIT
//
// Compares the reading of address and mask texts with inet_pton and strtoul. Each value that was
// read is printed and read again.

#include <velutils++/ip_address.h>

#include <arpa/inet.h>

#include "fuzz/input.h"
#include "tests/support/strings.h"

namespace {

// Returns false if the text is not a dotted address. inet_pton is as strict, but stops at a NUL.
bool readDotted(const std::string& text, unsigned long* word) {
    struct in_addr address;
    if (text.find('\0') != std::string::npos || inet_pton(AF_INET, text.c_str(), &address) != 1)
        return false;
    *word = ntohl(address.s_addr);
    return true;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    const std::string text = input.text(input.below(64)), maskText = input.rest();
    unsigned long word = 0, mask = 0;
    const size_t slash = text.find('/');
    const bool prefixed = slash != std::string::npos;
    bool valid = readDotted(text.substr(0, slash), &word);
    if (prefixed) {
        const std::string digits = text.substr(slash + 1);
        const unsigned long ones = strtoul(digits.c_str(), nullptr, 10);
        valid = valid && ones <= 32 && digits == std::to_string(ones);
        if (valid && ones > 0) mask = 0xFFFFFFFFul << (32 - ones) & 0xFFFFFFFF;
    }

    IpAddress ip(0x01020304, 0xFFFFFF00);
    const IpAddress old = ip;
    REQUIRE(ip.setIpAddrAsString(make(text)) == (valid ? 0 : -1));
    if (!valid) REQUIRE(ip == old && IpAddress(make(text)).isEmpty());
    if (valid) REQUIRE(ip == IpAddress(word, prefixed ? mask : 0xFFFFFF00));

    unsigned long second = 0;
    const bool dotted = readDotted(maskText, &second);
    const bool contiguous = dotted && ((~second & 0xFFFFFFFF) & ((~second & 0xFFFFFFFF) + 1)) == 0;
    const IpAddress before = ip;
    REQUIRE(ip.setNetMaskAsString(make(maskText)) == (contiguous ? 0 : -1));
    if (!contiguous) REQUIRE(ip == before);
    if (contiguous) REQUIRE(ip.getV4NetMaskAsBinaryUInt32() == second);

    String addressOut, maskOut;
    REQUIRE(IpAddress(ip.getIpAddrAsString(addressOut), ip.getNetMaskAsString(maskOut)) == ip);
    return 0;
}
