// SPDX-License-Identifier: MIT
//
// The home of the digest interface's virtual table.

#include <velutils++/digests.h>

HashContext::~HashContext() {}
