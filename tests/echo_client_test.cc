// SPDX-License-Identifier: MIT
//
// A client at one end of a virtual wire, and at the other end the test itself, which sees every
// packet that was sent and answers. fuzz/echo_reply.cc has it read packets of any bytes.

#include <velutils++/echo_client.h>

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <string>

#include "tests/support/echo_fields.h"
#include "tests/support/files.h"
#include "tests/support/network.h"

namespace {

// What the library hands to sendto(2), which may tell of one byte less.
Bytes lastPacket;
struct sockaddr_in lastDestination;
bool sendOneLess;

}  // namespace

extern "C" __attribute__((visibility("default"))) ssize_t sendto(int fd, const void* data, size_t n,
                                                                 int flags,
                                                                 const struct sockaddr* to,
                                                                 socklen_t length) {
    lastPacket.assign(static_cast<const char*>(data), n);
    if (length == sizeof lastDestination) memcpy(&lastDestination, to, length);
    const ssize_t sent = syscall(SYS_sendto, fd, data, n, flags, to, length);
    return sendOneLess ? sent - 1 : sent;
}

namespace {

const char NEAR_IP[] = "10.7.0.1";
const char FAR_IP[] = "10.7.0.2";

int ping(PingClient& client, const char* host = FAR_IP, const char* source = NEAR_IP) {
    return client.sendSimplePing(String(host), String(source));
}

// An ICMP message inside an IPv4 packet with `options` (NOPs) in its header.
Bytes packet(char type, unsigned identifier, unsigned sequence, const char* from, const char* to,
             size_t options = 0) {
    Bytes icmp = Bytes{type, 0, 0, 0} + number(identifier) + number(sequence);
    icmp.replace(2, 2, internetChecksum(icmp));
    const size_t header = 20 + options;
    Bytes ip = Bytes{static_cast<char>(0x40 + header / 4), 0} +
               number(static_cast<unsigned>(header + icmp.size())) +
               Bytes{0, 0, 0, 0, static_cast<char>(128), 1, 0, 0} + address(from) + address(to) +
               Bytes(options, '\1');
    ip.replace(10, 2, internetChecksum(ip));
    return ip + icmp;
}

class EchoClient : public testing::Test {
  protected:
    ~EchoClient() override {
        client_.cleanup();
        sendOneLess = false;
        EXPECT_EQ(descriptors_, openDescriptors());
    }

    // A message with the last request's numbers, plus a difference.
    void answer(int sequenceStep, int identifierStep = 0, size_t options = 0) {
        const EchoFields fields = fieldsOf(client_);
        const Bytes sent = packet(0, static_cast<unsigned>(fields.identifier + identifierStep),
                                  static_cast<unsigned>(fields.sequenceNumber + sequenceStep),
                                  FAR_IP, NEAR_IP, options);
        wire_.send(sent);
        EXPECT_TRUE(arrives(fieldsOf(client_).socketFd));
    }

    Wire wire_;
    const int descriptors_ = openDescriptors();
    PingClient client_;
};

TEST_F(EchoClient, StartsFromTwoRandomNumbers) {
    srand(7);
    const int first = rand(), second = rand();
    srand(7);
    const EchoFields fields = fieldsOf(PingClient());
    EXPECT_EQ(-1, fields.socketFd);
    EXPECT_EQ(first & 0xFFFF, fields.identifier);
    EXPECT_EQ(second & 0xFFFF, fields.sequenceNumber);
}

TEST_F(EchoClient, SendsTwentyEightExactBytes) {
    setFields(client_, {-1, 0xABCD, 65533});
    for (const unsigned sequence : {65534u, 65535u, 0u, 1u}) {
        ASSERT_EQ(0, ping(client_));
        const Bytes expected = packet(8, 0xABCD, sequence, NEAR_IP, FAR_IP);
        EXPECT_EQ(28u, expected.size());
        EXPECT_EQ(expected, lastPacket);
        EXPECT_EQ(AF_INET, lastDestination.sin_family);
        EXPECT_EQ(0, lastDestination.sin_port);
        EXPECT_EQ(inet_addr(FAR_IP), lastDestination.sin_addr.s_addr);
        // The kernel replaces the identification, and with it the header checksum.
        Bytes onWire = wire_.receive();
        onWire.replace(4, 2, 2, '\0').replace(10, 2, expected, 10, 2);
        EXPECT_EQ(expected, onWire);
    }
    EXPECT_EQ(FD_CLOEXEC, fcntl(fieldsOf(client_).socketFd, F_GETFD));
    EXPECT_EQ(0, ping(client_, "localhost", "127.0.0.1"));
    EXPECT_EQ(packet(8, 0xABCD, 2, "127.0.0.1", "127.0.0.1"), lastPacket);
    // The request to an own address comes by first.
    EXPECT_TRUE(arrives(fieldsOf(client_).socketFd));
    EXPECT_EQ(0, client_.checkPingResponse());
    ping(client_, FAR_IP, "no address");
    EXPECT_EQ("\xFF\xFF\xFF\xFF", lastPacket.substr(12, 4));
}

TEST_F(EchoClient, PollsForTheReply) {
    EXPECT_EQ(3, client_.checkPingResponse());
    ASSERT_EQ(0, ping(client_));
    EXPECT_EQ(2, client_.checkPingResponse());
    answer(0);
    EXPECT_EQ(0, client_.checkPingResponse());
    EXPECT_EQ(2, client_.checkPingResponse());

    answer(-1);  // the reply to the request before
    answer(0, 1);
    EXPECT_EQ(2, client_.checkPingResponse());
    answer(0, 0, 40);  // with all the options there can be
    EXPECT_EQ(0, client_.checkPingResponse());

    answer(0);
    ASSERT_EQ(0, ping(client_));  // a new socket: nothing waits any more
    EXPECT_EQ(2, client_.checkPingResponse());
    client_.cleanup();
    EXPECT_EQ(3, client_.checkPingResponse());
    EXPECT_EQ(-1, fieldsOf(client_).socketFd);
}

TEST_F(EchoClient, FailuresGiveOneAndLeakNothing) {
    const uint16_t before = fieldsOf(client_).sequenceNumber;
    // From here on the socket stays for the next cleanup.
    EXPECT_EQ(1, ping(client_, "does-not-exist.invalid"));
    EXPECT_NE(-1, fieldsOf(client_).socketFd);
    EXPECT_EQ(2, client_.checkPingResponse());
    EXPECT_EQ(1, ping(client_, "203.0.113.1"));  // no route
    sendOneLess = true;
    EXPECT_EQ(1, ping(client_));
    EXPECT_NE(-1, fieldsOf(client_).socketFd);
    sendOneLess = false;
    EXPECT_EQ(0, ping(client_));
    // Each try counted.
    EXPECT_EQ(static_cast<uint16_t>(before + 4), fieldsOf(client_).sequenceNumber);
    const WithoutCapability lacking(CAP_NET_RAW);
    EXPECT_EQ(1, ping(client_));
    EXPECT_EQ(3, client_.checkPingResponse());
}

// The second checksum is that of the whole packet, with the first one in it.
TEST_F(EchoClient, OverridesAreCalled) {
    class Marking : public PingClient {
      public:
        unsigned short checksum(unsigned short* data, int length) const override {
            seen.assign(reinterpret_cast<const char*>(data), static_cast<size_t>(length));
            return 0x5858;
        }
        mutable Bytes seen;
    } client;
    ping(client);
    const EchoFields fields = fieldsOf(client);
    Bytes expected = packet(8, fields.identifier, fields.sequenceNumber, NEAR_IP, FAR_IP);
    expected.replace(22, 2, "XX");
    EXPECT_EQ(Bytes(expected).replace(10, 2, 2, '\0'), client.seen);
    EXPECT_EQ(expected.replace(10, 2, "XX"), lastPacket);
}

TEST_F(EchoClient, ChecksumFoldsTwice) {
    unsigned short carries[] = {0xFFFF, 0xFFFF, 0x0001};
    EXPECT_EQ(0xFFFE, client_.checksum(carries, 6));
}

}  // namespace
