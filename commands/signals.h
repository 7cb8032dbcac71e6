// SPDX-License-Identifier: MIT
//
// Signals held back. The kernel's own call is used: that of the C library leaves out two signals
// which it keeps for threads, and which end a process like others.

#ifndef VELUTILS_COMMANDS_SIGNALS_H
#define VELUTILS_COMMANDS_SIGNALS_H

#include <signal.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

// As sigprocmask(2).
inline void setSignalMask(int how, const sigset_t& signals, sigset_t* before) {
    syscall(SYS_rt_sigprocmask, how, &signals, before, _NSIG / 8);
}

// Holds signals back while it lives. Those that arrived then take effect.
class SignalsHeld {
  public:
    explicit SignalsHeld(const sigset_t& signals) {
        sigemptyset(&before_);
        setSignalMask(SIG_BLOCK, signals, &before_);
    }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;
    ~SignalsHeld() { setSignalMask(SIG_SETMASK, before_, nullptr); }

    // The mask that was in force before.
    const sigset_t& before() const { return before_; }

  private:
    sigset_t before_;
};

// Every signal but those that stop a process and let it go on.
inline sigset_t endingSignals() {
    sigset_t signals;
    memset(&signals, 0xff, sizeof signals);
    for (const int stop : {SIGTSTP, SIGTTIN, SIGTTOU, SIGCONT}) sigdelset(&signals, stop);
    return signals;
}

#endif
