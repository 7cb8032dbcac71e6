// SPDX-License-Identifier: MIT
//
// The sandbox's network as tests set it up and look at it, beside the library under test.

#ifndef VELUTILS_TESTS_NETWORK_H
#define VELUTILS_TESTS_NETWORK_H

#include <string>

// What a shell command prints on its two outputs.
std::string outputOf(const std::string& command);

// Bytes of packets. Numbers of 16 bits and dotted addresses in network byte order.
typedef std::string Bytes;
Bytes number(unsigned value);
Bytes address(const char* dotted);
// RFC 1071
Bytes internetChecksum(Bytes data);

// Waits until there is something to read, five seconds at most.
bool arrives(int fd);

// A virtual wire: at one end the interface "near" with 10.7.0.1/24, at the other, as 10.7.0.2, the
// test itself.
class Wire {
  public:
    Wire();
    ~Wire();
    Wire(const Wire&) = delete;

    // An IPv4 packet to "near", and the next one from there, or "nothing".
    void send(const Bytes& packet);
    Bytes receive();

  private:
    int fd_;
};

// Keeps this thread from using a capability, for instance CAP_NET_RAW.
class WithoutCapability {
  public:
    explicit WithoutCapability(int capability);
    ~WithoutCapability();

  private:
    const int capability_;
};

#endif
