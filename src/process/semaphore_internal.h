// SPDX-License-Identifier: MIT
//
// What CSemaphore and the named locks, whose guard is a CSemaphore, share.

#ifndef VELUTILS_SEMAPHORE_INTERNAL_H
#define VELUTILS_SEMAPHORE_INTERNAL_H

#include <velutils++/locks.h>

// A step that failed and is not logged yet.
struct CSemaphore::Failure {
    const char* message;  // takes the error number and the file's name; null: nothing failed
    int error;
};

#endif
