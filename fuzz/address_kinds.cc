// SPDX-License-Identifier: MIT
//
// Checks the kinds of any address with every prefix length, masks with a wrong bit, and printed
// texts. The model uses ranges, division and inet_ntop, while the library tests bits.

#include <velutils++/ip_address.h>

#include <arpa/inet.h>

#include "fuzz/input.h"

namespace {

const uint32_t ALL_ONES = 0xFFFFFFFF;

uint32_t maskOf(uint32_t prefix) {
    return prefix == 0 ? 0 : ALL_ONES << (32 - prefix);
}

// Returns a word for each predicate that is true.
std::string kinds(const IpAddress& ip) {
    static const struct {
        const char* name;
        bool (IpAddress::*predicate)() const;
    } predicates[] = {
        {"A ", &IpAddress::isV4ClassA},        {"B ", &IpAddress::isV4ClassB},
        {"C ", &IpAddress::isV4ClassC},        {"D ", &IpAddress::isV4ClassD},
        {"E ", &IpAddress::isV4ClassE},        {"ABC ", &IpAddress::isV4ClassABC},
        {"loopback ", &IpAddress::isLoopback}, {"group ", &IpAddress::isLocalGroup},
        {"host ", &IpAddress::isHostType},     {"default ", &IpAddress::isDefGwType},
        {"net ", &IpAddress::isNetType},       {"interface ", &IpAddress::isIfaceType},
        {"limited ", &IpAddress::isLimBcType}, {"directed ", &IpAddress::isDirBcType},
        {"valid ", &IpAddress::isValidAddress}};
    std::string names;
    for (const auto& row : predicates)
        if ((ip.*row.predicate)()) names += row.name;
    return names;
}

std::string expectedKinds(uint64_t address, uint32_t prefix) {
    const uint64_t end = uint64_t(1) << 32, size = end >> prefix, octet = address >> 24;
    const uint64_t first = address / size * size;
    const bool unicast = octet >= 1 && octet <= 223;
    std::string role;
    if (unicast && prefix == 32) role = "host ";
    if (address == 0 && prefix == 0) role = "default net ";
    if (address == end - 1) role = "limited ";
    // If all network bits are set, it is the last network of its size.
    if (unicast && prefix >= 2 && prefix <= 30 && first != 0 && first + size != end) {
        const uint64_t host = address - first;
        role = host == 0 ? "net " : host == size - 1 ? "directed " : "interface ";
    }
    std::string names = octet < 128   ? "A ABC "
                        : octet < 192 ? "B ABC "
                        : octet < 224 ? "C ABC "
                        : octet < 240 ? "D "
                                      : "E ";
    if (octet == 127) names += "loopback ";
    if (address >> 8 == 0xE00000) names += "group ";
    return names + role + (role.empty() ? "" : "valid ");
}

std::string printed(uint32_t word) {
    char text[INET_ADDRSTRLEN];
    const uint32_t onWire = htonl(word);
    return inet_ntop(AF_INET, &onWire, text, sizeof text);
}

// If `bit` is 32, no bit is wrong.
void judgeMask(uint32_t prefix, size_t bit) {
    const uint32_t mask = maskOf(prefix) ^ static_cast<uint32_t>(uint64_t(1) << bit);
    uint32_t leading = 0;
    while (leading < 32 && (mask & 0x80000000u >> leading) != 0) ++leading;
    const bool contiguous = mask == maskOf(leading);
    unsigned long size = 99;
    const unsigned long high = ~static_cast<unsigned long>(ALL_ONES);
    REQUIRE(IpAddress::s_isV4MaskValid(high | mask, size) == contiguous);
    REQUIRE(size == leading);
    IpAddress ip;
    REQUIRE(ip.setV4NetMaskAsBinaryUInt32(high | mask) == (contiguous ? 0 : -1));
    REQUIRE(ip == (contiguous ? IpAddress(0, mask) : IpAddress()));
}

void checkPrefix(IpAddress ip, uint32_t prefix) {
    unsigned long size = 99, valid = 99;
    REQUIRE(ip.setNetMaskSize(33) == -1 && ip.setNetMaskSize(~0ul) == -1);
    REQUIRE(ip.setNetMaskSize(prefix) == 0);
    REQUIRE(&ip.getNetMaskSize(size) == &size && size == prefix);
    REQUIRE(ip.isMaskValid(valid) && valid == prefix);
    REQUIRE(ip.getNetMaskSize() == prefix);
    const uint32_t address = static_cast<uint32_t>(ip.getV4IpAddrAsBinaryUInt32());
    String out;
    REQUIRE(ip.getIpAddrAsString(out) == printed(address).c_str());
    REQUIRE(ip.getNetMaskAsString(out) == printed(maskOf(prefix)).c_str());
    REQUIRE(ip.getNetAddressAsString(out) == printed(address & maskOf(prefix)).c_str());
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, std::min(size, size_t{20}));
    while (!input.isEmpty()) {
        const uint32_t a = input.number<uint32_t>();
        const uint32_t other = a ^ (1u << input.below(32));
        judgeMask(a % 33, a / 33 % 33);
        checkPrefix(IpAddress(a, 0), a % 33);
        for (uint32_t prefix = 0; prefix <= 32; ++prefix) {
            const uint32_t mask = maskOf(prefix);
            const IpAddress net(a & mask, mask);
            for (const uint32_t part : {0u, 1u, ALL_ONES - 1, ALL_ONES, a}) {
                const uint32_t address = (a & mask) | (part & ~mask);
                REQUIRE(kinds(IpAddress(address, mask)) == expectedKinds(address, prefix));
                REQUIRE(net.contains(IpAddress(address, 0)));
            }
            const bool same = ((a ^ other) & mask) == 0;
            REQUIRE(net.contains(IpAddress(other, 0)) == same);
        }
    }
    return 0;
}
