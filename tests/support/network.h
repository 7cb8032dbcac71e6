// SPDX-License-Identifier: MIT
//
// The sandbox's network as tests set it up and look at it, beside the library under test.

#ifndef VELUTILS_TESTS_NETWORK_H
#define VELUTILS_TESTS_NETWORK_H

#include <string>

// What a shell command prints on its two outputs.
std::string outputOf(const std::string& command);

// Runs step() in a child process that lacks a capability, for instance CAP_NET_RAW, and tells
// whether it returned true there.
bool holdsWithout(int capability, bool (*step)());

#endif
