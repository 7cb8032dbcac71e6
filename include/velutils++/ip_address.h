/* SPDX-License-Identifier: MIT
 *
 * IpAddress: one IPv4 address with its network mask.
 *
 * C++ only; included from C the header is empty.
 */
#ifndef VELUTILS_IP_ADDRESS_H
#define VELUTILS_IP_ADDRESS_H

#include <velutils++/export.h>

#ifdef __cplusplus

#include <stdint.h>

#include <velutils++/text.h>

// A copyable value: no base, no virtual operations, no resources.
//
// Words: an address or mask crosses the interface as a number whose bits 31 to 24 hold the first
// octet, so 192.168.1.1 is 0xC0A80101. Where unsigned long is wider than 32 bits the upper bits of
// a word that is handed in are ignored.
//
// The empty value belongs to no family. Its address is 0.0.0.0, its mask 255.255.255.255: an
// address that is set on it without a mask is that of a host. A stored mask is always contiguous,
// one bits followed by zero bits. There is room for IPv6, but its operations are stubs: the
// setters fail, the getters write nothing, and no value is ever of that family.
//
// Failures: nothing throws or logs. Setters return 0 or -1, and after -1 the value is as it was.
// Only the out argument of a text getter may need memory; when that is refused it ends up empty.
//
// Threads: distinct values are independent; const operations of one value may run together.
// EMPTY() is safe to call first from several threads, and is never destroyed.
class VELUTILS_API IpAddress {
  public:
    // 127.0.0.1, and the groups 224.0.0.0, 224.0.0.1 (all hosts) and 224.0.0.2 (all routers).
    static const uint32_t ipv4Loopback;
    static const uint32_t ipv4McGrpUnspecified;
    static const uint32_t ipv4McGrpAllHosts;
    static const uint32_t ipv4McGrpAllRouters;

    // The shared empty value.
    static const IpAddress& EMPTY();

    // An argument that cannot be used, or two of which one cannot, gives the empty value.
    IpAddress();
    IpAddress(unsigned long addressWord, unsigned long maskWord);
    IpAddress(String const& text);                                 // as setIpAddrAsString
    IpAddress(String const& addressText, String const& maskText);  // the mask beats a /prefix
    IpAddress(IpAddress const& other);
    IpAddress& operator=(IpAddress const& other);
    ~IpAddress();

    // Makes the value empty, and tells whether it is.
    void init();
    bool isEmpty() const;

    // Text. The grammar is strict: four decimal octets without leading zeros and with dots between
    // them; after an address perhaps a slash and a prefix length of 0 to 32; nothing else, no
    // blanks. An address without a prefix length leaves the mask alone. A mask is dotted too.
    int setIpAddrAsString(String const& text);
    int setNetMaskAsString(String const& text);
    // Replace out's text by four octets, of address AND mask in the last; by nothing when the
    // value has no family. They return out.
    String& getIpAddrAsString(String& out) const;
    String& getNetMaskAsString(String& out) const;
    String& getNetAddressAsString(String& out) const;

    // Words. The getters with an argument store the word there too, and return the argument. None
    // of them looks at the family. Setting an address leaves the mask alone.
    unsigned long& getV4IpAddrAsBinaryUInt32(unsigned long& out) const;
    unsigned long getV4IpAddrAsBinaryUInt32() const;
    int setV4IpAddrAsBinaryUInt32(unsigned long word);
    unsigned long& getV4NetAddrAsBinaryUInt32(unsigned long& out) const;
    unsigned long getV4NetAddrAsBinaryUInt32() const;
    unsigned long& getV4NetMaskAsBinaryUInt32(unsigned long& out) const;
    unsigned long getV4NetMaskAsBinaryUInt32() const;
    int setV4NetMaskAsBinaryUInt32(unsigned long word);

    // Stubs: these return out and write nothing, or return -1.
    unsigned char* getV6IpAddrAsBinaryString(unsigned char* out) const;
    unsigned char* getV6NetAddrAsBinaryString(unsigned char* out) const;
    unsigned char* getV6NetMaskAsBinaryString(unsigned char* out) const;
    int setV6IpAddrAsBinaryString(unsigned char const* bytes);
    int setV6NetMaskAsBinaryString(unsigned char const* bytes);

    // Prefix lengths. 0 is what a value without a family has; setting one needs a family.
    unsigned long& getNetMaskSize(unsigned long& size) const;
    unsigned long getNetMaskSize() const;
    int setNetMaskSize(unsigned long size);  // at most 32
    // Whether the mask is contiguous, and its number of leading one bits, which is stored for a
    // mask that is not contiguous as well. A value without a family leaves size alone.
    bool isMaskValid(unsigned long& size) const;
    static bool s_isV4MaskValid(unsigned long maskWord, unsigned long& size);
    static bool s_isV6MaskValid(char const* bytes, unsigned long const& size);  // stub: false

    // The pieces of the grammar. Each reads at pos and moves pos past what it consumed; outside
    // the text stands NUL. A number of more digits than expected ends after the third (or second).
    //
    // An octet, or a prefix length. value is 0 when there is no number. One that is too large is
    // consumed and stored all the same, and gives false.
    static bool s_getV4IpAddrTokenOfString(String const& text, long& pos, unsigned long& value);
    static bool s_getV4NetMaskSizeOfString(String const& text, long& pos, unsigned long& value);
    static bool s_getCharOfString(String const& text, long& pos, char c);
    static bool s_getEndOfString(String const& text, long pos);

    // Classes by the leading address bits, whatever the mask. Here and below: false for a value
    // without a family.
    bool isV4ClassA() const;
    bool isV4ClassB() const;
    bool isV4ClassC() const;
    bool isV4ClassD() const;
    bool isV4ClassE() const;
    bool isV4ClassABC() const;
    bool isLoopback() const;    // 127/8
    bool isLocalGroup() const;  // 224.0.0/24

    // Roles of address and mask together. A subnet is one of class A, B or C outside 0/8, with a
    // prefix length of 2 to 30, whose network bits are not all zero and not all one; in it the
    // first address is the network, the last the directed broadcast, any other an interface.
    bool isHostType() const;   // class A, B or C outside 0/8, with prefix length 32
    bool isDefGwType() const;  // 0.0.0.0/0
    bool isNetType() const;    // a network, or isDefGwType()
    bool isIfaceType() const;
    bool isLimBcType() const;  // 255.255.255.255, whatever the mask
    bool isDirBcType() const;
    bool isValidAddress() const;  // any of these roles

    // Whether other's address lies in this network. Other's family and mask do not count, so
    // 0.0.0.0/0 contains the empty value too.
    bool contains(IpAddress const& other) const;

  private:
    friend bool operator==(IpAddress const& a, IpAddress const& b);

    VELUTILS_LOCAL bool isV4() const;
    VELUTILS_LOCAL bool addressMatches(uint32_t bits, uint32_t value) const;
    VELUTILS_LOCAL void store(uint32_t addressWord, uint32_t maskWord);

    // IPv4 lives in the first element. The others stay 0 (address) and all ones (mask).
    uint32_t family;
    uint32_t address[4];
    uint32_t mask[4];
};

// All of family, address and mask.
VELUTILS_API bool operator==(IpAddress const& a, IpAddress const& b);
VELUTILS_API bool operator!=(IpAddress const& a, IpAddress const& b);

static_assert(sizeof(IpAddress) == 36, "family, 16 bytes of address, 16 bytes of mask");
#endif

#endif
