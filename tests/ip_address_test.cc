// SPDX-License-Identifier: MIT
//
// fuzz/address_text.cc holds the grammar of the texts against inet_pton, fuzz/address_kinds.cc the
// kinds of addresses against ranges.

#include <velutils++/ip_address.h>

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/allocations.h"

namespace {

const unsigned long ALL_ONES = 0xFFFFFFFF;
const unsigned long HIGH = ~ALL_ONES;  // 0 where unsigned long has 32 bits

std::string str(const String& s) {
    return std::string(s.buffer(), static_cast<size_t>(s.length()));
}

String text(const std::string& s) {
    return String().concat(s.data(), static_cast<long>(s.size()));
}

unsigned long mask(unsigned prefix) {
    return (ALL_ONES << (32 - prefix)) & ALL_ONES;
}

std::string byInet(unsigned long value) {
    char out[INET_ADDRSTRLEN];
    const uint32_t onWire = htonl(static_cast<uint32_t>(value));
    return inet_ntop(AF_INET, &onWire, out, sizeof out);
}

TEST(IpAddressValue, Empty) {
    IpAddress ip;
    unsigned long size = 77;
    EXPECT_TRUE(ip.isEmpty() && ip == IpAddress::EMPTY());
    EXPECT_EQ(0u, ip.getV4IpAddrAsBinaryUInt32());
    EXPECT_EQ(ALL_ONES, ip.getV4NetMaskAsBinaryUInt32());
    EXPECT_EQ(0u, ip.getNetMaskSize());
    EXPECT_TRUE(!ip.isMaskValid(size) && size == 77);
    String a("old"), m("old"), n("old");
    EXPECT_EQ(
        "", str(ip.getIpAddrAsString(a) + ip.getNetMaskAsString(m) + ip.getNetAddressAsString(n)));
    EXPECT_EQ(-1, ip.setNetMaskSize(24));
    EXPECT_TRUE(ip.isEmpty());
    EXPECT_EQ(0, ip.setV4IpAddrAsBinaryUInt32(0));  // 0.0.0.0/32 differs in the family alone
    EXPECT_TRUE(!ip.isEmpty() && ip != IpAddress::EMPTY());
    ip.init();
    EXPECT_TRUE(ip.isEmpty());
    EXPECT_EQ(0, ip.setNetMaskAsString(String("255.0.0.0")));
    EXPECT_TRUE(ip == IpAddress(0, 0xFF000000));
}

TEST(IpAddressValue, ConstructionCopiesAndWords) {
    const IpAddress ip(HIGH | 0xC0A8014D, HIGH | 0xFFFFFF00);
    EXPECT_TRUE(ip == IpAddress(String("192.168.1.77/24")));
    EXPECT_TRUE(ip == IpAddress(String("192.168.1.77/8"), String("255.255.255.0")));
    EXPECT_TRUE(ip != IpAddress(String("192.168.1.77")));
    EXPECT_TRUE(ip != IpAddress(0xC0A8014E, 0xFFFFFF00));
    EXPECT_TRUE(IpAddress(0xC0A80101, 0xFF00FF00).isEmpty());
    EXPECT_TRUE(IpAddress(String("10.0.0.1/33")).isEmpty());
    EXPECT_TRUE(IpAddress(String("10.1.2.3"), String("255.255.0.1")).isEmpty());
    EXPECT_TRUE(IpAddress(String("10.1.2"), String("255.255.0.0")).isEmpty());

    unsigned long a = 1, n = 1, m = 1;
    EXPECT_EQ(&a, &ip.getV4IpAddrAsBinaryUInt32(a));
    EXPECT_EQ(&n, &ip.getV4NetAddrAsBinaryUInt32(n));
    EXPECT_EQ(&m, &ip.getV4NetMaskAsBinaryUInt32(m));
    EXPECT_TRUE(a == 0xC0A8014D && n == 0xC0A80100 && m == 0xFFFFFF00);
    EXPECT_EQ(n, ip.getV4NetAddrAsBinaryUInt32());

    IpAddress copy(ip), assigned;
    EXPECT_TRUE(&(assigned = copy) == &assigned && assigned == ip);
    EXPECT_EQ(0, copy.setV4IpAddrAsBinaryUInt32(HIGH | 5));
    EXPECT_TRUE(copy == IpAddress(5, 0xFFFFFF00) && assigned == ip);

    unsigned char bytes[] = "sixteen and more";
    EXPECT_EQ(bytes, assigned.getV6IpAddrAsBinaryString(bytes));
    EXPECT_EQ(bytes, assigned.getV6NetAddrAsBinaryString(bytes));
    EXPECT_EQ(bytes, assigned.getV6NetMaskAsBinaryString(bytes));
    EXPECT_STREQ("sixteen and more", reinterpret_cast<char*>(bytes));
    EXPECT_TRUE(assigned.setV6IpAddrAsBinaryString(bytes) == -1 &&
                assigned.setV6NetMaskAsBinaryString(bytes) == -1);
    EXPECT_TRUE(!IpAddress::s_isV6MaskValid("ffff::", 16) && assigned == ip);
}

TEST(IpAddressMask, ContiguousOnesOnly) {
    IpAddress sized(0, ALL_ONES);
    for (unsigned prefix = 0; prefix <= 32; ++prefix) {
        // The mask itself, and with every other bit turned over.
        for (int bit = 0; bit <= 32; ++bit) {
            const unsigned long m = mask(prefix) ^ ((1ul << bit) & ALL_ONES), zeros = ~m & ALL_ONES;
            const bool contiguous = (zeros & (zeros + 1)) == 0;
            unsigned long size = 99, leading = 0;
            while (leading < 32 && (m << leading & 0x80000000u) != 0) ++leading;
            EXPECT_EQ(contiguous, IpAddress::s_isV4MaskValid(HIGH | m, size)) << m;
            EXPECT_EQ(leading, size) << m;
            IpAddress ip;
            EXPECT_EQ(contiguous ? 0 : -1, ip.setV4NetMaskAsBinaryUInt32(HIGH | m)) << m;
            EXPECT_TRUE((contiguous ? IpAddress(0, m) : IpAddress()) == ip) << m;
        }
        unsigned long size = 99, valid = 99;
        EXPECT_TRUE(sized.setNetMaskSize(prefix) == 0 && sized == IpAddress(0, mask(prefix)));
        EXPECT_TRUE(&sized.getNetMaskSize(size) == &size && sized.isMaskValid(valid));
        EXPECT_TRUE(size == prefix && valid == prefix && sized.getNetMaskSize() == prefix);
    }
    for (const unsigned long size : {33ul, ~0ul}) EXPECT_EQ(-1, sized.setNetMaskSize(size));
    EXPECT_EQ(32u, sized.getNetMaskSize());
}

TEST(IpAddressText, PrintsLikeInetNtop) {
    String out;
    for (const unsigned long address : {0ul, 0x0A000001ul, 0xC0A86463ul, 0x09630AC8ul, ALL_ONES}) {
        for (unsigned prefix = 0; prefix <= 32; ++prefix) {
            const IpAddress ip(address, mask(prefix));
            EXPECT_EQ(byInet(address), str(ip.getIpAddrAsString(out)));
            EXPECT_EQ(byInet(mask(prefix)), str(ip.getNetMaskAsString(out)));
            EXPECT_EQ(byInet(address & mask(prefix)), str(ip.getNetAddressAsString(out)));
        }
    }
    const String shared("192.168.100.100/24");
    const long requests = allocations::requests();
    const IpAddress ip(shared);
    EXPECT_EQ(requests, allocations::requests());
    out = shared;
    EXPECT_EQ(&out, &ip.getIpAddrAsString(out));
    EXPECT_EQ("192.168.100.100 192.168.100.100/24", str(out + " " + shared));
}

TEST(IpAddressText, WithItsPrefix) {
    const struct {
        IpAddress address;
        const char* text;
    } rows[] = {
        {IpAddress("192.0.2.1/24"), "192.0.2.1/24"},
        {IpAddress("192.0.2.1"), "192.0.2.1/32"},
        {IpAddress("255.255.255.255/0"), "255.255.255.255/0"},
        {IpAddress(0, 0), "0.0.0.0/0"},
        {IpAddress(), ""},
    };
    for (const auto& row : rows) EXPECT_EQ(row.text, str(addressWithPrefix(row.address)));
    const allocations::Refusal refusal(1);
    EXPECT_EQ("", str(addressWithPrefix(rows[0].address)));
}

TEST(IpAddressText, PiecesAtAPosition) {
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
        {octet, "01", 0, true, 1, 0},      {octet, "7.", 0, true, 1, 7},
        {octet, "2551", 0, true, 3, 255},  {octet, "256", 0, false, 3, 256},
        {octet, "9999", 0, false, 3, 999}, {octet, "a12", 1, true, 3, 12},
        {octet, "a12", 0, false, 0, 0},    {octet, "12", 2, false, 2, 0},
        {octet, "12", 3, false, 3, 0},     {octet, "12", -1, false, -1, 0},
        {prefix, "08", 0, true, 1, 0},     {prefix, "320", 0, true, 2, 32},
        {prefix, "33", 0, false, 2, 33},   {prefix, "/24", 1, true, 3, 24},
        {prefix, "/24", 0, false, 0, 0},   {prefix, "", 0, false, 0, 0},
    };
    for (const auto& row : rows) {
        long pos = row.pos;
        unsigned long value = 12345;
        EXPECT_EQ(row.found, row.reader(String(row.text), pos, value)) << row.text;
        EXPECT_TRUE(row.after == pos && row.value == value) << row.text << pos << " " << value;
    }
    const String s("1.2");
    long pos = 1;
    EXPECT_TRUE(!IpAddress::s_getCharOfString(s, pos, '/') && pos == 1);
    EXPECT_TRUE(IpAddress::s_getCharOfString(s, pos, '.') && pos == 2);
    EXPECT_TRUE(!IpAddress::s_getEndOfString(s, pos) && IpAddress::s_getEndOfString(s, pos + 1));
    EXPECT_TRUE(IpAddress::s_getCharOfString(s, pos = 3, '\0') && pos == 4);
    EXPECT_TRUE(!IpAddress::s_getCharOfString(s, pos = -1, '1') && pos == -1);
    // Before the text lies its length, here with the low byte of a digit.
    unsigned long value;
    pos = -static_cast<long>(sizeof(long));
    EXPECT_FALSE(octet(text(std::string('1', 'x')), pos, value));
}

TEST(IpAddressClassification, ConstantsAndTheEmptyAddress) {
    typedef IpAddress I;
    const IpAddress none;
    for (const auto predicate :
         {&I::isV4ClassA, &I::isV4ClassB, &I::isV4ClassC, &I::isV4ClassD, &I::isV4ClassE,
          &I::isV4ClassABC, &I::isLoopback, &I::isLocalGroup, &I::isHostType, &I::isDefGwType,
          &I::isNetType, &I::isIfaceType, &I::isLimBcType, &I::isDirBcType, &I::isValidAddress})
        EXPECT_FALSE((none.*predicate)());
    EXPECT_TRUE(IpAddress(0xC0A8014D, 0xFFFFFF00).isIfaceType());
    EXPECT_TRUE(IpAddress(0xC0A80100, 0xFFFFFF00).isNetType());
    EXPECT_TRUE(IpAddress(0xC0A801FF, 0xFFFFFF00).isDirBcType());
    EXPECT_TRUE(!none.contains(none) && IpAddress(0, 0).contains(none));
    EXPECT_TRUE(
        IpAddress::ipv4Loopback == 0x7F000001 && IpAddress::ipv4McGrpUnspecified == 0xE0000000 &&
        IpAddress::ipv4McGrpAllHosts == 0xE0000001 && IpAddress::ipv4McGrpAllRouters == 0xE0000002);
}

}  // namespace
