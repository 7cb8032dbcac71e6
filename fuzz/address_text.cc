// SPDX-License-Identifier: MIT
//
// Address and mask texts against a regular expression and inet_pton; what was read is printed and
// read again.

#include <velutils++/ip_address.h>

#include <arpa/inet.h>

#include <regex>

#include "fuzz/input.h"

namespace {

String make(const std::string& text) {
    return String().concat(text.data(), static_cast<long>(text.size()));
}

// False for what is no dotted address. inet_pton is as strict, but stops at a NUL.
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
    static const std::regex PREFIX("/([0-9]|[12][0-9]|3[012])$");
    std::smatch prefix;
    const bool prefixed = std::regex_search(text, prefix, PREFIX);
    unsigned long word = 0, mask = 0xFFFFFFFF;
    const bool valid = readDotted(prefixed ? std::string(prefix.prefix()) : text, &word);
    if (prefixed) mask = 0xFFFFFFFFul << (32 - std::stoi(prefix[1])) & 0xFFFFFFFF;
    if (prefixed && prefix[1] == "0") mask = 0;

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
