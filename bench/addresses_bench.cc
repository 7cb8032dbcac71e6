// SPDX-License-Identifier: MIT

#include "side_by_side.h"

#include <velutils++/ip_address.h>

#include <arpa/inet.h>

void registerAddresses() {
    sideBySide("address from text", "IpAddress",
               repeat([text = String("192.168.17.254"), address = IpAddress()]() mutable {
                   benchmark::DoNotOptimize(address.setIpAddrAsString(text));
                   benchmark::DoNotOptimize(address);
               }),
               {{"inet_pton", "1.0", repeat([text = std::string("192.168.17.254")] {
                     struct in_addr address;
                     benchmark::DoNotOptimize(inet_pton(AF_INET, hidden(text.c_str()), &address));
                     benchmark::DoNotOptimize(address);
                 })}});
    sideBySide("address to text", "IpAddress",
               repeat([address = IpAddress(0xC0A811FE, 0xFFFFFFFF), out = String()]() mutable {
                   benchmark::DoNotOptimize(address.getIpAddrAsString(out));
               }),
               {{"inet_ntop", "1.0", repeat([] {
                     const struct in_addr address = {htonl(hidden(0xC0A811FEu))};
                     char out[INET_ADDRSTRLEN];
                     benchmark::DoNotOptimize(inet_ntop(AF_INET, &address, out, sizeof out));
                 })}});
}
