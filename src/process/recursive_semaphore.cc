// SPDX-License-Identifier: MIT
//
// CRecursiveSemaphore: a process-shared recursive mutex, alone in a named shared-memory object.
//
//   | pthread_mutex_t |     /dev/shm/<name>, 24 bytes on the 32-bit platforms
//
// Set-up happens under the guard, one semaphore for all names and processes. The kernel gives the
// guard back when its holder dies, so whoever has it knows that no other set-up is under way, and
// that an unfinished object was left behind by one that died. An object is marked as unfinished by
// its owner's x permission from before it has its size until its mutex is initialised:
//
//   size 0, or marked     take over as new
//   any other wrong size  not ours: refuse
//   otherwise             holds a mutex, free or held: use
//
// A set-up that fails on a new object removes it, so that the next one begins afresh. A guard whose
// maker died before making it free is removed after a while, too.
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
    bool initializeMutex(int fd, const char* name);

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

const mode_t MODE = 0600;
const mode_t UNFINISHED = 0700;

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
    return fd != -1 ? fd : shm_open(name, O_RDWR | O_CREAT, MODE);
}

// Finds out whether an object lacks its mutex. Returns 0 or an error number.
int examine(int fd, bool* isNew) {
    struct stat status;
    if (fstat(fd, &status) != 0) return errno;
    *isNew = status.st_size == 0 || (status.st_mode & (UNFINISHED & ~MODE)) != 0;
    return *isNew || status.st_size == static_cast<off_t>(REGION_SIZE) ? 0 : EINVAL;
}

// Gives an object its size and the memory for it: with the size alone, the first use of the
// mapping would end the process if the file system is full. Returns 0 or an error number.
int reserve(int fd) {
    if (fchmod(fd, UNFINISHED) != 0) return errno;
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
    if (!map(object.fd) || !initializeMutex(object.fd, name)) shm_unlink(name);
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

bool Lock::private_impl::initializeMutex(int fd, const char* name) {
    pthread_mutexattr_t attributes;
    if (init_mutextattrs(&attributes) == 0) {
        int error = pthread_mutex_init(mutex, &attributes);
        pthread_mutexattr_destroy(&attributes);
        if (error == 0 && fchmod(fd, MODE) != 0) error = errno;
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
