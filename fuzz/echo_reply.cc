// SPDX-License-Identifier: MIT
//
// Any packets on the socket of an echo client: only those with the identifier and the sequence
// number of its request in their ICMP header count as replies.

#include <velutils++/echo_client.h>

#include <sys/socket.h>
#include <unistd.h>

#include <vector>

#include "fuzz/input.h"

namespace {

const size_t MOST_PACKETS = 8;  // the kernel queues ten
const size_t SEEN = 256;

// The fields of a client, which follow its virtual table pointer.
struct Fields {
    int socket;
    uint16_t identifier, sequence;
};
const size_t FIELDS_AT = sizeof(void*);

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
    char* const object = reinterpret_cast<char*>(&client);
    Fields fields;
    memcpy(&fields, object + FIELDS_AT, sizeof fields);
    REQUIRE(fields.socket == -1 && client.checkPingResponse() == 3);
    int ends[2];
    REQUIRE(socketpair(AF_UNIX, SOCK_DGRAM, 0, ends) == 0);
    memcpy(object + FIELDS_AT, &ends[0], sizeof ends[0]);  // closed with the client
    const auto byte = [](int value) { return static_cast<char>(value & 255); };
    const std::string wanted = {byte(fields.identifier >> 8), byte(fields.identifier),
                                byte(fields.sequence >> 8), byte(fields.sequence)};

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
    }
    for (; replies > 0; --replies) REQUIRE(client.checkPingResponse() == 0);
    REQUIRE(client.checkPingResponse() == 2);
    close(ends[1]);
    return 0;
}
