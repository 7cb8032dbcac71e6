// SPDX-License-Identifier: MIT
//
// Blocks signals with the kernel's own call. The C library's leaves out two signals that it
// reserves for threads, but those end a process like others.

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

// Blocks signals while it lives. Signals that arrive take effect afterwards.
class SignalsHeld {
  public:
    explicit SignalsHeld(const sigset_t& signals) {
        sigemptyset(&before_);
        setSignalMask(SIG_BLOCK, signals, &before_);
    }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;
    ~SignalsHeld() { setSignalMask(SIG_SETMASK, before_, nullptr); }

    // The mask from before.
    const sigset_t& before() const { return before_; }

  private:
    sigset_t before_;
};

// All signals but those of job control, which stop and continue a process.
inline sigset_t endingSignals() {
    sigset_t signals;
    memset(&signals, 0xff, sizeof signals);
    for (const int stop : {SIGTSTP, SIGTTIN, SIGTTOU, SIGCONT}) sigdelset(&signals, stop);
    return signals;
}

#endif
