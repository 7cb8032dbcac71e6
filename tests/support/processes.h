// SPDX-License-Identifier: MIT
//
// Child processes.

#ifndef VELUTILS_TESTS_PROCESSES_H
#define VELUTILS_TESTS_PROCESSES_H

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

// A child that ends with the result of `body`, after a minute at the latest.
class Process {
  public:
    template <class Body>
    explicit Process(Body body) : pid_(fork()) {
        if (pid_ != 0) return;
        alarm(60);
        _exit(body());
    }
    ~Process() { result(SIGKILL); }
    Process(const Process&) = delete;

    pid_t pid() const { return pid_; }
    void signal(int number) const { kill(pid_, number); }

    // Waits for its end. Returns its exit status, or minus the signal that ended it.
    int result(int withSignal = 0) {
        if (pid_ <= 0) return 0;
        signal(withSignal);
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

  private:
    pid_t pid_;
};

// Waits up to half a minute until another process has made the condition true.
template <class Condition>
bool soon(Condition holds) {
    for (int i = 0; i < 30000; ++i) {
        if (holds()) return true;
        usleep(1000);
    }
    return false;
}

#endif
