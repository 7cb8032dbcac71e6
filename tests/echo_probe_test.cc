// SPDX-License-Identifier: MIT
//
// Probes with a raw socket and with an unprivileged one, on a wire whose far end forges answers.

#include <velutils++/echo_probe.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/capability.h>

#include <optional>

#include "tests/support/descriptor_check.h"
#include "tests/support/files.h"
#include "tests/support/packets.h"

namespace {

const char NEAR_IP[] = "10.7.0.1";
const char FAR_IP[] = "10.7.0.2";
const char OTHER_IP[] = "10.7.0.3";

// Forged answers to a request. The first 24 bytes of the request are its IP header and the part of
// the message that icmp() writes.
Bytes message(int type, int code, const Bytes& request, const char* from = FAR_IP) {
    return ipv4(from, NEAR_IP, icmp(type, code, request.substr(24)));
}

Bytes reply(const Bytes& request) {
    return message(0, 0, request);
}

Bytes error(int type, int code, const Bytes& quote) {
    return ipv4(OTHER_IP, NEAR_IP, icmp(type, code, Bytes(4, '\0') + quote));
}

Bytes with(Bytes bytes, size_t at, int difference) {
    bytes[at] = static_cast<char>(bytes[at] + difference);
    return bytes;
}

struct Forgery {
    const char* name;
    Bytes (*of)(const Bytes& request);
};

const Forgery NO_REPLIES[] = {
    {"a request", [](const Bytes& r) { return message(8, 0, r); }},
    {"another code", [](const Bytes& r) { return message(0, 1, r); }},
    {"wrong checksum", [](const Bytes& r) { return with(reply(r), 22, 1); }},
    {"another sender", [](const Bytes& r) { return message(0, 0, r, OTHER_IP); }},
    {"another program's", [](const Bytes& r) { return reply(with(r, 25, 1)); }},
    {"another payload", [](const Bytes& r) { return reply(with(r, 43, 1)); }},
    {"cut short", [](const Bytes& r) { return reply(r.substr(0, 43)); }},
    {"too long", [](const Bytes& r) { return reply(r + '\0'); }},
    {"not an echo message", [](const Bytes&) { return ipv4(FAR_IP, NEAR_IP, Bytes(4, '\0')); }},
};

const Forgery NO_ERRORS[] = {
    {"reassembly", [](const Bytes& r) { return error(11, 1, r); }},
    {"another destination", [](const Bytes& r) { return error(3, 1, with(r, 19, 1)); }},
    {"another protocol", [](const Bytes& r) { return error(3, 1, with(r, 9, 16)); }},
    {"a quoted reply", [](const Bytes& r) { return error(3, 1, with(r, 20, -8)); }},
    {"another program's", [](const Bytes& r) { return error(3, 1, with(r, 25, 1)); }},
    {"an earlier request's", [](const Bytes& r) { return error(3, 1, with(r, 27, -1)); }},
    {"quote cut short", [](const Bytes& r) { return error(3, 1, r.substr(0, 27)); }},
    {"quoted header too long", [](const Bytes& r) { return error(3, 1, with(r, 0, 10)); }},
};

const Forgery ERRORS[] = {
    {"prohibited, short quote", [](const Bytes& r) { return error(3, 13, r.substr(0, 28)); }},
    {"precedence", [](const Bytes& r) { return error(3, 15, r); }},
    {"time to live", [](const Bytes& r) { return error(11, 0, r); }},
    {"options",
     [](const Bytes& r) { return error(3, 1, with(Bytes(r).insert(20, 40, '\1'), 0, 10)); }},
};

class EchoProbes : public testing::TestWithParam<bool> {
  protected:
    EchoProbes() { allowUnprivileged("0 0"); }

    static void allowUnprivileged(const char* groups) {
        writeFile("/proc/sys/net/ipv4/ping_group_range", groups);
    }

    bool send(const char* target = FAR_IP, const char* source = "") {
        std::optional<WithoutCapability> lacking;
        if (!GetParam()) lacking.emplace(CAP_NET_RAW);
        return probe_.send(IpAddress(String(target)), IpAddress(String(source)));
    }

    EchoProbe::Answer answer() {
        for (;;) {
            const EchoProbe::Answer answer = probe_.poll();
            if (answer != EchoProbe::NOTHING_YET || !arrives(probe_.descriptor())) return answer;
        }
    }

    // The request on the wire. The host also sends answers to forged requests.
    Bytes request() {
        for (;;) {
            const Bytes packet = wire_.receive();
            if (packet.size() < 21 || packet[20] == 8) return packet;
        }
    }

    // The result of a request that the far end answers twice.
    EchoProbe::Answer answerTo(const Forgery& first, const Forgery& second) {
        EXPECT_TRUE(send());
        EXPECT_EQ(-1, probe_.roundTripMicroseconds());
        const Bytes sent = request();
        EXPECT_EQ(44u, sent.size());
        wire_.send(first.of(sent));
        wire_.send(second.of(sent));
        const EchoProbe::Answer found = answer();
        EXPECT_EQ(found == EchoProbe::REPLY, probe_.roundTripMicroseconds() >= 0);
        return found;
    }

    Wire wire_;
    DescriptorCheck descriptors_;
    EchoProbe probe_;
};

TEST_P(EchoProbes, AcceptOnlyTheReply) {
    for (const Forgery& forgery : NO_REPLIES)
        EXPECT_EQ(EchoProbe::UNREACHABLE, answerTo(forgery, ERRORS[0])) << forgery.name;
    for (const Forgery& forgery : NO_ERRORS)
        EXPECT_EQ(EchoProbe::REPLY, answerTo(forgery, {"", reply})) << forgery.name;
    for (const Forgery& forgery : ERRORS)
        EXPECT_EQ(EchoProbe::UNREACHABLE, answerTo(forgery, NO_REPLIES[1])) << forgery.name;
    EXPECT_EQ(EchoProbe::NOTHING_YET, probe_.poll());  // the wait is over
    // A reply takes precedence over an error, which is easier to forge.
    EXPECT_EQ(EchoProbe::REPLY, answerTo({"", reply}, ERRORS[0]));
    // An unread error does not make the next request fail.
    ASSERT_TRUE(send());
    wire_.send(ERRORS[0].of(request()));
    EXPECT_TRUE(arrives(probe_.descriptor()));
    EXPECT_TRUE(send());
}

TEST_P(EchoProbes, AFloodDoesNotDelayPoll) {
    ASSERT_TRUE(send());
    const Bytes sent = request();
    for (int i = 0; i < 100; ++i) wire_.send(reply(with(sent, 43, 1)));
    wire_.send(reply(sent));
    EXPECT_TRUE(arrives(probe_.descriptor()));
    EXPECT_EQ(EchoProbe::NOTHING_YET, probe_.poll());
    EXPECT_EQ(EchoProbe::REPLY, answer());
}

// The kernel replies to requests to its own addresses, whose sender sees the request first.
TEST_P(EchoProbes, OwnAddressesReply) {
    ASSERT_TRUE(send("127.0.0.1", "0.0.0.0"));
    EXPECT_EQ(EchoProbe::REPLY, answer());
    ASSERT_TRUE(send("10.7.0.1/24", "127.0.0.1/24"));
    EXPECT_EQ(EchoProbe::REPLY, answer());
    const int descriptor = probe_.descriptor();
    EXPECT_EQ(FD_CLOEXEC, fcntl(descriptor, F_GETFD));
    EXPECT_TRUE(send());
    EXPECT_EQ(descriptor, probe_.descriptor());
}

TEST_P(EchoProbes, FailuresToSend) {
    EXPECT_EQ(EchoProbe::FAILED, probe_.poll());
    // No target, no route, and one that needs SO_BROADCAST.
    for (const char* target : {"", "203.0.113.1", "255.255.255.255"}) {
        EXPECT_FALSE(send(target)) << target;
        EXPECT_EQ(EchoProbe::FAILED, probe_.poll()) << target;
        EXPECT_EQ(-1, probe_.descriptor()) << target;
    }
    EXPECT_TRUE(send());
    EXPECT_EQ(EchoProbe::NOTHING_YET, probe_.poll());
    EXPECT_FALSE(send(FAR_IP, FAR_IP));  // from an address that is not the host's
    EXPECT_EQ(EchoProbe::FAILED, probe_.poll());
    EXPECT_NE(-1, probe_.descriptor());
    probe_.close();
    EXPECT_EQ(EchoProbe::FAILED, probe_.poll());
    EXPECT_EQ(-1, probe_.descriptor());
    {
        const DescriptorsExhausted exhausted;
        EXPECT_FALSE(send());
    }
    if (contentOf("/proc/self/uid_map").find("4294967295") == std::string::npos)
        GTEST_SKIP() << "in a user namespace the range cannot be empty";
    allowUnprivileged("1 0");
    EXPECT_EQ(GetParam(), send());
}

INSTANTIATE_TEST_SUITE_P(Sockets, EchoProbes, testing::Bool(), [](const auto& tested) {
    return std::string(tested.param ? "raw" : "unprivileged");
});

}  // namespace
