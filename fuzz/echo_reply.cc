// SPDX-License-Identifier: MIT
//
// Sends any packets to the socket of an echo client. Only those with the identifier and the
// sequence number of its request in their ICMP header are replies.

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <vector>

#include "fuzz/input.h"
#include "tests/support/echo_fields.h"

namespace {

const size_t MOST_PACKETS = 8;  // the kernel queues ten
const size_t SEEN = 256;

// RFC 1071, by arithmetic modulo 65535. The result is in network byte order.
uint16_t checksumOf(const std::string& data) {
    uint64_t sum = 0;
    for (size_t i = 0; i < data.size(); ++i)
        sum += static_cast<uint64_t>(static_cast<unsigned char>(data[i])) << (i % 2 == 0 ? 8 : 0);
    const uint64_t folded = sum == 0 ? 0 : (sum - 1) % 65535 + 1;
    return htons(static_cast<uint16_t>(~folded));
}

bool isReply(std::string packet, const std::string& wanted) {
    packet.resize(std::min(packet.size(), SEEN));
    if (packet.empty()) return false;
    const size_t header = static_cast<unsigned char>(packet[0]) % 16u * 4;
    return packet.size() >= header + 8 && packet.compare(header + 4, 4, wanted) == 0;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    PingClient client;
    EchoFields fields = fieldsOf(client);
    REQUIRE(fields.socketFd == -1 && client.checkPingResponse() == 3);
    int ends[2];
    REQUIRE(socketpair(AF_UNIX, SOCK_DGRAM, 0, ends) == 0);
    fields.socketFd = ends[0];  // closed with the client
    setFields(client, fields);
    const auto byte = [](int value) { return static_cast<char>(value & 255); };
    const std::string wanted = {byte(fields.identifier >> 8), byte(fields.identifier),
                                byte(fields.sequenceNumber >> 8), byte(fields.sequenceNumber)};

    size_t replies = 0;
    for (size_t i = 0; i < MOST_PACKETS && !input.isEmpty(); ++i) {
        const size_t plan = input.below(256);
        std::string packet = input.text(input.number<uint16_t>() % 300);
        const size_t at = packet.empty() ? 0 : static_cast<unsigned char>(packet[0]) % 16u * 4 + 4;
        for (size_t k = 0; k < 4; ++k)
            if ((plan >> k & 1) != 0 && at + k < packet.size()) packet[at + k] = wanted[k];
        REQUIRE(send(ends[1], packet.data(), packet.size(), 0) ==
                static_cast<ssize_t>(packet.size()));
        replies += isReply(packet, wanted);
        // At an even or an odd address.
        std::string area(plan % 2, '-');
        area += packet;
        void* const start = &area[plan % 2];
        REQUIRE(client.checksum(static_cast<unsigned short*>(start), int(packet.size())) ==
                checksumOf(packet));
    }
    for (; replies > 0; --replies) REQUIRE(client.checkPingResponse() == 0);
    REQUIRE(client.checkPingResponse() == 2);
    close(ends[1]);
    return 0;
}
