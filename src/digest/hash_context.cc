// SPDX-License-Identifier: MIT
//
// Makes the compiler emit HashContext's virtual table in this file only.

#include <velutils++/digests.h>

HashContext::~HashContext() {}
