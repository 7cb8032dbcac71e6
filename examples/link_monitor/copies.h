// SPDX-License-Identifier: MIT
//
// Finds other running copies of this program.

#ifndef LINK_MONITOR_COPIES_H
#define LINK_MONITOR_COPIES_H

// Returns how many other processes were started with the same program path.
int countOtherCopies(const char* program);

// Whether process `pid` is another running copy.
bool isOtherCopy(const char* program, int pid);

#endif
