// SPDX-License-Identifier: MIT
//
// System calls that fail, or end the process, when a test wants it. The program's own functions of
// these names stand before the C library's, for the library under test too, and pass every call on
// unless told otherwise. The table in failing_calls.cc lists them: add the ones that you need.

#ifndef VELUTILS_TESTS_FAILING_CALLS_H
#define VELUTILS_TESTS_FAILING_CALLS_H

namespace failing_calls {

// Stands for every function of the table.
extern const char* const ANY;

// While it lives, the n-th call of `name` by this thread from now on (1 is the next) fails with
// `error` without being made. One at a time.
class Failure {
  public:
    Failure(const char* name, int error, long n = 1);
    ~Failure();
    bool happened() const;
};

// Kills this process (SIGKILL) in place of the n-th call of any function of the table from now on.
void dieAt(long n);

}  // namespace failing_calls

#endif
