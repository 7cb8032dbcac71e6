// SPDX-License-Identifier: MIT
//
// Interface requests to the kernel. Each operation makes an InterfaceRequest, which opens a socket
// for its requests and closes it at the end.
//
// Tested by interface_control_test.cc.

#include <velutils++/interface_control.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

const char CONNECTIVITY_FILE[] = "/tmp/status/link-manager/hotlink/interface";

class InterfaceRequest {
  public:
    explicit InterfaceRequest(const char* name)
        : socket_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)), block_() {
        memcpy(block_.ifr_name, name, strnlen(name, sizeof block_.ifr_name - 1));
    }
    ~InterfaceRequest() {
        if (socket_ >= 0) close(socket_);
    }
    InterfaceRequest(const InterfaceRequest&) = delete;
    InterfaceRequest& operator=(const InterfaceRequest&) = delete;

    struct ifreq& block() {
        return block_;
    }
    bool get(unsigned long request) {
        return socket_ >= 0 && ioctl(socket_, request, &block_) >= 0;
    }
    bool set(unsigned long request) {
        return socket_ >= 0 && ioctl(socket_, request, &block_) == 0;
    }

  private:
    const int socket_;
    struct ifreq block_;
};

unsigned int getAddress(const char* name, unsigned long request) {
    InterfaceRequest interface(name);
    if (!interface.get(request)) return 0;
    struct sockaddr_in address;
    memcpy(&address, &interface.block().ifr_addr, sizeof address);
    return ntohl(address.sin_addr.s_addr);
}

bool setAddress(const char* name, unsigned long request, unsigned int word) {
    InterfaceRequest interface(name);
    struct sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(word);
    memcpy(&interface.block().ifr_addr, &address, sizeof address);
    return interface.set(request);
}

}  // namespace

IpInterfaceStatus::IpInterfaceStatus() = default;
IpInterfaceStatus::~IpInterfaceStatus() = default;

bool IpInterfaceStatus::isInterfaceAvailable(const char* name) const {
    struct ifaddrs* list;
    if (getifaddrs(&list) != 0) return false;
    const struct ifaddrs* entry = list;
    while (entry != nullptr && strstr(entry->ifa_name, name) == nullptr) entry = entry->ifa_next;
    freeifaddrs(list);
    return entry != nullptr;
}

bool IpInterfaceStatus::isInterfaceUp(const char* name) const {
    InterfaceRequest interface(name);
    if (!interface.get(SIOCGIFFLAGS)) return false;
    return (interface.block().ifr_flags & IFF_UP) != 0 &&
           (interface.block().ifr_flags & IFF_RUNNING) != 0;
}

bool IpInterfaceStatus::setInterfaceUp(const char* name, int up) const {
    InterfaceRequest interface(name);
    if (!interface.get(SIOCGIFFLAGS)) return false;
    const int others = interface.block().ifr_flags & ~(IFF_UP | IFF_RUNNING);
    const int wanted = up == 1 ? IFF_UP | IFF_RUNNING : 0;
    interface.block().ifr_flags = static_cast<short>(others | wanted);
    return interface.set(SIOCSIFFLAGS);
}

unsigned int IpInterfaceStatus::getIpV4Address(const char* name) const {
    return getAddress(name, SIOCGIFADDR);
}

bool IpInterfaceStatus::setIpV4Address(const char* name, unsigned int address) {
    return setAddress(name, SIOCSIFADDR, address);
}

unsigned int IpInterfaceStatus::getIpV4Mask(const char* name) const {
    return getAddress(name, SIOCGIFNETMASK);
}

bool IpInterfaceStatus::setIpV4Mask(const char* name, unsigned int mask) {
    return setAddress(name, SIOCSIFNETMASK, mask);
}

bool IpInterfaceStatus::haveNetworkConnectivity() {
    // Without O_NONBLOCK, a FIFO of that name would block the caller.
    const int fd = open(CONNECTIVITY_FILE, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return false;
    close(fd);
    return true;
}

bool IpInterfaceStatus::setTxQueueLen(const char* name, unsigned int length) const {
    InterfaceRequest interface(name);
    interface.block().ifr_qlen = static_cast<int>(length);
    return interface.set(SIOCSIFTXQLEN);
}
