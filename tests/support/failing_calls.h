// SPDX-License-Identifier: MIT
//
// System calls that fail, wait or end the process when a test wants it. The program's own functions
// of these names replace those of the C library, also for the library under test. They pass every
// call on unless a test intercepts it. Add what you need to the table in failing_calls.cc.

#ifndef VELUTILS_TESTS_FAILING_CALLS_H
#define VELUTILS_TESTS_FAILING_CALLS_H

#include <functional>

namespace failing_calls {

// Any function of the table.
extern const char* const ANY;

// While it lives, `action` runs before every call of `name` by this thread, with the number of the
// call (1 is the first). It returns the error number for a call that is to fail, or 0. Its own
// calls are not intercepted. If two intercept the same call, the younger one acts.
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
class Failure : public Interception {
  public:
    Failure(const char* name, int error, long n = 1);
    bool happened() const { return calls() >= n_; }

  private:
    const long n_;
};

// Kills this process (SIGKILL) instead of the n-th call, from now on, of any function of the table.
void dieAt(long n);

}  // namespace failing_calls

#endif
