// SPDX-License-Identifier: MIT
//
// A test program's own malloc and operator new, which the library under test uses too. They can
// fail on request, and they count the blocks.

#ifndef VELUTILS_TESTS_ALLOCATIONS_H
#define VELUTILS_TESTS_ALLOCATIONS_H

namespace allocations {

// Blocks that all threads have allocated and not yet freed.
long outstanding();

// Requests of this thread since it started.
long requests();

// While it lives, the n-th request of this thread from now on (1 is the next) fails: malloc returns
// null, and operator new throws std::bad_alloc.
class Refusal {
  public:
    explicit Refusal(long n);
    ~Refusal();
    bool happened() const;
};

}  // namespace allocations

#endif
