// SPDX-License-Identifier: MIT
//
// The fields of a PingClient. Their places are part of the binary interface.

#ifndef VELUTILS_TESTS_ECHO_FIELDS_H
#define VELUTILS_TESTS_ECHO_FIELDS_H

#include <velutils++/echo_client.h>

#include <stdint.h>
#include <string.h>

struct EchoFields {
    int socketFd;
    uint16_t identifier, sequenceNumber;
};

inline EchoFields fieldsOf(const PingClient& client) {
    EchoFields fields;
    memcpy(&fields, reinterpret_cast<const char*>(&client) + sizeof(void*), sizeof fields);
    return fields;
}

inline void setFields(PingClient& client, const EchoFields& fields) {
    memcpy(reinterpret_cast<char*>(&client) + sizeof(void*), &fields, sizeof fields);
}

#endif
