// SPDX-License-Identifier: MIT
//
// fuzz/address_text.cc compares the grammar of the texts with inet_pton, and fuzz/address_kinds.cc
// the kinds of addresses, masks and printed texts with ranges and inet_ntop. std_interop_test.cc
// prints addresses with their prefix.

#include <velutils++/ip_address.h>

#include <gtest/gtest.h>

#include <string>

#include "tests/support/strings.h"

namespace {

const unsigned long ALL_ONES = 0xFFFFFFFF;
const unsigned long HIGH = ~ALL_ONES;  // 0 where unsigned long has 32 bits

TEST(IpAddressValue, Empty) {
    IpAddress ip;
    unsigned long size = 77;
    EXPECT_TRUE(ip.isEmpty());
    EXPECT_TRUE(ip == IpAddress::EMPTY());
    EXPECT_EQ(0u, ip.getV4IpAddrAsBinaryUInt32());
    EXPECT_EQ(ALL_ONES, ip.getV4NetMaskAsBinaryUInt32());
    EXPECT_EQ(0u, ip.getNetMaskSize());
    EXPECT_FALSE(ip.isMaskValid(size));
    EXPECT_EQ(77u, size);
    String a("old"), m("old"), n("old");
    EXPECT_EQ("", bytesOf(ip.getIpAddrAsString(a)));
    EXPECT_EQ("", bytesOf(ip.getNetMaskAsString(m)));
    EXPECT_EQ("", bytesOf(ip.getNetAddressAsString(n)));
    EXPECT_EQ(-1, ip.setNetMaskSize(24));
    EXPECT_TRUE(ip.isEmpty());
    EXPECT_EQ(0, ip.setV4IpAddrAsBinaryUInt32(0));
    EXPECT_FALSE(ip.isEmpty());
    EXPECT_TRUE(ip != IpAddress::EMPTY());  // 0.0.0.0/32 differs only in the family
    ip.init();
    EXPECT_TRUE(ip.isEmpty());
    EXPECT_EQ(0, ip.setNetMaskAsString(String("255.0.0.0")));
    EXPECT_TRUE(ip == IpAddress(0, 0xFF000000));
}

TEST(IpAddressValue, IsConstructedFromTextOrWords) {
    const IpAddress ip(HIGH | 0xC0A8014D, HIGH | 0xFFFFFF00);
    EXPECT_TRUE(ip == IpAddress(String("192.168.1.77/24")));
    EXPECT_TRUE(ip == IpAddress(String("192.168.1.77/8"), String("255.255.255.0")));
    EXPECT_TRUE(ip != IpAddress(String("192.168.1.77")));
    EXPECT_TRUE(ip != IpAddress(0xC0A8014E, 0xFFFFFF00));
    EXPECT_TRUE(IpAddress(0xC0A80101, 0xFF00FF00).isEmpty());
    EXPECT_TRUE(IpAddress(String("10.1.2.3"), String("255.255.0.1")).isEmpty());
    EXPECT_TRUE(IpAddress(String("10.1.2"), String("255.255.0.0")).isEmpty());
}

TEST(IpAddressValue, IsReadAsWordsAndCopied) {
    const IpAddress ip(0xC0A8014D, 0xFFFFFF00);
    unsigned long a = 1, n = 1, m = 1;
    EXPECT_EQ(&a, &ip.getV4IpAddrAsBinaryUInt32(a));
    EXPECT_EQ(&n, &ip.getV4NetAddrAsBinaryUInt32(n));
    EXPECT_EQ(&m, &ip.getV4NetMaskAsBinaryUInt32(m));
    EXPECT_EQ(0xC0A8014D, a);
    EXPECT_EQ(0xC0A80100, n);
    EXPECT_EQ(0xFFFFFF00, m);
    EXPECT_EQ(n, ip.getV4NetAddrAsBinaryUInt32());

    IpAddress copy(ip), assigned;
    EXPECT_EQ(&assigned, &(assigned = copy));
    EXPECT_EQ(0, copy.setV4IpAddrAsBinaryUInt32(HIGH | 5));
    EXPECT_TRUE(copy == IpAddress(5, 0xFFFFFF00));
    EXPECT_TRUE(assigned == ip);
}

TEST(IpAddressValue, OperationsForIpv6DoNothing) {
    IpAddress ip(1, 0xFF000000);
    unsigned char* const bytes = nullptr;
    EXPECT_EQ(bytes, ip.getV6IpAddrAsBinaryString(bytes));
    EXPECT_EQ(bytes, ip.getV6NetAddrAsBinaryString(bytes));
    EXPECT_EQ(bytes, ip.getV6NetMaskAsBinaryString(bytes));
    EXPECT_EQ(-1, ip.setV6IpAddrAsBinaryString(bytes));
    EXPECT_EQ(-1, ip.setV6NetMaskAsBinaryString(bytes));
    EXPECT_FALSE(IpAddress::s_isV6MaskValid("ffff::", 16));
    EXPECT_TRUE(ip == IpAddress(1, 0xFF000000));
}

TEST(IpAddressText, NumbersAtAPosition) {
    const auto octet = IpAddress::s_getV4IpAddrTokenOfString;
    const auto prefix = IpAddress::s_getV4NetMaskSizeOfString;
    const struct {
        bool (*reader)(String const&, long&, unsigned long&);
        const char* text;
        long pos;
        bool found;
        long after;
        unsigned long value;
    } rows[] = {
        {octet, "01", 0, true, 1, 0},  // nothing follows a leading 0
        {octet, "2551", 0, true, 3, 255}, {octet, "9999", 0, false, 3, 999},
        {octet, "a12", 1, true, 3, 12},   {octet, "a12", 0, false, 0, 0},
        {octet, "12", 3, false, 3, 0},    {octet, "12", -1, false, -1, 0},
        {prefix, "08", 0, true, 1, 0},    {prefix, "320", 0, true, 2, 32},
        {prefix, "33", 0, false, 2, 33},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text + std::to_string(row.pos));
        long pos = row.pos;
        unsigned long value = 12345;
        EXPECT_EQ(row.found, row.reader(String(row.text), pos, value));
        EXPECT_EQ(row.after, pos);
        EXPECT_EQ(row.value, value);
    }
    // The length of a text is stored in front of it. The low byte of this one is a digit.
    unsigned long value;
    long before = -static_cast<long>(sizeof(long));
    EXPECT_FALSE(octet(make(std::string('1', 'x')), before, value));
}

TEST(IpAddressText, CharactersAtAPosition) {
    long pos = 1;
    EXPECT_FALSE(IpAddress::s_getCharOfString("1.2", pos, '/'));
    EXPECT_EQ(1, pos);
    EXPECT_TRUE(IpAddress::s_getCharOfString("1.2", pos, '.'));
    EXPECT_EQ(2, pos);
    EXPECT_FALSE(IpAddress::s_getEndOfString("1.2", 2));
    EXPECT_TRUE(IpAddress::s_getEndOfString("1.2", 3));
}

TEST(IpAddressClassification, ConstantsAndTheEmptyAddress) {
    typedef IpAddress I;
    const IpAddress none;
    for (const auto predicate :
         {&I::isV4ClassA, &I::isV4ClassB, &I::isV4ClassC, &I::isV4ClassD, &I::isV4ClassE,
          &I::isV4ClassABC, &I::isLoopback, &I::isLocalGroup, &I::isHostType, &I::isDefGwType,
          &I::isNetType, &I::isIfaceType, &I::isLimBcType, &I::isDirBcType, &I::isValidAddress})
        EXPECT_FALSE((none.*predicate)());
    EXPECT_FALSE(none.contains(none));
    EXPECT_TRUE(IpAddress(0, 0).contains(none));
    EXPECT_EQ(0x7F000001u, I::ipv4Loopback);
    EXPECT_EQ(0xE0000000u, I::ipv4McGrpUnspecified);
    EXPECT_EQ(0xE0000001u, I::ipv4McGrpAllHosts);
    EXPECT_EQ(0xE0000002u, I::ipv4McGrpAllRouters);
}

}  // namespace
