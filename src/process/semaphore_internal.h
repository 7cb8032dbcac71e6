// SPDX-License-Identifier: MIT
//
// What CSemaphore shares with the named locks, whose guard is a CSemaphore.

#ifndef VELUTILS_SEMAPHORE_INTERNAL_H
#define VELUTILS_SEMAPHORE_INTERNAL_H

#include <velutils++/locks.h>

// The result of a step. Failures are logged later, by report().
struct CSemaphore::Failure {
    const char* message;  // a format for the error number and the file's name; null: no failure
    int error;
};

#endif
