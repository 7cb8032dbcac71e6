/* SPDX-License-Identifier: MIT
 *
 * IpAddress: one IPv4 address with its network mask.
 *
 * C++ only. In C the header declares nothing.
 */
#ifndef VELUTILS_IP_ADDRESS_H
#define VELUTILS_IP_ADDRESS_H

#include <velutils++/export.h>

#ifdef __cplusplus

#include <stdint.h>

#include <velutils++/text.h>

// A copyable value, without a base class, virtual operations or resources.
//
// Words: an address or mask is passed as a number whose bits 31 to 24 hold the first octet, so
// 192.168.1.1 is 0xC0A80101. If unsigned long has more than 32 bits, the upper bits of a passed
// word are ignored.
//
// The empty value has no family. Its address is 0.0.0.0 and its mask 255.255.255.255: if you set an
// address without a mask on it, the address is that of a host. A stored mask is always contiguous,
// one bits followed by zero bits. There is room for IPv6, but its operations are stubs: the setters
// fail, the getters write nothing, and no value has that family.
//
// Failures: nothing throws or logs. Setters return 0 or -1, and after -1 the value is unchanged.
// Only the out argument of a text getter may need memory. When out of memory, it becomes empty.
//
// Threads: different values are independent. Several threads may call const operations of one value
// at once. The first calls of EMPTY() may come from several threads. Its value is never destroyed.
class VELUTILS_API IpAddress {
  public:
    // 127.0.0.1, and the groups 224.0.0.0, 224.0.0.1 (all hosts) and 224.0.0.2 (all routers).
    static const uint32_t ipv4Loopback;
    static const uint32_t ipv4McGrpUnspecified;
    static const uint32_t ipv4McGrpAllHosts;
    static const uint32_t ipv4McGrpAllRouters;

    // The shared empty value.
    static const IpAddress& EMPTY();

    // The empty value.
    IpAddress();
    // An address with its mask. The empty value if the mask is not contiguous.
    IpAddress(unsigned long addressWord, unsigned long maskWord);
    // As setIpAddrAsString() on the empty value. The empty value if the text is not valid.
    IpAddress(const String& text);
    // An address and a dotted mask, which replaces a prefix length in addressText. The empty value
    // if one of the texts is not valid.
    IpAddress(const String& addressText, const String& maskText);
    IpAddress(const IpAddress& other);
    IpAddress& operator=(const IpAddress& other);
    ~IpAddress();

    // Makes the value empty.
    void init();
    // Whether this is the empty value.
    bool isEmpty() const;

    // Sets the address. The text is four decimal octets with dots between them, without leading
    // zeros. A slash and a prefix length from 0 to 32 may follow, and set the mask; otherwise the
    // mask stays. Nothing else is accepted, not even blanks.
    int setIpAddrAsString(const String& text);
    // Sets the mask. The text is four octets, as in an address. The mask must be contiguous.
    int setNetMaskAsString(const String& text);
    // Replaces out's text with the address as four octets, or with the empty text if the value has
    // no family. Returns out.
    String& getIpAddrAsString(String& out) const;
    // As getIpAddrAsString(), for the mask.
    String& getNetMaskAsString(String& out) const;
    // As getIpAddrAsString(), for the network's address: address AND mask.
    String& getNetAddressAsString(String& out) const;

    // Gets or sets the address as a word. The getter with an argument stores the word there and
    // returns the argument. The getters do not check the family. The setter leaves the mask alone.
    unsigned long& getV4IpAddrAsBinaryUInt32(unsigned long& out) const;
    unsigned long getV4IpAddrAsBinaryUInt32() const;
    int setV4IpAddrAsBinaryUInt32(unsigned long word);
    // Gets the network's address, address AND mask, as a word. The getter with an argument stores
    // the word there and returns the argument. The getters do not check the family.
    unsigned long& getV4NetAddrAsBinaryUInt32(unsigned long& out) const;
    unsigned long getV4NetAddrAsBinaryUInt32() const;
    // Gets or sets the mask as a word. The getter with an argument stores the word there and
    // returns the argument. The getters do not check the family. A mask must be contiguous.
    unsigned long& getV4NetMaskAsBinaryUInt32(unsigned long& out) const;
    unsigned long getV4NetMaskAsBinaryUInt32() const;
    int setV4NetMaskAsBinaryUInt32(unsigned long word);

    // Stub: writes nothing and returns out.
    unsigned char* getV6IpAddrAsBinaryString(unsigned char* out) const;
    unsigned char* getV6NetAddrAsBinaryString(unsigned char* out) const;
    unsigned char* getV6NetMaskAsBinaryString(unsigned char* out) const;
    // Stub: returns -1.
    int setV6IpAddrAsBinaryString(const unsigned char* bytes);
    int setV6NetMaskAsBinaryString(const unsigned char* bytes);

    // Gets the prefix length, which is 0 for a value without a family. The getter with an argument
    // stores it there and returns the argument.
    unsigned long& getNetMaskSize(unsigned long& size) const;
    unsigned long getNetMaskSize() const;
    // Sets the mask from a prefix length of at most 32. Returns -1 for a value without a family.
    int setNetMaskSize(unsigned long size);
    // Stores the prefix length in size and returns true. For a value without a family it returns
    // false and leaves size alone.
    bool isMaskValid(unsigned long& size) const;
    // Whether the mask is contiguous. Stores the number of its leading one bits in size in any
    // case.
    static bool s_isV4MaskValid(unsigned long maskWord, unsigned long& size);
    // Stub: returns false.
    static bool s_isV6MaskValid(const char* bytes, const unsigned long& size);

    // Reads an octet of at most three digits at pos and moves pos after it. Returns false and
    // stores 0 if there is no number. A number above 255 is read and stored, and the result is
    // false.
    static bool s_getV4IpAddrTokenOfString(const String& text, long& pos, unsigned long& value);
    // Reads a prefix length of at most two digits at pos and moves pos after it. Returns false and
    // stores 0 if there is no number. A number above 32 is read and stored, and the result is
    // false.
    static bool s_getV4NetMaskSizeOfString(const String& text, long& pos, unsigned long& value);
    // If c is the character at pos, moves pos after it and returns true. Positions outside the text
    // hold NUL.
    static bool s_getCharOfString(const String& text, long& pos, char c);
    // Whether pos is at the end of the text or after it.
    static bool s_getEndOfString(const String& text, long pos);

    // Whether the address is of this class, by its leading bits. The mask does not matter. False
    // for a value without a family.
    bool isV4ClassA() const;
    bool isV4ClassB() const;
    bool isV4ClassC() const;
    bool isV4ClassD() const;
    bool isV4ClassE() const;
    bool isV4ClassABC() const;
    bool isLoopback() const;    // 127/8
    bool isLocalGroup() const;  // 224.0.0/24

    // Whether address and mask together have this role. False for a value without a family.
    //
    // A subnet has an address of class A, B or C outside 0/8 and a prefix length from 2 to 30, and
    // its network bits are neither all zero nor all one. Its first address is the network, its last
    // the directed broadcast, and any other one an interface.
    bool isHostType() const;      // class A, B or C outside 0/8, with prefix length 32
    bool isDefGwType() const;     // 0.0.0.0/0
    bool isNetType() const;       // the network of a subnet, or isDefGwType()
    bool isIfaceType() const;     // an interface of a subnet
    bool isLimBcType() const;     // 255.255.255.255, whatever the mask
    bool isDirBcType() const;     // the directed broadcast of a subnet
    bool isValidAddress() const;  // any of these roles

    // Whether other's address is in this network. False if this value has no family. Other's family
    // and mask are ignored, so 0.0.0.0/0 contains the empty value, too.
    bool contains(const IpAddress& other) const;

  private:
    friend bool operator==(const IpAddress& a, const IpAddress& b);

    VELUTILS_LOCAL bool isV4() const;
    VELUTILS_LOCAL bool addressMatches(uint32_t bits, uint32_t value) const;
    VELUTILS_LOCAL void store(uint32_t addressWord, uint32_t maskWord);

    // The first elements hold the IPv4 words. The others stay 0 (address) and all ones (mask).
    uint32_t family;
    uint32_t address[4];
    uint32_t mask[4];
};

// Compares family, address and mask.
VELUTILS_API bool operator==(const IpAddress& a, const IpAddress& b);
VELUTILS_API bool operator!=(const IpAddress& a, const IpAddress& b);

// Returns address and prefix length: "192.0.2.1/24", and "192.0.2.1/32" for a host. Empty for an
// address without a family, and when out of memory.
inline String addressWithPrefix(const IpAddress& address) {
    String text;
    if (address.getIpAddrAsString(text).length() == 0) return text;
    const long bare = text.length();
    text.concatf("/%lu", address.getNetMaskSize());
    return text.length() > bare ? text : String();
}

static_assert(sizeof(IpAddress) == 36, "family, 16 bytes of address, 16 bytes of mask");
#endif

#endif
