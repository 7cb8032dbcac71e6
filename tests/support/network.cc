// SPDX-License-Identifier: MIT

#include "tests/support/network.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <poll.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

std::string outputOf(const std::string& command) {
    std::string output;
    FILE* const pipe = popen((command + " 2>&1").c_str(), "re");
    if (pipe == nullptr) return "(no shell)";
    for (int c; (c = fgetc(pipe)) != EOF;) output += static_cast<char>(c);
    pclose(pipe);
    return output;
}

Bytes number(unsigned value) {
    return {static_cast<char>(value >> 8 & 0xFF), static_cast<char>(value & 0xFF)};
}

Bytes address(const char* dotted) {
    const in_addr_t onWire = inet_addr(dotted);
    return Bytes(reinterpret_cast<const char*>(&onWire), sizeof onWire);
}

// By arithmetic modulo 65535 on big-endian words.
Bytes internetChecksum(Bytes data) {
    if (data.size() % 2 != 0) data += '\0';
    unsigned long sum = 0;
    for (size_t i = 0; i < data.size(); i += 2)
        sum += static_cast<unsigned char>(data[i]) * 256u + static_cast<unsigned char>(data[i + 1]);
    return number(sum == 0 ? 0xFFFF : static_cast<unsigned>(65534 - (sum - 1) % 65535));
}

bool arrives(int fd) {
    struct pollfd readable = {fd, POLLIN, 0};
    return poll(&readable, 1, 5000) == 1;
}

static struct sockaddr_ll farEnd() {
    return {AF_PACKET, htons(ETH_P_IP),   static_cast<int>(if_nametoindex("far")), 0, 0,
            ETH_ALEN,  {2, 0, 0, 0, 0, 1}};
}

Wire::Wire() : fd_(socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, htons(ETH_P_IP))) {
    EXPECT_EQ("", outputOf("ip link add near address 02:00:00:00:00:01 type veth "
                           "peer name far address 02:00:00:00:00:02 && "
                           "ip addr add 10.7.0.1/24 dev near && "
                           "ip link set near up && ip link set far up && "
                           "ip neigh add 10.7.0.2 lladdr 02:00:00:00:00:02 dev near"));
    const struct sockaddr_ll end = farEnd();
    EXPECT_EQ(0, bind(fd_, reinterpret_cast<const struct sockaddr*>(&end), sizeof end));
}

Wire::~Wire() {
    close(fd_);
    outputOf("ip link del near");
}

void Wire::send(const Bytes& packet) {
    const struct sockaddr_ll end = farEnd();
    EXPECT_EQ(static_cast<long>(packet.size()),
              syscall(SYS_sendto, fd_, packet.data(), packet.size(), 0, &end, sizeof end));
}

Bytes Wire::receive() {
    char data[2048];
    const ssize_t n = arrives(fd_) ? recv(fd_, data, sizeof data, MSG_DONTWAIT) : -1;
    return n < 0 ? "nothing" : Bytes(data, static_cast<size_t>(n));
}

static void setCapability(int capability, bool usable) {
    struct __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    struct __user_cap_data_struct sets[2] = {};
    EXPECT_EQ(0, syscall(SYS_capget, &header, sets));
    const uint32_t bit = 1u << (capability % 32);
    uint32_t& effective = sets[capability / 32].effective;
    effective = usable ? effective | bit : effective & ~bit;
    EXPECT_EQ(0, syscall(SYS_capset, &header, sets));
}

WithoutCapability::WithoutCapability(int capability) : capability_(capability) {
    setCapability(capability_, false);
}

WithoutCapability::~WithoutCapability() {
    setCapability(capability_, true);
}
