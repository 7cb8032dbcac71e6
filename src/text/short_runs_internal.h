// SPDX-License-Identifier: MIT
//
// Moves runs of characters. Most runs are short.

#ifndef VELUTILS_SHORT_RUNS_INTERNAL_H
#define VELUTILS_SHORT_RUNS_INTERNAL_H

#include <stddef.h>

// As memmove.
void moveRun(char* to, const char* from, size_t n);

#endif
