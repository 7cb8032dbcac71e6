// SPDX-License-Identifier: MIT
//
// Moving runs of characters, most of which are short.

#ifndef VELUTILS_SHORT_RUNS_INTERNAL_H
#define VELUTILS_SHORT_RUNS_INTERNAL_H

#include <stddef.h>

// As memmove.
void moveRun(char* to, const char* from, size_t n);

#endif
