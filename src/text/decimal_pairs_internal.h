// SPDX-License-Identifier: MIT
//
// Numbers are written two digits at a time, which halves the divisions.

#ifndef VELUTILS_DECIMAL_PAIRS_INTERNAL_H
#define VELUTILS_DECIMAL_PAIRS_INTERNAL_H

// 00 to 99, one behind the other.
extern const char DECIMAL_PAIRS[201];

#endif
