/* SPDX-License-Identifier: MIT
 *
 * IpInterfaceStatus: the state of the host's network interfaces, read and changed through the
 * kernel's interface requests, netdevice(7).
 *
 * C++ only; included from C the header is empty.
 */
#ifndef VELUTILS_INTERFACE_CONTROL_H
#define VELUTILS_INTERFACE_CONTROL_H

#include <velutils++/export.h>

#ifdef __cplusplus

// Interfaces go by their kernel names, which have at most 15 characters: a longer name is cut to
// its first 15, except by isInterfaceAvailable. Names are NUL-terminated and not null.
//
// Addresses and masks are numbers whose bits 31 to 24 hold the first octet: 192.168.1.1 is
// 0xC0A80101.
//
// Failures: false, or 0 from the two getters, whatever the reason: no such interface, a value or
// name that the kernel refuses, no privilege (setting needs CAP_NET_ADMIN), no descriptor left.
// Nothing throws or logs; errno is not promised.
//
// Threads: any, at the same time; there is no state. Two concurrent changes of one interface's
// flags may lose one of them, as each reads the flags and writes them back.
//
// The order of the virtual operations is part of the binary interface.
class VELUTILS_API IpInterfaceStatus {
  public:
    IpInterfaceStatus();
    virtual ~IpInterfaceStatus();

    // Whether the name of any interface contains `name`: "eth" finds eth0 and veth1, and the
    // empty name finds every interface.
    virtual bool isInterfaceAvailable(char const* name) const;

    // Up and running: IFF_UP alone, without a carrier for instance, is not enough.
    virtual bool isInterfaceUp(char const* name) const;
    // Brings the interface up when `up` is 1, and down for any other value. IFF_UP and
    // IFF_RUNNING are set or cleared together and all other flags are kept, but the kernel decides
    // about IFF_RUNNING itself: after success the interface can still lack its carrier.
    virtual bool setInterfaceUp(char const* name, int up) const;

    // 0 also stands for an interface without an IPv4 address.
    virtual unsigned int getIpV4Address(char const* name) const;
    // The kernel gives the interface the default mask of the address's class with it: set the
    // address first, then the mask. Address 0 takes the address away.
    virtual bool setIpV4Address(char const* name, unsigned int address);
    // 0 as for the address.
    virtual unsigned int getIpV4Mask(char const* name) const;
    // The interface needs an address, and the mask must be contiguous.
    virtual bool setIpV4Mask(char const* name, unsigned int mask);

    // Whether the link manager publishes the interface that carries the traffic: the file
    // "/tmp/status/link-manager/hotlink/interface" can be opened. Its content does not matter.
    virtual bool haveNetworkConnectivity();

    // In packets; the kernel refuses more than 2147483647.
    virtual bool setTxQueueLen(char const* name, unsigned int length) const;
};

static_assert(sizeof(IpInterfaceStatus) == sizeof(void*), "no state but the virtual table");
#endif

#endif
