/* SPDX-License-Identifier: MIT
 *
 * IpInterfaceStatus: reads and changes the state of the host's network interfaces with the kernel's
 * interface requests, netdevice(7).
 *
 * C++ only. In C the header declares nothing.
 */
#ifndef VELUTILS_INTERFACE_CONTROL_H
#define VELUTILS_INTERFACE_CONTROL_H

#include <velutils++/export.h>

#ifdef __cplusplus

// An interface is given by its kernel name, which has at most 15 characters. A longer name is cut
// to its first 15, except by isInterfaceAvailable(). REQUIRES: a name is a NUL-terminated text.
//
// Addresses and masks are numbers whose bits 31 to 24 hold the first octet: 192.168.1.1 is
// 0xC0A80101.
//
// Failures: false, or 0 from the two getters, whatever the reason: no such interface, a value or
// name that the kernel refuses, no privilege (changes need CAP_NET_ADMIN), no free descriptor.
// Nothing throws or logs. errno is undefined.
//
// Threads: any number at once; there is no state. To change the flags of an interface, a call reads
// them and writes them back, so of two concurrent changes one may be lost.
//
// The order of the virtual operations is part of the binary interface.
class VELUTILS_API IpInterfaceStatus {
  public:
    IpInterfaceStatus();
    virtual ~IpInterfaceStatus();

    // Whether the name of any interface contains the given name: "eth" finds eth0 and veth1, and
    // the empty name finds every interface.
    virtual bool isInterfaceAvailable(const char* name) const;

    // Whether the interface is up and running. IFF_UP without IFF_RUNNING, for instance without a
    // carrier, is not enough.
    virtual bool isInterfaceUp(const char* name) const;
    // Brings the interface up if up is 1, and down for any other value. It sets or clears IFF_UP
    // and IFF_RUNNING and keeps all other flags. The kernel decides about IFF_RUNNING itself: after
    // success the interface can still lack its carrier, and then isInterfaceUp() is false.
    virtual bool setInterfaceUp(const char* name, int up) const;

    // Returns the interface's IPv4 address. 0 also means that it has none.
    virtual unsigned int getIpV4Address(const char* name) const;
    // Sets the IPv4 address. The kernel also resets the mask to the default of the address's class,
    // so set the address first and the mask after it. Address 0 removes the address.
    virtual bool setIpV4Address(const char* name, unsigned int address);
    // Returns the mask of the interface's IPv4 address. 0 also means that it has no address.
    virtual unsigned int getIpV4Mask(const char* name) const;
    // Sets the mask. The interface must have an address, and the mask must be contiguous.
    virtual bool setIpV4Mask(const char* name, unsigned int mask);

    // Whether the link manager publishes the interface that carries the traffic: true if the file
    // "/tmp/status/link-manager/hotlink/interface" can be opened. Its content does not matter.
    virtual bool haveNetworkConnectivity();

    // Sets the length of the transmit queue, in packets. The kernel refuses more than 2147483647.
    virtual bool setTxQueueLen(const char* name, unsigned int length) const;
};

// Sets the interface's address and then its mask, because the kernel resets the mask when it sets
// an address. It uses only the low 32 bits of both words.
//
// Returns false if one of them cannot be set. Then it restores the old address and mask, as far as
// the kernel lets it. For address 0, or a mask that is not contiguous, it returns false and changes
// nothing.
inline bool setIpV4AddressAndMask(IpInterfaceStatus& interfaces, const char* name,
                                  unsigned long address, unsigned long mask) {
    const unsigned int newAddress = static_cast<unsigned int>(address & 0xFFFFFFFFUL);
    const unsigned int newMask = static_cast<unsigned int>(mask & 0xFFFFFFFFUL);
    if (newAddress == 0 || (~newMask & (~newMask + 1)) != 0) return false;
    const unsigned int oldAddress = interfaces.getIpV4Address(name);
    const unsigned int oldMask = interfaces.getIpV4Mask(name);
    if (interfaces.setIpV4Address(name, newAddress) && interfaces.setIpV4Mask(name, newMask))
        return true;
    interfaces.setIpV4Address(name, oldAddress);
    if (oldAddress != 0) interfaces.setIpV4Mask(name, oldMask);
    return false;
}

static_assert(sizeof(IpInterfaceStatus) == sizeof(void*), "no state but the virtual table");
#endif

#endif
