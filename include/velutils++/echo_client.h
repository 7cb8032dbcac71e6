/* SPDX-License-Identifier: MIT
 *
 * PingClient: ICMP echo requests (RFC 792) from a source address of the caller's choice.
 *
 * C++ only. In C the header declares nothing.
 */
#ifndef VELUTILS_ECHO_CLIENT_H
#define VELUTILS_ECHO_CLIENT_H

#include <velutils++/export.h>

#ifdef __cplusplus

#include <stdint.h>

#include <velutils++/text.h>

// Send a request, then poll for its reply until your own time limit is over. The client keeps no
// timer and never waits for an answer.
//
//     srand(...);                                   // once in the daemon
//     PingClient client;
//     if (client.sendSimplePing(String("192.168.1.1"), String("192.168.1.2")) == 0)
//         ... every now and then: client.checkPingResponse() == 0 is the reply
//
// The identifier and the first sequence number come from rand(3), which the library never seeds.
// Seed it before you make the first client. Otherwise the clients of all daemons start with the
// same numbers and accept each other's replies.
//
// The socket is raw and needs CAP_NET_RAW. A send opens it; the next send, cleanup() or the
// destructor closes it. It is close-on-exec.
//
// Failures: as stated at each operation. Nothing throws or logs.
//
// Threads: a client belongs to one thread at a time. Different clients are independent. Host names
// are resolved with gethostbyname(3), which may block and whose result belongs to the whole
// process: resolve names in one thread only. Dotted addresses need no resolver.
//
// The order of the virtual operations and of the fields is part of the binary interface.
class VELUTILS_API PingClient {
  public:
    PingClient();
    PingClient(const PingClient&) = delete;
    PingClient& operator=(const PingClient&) = delete;
    virtual ~PingClient();

    // Sends one request, with the next sequence number, to host, which is a name or a dotted
    // address. source is the dotted address for the packet's source field, normally that of a local
    // interface. It is converted by inet_addr(3) and not checked.
    // Returns 0 if the whole packet was sent, otherwise 1. Replies to earlier requests are no
    // longer accepted.
    virtual int sendSimplePing(const String& host, const String& source);

    // Reads the packets that have arrived, without blocking. Returns
    //     0  found the reply to the last request; packets after it were not read
    //     2  no reply among them; all of them were read
    //     3  receiving failed, or there is no socket
    // A packet matches by its identifier and sequence number alone. A raw socket receives all ICMP
    // packets that arrive at the host: a client that pings an address of its own host receives its
    // own request first, and accepts it as the reply.
    virtual int checkPingResponse();

    // Closes the socket, if there is one.
    virtual void cleanup();

    // Returns the Internet checksum (RFC 1071) of length bytes, exact for up to 128 KiB. Store it
    // in the packet without a change of byte order. data may have any alignment. sendSimplePing()
    // calls checksum() and cleanup() through the virtual table.
    virtual unsigned short checksum(unsigned short* data, int length) const;

  private:
    int socketFd;  // -1 for none
    uint16_t identifier;
    uint16_t sequenceNumber;  // of the last request
};

static_assert(sizeof(PingClient) == sizeof(void*) + 8, "virtual table, socket, two numbers");
#endif

#endif
