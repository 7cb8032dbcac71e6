// SPDX-License-Identifier: MIT
//
// velutils lock run: runs a program under a lock.
//
// A mutex stays held when its holder dies. So this process blocks all signals before it takes the
// lock and until it has released it; only SIGKILL can end it in between. It leaves the dispositions
// alone. While it waits for the lock it restores the old mask every 100 ms, when it holds nothing,
// and pending signals take effect as usual. COMMAND starts with the old mask.
//
// The library's lock() has no time limit. So this process waits on the mutex itself, through a
// mapping of its own. Then the library's object locks the mutex once more, which never waits
// because the mutex is recursive, and the first lock is released.

#include "lock_run.h"

#include <velutils++/locks.h>

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "duration.h"
#include "lock_table.h"
#include "report.h"
#include "signals.h"
#include "status_entry.h"

namespace {

// The longest that a signal waits. A lock that becomes free is taken at once.
const int64_t SLICE = 100 * 1000 * 1000;  // ns

// Maps the mutex of a lock that the library has opened.
class MappedMutex {
  public:
    explicit MappedMutex(const std::string& name) {
        const Descriptor object(shm_open(name.c_str(), O_RDWR | O_CLOEXEC, 0));
        struct stat status;
        if (!object.isOpen() || fstat(object.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
            status.st_size != static_cast<off_t>(SIZE) || status.st_uid != geteuid())
            return;
        void* const region =
            mmap(nullptr, SIZE, PROT_READ | PROT_WRITE, MAP_SHARED, object.get(), 0);
        if (region != MAP_FAILED) mutex_ = static_cast<pthread_mutex_t*>(region);
    }
    MappedMutex(const MappedMutex&) = delete;
    MappedMutex& operator=(const MappedMutex&) = delete;
    ~MappedMutex() {
        if (mutex_ != nullptr) munmap(mutex_, SIZE);
    }

    pthread_mutex_t* get() const { return mutex_; }

  private:
    static const size_t SIZE = sizeof(pthread_mutex_t);
    pthread_mutex_t* mutex_ = nullptr;
};

// Lets pending signals take effect.
void admitSignals(const sigset_t& before) {
    sigset_t held;
    sigemptyset(&held);
    setSignalMask(SIG_SETMASK, before, &held);
    setSignalMask(SIG_SETMASK, held, nullptr);
}

// Locks the mutex. Returns 0, ETIMEDOUT or another error number.
int await(pthread_mutex_t* mutex, const Deadline& deadline, const sigset_t& before) {
    for (;;) {
        const struct timespec until = deadline.atMost(SLICE);
        const int error = pthread_mutex_clocklock(mutex, CLOCK_MONOTONIC, &until);
        if (error != ETIMEDOUT || deadline.isOver()) return error;
        admitSignals(before);
    }
}

// Takes the lock, and waits for it until the deadline. Returns 0, EBUSY, or another number.
int take(const std::string& name, CRecursiveSemaphore* lock, const Deadline& deadline,
         const sigset_t& before) {
    const int error = lock->trylock();
    if (error != EBUSY || deadline.isOver()) return error;
    const MappedMutex mutex(name);
    if (mutex.get() == nullptr) return -1;
    const int waited = await(mutex.get(), deadline, before);
    if (waited != 0) return waited == ETIMEDOUT ? EBUSY : waited;
    const int taken = lock->trylock();
    pthread_mutex_unlock(mutex.get());
    return taken;
}

[[noreturn]] void execute(char** command, const sigset_t& mask, const struct sigaction& onChild) {
    sigaction(SIGCHLD, &onChild, nullptr);
    setSignalMask(SIG_SETMASK, mask, nullptr);
    execvp(command[0], command);
    const int error = errno;
    failed(command[0], error);
    _exit(error == ENOENT ? 127 : 126);
}

bool isForwarded(int signal) {
    for (const int one : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2})
        if (signal == one) return true;
    return false;
}

// Passes a signal on. The terminal sends its signals to the whole foreground process group itself.
void forward(const siginfo_t& signal, pid_t child) {
    const bool isFromTerminal = signal.si_code == SI_KERNEL && getpgid(child) == getpgrp();
    if (isForwarded(signal.si_signo) && !isFromTerminal) kill(child, signal.si_signo);
}

// Waits until the child ends. Returns its exit status as a shell would.
int attend(pid_t child) {
    const sigset_t signals = endingSignals();
    for (;;) {
        int status;
        const pid_t ended = waitpid(child, &status, WNOHANG);
        if (ended == child)
            return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
        siginfo_t signal;
        if (sigwaitinfo(&signals, &signal) > 0) forward(signal, child);
    }
}

// Runs the command. Returns its exit status, or -1 with errno.
int run(char** command, const sigset_t& mask) {
    // If SIGCHLD is ignored, the kernel reaps the child and its status is lost.
    struct sigaction standard = {}, before;
    standard.sa_handler = SIG_DFL;
    sigaction(SIGCHLD, &standard, &before);
    const pid_t child = fork();
    if (child == 0) execute(command, mask, before);
    return child == -1 ? -1 : attend(child);
}

// The command after NAME and an optional "--"; null if there is none.
char** commandOf(const Request& request) {
    char** command = request.operands + 1;
    if (strcmp(*command, "--") == 0) ++command;
    return *command == nullptr ? nullptr : command;
}

}  // namespace

int lockRun(const Request& request) {
    if (request.tryOnce && request.isTimed)
        return wrongUsage(request, "--try and --timeout exclude each other");
    char** const command = commandOf(request);
    if (command == nullptr) return wrongUsage(request, "missing COMMAND");
    if (!isLockName(request.operands[0])) return failed(request.operands[0], "not a lock name");
    const std::string name = joined({"/", bareLockName(request.operands[0])});
    const Deadline deadline = request.tryOnce   ? Deadline::in(0)
                              : request.isTimed ? Deadline::in(request.timeout)
                                                : Deadline::never();

    CRecursiveSemaphore lock(name);
    const SignalsHeld held(endingSignals());
    const int error = take(name, &lock, deadline, held.before());
    if (error == EBUSY) return refused(bareLockName(name), "the lock is taken");
    if (error != 0)
        return failed(bareLockName(name), error > 0 ? strerror(error) : "no working lock");
    const int status = run(command, held.before());
    const int failure = errno;
    const int unlocked = lock.unlock();
    if (status == -1) return failed(command[0], failure);
    if (unlocked != 0) return failed(bareLockName(name), "the lock could not be released");
    return status;
}
