// SPDX-License-Identifier: MIT
//
// Digits for writing decimal numbers two at a time, which takes half the divisions.

#ifndef VELUTILS_DECIMAL_PAIRS_INTERNAL_H
#define VELUTILS_DECIMAL_PAIRS_INTERNAL_H

// The pairs from 00 to 99 in order.
extern const char DECIMAL_PAIRS[201];

#endif
