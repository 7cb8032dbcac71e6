// SPDX-License-Identifier: MIT
//
// The sandbox's network, set up and read without the library under test.

#ifndef VELUTILS_TESTS_NETWORK_H
#define VELUTILS_TESTS_NETWORK_H

#include <string>

// Returns what a shell command prints on its two outputs.
std::string outputOf(const std::string& command);

// Bytes of packets. 16-bit numbers and addresses are in network byte order.
typedef std::string Bytes;
Bytes number(unsigned value);
Bytes address(const char* dotted);
// RFC 1071
Bytes internetChecksum(Bytes data);

// Waits until there is something to read, five seconds at most.
bool arrives(int fd);

// A virtual wire between the interface "near" (10.7.0.1/24) and the test itself (10.7.0.2).
class Wire {
  public:
    Wire();
    ~Wire();
    Wire(const Wire&) = delete;

    // Sends an IPv4 packet to "near".
    void send(const Bytes& packet);
    // Returns the next packet from "near", or "nothing".
    Bytes receive();

  private:
    int fd_;
};

// While it lives, this thread cannot use a capability, for instance CAP_NET_RAW.
class WithoutCapability {
  public:
    explicit WithoutCapability(int capability);
    ~WithoutCapability();

  private:
    const int capability_;
};

#endif
