// SPDX-License-Identifier: MIT
//
// The echo client. A request is a whole IPv4 packet, written byte by byte so that it is the same on
// every processor:
//
//     | IPv4 header, 20 bytes | ICMP header, 8 bytes |     no options, no payload
//
// If the identification is 0, the kernel fills in one of its own, and the header checksum. A
// received packet begins with an IPv4 header of any length. Its lengths are not trusted: only bytes
// that were received are read.
//
// Tested by echo_client_test.cc.

#include <velutils++/echo_client.h>

#include <arpa/inet.h>
#include <errno.h>
#include <netdb.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

const size_t IP_HEADER = 20;
const size_t ICMP_HEADER = 8;
const size_t REQUEST = IP_HEADER + ICMP_HEADER;

const size_t TOTAL_LENGTH_AT = 2;
const size_t TTL_AT = 8;
const size_t PROTOCOL_AT = 9;
const size_t IP_CHECKSUM_AT = 10;
const size_t SOURCE_AT = 12;
const size_t DESTINATION_AT = 16;

// Within the ICMP header.
const size_t ICMP_CHECKSUM_AT = 2;
const size_t IDENTIFIER_AT = 4;
const size_t SEQUENCE_AT = 6;

const unsigned char VERSION_4_FIVE_WORDS = 0x45;
const unsigned char TIME_TO_LIVE = 128;
const unsigned char ECHO_REQUEST = 8;

void put16(unsigned char* to, uint16_t value) {
    to[0] = static_cast<unsigned char>(value >> 8);
    to[1] = static_cast<unsigned char>(value & 0xFF);
}

uint16_t get16(const unsigned char* from) {
    return static_cast<uint16_t>(from[0] << 8 | from[1]);
}

// Addresses are in network byte order. REQUIRES: packet is all zeros. Both checksums stay 0.
void fillRequest(unsigned char* packet, in_addr_t source, in_addr_t destination,
                 uint16_t identifier, uint16_t sequenceNumber) {
    packet[0] = VERSION_4_FIVE_WORDS;
    put16(packet + TOTAL_LENGTH_AT, REQUEST);
    packet[TTL_AT] = TIME_TO_LIVE;
    packet[PROTOCOL_AT] = IPPROTO_ICMP;
    memcpy(packet + SOURCE_AT, &source, sizeof source);
    memcpy(packet + DESTINATION_AT, &destination, sizeof destination);

    unsigned char* const icmp = packet + IP_HEADER;
    icmp[0] = ECHO_REQUEST;
    put16(icmp + IDENTIFIER_AT, identifier);
    put16(icmp + SEQUENCE_AT, sequenceNumber);
}

bool resolve(const char* name, struct in_addr& address) {
    const struct hostent* const host = gethostbyname(name);
    if (host == nullptr || host->h_addr_list[0] == nullptr) return false;
    memcpy(&address, host->h_addr_list[0], sizeof address);
    return true;
}

bool isReply(const unsigned char* packet, size_t received, uint16_t identifier,
             uint16_t sequenceNumber) {
    const size_t header = (packet[0] & 0x0Fu) * 4;
    if (received < header + ICMP_HEADER) return false;
    const unsigned char* const icmp = packet + header;
    return get16(icmp + SEQUENCE_AT) == sequenceNumber && get16(icmp + IDENTIFIER_AT) == identifier;
}

}  // namespace

PingClient::PingClient()
    : socketFd(-1),
      identifier(static_cast<uint16_t>(rand())),
      sequenceNumber(static_cast<uint16_t>(rand())) {}

PingClient::~PingClient() {
    PingClient::cleanup();
}

int PingClient::sendSimplePing(const String& host, const String& source) {
    cleanup();
    ++sequenceNumber;

    socketFd = socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMP);
    if (socketFd == -1) return 1;
    const int headerIncluded = 1;
    if (setsockopt(socketFd, IPPROTO_IP, IP_HDRINCL, &headerIncluded, sizeof headerIncluded) != 0)
        return 1;

    struct sockaddr_in to = {};
    to.sin_family = AF_INET;
    if (!resolve(host.buffer(), to.sin_addr)) return 1;

    // An array of the type that checksum() takes, because an override may read it as such.
    unsigned short words[REQUEST / sizeof(unsigned short)] = {};
    unsigned char* const packet = reinterpret_cast<unsigned char*>(words);
    fillRequest(packet, inet_addr(source.buffer()), to.sin_addr.s_addr, identifier, sequenceNumber);
    unsigned short sum = checksum(words + IP_HEADER / sizeof *words, ICMP_HEADER);
    memcpy(packet + IP_HEADER + ICMP_CHECKSUM_AT, &sum, sizeof sum);
    // With its checksum the ICMP part sums to 0, so this is the checksum of the header alone.
    sum = checksum(words, REQUEST);
    memcpy(packet + IP_CHECKSUM_AT, &sum, sizeof sum);

    const ssize_t sent = sendto(socketFd, packet, REQUEST, 0,
                                reinterpret_cast<const struct sockaddr*>(&to), sizeof to);
    return sent == static_cast<ssize_t>(REQUEST) ? 0 : 1;
}

int PingClient::checkPingResponse() {
    unsigned char packet[256];
    for (;;) {
        struct sockaddr_in from;
        socklen_t fromLength = sizeof from;
        const ssize_t n = recvfrom(socketFd, packet, sizeof packet, MSG_DONTWAIT,
                                   reinterpret_cast<struct sockaddr*>(&from), &fromLength);
        if (n == -1) return errno == EAGAIN ? 2 : 3;
        if (n > 0 && isReply(packet, static_cast<size_t>(n), identifier, sequenceNumber)) return 0;
    }
}

void PingClient::cleanup() {
    if (socketFd == -1) return;
    close(socketFd);
    socketFd = -1;
}

unsigned short PingClient::checksum(unsigned short* data, int length) const {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(data);
    uint32_t sum = 0;
    uint16_t word;
    for (; length >= 2; length -= 2, p += 2) {
        memcpy(&word, p, sizeof word);
        sum += word;
    }
    if (length == 1) {
        word = 0;
        memcpy(&word, p, 1);
        sum += word;
    }
    sum = (sum >> 16) + (sum & 0xFFFF);
    sum += sum >> 16;
    return static_cast<unsigned short>(~sum);
}
