// SPDX-License-Identifier: MIT
//
// System calls that fail, or end the process, at the kernel's door: also those that the C library
// makes on its own account. In failing_calls.h is what works on every platform.

#ifndef VELUTILS_TESTS_SYSTEM_CALLS_H
#define VELUTILS_TESTS_SYSTEM_CALLS_H

#include <string>

namespace system_calls {

// Watches the calls of this process that touch files, sockets and kernel objects from here on, and
// for ever: for children. False where that cannot be had, for instance under qemu-user or with
// ThreadSanitizer. What a heap needs is not watched.
bool watch();

// The n-th watched call from now on (1 is the next) fails with `error`; with 0 it kills the
// process. close does its work all the same, as the kernel's does.
void failAt(long n, int error);

// The names of the watched calls since watch() or failAt, variants under one name, each with a
// space behind it.
std::string made();

// Ends the watch.
void ignore();

}  // namespace system_calls

#endif
