// SPDX-License-Identifier: MIT
//
// A client at one end of a virtual wire. At the other end the test itself sees every packet that
// was sent, and answers. fuzz/echo_reply.cc makes a client read any packets, and checks the
// checksum.

#include <velutils++/echo_client.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <string>

#include "tests/support/descriptor_check.h"
#include "tests/support/echo_fields.h"
#include "tests/support/packets.h"

namespace {

// What the library passes to sendto(2), which can report one byte less than it sent.
Bytes lastPacket;
bool sendOneLess;

}  // namespace

extern "C" __attribute__((visibility("default"))) ssize_t sendto(int fd, const void* data, size_t n,
                                                                 int flags,
                                                                 const struct sockaddr* to,
                                                                 socklen_t length) {
    lastPacket.assign(static_cast<const char*>(data), n);
    const ssize_t sent = syscall(SYS_sendto, fd, data, n, flags, to, length);
    return sendOneLess ? sent - 1 : sent;
}

namespace {

const char NEAR_IP[] = "10.7.0.1";
const char FAR_IP[] = "10.7.0.2";

int ping(PingClient& client, const char* host = FAR_IP, const char* source = NEAR_IP) {
    return client.sendSimplePing(String(host), String(source));
}

Bytes packet(int type, unsigned identifier, unsigned sequence, const char* from, const char* to) {
    return ipv4(from, to, icmp(type, 0, number(identifier) + number(sequence)));
}

class EchoClient : public testing::Test {
  protected:
    // Sends the reply to the last request.
    void answer() {
        const EchoFields fields = fieldsOf(client_);
        wire_.send(packet(0, fields.identifier, fields.sequenceNumber, FAR_IP, NEAR_IP));
        EXPECT_TRUE(arrives(fields.socketFd));
    }

    Wire wire_;
    DescriptorCheck descriptors_;
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
        // The kernel replaces the identification and the checksum of the IP header.
        EXPECT_EQ(expected.substr(20), wire_.receive().substr(20));
    }
    EXPECT_EQ(FD_CLOEXEC, fcntl(fieldsOf(client_).socketFd, F_GETFD));
    EXPECT_EQ(0, ping(client_, "localhost", "127.0.0.1"));
    EXPECT_EQ(packet(8, 0xABCD, 2, "127.0.0.1", "127.0.0.1"), lastPacket);
    // An address of this host receives the request first.
    EXPECT_TRUE(arrives(fieldsOf(client_).socketFd));
    EXPECT_EQ(0, client_.checkPingResponse());
    ping(client_, FAR_IP, "no address");
    EXPECT_EQ("\xFF\xFF\xFF\xFF", lastPacket.substr(12, 4));
}

TEST_F(EchoClient, PollsForTheReply) {
    EXPECT_EQ(3, client_.checkPingResponse());
    ASSERT_EQ(0, ping(client_));
    EXPECT_EQ(2, client_.checkPingResponse());
    answer();
    EXPECT_EQ(0, client_.checkPingResponse());
    EXPECT_EQ(2, client_.checkPingResponse());

    answer();
    ASSERT_EQ(0, ping(client_));  // on a new socket, which has no packets
    EXPECT_EQ(2, client_.checkPingResponse());
    client_.cleanup();
    EXPECT_EQ(3, client_.checkPingResponse());
    EXPECT_EQ(-1, fieldsOf(client_).socketFd);
}

TEST_F(EchoClient, AFailedRequestCountsAndKeepsItsSocket) {
    const uint16_t before = fieldsOf(client_).sequenceNumber;
    EXPECT_EQ(1, ping(client_, "does-not-exist.invalid"));
    EXPECT_NE(-1, fieldsOf(client_).socketFd);
    EXPECT_EQ(2, client_.checkPingResponse());
    sendOneLess = true;
    EXPECT_EQ(1, ping(client_));
    sendOneLess = false;
    EXPECT_EQ(0, ping(client_));
    EXPECT_EQ(static_cast<uint16_t>(before + 3), fieldsOf(client_).sequenceNumber);
    const WithoutCapability lacking(CAP_NET_RAW);
    EXPECT_EQ(1, ping(client_));
    EXPECT_EQ(3, client_.checkPingResponse());
}

// The second checksum is that of the whole packet, which includes the first one.
TEST_F(EchoClient, AnOverriddenChecksumIsUsed) {
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

}  // namespace
