/* SPDX-License-Identifier: MIT
 *
 * EchoProbe: ICMP echo requests (RFC 792) with checked replies.
 *
 *     EchoProbe probe;
 *     if (probe.send(IpAddress(String("192.168.1.1")), IpAddress()))
 *         ... when descriptor() is readable, or now and then: probe.poll() == EchoProbe::REPLY
 *
 * PingClient matches a packet by two numbers, and accepts its own request as the reply when it
 * pings an address of its host. EchoProbe accepts only a packet that answers its last request. It
 * needs no privilege if the system lets the process's group send echo requests.
 *
 * Header-only: the library exports nothing for it. C++ only. In C the header declares nothing.
 */
#ifndef VELUTILS_ECHO_PROBE_H
#define VELUTILS_ECHO_PROBE_H

#include <velutils++/export.h>

#ifdef __cplusplus

#include <errno.h>
#include <netinet/in.h>
#include <stdint.h>
#include <string.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

// After <time.h>: older ones use its types.
#include <linux/errqueue.h>

#include <velutils++/ip_address.h>

// Send a request, then poll for its reply until your own time limit is over. The probe keeps no
// timer and never waits.
//
// A reply is an ICMP echo reply of code 0 with a right checksum, from the target's address. It is
// exactly as long as the request and has its identifier, its sequence number and its 16 random
// bytes. These are not replies: the host's own request, seen on loopback; a reply to another
// program or to an earlier request; a packet from another host; a packet that is too short or too
// long. A request to a broadcast or multicast address has no reply, since other addresses answer
// it.
//
// The socket is a raw one if the process may open it (CAP_NET_RAW). Otherwise it is an unprivileged
// ICMP socket, which the groups in net.ipv4.ping_group_range may open (icmp(7)). The results are
// the same. The first successful send() opens the socket; close() and the destructor close it. It
// is close-on-exec.
//
// Failures: as stated at each operation. Nothing throws or logs.
//
// Threads: a probe belongs to one thread at a time. Different probes are independent. After fork()
// only one of the two processes may use the probe.
class EchoProbe {
  public:
    // What poll() found. UNREACHABLE: a router or the host itself reported that the request did not
    // arrive (destination unreachable, or time to live exceeded in transit).
    enum Answer { NOTHING_YET, REPLY, UNREACHABLE, FAILED };

    // Has no socket until the first send().
    EchoProbe()
        : fd_(-1),
          raw_(false),
          state_(NO_REQUEST),
          roundTrip_(-1),
          sent_(),
          target_(0),
          request_() {}
    EchoProbe(const EchoProbe&) = delete;
    EchoProbe& operator=(const EchoProbe&) = delete;
    ~EchoProbe() { close(); }

    // Sends a request with 16 random bytes to the target, from the source address. If source is
    // empty or 0.0.0.0, the kernel chooses the address. Masks are ignored. The probe no longer
    // waits for an earlier request, even if the call fails.
    //
    // Returns false on failure, and errno says why: no target, no permission, no route, a source
    // that is not the host's, a broadcast target, or no random numbers yet (early after boot).
    bool send(const IpAddress& target, const IpAddress& source);

    // Reads at most 64 packets that have arrived, without blocking. Returns
    //     NOTHING_YET  no answer yet, or an earlier call returned the answer
    //     REPLY        the reply to the last request; this is its answer
    //     UNREACHABLE  no reply, but an ICMP error from any router that quotes the last request's
    //                  destination, protocol, identifier and sequence number; this is its answer
    //     FAILED       no request: before the first send(), after a send() that failed, and after
    //                  close()
    Answer poll();

    // The microseconds from send() to the poll() that returned REPLY, by the monotonic clock, at
    // most INT32_MAX. -1 if the last request has no reply yet, and after close().
    int32_t roundTripMicroseconds() const { return roundTrip_; }

    // The socket, for use in an event loop: call poll() when it is readable. Packets other than the
    // reply make it readable, too. The descriptor is the same from the first successful send()
    // until close(), and -1 otherwise. The probe owns it.
    int descriptor() const { return fd_; }

    // Drops the request and closes the socket, if there is one.
    void close();

  private:
    enum State { NO_REQUEST, WAITING, ANSWERED };
    enum {
        // A poll() reads at most this many packets, each up to this many bytes. An error has up to
        // 576 bytes (RFC 1812).
        PACKETS = 64,
        LONGEST = 2048,
        // Sizes and offsets in an IP and an ICMP header
        IP_HEADER = 20,
        IP_PROTOCOL_AT = 9,
        IP_DESTINATION_AT = 16,
        ICMP_HEADER = 8,
        CHECKSUM_AT = 2,
        IDENTIFIER_AT = 4,
        SEQUENCE_AT = 6,
        PAYLOAD = 16,
        REQUEST = ICMP_HEADER + PAYLOAD,
        // Not from <linux/icmp.h> or <netinet/ip_icmp.h>: they conflict, and a program may include
        // either.
        ECHO_REPLY = 0,
        UNREACHABLE_TYPE = 3,
        LAST_UNREACHABLE_CODE = 15,
        ECHO_REQUEST = 8,
        TIME_EXCEEDED = 11,
        FILTER_OPTION = 1,  // ICMP_FILTER, raw(7)
    };

    // Opens a socket, or returns -1. The unprivileged socket determines the identifier of its
    // requests.
    static int openRaw();
    static int openUnprivileged(unsigned char* identifier);
    // Sends request_ to target_.
    bool transmit(int fd, in_addr_t source);

    static unsigned get16(const unsigned char* p);
    static void put16(unsigned char* p, unsigned value);
    static unsigned checksum(const unsigned char* p, size_t n);
    static bool isError(unsigned type, unsigned code);
    bool isReply(const unsigned char* icmp, size_t n, in_addr_t from) const;
    bool isRequest(const unsigned char* icmp, in_addr_t destination) const;
    bool isUnreachable(const unsigned char* icmp, size_t n) const;

    // Reads one packet. NOTHING_YET: it was no answer. FAILED: no packet was waiting.
    Answer receive() const;
    Answer receiveError() const;
    int32_t elapsed() const;

    int fd_;  // -1 for none
    bool raw_;
    State state_;
    int32_t roundTrip_;
    struct timespec sent_;
    in_addr_t target_;                // in network byte order
    unsigned char request_[REQUEST];  // the last one, as it is on the wire
};

inline bool EchoProbe::send(const IpAddress& target, const IpAddress& source) {
    state_ = NO_REQUEST;
    roundTrip_ = -1;
    target_ = htonl(static_cast<uint32_t>(target.getV4IpAddrAsBinaryUInt32()));
    if (target_ == INADDR_ANY) {
        errno = EDESTADDRREQ;
        return false;
    }
    unsigned char random[PAYLOAD + 4];
    if (getrandom(random, sizeof random, GRND_NONBLOCK) != sizeof random) return false;

    int fd = fd_;
    if (fd == -1) {
        // The kernel replaces this identifier where it chooses its own.
        memcpy(request_ + IDENTIFIER_AT, random + PAYLOAD, 4);
        fd = openRaw();
        raw_ = fd != -1;
        if (!raw_) fd = openUnprivileged(request_ + IDENTIFIER_AT);
        if (fd == -1) return false;
    }
    request_[0] = ECHO_REQUEST;
    request_[1] = 0;
    put16(request_ + CHECKSUM_AT, 0);
    put16(request_ + SEQUENCE_AT, get16(request_ + SEQUENCE_AT) + 1);
    memcpy(request_ + ICMP_HEADER, random, PAYLOAD);
    put16(request_ + CHECKSUM_AT, checksum(request_, REQUEST));

    const in_addr_t from = htonl(static_cast<uint32_t>(source.getV4IpAddrAsBinaryUInt32()));
    // The first failure may only report an error of an earlier request, so try twice.
    if (!transmit(fd, from) && !transmit(fd, from)) {
        const int error = errno;
        if (fd_ == -1) ::close(fd);
        errno = error;
        return false;
    }
    fd_ = fd;
    state_ = WAITING;
    return true;
}

// An unprivileged socket has separate queues for errors and replies, so we do not know which came
// first. So an error is the answer only if no reply is found after it.
inline EchoProbe::Answer EchoProbe::poll() {
    bool unreachable = false;
    for (int i = 0; fd_ != -1 && i < PACKETS; ++i) {
        Answer answer = receive();
        if (answer == FAILED && !raw_) answer = receiveError();
        if (answer == FAILED) break;
        if (state_ != WAITING) continue;
        if (answer == REPLY) {
            roundTrip_ = elapsed();
            state_ = ANSWERED;
            return REPLY;
        }
        if (answer == UNREACHABLE) unreachable = true;
    }
    if (unreachable) {
        state_ = ANSWERED;
        return UNREACHABLE;
    }
    return state_ == NO_REQUEST ? FAILED : NOTHING_YET;
}

inline void EchoProbe::close() {
    if (fd_ != -1) ::close(fd_);
    fd_ = -1;
    state_ = NO_REQUEST;
    roundTrip_ = -1;
}

// The filter keeps the packets of other programs from filling the socket. The checks do not rely on
// it.
inline int EchoProbe::openRaw() {
    const int fd = socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_ICMP);
    const uint32_t unwanted = ~(1u << ECHO_REPLY | 1u << UNREACHABLE_TYPE | 1u << TIME_EXCEEDED);
    if (fd != -1) setsockopt(fd, SOL_RAW, FILTER_OPTION, &unwanted, sizeof unwanted);
    return fd;
}

// The identifier is the socket's port. Errors arrive on its error queue.
inline int EchoProbe::openUnprivileged(unsigned char* identifier) {
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_ICMP);
    if (fd == -1) return -1;
    struct sockaddr_in own = {};
    own.sin_family = AF_INET;
    struct sockaddr* const address = reinterpret_cast<struct sockaddr*>(&own);
    socklen_t length = sizeof own;
    const int on = 1;
    if (bind(fd, address, length) == 0 && getsockname(fd, address, &length) == 0 &&
        setsockopt(fd, IPPROTO_IP, IP_RECVERR, &on, sizeof on) == 0) {
        memcpy(identifier, &own.sin_port, sizeof own.sin_port);
        return fd;
    }
    const int error = errno;
    ::close(fd);
    errno = error;
    return -1;
}

// The source goes with the packet: an unprivileged socket can be bound only once.
inline bool EchoProbe::transmit(int fd, in_addr_t source) {
    struct sockaddr_in to = {};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = target_;
    struct iovec data = {request_, REQUEST};
    struct msghdr message = {};
    message.msg_name = &to;
    message.msg_namelen = sizeof to;
    message.msg_iov = &data;
    message.msg_iovlen = 1;

    alignas(struct cmsghdr) unsigned char control[CMSG_SPACE(sizeof(struct in_pktinfo))] = {};
    if (source != INADDR_ANY) {
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        struct cmsghdr* const header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = IPPROTO_IP;
        header->cmsg_type = IP_PKTINFO;
        header->cmsg_len = CMSG_LEN(sizeof(struct in_pktinfo));
        struct in_pktinfo info = {};
        info.ipi_spec_dst.s_addr = source;
        memcpy(CMSG_DATA(header), &info, sizeof info);
    }
    clock_gettime(CLOCK_MONOTONIC, &sent_);
    return sendmsg(fd, &message, 0) == REQUEST;
}

inline EchoProbe::Answer EchoProbe::receive() const {
    unsigned char packet[LONGEST];
    struct sockaddr_in from = {};
    socklen_t length = sizeof from;
    const ssize_t received = recvfrom(fd_, packet, sizeof packet, MSG_DONTWAIT,
                                      reinterpret_cast<struct sockaddr*>(&from), &length);
    if (received < 0) return FAILED;

    // Only a raw socket returns the IP header, too.
    const size_t header = raw_ && received > 0 ? (packet[0] & 0x0Fu) * 4 : 0;
    const size_t n = static_cast<size_t>(received);
    if (n < header + ICMP_HEADER) return NOTHING_YET;
    const unsigned char* const icmp = packet + header;
    if (checksum(icmp, n - header) != 0) return NOTHING_YET;
    if (isReply(icmp, n - header, from.sin_addr.s_addr)) return REPLY;
    return isUnreachable(icmp, n - header) ? UNREACHABLE : NOTHING_YET;
}

// The kernel has checked the error, and returns what follows the quoted IP header.
inline EchoProbe::Answer EchoProbe::receiveError() const {
    unsigned char icmp[ICMP_HEADER];
    struct sockaddr_in destination = {};
    struct iovec data = {icmp, sizeof icmp};
    struct sock_extended_err error = {};
    const size_t room = CMSG_SPACE(sizeof error + sizeof(struct sockaddr_in));
    alignas(struct cmsghdr) unsigned char control[room];
    struct msghdr message = {};
    message.msg_name = &destination;
    message.msg_namelen = sizeof destination;
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t received = recvmsg(fd_, &message, MSG_ERRQUEUE | MSG_DONTWAIT);
    if (received < 0) return FAILED;

    const struct cmsghdr* const header = CMSG_FIRSTHDR(&message);
    if (header == nullptr || header->cmsg_level != IPPROTO_IP || header->cmsg_type != IP_RECVERR ||
        header->cmsg_len < CMSG_LEN(sizeof error))
        return NOTHING_YET;
    memcpy(&error, CMSG_DATA(header), sizeof error);
    const bool ours = error.ee_origin == SO_EE_ORIGIN_ICMP &&
                      isError(error.ee_type, error.ee_code) && received == ICMP_HEADER &&
                      isRequest(icmp, destination.sin_addr.s_addr);
    return ours ? UNREACHABLE : NOTHING_YET;
}

inline bool EchoProbe::isError(unsigned type, unsigned code) {
    return type == UNREACHABLE_TYPE ? code <= LAST_UNREACHABLE_CODE
                                    : type == TIME_EXCEEDED && code == 0;
}

inline bool EchoProbe::isReply(const unsigned char* icmp, size_t n, in_addr_t from) const {
    return n == REQUEST && from == target_ && icmp[0] == ECHO_REPLY && icmp[1] == 0 &&
           memcmp(icmp + IDENTIFIER_AT, request_ + IDENTIFIER_AT, REQUEST - IDENTIFIER_AT) == 0;
}

// Whether these 8 bytes, sent to that destination, are the last request's.
inline bool EchoProbe::isRequest(const unsigned char* icmp, in_addr_t destination) const {
    return destination == target_ && icmp[0] == ECHO_REQUEST && icmp[1] == 0 &&
           memcmp(icmp + IDENTIFIER_AT, request_ + IDENTIFIER_AT, ICMP_HEADER - IDENTIFIER_AT) == 0;
}

// Whether the message is an error that quotes the last request.
inline bool EchoProbe::isUnreachable(const unsigned char* icmp, size_t n) const {
    if (!isError(icmp[0], icmp[1]) || n < ICMP_HEADER + IP_HEADER) return false;
    const unsigned char* const quote = icmp + ICMP_HEADER;
    const size_t header = (quote[0] & 0x0Fu) * 4;
    if (quote[0] >> 4 != 4 || header < IP_HEADER || n < ICMP_HEADER + header + ICMP_HEADER)
        return false;
    in_addr_t destination;
    memcpy(&destination, quote + IP_DESTINATION_AT, sizeof destination);
    return quote[IP_PROTOCOL_AT] == IPPROTO_ICMP && isRequest(quote + header, destination);
}

inline int32_t EchoProbe::elapsed() const {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    const int64_t microseconds = (static_cast<int64_t>(now.tv_sec) - sent_.tv_sec) * 1000000 +
                                 (now.tv_nsec - sent_.tv_nsec) / 1000;
    return microseconds < INT32_MAX ? static_cast<int32_t>(microseconds) : INT32_MAX;
}

inline unsigned EchoProbe::get16(const unsigned char* p) {
    return static_cast<unsigned>(p[0] << 8 | p[1]);
}

inline void EchoProbe::put16(unsigned char* p, unsigned value) {
    p[0] = static_cast<unsigned char>(value >> 8 & 0xFF);
    p[1] = static_cast<unsigned char>(value & 0xFF);
}

// The Internet checksum (RFC 1071) of at most LONGEST bytes; 0 for those that contain their own.
inline unsigned EchoProbe::checksum(const unsigned char* p, size_t n) {
    unsigned sum = 0;
    for (size_t i = 0; i < n; ++i) sum += i % 2 == 0 ? p[i] * 256u : p[i];
    sum = (sum >> 16) + (sum & 0xFFFF);
    return ~(sum + (sum >> 16)) & 0xFFFF;
}

#endif

#endif
