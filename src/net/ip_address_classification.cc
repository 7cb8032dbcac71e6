// SPDX-License-Identifier: MIT
//
// The kinds of addresses: the class and the role of an IpAddress, and what it contains.
//
// A class is a pattern of leading bits. The three roles in a subnet exclude each other, so one
// function decides among them for all predicates.
//
// Tested by ip_address_test.cc.

#include <velutils++/ip_address.h>

const uint32_t IpAddress::ipv4Loopback = 0x7F000001;
const uint32_t IpAddress::ipv4McGrpUnspecified = 0xE0000000;
const uint32_t IpAddress::ipv4McGrpAllHosts = 0xE0000001;
const uint32_t IpAddress::ipv4McGrpAllRouters = 0xE0000002;

namespace {

const uint32_t FIRST_OCTET = 0xFF000000;

enum SubnetRole { NO_SUBNET, NETWORK, INTERFACE, BROADCAST };

SubnetRole subnetRole(const IpAddress& value) {
    unsigned long size;
    const unsigned long address = value.getV4IpAddrAsBinaryUInt32();
    if (!value.isV4ClassABC() || (address & FIRST_OCTET) == 0) return NO_SUBNET;
    if (!value.isMaskValid(size) || size < 2 || size > 30) return NO_SUBNET;

    const unsigned long mask = value.getV4NetMaskAsBinaryUInt32();
    const unsigned long network = address & mask;
    if (network == 0 || network == mask) return NO_SUBNET;
    if (address == network) return NETWORK;
    return (address | mask) == 0xFFFFFFFF ? BROADCAST : INTERFACE;
}

}  // namespace

bool IpAddress::addressMatches(uint32_t bits, uint32_t value) const {
    return isV4() && (address[0] & bits) == value;
}

bool IpAddress::isV4ClassA() const {
    return addressMatches(0x80000000, 0);
}

bool IpAddress::isV4ClassB() const {
    return addressMatches(0xC0000000, 0x80000000);
}

bool IpAddress::isV4ClassC() const {
    return addressMatches(0xE0000000, 0xC0000000);
}

bool IpAddress::isV4ClassD() const {
    return addressMatches(0xF0000000, 0xE0000000);
}

bool IpAddress::isV4ClassE() const {
    return addressMatches(0xF0000000, 0xF0000000);
}

bool IpAddress::isV4ClassABC() const {
    return isV4() && !addressMatches(0xE0000000, 0xE0000000);
}

bool IpAddress::isLoopback() const {
    return addressMatches(FIRST_OCTET, 0x7F000000);
}

bool IpAddress::isLocalGroup() const {
    return addressMatches(0xFFFFFF00, ipv4McGrpUnspecified);
}

bool IpAddress::isHostType() const {
    return isV4ClassABC() && (address[0] & FIRST_OCTET) != 0 && mask[0] == 0xFFFFFFFF;
}

bool IpAddress::isDefGwType() const {
    return isV4() && address[0] == 0 && mask[0] == 0;
}

bool IpAddress::isNetType() const {
    return subnetRole(*this) == NETWORK || isDefGwType();
}

bool IpAddress::isIfaceType() const {
    return subnetRole(*this) == INTERFACE;
}

bool IpAddress::isLimBcType() const {
    return addressMatches(0xFFFFFFFF, 0xFFFFFFFF);
}

bool IpAddress::isDirBcType() const {
    return subnetRole(*this) == BROADCAST;
}

bool IpAddress::isValidAddress() const {
    return isHostType() || isDefGwType() || isLimBcType() || subnetRole(*this) != NO_SUBNET;
}

bool IpAddress::contains(const IpAddress& other) const {
    return isV4() && ((other.address[0] ^ address[0]) & mask[0]) == 0;
}
