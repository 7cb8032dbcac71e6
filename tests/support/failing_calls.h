// SPDX-License-Identifier: MIT
//
// System calls that fail, wait for something or end the process, when a test wants it. The
// program's own functions of these names stand before the C library's, for the library under test
// too, and pass every call on unless told otherwise. The table in failing_calls.cc lists them: add
// the ones that you need.

#ifndef VELUTILS_TESTS_FAILING_CALLS_H
#define VELUTILS_TESTS_FAILING_CALLS_H

#include <functional>

namespace failing_calls {

// Stands for every function of the table.
extern const char* const ANY;

// While it lives, `action` runs before every call of `name` by this thread, with the number of the
// call (1 is the first), and returns the error number that the call fails with, or 0 to let it be
// made. Calls that the action makes are not intercepted. Of two for one call the younger acts.
class Interception {
  public:
    typedef std::function<int(long n)> Action;
    Interception(const char* name, Action action);
    ~Interception();
    Interception(const Interception&) = delete;
    long calls() const { return calls_; }
    int intercept(const char* name);

  private:
    const char* const name_;
    const Action action_;
    Interception* const older_;
    long calls_;
};

// While it lives, the n-th call of `name` by this thread from now on (1 is the next) fails with
// `error` without being made.
class Failure {
  public:
    Failure(const char* name, int error, long n = 1);
    bool happened() const { return calls_.calls() >= n_; }

  private:
    const long n_;
    Interception calls_;
};

// Kills this process (SIGKILL) in place of the n-th call of any function of the table from now on.
void dieAt(long n);

}  // namespace failing_calls

#endif
