// SPDX-License-Identifier: MIT
//
// CRecursiveSemaphore: a process-shared recursive mutex, which fills a named shared-memory object.
//
//   | pthread_mutex_t |     /dev/shm/<name>, 24 bytes on the 32-bit platforms
//
// A process holds the guard, one semaphore for all names and processes, while it sets up an object.
// The kernel releases the guard when its holder dies. So the holder knows that no other set-up is
// running, and that an unfinished object was left by a process that died. The sticky bit marks an
// object as unfinished, from before it gets its size until its mutex is initialised. Nothing else
// sets that bit on an object.
//
//   another user's, or no regular file   fail, before anything else
//   size 0, or marked                    set up as new
//   any other wrong size                 not ours: fail
//   otherwise                            use: it holds a mutex, free or held
//
// A set-up that fails on a new object removes it, so that the next set-up starts from the
// beginning. Nothing waits while it holds the guard: messages are logged after the guard is
// released.
//
// Tested by locks_test.cc and, under load, by load/storm.cc.

#include <velutils++/locks.h>

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include "semaphore_internal.h"

namespace {

const size_t REGION_SIZE = sizeof(pthread_mutex_t);
static_assert(sizeof(void*) != 4 || REGION_SIZE == 24, "the objects are shared by all builds");

const mode_t MODE = 0600;
const mode_t UNFINISHED = S_ISVTX;

// How often takeGuard() tries while other processes remove the guard.
const int ATTEMPTS = 100;

const char UNOPENED[] = "recursive-semaphore: unable to open shared memory - errno=%s";
const char UNSIZED[] = "recursive-semaphore: unable to ftruncate shared memory - errno=%s";
const char UNMAPPED[] = "recursive-semaphore: mmap failed - errno=%s";

// What a set-up logs: a failure with its error number, or a success with the lock's name.
struct Message {
    const char* text;  // null: nothing to log
    int error;         // 0: success
};

void log(const Message& message, const char* name) {
    if (message.text == nullptr) return;
    if (message.error == 0) return syslog(LOG_DEBUG, message.text, name);
    syslog(LOG_ERR, message.text, strerror(message.error));
    if (message.text == UNSIZED) log({UNOPENED, message.error}, name);
}

struct Descriptor {
    const int fd;
    ~Descriptor() {
        if (fd != -1) close(fd);
    }
};

int openOrCreate(const char* name) {
    const int fd = shm_open(name, O_RDWR, 0);
    return fd != -1 ? fd : shm_open(name, O_RDWR | O_CREAT, MODE);
}

// Gives an object its size and reserves the memory for it. Without the memory, the first access to
// the mapping would kill the process (SIGBUS) if the file system is full. Returns 0 or an error
// number.
int reserve(int fd) {
    if (fchmod(fd, MODE | UNFINISHED) != 0) return errno;
    if (ftruncate(fd, static_cast<off_t>(REGION_SIZE)) != 0) return errno;
    int error;
    do {
        error = posix_fallocate(fd, 0, static_cast<off_t>(REGION_SIZE));
    } while (error == EINTR);
    return error;
}

}  // namespace

class __attribute__((visibility("hidden"))) CRecursiveSemaphore::private_impl {
  public:
    explicit private_impl(const std::string& name);
    private_impl(const private_impl&) = delete;
    private_impl& operator=(const private_impl&) = delete;
    ~private_impl();

    static int init_mutextattrs(pthread_mutexattr_t* attr, Message* failure);

    int lock() { return isInitialized() ? pthread_mutex_lock(mutex) : -1; }
    int unlock() { return isInitialized() ? pthread_mutex_unlock(mutex) : -1; }
    int trylock() { return isInitialized() ? pthread_mutex_trylock(mutex) : -1; }
    bool isInitialized() { return mutex != nullptr; }

  private:
    private_impl();
    bool takeGuard();
    Message setUp(const char* name);
    Message map(int fd);
    void unmap();
    Message initializeMutex(int fd);

    static constexpr char SEM_PATHNAME[] = "/usr/lib/libvelutils++.so.1.0.0";
    static const int SEM_PROJ_ID = 1;

    void* region;
    pthread_mutex_t* mutex;
    CSemaphore guard;
};

typedef CRecursiveSemaphore Lock;

Lock::private_impl::private_impl()
    : region(MAP_FAILED), mutex(nullptr), guard(SEM_PATHNAME, SEM_PROJ_ID) {}

// Cancellation is off while the guard is held. A thread may be cancelled later, in syslog(3), which
// destroys the object. The object is complete by then.
Lock::private_impl::private_impl(const std::string& name) : private_impl() {
    if (!takeGuard()) return;
    int cancellation = PTHREAD_CANCEL_ENABLE;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancellation);
    const Message message = setUp(name.c_str());
    const CSemaphore::Failure kept = guard.tryUnlock();
    pthread_setcancelstate(cancellation, nullptr);
    log(message, name.c_str());
    guard.report(kept);
}

Lock::private_impl::~private_impl() {
    if (isInitialized()) unmap();
}

bool Lock::private_impl::takeGuard() {
    for (int attempt = 1;; ++attempt) {
        const char* message = "recursive-semaphore: unable to init guarding semaphore";
        CSemaphore::Failure failure = guard.tryInit();
        if (failure.message == nullptr) failure = guard.awaitFirstUse();
        if (failure.message == nullptr) {
            message = "recursive-semaphore: unable to lock guarding semaphore";
            failure = guard.tryLockUnmarked();
        }
        if (failure.message == nullptr) return true;
        const bool wasRemoved = failure.error == EIDRM || failure.error == EINVAL;
        if (wasRemoved && attempt < ATTEMPTS) continue;
        guard.report(failure);
        syslog(LOG_ERR, "%s", message);
        return false;
    }
}

Message Lock::private_impl::setUp(const char* name) {
    const Descriptor object = {openOrCreate(name)};
    if (object.fd == -1) return {UNOPENED, errno};
    struct stat status;
    if (fstat(object.fd, &status) != 0) return {UNMAPPED, errno};
    // The owner of a mutex's memory could make a daemon that uses it write anywhere.
    if (!S_ISREG(status.st_mode) || status.st_uid != geteuid()) return {UNOPENED, EPERM};
    const bool isNew = status.st_size == 0 || (status.st_mode & UNFINISHED) != 0;
    if (!isNew && status.st_size != static_cast<off_t>(REGION_SIZE)) return {UNMAPPED, EINVAL};
    if (!isNew) return map(object.fd);
    const int error = reserve(object.fd);
    Message message = error != 0 ? Message{UNSIZED, error} : map(object.fd);
    if (message.error == 0) message = initializeMutex(object.fd);
    if (message.error != 0) shm_unlink(name);
    return message;
}

Message Lock::private_impl::map(int fd) {
    region = mmap(nullptr, REGION_SIZE, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (region == MAP_FAILED) return {UNMAPPED, errno};
    mutex = static_cast<pthread_mutex_t*>(region);
    return {};
}

void Lock::private_impl::unmap() {
    munmap(region, REGION_SIZE);
    region = MAP_FAILED;
    mutex = nullptr;
}

Message Lock::private_impl::initializeMutex(int fd) {
    pthread_mutexattr_t attributes;
    Message message = {"created recursive semaphore \"%s\"", 0};
    if (init_mutextattrs(&attributes, &message) == 0) {
        int error = pthread_mutex_init(mutex, &attributes);
        pthread_mutexattr_destroy(&attributes);
        if (error == 0 && fchmod(fd, MODE) != 0) error = errno;
        if (error == 0) return message;
        message = {"recursive-semaphore: unable to initialize mutex - errno=%s", error};
    }
    unmap();
    return message;
}

int Lock::private_impl::init_mutextattrs(pthread_mutexattr_t* attr, Message* failure) {
    if (pthread_mutexattr_init(attr) != 0) {
        *failure = {"recursive-semaphore: unable initialize attributes", -1};
        return -1;
    }
    if (pthread_mutexattr_setpshared(attr, PTHREAD_PROCESS_SHARED) != 0 ||
        pthread_mutexattr_settype(attr, PTHREAD_MUTEX_RECURSIVE) != 0) {
        *failure = {"recursive-semaphore: unable to set attribute \"recursive\"", -1};
        pthread_mutexattr_destroy(attr);
        return -1;
    }
    return 0;
}

CRecursiveSemaphore::CRecursiveSemaphore(const std::string& name) : impl(new private_impl(name)) {}

CRecursiveSemaphore::~CRecursiveSemaphore() = default;

int CRecursiveSemaphore::lock() {
    return impl ? impl->lock() : -1;
}

int CRecursiveSemaphore::unlock() {
    return impl ? impl->unlock() : -1;
}

int CRecursiveSemaphore::trylock() {
    return impl ? impl->trylock() : -1;
}
