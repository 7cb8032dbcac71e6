// SPDX-License-Identifier: MIT
//
// The binary interface of virtual operations: their order in the table.

#ifndef VELUTILS_TESTS_VIRTUAL_SLOT_H
#define VELUTILS_TESTS_VIRTUAL_SLOT_H

#include <stddef.h>
#include <string.h>

// The place of a virtual operation in its class's table. The destructor pair has 0 and 1. A pointer
// to a member holds the offset in the table, on some processors plus 1 to tell it from an address.
template <class Operation>
size_t virtualSlot(Operation operation) {
    ptrdiff_t offset;
    memcpy(&offset, &operation, sizeof offset);
    return static_cast<size_t>(offset) / sizeof(void*);
}

// Whether the operations lie one behind the other, right after the destructor pair.
template <class... Operations>
bool inSlotOrder(Operations... operations) {
    size_t next = 2;
    return ((virtualSlot(operations) == next++) && ...);
}

#endif
