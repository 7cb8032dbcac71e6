/* SPDX-License-Identifier: MIT
 *
 * PingClient: ICMP echo requests (RFC 792) from a source address of the caller's choice.
 *
 * C++ only; included from C the header is empty.
 */
#ifndef VELUTILS_ECHO_CLIENT_H
#define VELUTILS_ECHO_CLIENT_H

#include <velutils++/export.h>

#ifdef __cplusplus

#include <stdint.h>

#include <velutils++/text.h>

// Send a request, then poll for its reply for as long as the caller's own time limit allows; the
// client keeps no timer and never waits for an answer.
//
//     srand(...);                                   // once in the daemon, see below
//     PingClient client;
//     if (client.sendSimplePing(String("192.168.1.1"), String("192.168.1.2")) == 0)
//         ... every now and then: client.checkPingResponse() == 0 is the reply
//
// Identifier and first sequence number come from rand(3), which the library never seeds: seed it
// before the first client, or the clients of all daemons start alike and take each other's
// replies for their own.
//
// The socket is raw and needs CAP_NET_RAW. It lives from a send to the next send, cleanup() or the
// destructor; it is close-on-exec.
//
// Failures: the results stated at each operation; nothing throws or logs.
//
// Threads: a client belongs to one thread at a time; distinct clients are independent. Host names
// are resolved with gethostbyname(3), which takes its time and shares its result in the process:
// resolve names in one thread only. Dotted addresses need no resolver.
//
// The order of the virtual operations and of the fields is part of the binary interface.
class VELUTILS_API PingClient {
  public:
    PingClient();
    PingClient(const PingClient&) = delete;
    PingClient& operator=(const PingClient&) = delete;
    virtual ~PingClient();

    // Sends one request, with the next sequence number, to host, a name or a dotted address.
    // source is the dotted address for the packet's source field, normally one of a local
    // interface; of any other text the field gets what inet_addr(3) makes.
    // Returns 0 when the whole packet was sent, 1 otherwise. Ends the wait for an earlier reply.
    virtual int sendSimplePing(String const& host, String const& source);

    // Looks through what has arrived, without blocking. Returns
    //     0  the reply to the last request was there; what came after it is kept
    //     2  it was not; everything that was there is used up
    //     3  receiving failed, or there is no socket
    // The match is by identifier and sequence number alone. A raw socket sees all ICMP packets
    // that arrive at the host: a client that pings an address of its own host sees its request
    // first, and takes it for the reply.
    virtual int checkPingResponse();

    // Closes the socket, if there is one.
    virtual void cleanup();

    // The Internet checksum (RFC 1071) of length bytes, exact for up to 128 KiB: store it in the
    // packet as it is, without a change of byte order. data may lie at any address.
    // sendSimplePing calls it for both checksums, and cleanup(), through the virtual table.
    virtual unsigned short checksum(unsigned short* data, int length) const;

  private:
    int socketFd;  // -1 for none
    uint16_t identifier;
    uint16_t sequenceNumber;  // of the last request
};

static_assert(sizeof(PingClient) == sizeof(void*) + 8, "virtual table, socket, two numbers");
#endif

#endif
