// SPDX-License-Identifier: MIT

#include "tests/support/failing_calls.h"

#include <dlfcn.h>
#include <errno.h>
#include <signal.h>
#include <stdint.h>
#include <string.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <utility>

namespace {

thread_local failing_calls::Interception* current;

// The error number that a call is to fail with, or 0.
int intercept(const char* name) {
    return current != nullptr ? current->intercept(name) : 0;
}

template <class Result>
Result withErrno(int error, Result result) {
    errno = error;
    return result;
}

}  // namespace

// CALL(name, symbol, failure, result, parameters, arguments): `failure` is the result of a call
// that fails with `error`. The functions have other names in C++, because the declarations in
// system headers differ between C libraries. They are weak, so that a program may define its own.
#define CALL(name, symbol, failure, result, parameters, arguments)                            \
    extern "C" __attribute__((weak)) result intercepted_##symbol parameters __asm__(#symbol); \
    result intercepted_##symbol parameters {                                                  \
        static const auto real =                                                              \
            reinterpret_cast<result(*) parameters>(dlsym(RTLD_NEXT, #symbol));                \
        const int error = intercept(name);                                                    \
        return error != 0 ? failure : real arguments;                                         \
    }
#define MINUS_ONE withErrno(error, -1)
#define NO_MEMORY withErrno(error, reinterpret_cast<void*>(-1))
#define NOTHING withErrno(error, static_cast<void*>(nullptr))

// clang-format off
CALL("ftok", ftok, MINUS_ONE, int, (const char* path, int id), (path, id))
CALL("semget", semget, MINUS_ONE, int, (int key, int count, int flags), (key, count, flags))
CALL("semop", semop, MINUS_ONE, int, (int id, void* operations, size_t n), (id, operations, n))
CALL("semctl", semctl, MINUS_ONE, int, (int id, int n, int command, void* argument), (id, n, command, argument))
CALL("nanosleep", nanosleep, MINUS_ONE, int, (const void* time, void* left), (time, left))
CALL("shm_open", shm_open, MINUS_ONE, int, (const char* name, int flags, mode_t mode), (name, flags, mode))
CALL("pthread_mutexattr_init", pthread_mutexattr_init, error, int, (void* attr), (attr))
CALL("pthread_mutexattr_setpshared", pthread_mutexattr_setpshared, error, int, (void* attr, int v), (attr, v))
CALL("pthread_mutexattr_settype", pthread_mutexattr_settype, error, int, (void* attr, int type), (attr, type))
CALL("pthread_mutex_init", pthread_mutex_init, error, int, (void* mutex, const void* attr), (mutex, attr))

// Which of its variants a call reaches depends on the width of off_t and time_t.
CALL("fstat", fstat, MINUS_ONE, int, (int fd, void* status), (fd, status))
CALL("fstat", fstat64, MINUS_ONE, int, (int fd, void* status), (fd, status))
CALL("fstat", __fstat64_time64, MINUS_ONE, int, (int fd, void* status), (fd, status))
CALL("lstat", lstat64, MINUS_ONE, int, (const char* path, void* status), (path, status))
CALL("statx", statx, MINUS_ONE, int, (int fd, const char* path, int flags, unsigned mask, void* out),
     (fd, path, flags, mask, out))
CALL("open", open, MINUS_ONE, int, (const char* path, int flags, mode_t mode), (path, flags, mode))
CALL("open", open64, MINUS_ONE, int, (const char* path, int flags, mode_t mode), (path, flags, mode))
CALL("openat", openat, MINUS_ONE, int, (int fd, const char* path, int flags, mode_t mode), (fd, path, flags, mode))
CALL("read", read, MINUS_ONE, ssize_t, (int fd, void* data, size_t n), (fd, data, n))
CALL("read", __read_chk, MINUS_ONE, ssize_t, (int fd, void* data, size_t n, size_t room), (fd, data, n, room))
CALL("write", write, MINUS_ONE, ssize_t, (int fd, const void* data, size_t n), (fd, data, n))
CALL("fsync", fsync, MINUS_ONE, int, (int fd), (fd))
CALL("flock", flock, MINUS_ONE, int, (int fd, int operation), (fd, operation))
CALL("fcntl", fcntl, MINUS_ONE, int, (int fd, int command, long argument), (fd, command, argument))
CALL("renameat", renameat, MINUS_ONE, int, (int from, const char* path, int to, const char* name), (from, path, to, name))
CALL("opendir", opendir, NOTHING, void*, (const char* path), (path))
CALL("socket", socket, MINUS_ONE, int, (int domain, int type, int protocol), (domain, type, protocol))
CALL("setsockopt", setsockopt, MINUS_ONE, int, (int fd, int level, int name, const void* data, unsigned n),
     (fd, level, name, data, n))
CALL("getifaddrs", getifaddrs, MINUS_ONE, int, (void** list), (list))
CALL("epoll_ctl", epoll_ctl, MINUS_ONE, int, (int epoll, int operation, int fd, void* event), (epoll, operation, fd, event))
// A failing close closes the descriptor, as in the kernel.
CALL("close", close, (real(fd), MINUS_ONE), int, (int fd), (fd))
CALL("fchmod", fchmod, MINUS_ONE, int, (int fd, mode_t mode), (fd, mode))
CALL("ftruncate", ftruncate, MINUS_ONE, int, (int fd, long size), (fd, size))
CALL("ftruncate", ftruncate64, MINUS_ONE, int, (int fd, int64_t size), (fd, size))
CALL("posix_fallocate", posix_fallocate, error, int, (int fd, long at, long n), (fd, at, n))
CALL("posix_fallocate", posix_fallocate64, error, int, (int fd, int64_t at, int64_t n), (fd, at, n))
#ifndef VELUTILS_SANITIZER_HEAP
CALL("mmap", mmap, NO_MEMORY, void*, (void* where, size_t n, int protection, int flags, int fd, long at),
     (where, n, protection, flags, fd, at))
CALL("mmap", mmap64, NO_MEMORY, void*, (void* where, size_t n, int protection, int flags, int fd, int64_t at),
     (where, n, protection, flags, fd, at))
#endif
// clang-format on

#ifdef VELUTILS_SANITIZER_HEAP
// A sanitizer maps memory while it starts, long before dlsym(3) may be called.
#define MAP(symbol)                                                                                \
    extern "C" void* intercepted_##symbol(void*, size_t, int, int, int, int64_t) __asm__(#symbol); \
    void* intercepted_##symbol(void* where, size_t n, int protection, int flags, int fd,           \
                               int64_t at) {                                                       \
        const int error = intercept("mmap");                                                       \
        if (error != 0) return NO_MEMORY;                                                          \
        return reinterpret_cast<void*>(syscall(SYS_mmap, where, n, protection, flags, fd, at));    \
    }
MAP(mmap)
MAP(mmap64)
#endif

namespace failing_calls {

const char* const ANY = "any";

Interception::Interception(const char* name, Action action)
    : name_(name), action_(std::move(action)), older_(current), calls_(0) {
    current = this;
}

Interception::~Interception() {
    current = older_;
}

int Interception::intercept(const char* name) {
    if (name_ != ANY && strcmp(name_, name) != 0)
        return older_ != nullptr ? older_->intercept(name) : 0;
    Interception* const youngest = current;
    current = nullptr;
    const int error = action_(++calls_);
    current = youngest;
    return error;
}

Failure::Failure(const char* name, int error, long n)
    : Interception(name, [=](long i) { return i == n ? error : 0; }), n_(n) {}

void dieAt(long n) {
    static Interception death(ANY, [=](long i) { return i == n ? kill(getpid(), SIGKILL) : 0; });
}

}  // namespace failing_calls
