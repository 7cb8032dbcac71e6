// SPDX-License-Identifier: MIT

#include <velutils++/locks.h>

#include <gtest/gtest.h>

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <string.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/sem.h>
#include <sys/stat.h>

#include <atomic>

#include "tests/support/failing_calls.h"
#include "tests/support/files.h"
#include "tests/support/processes.h"
#include "tests/support/syslog_reader.h"

namespace {

using failing_calls::Failure;
typedef CRecursiveSemaphore Mutex;

const std::string LIBRARY = "/usr/lib/libvelutils++.so.1.0.0";
const char NAME[] = "/lock-of-the-tests";
const char OBJECT[] = "/dev/shm/lock-of-the-tests";
const char CREATED[] = "7created recursive semaphore \"/lock-of-the-tests\"";

// What parent and children both see.
struct Shared {
    std::atomic<bool> go;
    std::atomic<int> signals;
    volatile int counter;
};
Shared* const shared = static_cast<Shared*>(
    mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

// Looks at the set of a key file past the library.
class LockTest : public testing::Test {
  protected:
    explicit LockTest(const char* keyFile) : file(keyFile) {
        CSemaphore warmUp("", 1);  // syslog(3) keeps what it allocates at first
        log.messages();
    }
    ~LockTest() override { removeSet(); }
    int set(int id = 1) const { return semget(ftok(file, id), 0, 0); }
    int removeSet(int id = 1) const { return semctl(set(id), 0, IPC_RMID); }
    int value() const { return semctl(set(), 0, GETVAL); }  // -1: no set
    bool isAwaited() const {
        return soon([this] { return semctl(set(), 0, GETNCNT) == 1; });
    }
    // What was logged since the last call.
    void expectLog(const std::vector<std::string>& messages) {
        EXPECT_EQ(messages, log.messages());
    }

    const char* const file;
    SyslogReader log;
};

class SemaphoreTest : public LockTest {
  protected:
    SemaphoreTest() : LockTest("/tmp/key") { writeFile(file, ""); }
    CSemaphore lock{file, 1};
};

TEST_F(SemaphoreTest, BadArgumentsAreLoggedAndTried) {
    CSemaphore nothing("", 0);
    EXPECT_EQ(-1, nothing.init());
    EXPECT_EQ(-1, nothing.lock());
    EXPECT_EQ(-1, nothing.unlock());
    EXPECT_EQ(-1, CSemaphore("/tmp/key/below", 1).init());
    expectLog({"3CSemaphore - constructed with empty pathname!",
               "3CSemaphore - constructed with invalid projectID!",
               "3CSemaphore::init() - ftok failed (errno=2) for file ",
               "3CSemaphore::lock() - invalid semId!", "3CSemaphore::unlock() - invalid semId!",
               "3CSemaphore::init() - ftok failed (errno=20) for file /tmp/key/below"});
    EXPECT_EQ(0, CSemaphore(file, -1).init());
    expectLog({});
    EXPECT_EQ(0, CSemaphore(file, 0).init());
    expectLog({"3CSemaphore - constructed with invalid projectID!"});
    EXPECT_EQ(0, removeSet(-1));
    EXPECT_EQ(0, removeSet(0));
}

TEST_F(SemaphoreTest, ObjectsOfOneKeyShareOneSemaphore) {
    EXPECT_EQ(0, lock.init());
    EXPECT_EQ(1, value());
    struct semid_ds status;
    EXPECT_EQ(0, semctl(set(), 0, IPC_STAT, &status));
    EXPECT_EQ(1u, status.sem_nsems);
    EXPECT_EQ(0600, status.sem_perm.mode & 0777);
    CSemaphore other(file, 1);
    EXPECT_EQ(0, lock.lock());
    EXPECT_EQ(0, other.init() | lock.init());
    EXPECT_EQ(0, value());  // they leave it
    Process waiter([&] { return other.lock() | other.unlock(); });
    EXPECT_TRUE(isAwaited());
    EXPECT_EQ(0, lock.unlock());
    EXPECT_EQ(0, waiter.result());
    EXPECT_EQ(1, value());
    expectLog({});
}

TEST_F(SemaphoreTest, TheKernelGivesBackWhatADeadHolderHeld) {
    EXPECT_EQ(0, lock.init());
    Process holder([&] { return CSemaphore(lock).lock() | pause(); });  // destroyed, still held
    EXPECT_TRUE(soon([&] { return value() == 0; }));
    EXPECT_EQ(-SIGKILL, holder.result(SIGKILL));
    EXPECT_EQ(1, value());
}

TEST_F(SemaphoreTest, ARemovedSetEndsTheWaitAndASignalDoesNot) {
    EXPECT_EQ(0, lock.init() | lock.lock());
    Process waiter([&] {
        signal(SIGUSR1, [](int) { ++shared->signals; });
        return lock.lock() == -1 && lock.unlock() == -1 ? 0 : 1;
    });
    EXPECT_TRUE(isAwaited());
    waiter.signal(SIGUSR1);
    EXPECT_TRUE(soon([] { return shared->signals == 1; }));
    EXPECT_TRUE(isAwaited());  // again, after the handler
    EXPECT_EQ(0, removeSet());
    EXPECT_EQ(0, waiter.result());
    expectLog({"3CSemaphore::lock() - semop failed, errno=43",
               "3CSemaphore::unlock() - semop() failed errno=22"});
}

TEST_F(SemaphoreTest, FailuresOfInit) {
    {
        Failure failure("semop", ERANGE);
        EXPECT_EQ(-1, lock.init());
    }
    EXPECT_EQ(-1, set());  // it would be a lock that nobody can take
    EXPECT_EQ(-1, lock.lock());
    expectLog({"3CSemaphore::init() - semop() failed - unable to initialize semaphore - errno=34",
               "3CSemaphore::lock() - invalid semId!"});
    EXPECT_EQ(0, lock.init() | lock.lock());
    Failure failure("semget", EACCES, 2);  // it exists, and is somebody else's
    EXPECT_EQ(-1, lock.init());
    expectLog({"3CSemaphore::init() - unable to obtain semaphore-set - errno=13"});
}

class RecursiveSemaphoreTest : public LockTest {
  protected:
    RecursiveSemaphoreTest() : LockTest(LIBRARY.c_str()) {
        EXPECT_EQ(0, CSemaphore(LIBRARY, 1).init());  // the guard
    }
    ~RecursiveSemaphoreTest() override { shm_unlink(NAME); }

    // 0, or why there is no lock.
    static int tryOnce(const char* name = NAME) {
        Mutex lock(name);
        const int result = lock.trylock();
        return result != 0 ? result : lock.unlock();
    }
    static int inChild(int (Mutex::*operation)()) {
        return Process([=] { return (Mutex(NAME).*operation)(); }).result();
    }
    // Opening works; the mutex is recursive, shared and free; nothing was left behind.
    void expectWorking() {
        const int descriptors = openDescriptors();
        {
            Mutex lock(NAME);
            EXPECT_EQ(0, lock.lock() | lock.lock() | lock.unlock());
            EXPECT_EQ(EBUSY, inChild(&Mutex::trylock));
            EXPECT_EQ(EPERM, inChild(&Mutex::unlock));
            EXPECT_EQ(0, lock.unlock());
            EXPECT_EQ(EPERM, lock.unlock());
            EXPECT_EQ(0, inChild(&Mutex::trylock));  // ends with it held
        }
        EXPECT_EQ(EBUSY, tryOnce());
        EXPECT_EQ(0, shm_unlink(NAME));
        EXPECT_EQ(1, value());
        EXPECT_EQ(descriptors, openDescriptors());
        EXPECT_EQ(std::string::npos, contentOf("/proc/self/maps").find(OBJECT));
    }
};

std::string failed(const char* what, int error) {
    return std::string("3recursive-semaphore: ") + what + " - errno=" + strerror(error);
}

TEST_F(RecursiveSemaphoreTest, TheObject) {
    EXPECT_EQ(0, tryOnce());
    expectLog({CREATED});
    struct stat status;
    ASSERT_EQ(0, stat(OBJECT, &status));
    EXPECT_EQ(S_IFREG | 0600u, status.st_mode);
    EXPECT_EQ(sizeof(pthread_mutex_t), contentOf(OBJECT).size());
    expectWorking();
    expectLog({});
}

TEST_F(RecursiveSemaphoreTest, ManyProcessesCreateOneName) {
    const auto body = [] {
        while (!shared->go) sched_yield();
        Mutex lock(NAME);
        for (int i = 0; i < 100; ++i) {
            if (lock.lock() != 0) return 1;
            const int seen = shared->counter;
            sched_yield();  // lets the others come and wait
            shared->counter = seen + 1;
            if (lock.unlock() != 0) return 1;
        }
        return 0;
    };
    for (int round = 0; round < 20; ++round) {
        removeSet();  // they race for the guard, too
        shared->go = false;
        shared->counter = 0;
        Process racers[] = {Process(body), Process(body), Process(body), Process(body),
                            Process(body), Process(body), Process(body), Process(body)};
        shared->go = true;
        for (Process& racer : racers) EXPECT_EQ(0, racer.result());
        EXPECT_EQ(800, shared->counter);
        expectWorking();
        expectLog({CREATED});
    }
}

TEST_F(RecursiveSemaphoreTest, NamesThatAreRefused) {
    const std::string tooLong(300, 'n');
    for (const char* name : {"", "/", "a/b", "/..", tooLong.c_str()}) {
        EXPECT_EQ(-1, shm_open(name, O_RDWR | O_CREAT, 0600));
        const int error = errno;
        EXPECT_EQ(-1, tryOnce(name));
        expectLog({failed("unable to open shared memory", error)});
    }
}

TEST_F(RecursiveSemaphoreTest, WithoutTheLibraryFileNothingIsOpened) {
    ASSERT_EQ(0, rename(file, "/usr/lib/away"));
    EXPECT_EQ(-1, tryOnce());
    ASSERT_EQ(0, rename("/usr/lib/away", file));
    expectLog({"3CSemaphore::init() - ftok failed (errno=2) for file " + LIBRARY,
               "3recursive-semaphore: unable to init guarding semaphore"});
    EXPECT_FALSE(exists(OBJECT));
}

TEST_F(RecursiveSemaphoreTest, ObjectsFoundThere) {
    const size_t size = sizeof(pthread_mutex_t);
    const std::string unusable = failed("mmap failed", EINVAL);
    const struct {
        size_t size;
        mode_t mode;
        int result;
        std::vector<std::string> messages;
    } rows[] = {
        {size - 1, 0600, -1, {unusable}},
        {size + 1, 0600, -1, {unusable}},
        {size, 0600, 0, {}},  // is used as it is
        // Their creators died before the mutex was made: size and mark tell.
        {0, 0600, 0, {CREATED}},
        {size, 0700, 0, {CREATED}},
        {size - 1, 0700, 0, {CREATED}},
    };
    for (const auto& row : rows) {
        const std::string zeros(row.size, '\0');
        writeFile(OBJECT, zeros);
        EXPECT_EQ(0, chmod(OBJECT, row.mode));
        EXPECT_EQ(row.result, tryOnce());
        expectLog(row.messages);
        struct stat status;
        EXPECT_EQ(0, stat(OBJECT, &status));
        EXPECT_EQ(S_IFREG | 0600u, status.st_mode);
        if (row.messages == std::vector<std::string>{CREATED})
            expectWorking();
        else
            EXPECT_EQ(zeros, contentOf(OBJECT));
    }
    shm_unlink(NAME);
    Mutex lock(NAME);
    for (const char* call : {"fstat", "mmap"}) {
        Failure failure(call, ENOMEM);
        EXPECT_EQ(-1, tryOnce());
        EXPECT_TRUE(exists(OBJECT));  // not ours to remove
    }
    expectLog({CREATED, failed("mmap failed", ENOMEM), failed("mmap failed", ENOMEM)});
}

TEST_F(RecursiveSemaphoreTest, EachCallFailsOnceOnANewObject) {
    const std::string unsized = failed("unable to ftruncate shared memory", EPERM);
    const std::string unopened = failed("unable to open shared memory", EPERM);
    const std::string unset = "3recursive-semaphore: unable to set attribute \"recursive\"";
    const std::string uninitialized = failed("unable to initialize mutex", EPERM);
    const struct {
        const char* call;
        std::vector<std::string> messages;
        int n = 1;
    } rows[] = {
        {"semget",
         {"3CSemaphore::init() - unable to obtain semaphore-set - errno=1",
          "3recursive-semaphore: unable to init guarding semaphore"}},
        {"semop",
         {"3CSemaphore::lock() - semop failed, errno=1",
          "3recursive-semaphore: unable to lock guarding semaphore"}},
        {"shm_open", {unopened}, 2},
        {"fstat", {failed("mmap failed", EPERM)}},
        {"fchmod", {unsized, unopened}},
        {"ftruncate", {unsized, unopened}},
        {"posix_fallocate", {unsized, unopened}},
        {"mmap", {failed("mmap failed", EPERM)}},
        {"pthread_mutexattr_init", {"3recursive-semaphore: unable initialize attributes"}},
        {"pthread_mutexattr_setpshared", {unset}},
        {"pthread_mutexattr_settype", {unset}},
        {"pthread_mutex_init", {uninitialized}},
        {"fchmod", {uninitialized}, 2},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.call);
        Failure failure(row.call, EPERM, row.n);
        EXPECT_EQ(-1, tryOnce());
        EXPECT_TRUE(failure.happened());
        expectLog(row.messages);
        // Whether it is new cannot be known before fstat.
        EXPECT_EQ(row.call == std::string("fstat"), exists(OBJECT));
        expectWorking();
        expectLog({CREATED});
    }
    Failure failure("posix_fallocate", EINTR);  // a signal came
    EXPECT_EQ(0, tryOnce());
    const auto keepTheGuard = [] {
        Failure late("semop", EPERM, 2);
        return tryOnce();
    };
    EXPECT_EQ(0, Process(keepTheGuard).result());
    expectLog({CREATED, "3CSemaphore::unlock() - semop() failed errno=1"});
}

// Of the guard, too.
TEST_F(RecursiveSemaphoreTest, ACreatorMayDieAtAnyCall) {
    int end = -SIGKILL, deaths = 0;
    for (; end == -SIGKILL; deaths += end != 0) {
        SCOPED_TRACE(deaths);
        removeSet();
        end = Process([&] {
                  failing_calls::dieAt(deaths + 1);
                  return tryOnce();
              }).result();
        expectWorking();
        expectLog({CREATED});
    }
    EXPECT_EQ(0, end);
    EXPECT_EQ(17, deaths);  // 4 to get the guard, 12 for the object, 1 to give the guard back
}

// To touch a mapping of memory that cannot be had would end the process.
TEST_F(RecursiveSemaphoreTest, SharedMemoryIsFull) {
    ASSERT_EQ(0, mount("shm", "/dev/shm", "tmpfs", 0, "size=64k"));
    writeFile(OBJECT, "");
    writeFile("/dev/shm/filler", std::string(1 << 17, 'f'));
    EXPECT_EQ(255, Process([] { return tryOnce(); }).result());
    expectLog({failed("unable to ftruncate shared memory", ENOSPC),
               failed("unable to open shared memory", ENOSPC)});
    EXPECT_FALSE(exists(OBJECT));
    EXPECT_EQ(0, umount("/dev/shm"));
}

TEST_F(RecursiveSemaphoreTest, PlainFunctions) {
    const semaphore_handle mutex = sem_create(NAME);
    EXPECT_EQ(0, sem_lock(mutex) | sem_trylock(mutex) | sem_unlock(mutex));
    EXPECT_EQ(EBUSY, inChild(&Mutex::trylock));
    EXPECT_EQ(0, sem_unlock(mutex));
    EXPECT_EQ(EPERM, sem_unlock(mutex));
    sem_release(mutex);
    EXPECT_EQ(nullptr, sem_create(nullptr));
    sem_release(nullptr);
    const semaphore_handle failure = sem_create("a/b");
    EXPECT_NE(nullptr, failure);
    void* emptyCell = nullptr;
    for (const semaphore_handle handle :
         {semaphore_handle(nullptr), failure, reinterpret_cast<semaphore_handle>(&emptyCell)})
        EXPECT_TRUE(sem_lock(handle) == -1 && sem_unlock(handle) == -1 &&
                    sem_trylock(handle) == -1);
    sem_release(failure);
    expectWorking();
}

}  // namespace
