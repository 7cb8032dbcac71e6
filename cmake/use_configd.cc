// SPDX-License-Identifier: MIT
//
// Compiled into each program that links velutils++::configd.

#include <velutils++/use_configd.h>
