// SPDX-License-Identifier: MIT
//
// CRecursiveSemaphore: a process-shared recursive mutex, alone in a named shared-memory object.
//
//   | pthread_mutex_t |     /dev/shm/<name>, 24 bytes on the 32-bit platforms
//
// Set-up happens under the guard, one semaphore for all names and processes. The kernel gives the
// guard back when its holder dies, so whoever has it knows that no other set-up is under way, and
// that an object without a mutex in it was left behind by one that died:
//
//   size 0             died before the size was set           take over as new
//   all bytes zero     died before the mutex was initialised  take over as new
//   any other size     not ours                               refuse
//   otherwise          a mutex, free or held                  use
//
// An initialised mutex is never all zero, as its kind (recursive, process-shared) is not. A set-up
// that fails on a new object removes it, so that the next one begins afresh. A guard whose maker
// died before making it free is removed after a while, too.
//
// Tested by locks_test.cc.

#include <velutils++/locks.h>

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

class __attribute__((visibility("hidden"))) CRecursiveSemaphore::private_impl {
  public:
    explicit private_impl(const std::string& name);
    private_impl(const private_impl&) = delete;
    private_impl& operator=(const private_impl&) = delete;
    ~private_impl();

    static int init_mutextattrs(pthread_mutexattr_t* attr);

    int lock() { return isInitialized() ? pthread_mutex_lock(mutex) : -1; }
    int unlock() { return isInitialized() ? pthread_mutex_unlock(mutex) : -1; }
    int trylock() { return isInitialized() ? pthread_mutex_trylock(mutex) : -1; }
    bool isInitialized() { return mutex != nullptr; }

  private:
    bool initGuard();
    void setUp(const char* name);
    bool map(int fd);
    bool initializeMutex(const char* name);

    static const std::string SEM_PATHNAME;
    static const int SEM_PROJ_ID = 1;

    void* region;
    pthread_mutex_t* mutex;
    CSemaphore guard;
};

typedef CRecursiveSemaphore Lock;

const std::string Lock::private_impl::SEM_PATHNAME = "/usr/lib/libvelutils++.so.1.0.0";

namespace {

const size_t REGION_SIZE = sizeof(pthread_mutex_t);
static_assert(sizeof(void*) != 4 || REGION_SIZE == 24, "the objects are shared by all builds");

// Both give back what they own also when the thread is cancelled inside a system call.
struct HeldGuard {
    CSemaphore& guard;
    ~HeldGuard() { guard.unlock(); }
};

struct Descriptor {
    const int fd;
    ~Descriptor() {
        if (fd != -1) close(fd);
    }
};

int openOrCreate(const char* name) {
    const int fd = shm_open(name, O_RDWR, 0);
    return fd != -1 ? fd : shm_open(name, O_RDWR | O_CREAT, 0600);
}

// Finds out whether an object lacks its mutex. Returns 0 or an error number. The bytes are read,
// not mapped: to look at an untouched page of a mapping takes memory, and a signal if none is left.
int examine(int fd, bool* isNew) {
    struct stat status;
    if (fstat(fd, &status) != 0) return errno;
    *isNew = status.st_size == 0;
    if (*isNew) return 0;
    if (status.st_size != static_cast<off_t>(REGION_SIZE)) return EINVAL;
    static const char blank[REGION_SIZE] = {};
    char content[REGION_SIZE];
    const ssize_t n = pread(fd, content, REGION_SIZE, 0);
    if (n != static_cast<ssize_t>(REGION_SIZE)) return n == -1 ? errno : EINVAL;
    *isNew = memcmp(content, blank, REGION_SIZE) == 0;
    return 0;
}

// Gives an object its size and the memory for it: with the size alone, the first use of the
// mapping would end the process if the file system is full. Returns 0 or an error number.
int reserve(int fd) {
    if (ftruncate(fd, static_cast<off_t>(REGION_SIZE)) != 0) return errno;
    int error;
    do {
        error = posix_fallocate(fd, 0, static_cast<off_t>(REGION_SIZE));
    } while (error == EINTR);
    return error;
}

void logUnopened(int error) {
    syslog(LOG_ERR, "recursive-semaphore: unable to open shared memory - errno=%s",
           strerror(error));
}

void logUnmapped(int error) {
    syslog(LOG_ERR, "recursive-semaphore: mmap failed - errno=%s", strerror(error));
}

}  // namespace

Lock::private_impl::private_impl(const std::string& name)
    : region(MAP_FAILED), mutex(nullptr), guard(SEM_PATHNAME, SEM_PROJ_ID) {
    if (!initGuard()) {
        syslog(LOG_ERR, "recursive-semaphore: unable to init guarding semaphore");
        return;
    }
    if (guard.lock() != 0) {
        syslog(LOG_ERR, "recursive-semaphore: unable to lock guarding semaphore");
        return;
    }
    const HeldGuard held = {guard};
    setUp(name.c_str());
}

Lock::private_impl::~private_impl() {
    if (isInitialized()) munmap(region, REGION_SIZE);
}

bool Lock::private_impl::initGuard() {
    do
        if (guard.init() != 0) return false;
    while (!guard.awaitFirstUse());
    return true;
}

void Lock::private_impl::setUp(const char* name) {
    const Descriptor object = {openOrCreate(name)};
    if (object.fd == -1) return logUnopened(errno);
    bool isNew = false;
    const int unusable = examine(object.fd, &isNew);
    if (unusable != 0) return logUnmapped(unusable);
    if (!isNew) {
        map(object.fd);
        return;
    }
    const int unreserved = reserve(object.fd);
    if (unreserved != 0) {
        syslog(LOG_ERR, "recursive-semaphore: unable to ftruncate shared memory - errno=%s",
               strerror(unreserved));
        shm_unlink(name);
        return logUnopened(unreserved);
    }
    if (!map(object.fd) || !initializeMutex(name)) shm_unlink(name);
}

bool Lock::private_impl::map(int fd) {
    region = mmap(nullptr, REGION_SIZE, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (region == MAP_FAILED) {
        logUnmapped(errno);
        return false;
    }
    mutex = static_cast<pthread_mutex_t*>(region);
    return true;
}

bool Lock::private_impl::initializeMutex(const char* name) {
    pthread_mutexattr_t attributes;
    if (init_mutextattrs(&attributes) == 0) {
        const int error = pthread_mutex_init(mutex, &attributes);
        pthread_mutexattr_destroy(&attributes);
        if (error == 0) {
            syslog(LOG_DEBUG, "created recursive semaphore \"%s\"", name);
            return true;
        }
        syslog(LOG_ERR, "recursive-semaphore: unable to initialize mutex - errno=%s",
               strerror(error));
    }
    munmap(region, REGION_SIZE);
    region = MAP_FAILED;
    mutex = nullptr;
    return false;
}

int Lock::private_impl::init_mutextattrs(pthread_mutexattr_t* attr) {
    if (pthread_mutexattr_init(attr) != 0) {
        syslog(LOG_ERR, "recursive-semaphore: unable initialize attributes");
        return -1;
    }
    if (pthread_mutexattr_setpshared(attr, PTHREAD_PROCESS_SHARED) != 0 ||
        pthread_mutexattr_settype(attr, PTHREAD_MUTEX_RECURSIVE) != 0) {
        syslog(LOG_ERR, "recursive-semaphore: unable to set attribute \"recursive\"");
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
