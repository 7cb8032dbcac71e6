// SPDX-License-Identifier: MIT
//
// Control over the heap of a test program: the program's own malloc and operator new, which the
// library under test uses too, can refuse requests and count what is outstanding.

#ifndef VELUTILS_TESTS_ALLOCATIONS_H
#define VELUTILS_TESTS_ALLOCATIONS_H

namespace allocations {

// Blocks handed out and not yet given back, by all threads.
long outstanding();

// Requests of this thread since it started.
long requests();

// While it lives, the n-th request of this thread from now on (1 is the next) is refused: malloc
// gives null, operator new throws std::bad_alloc.
class Refusal {
  public:
    explicit Refusal(long n);
    ~Refusal();
    bool happened() const;
};

}  // namespace allocations

#endif
