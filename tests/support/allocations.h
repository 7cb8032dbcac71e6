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

// Calls step() with the first request refused, then the second, and so on, until a call passes
// without a refusal. Returns how many refusals there were.
template <class Step>
long sweep(Step step) {
    for (long n = 1;; ++n) {
        Refusal refusal(n);
        step();
        if (!refusal.happened()) return n - 1;
    }
}

}  // namespace allocations

#endif
