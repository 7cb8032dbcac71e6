// SPDX-License-Identifier: MIT

#include <velutils++/locks.h>
#include <velutils++/scoped_lock.h>

#include <gtest/gtest.h>

#include <errno.h>
#include <pthread.h>
#include <sched.h>
#include <string.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/stat.h>

#include <atomic>
#include <memory>

#include "tests/support/failing_calls.h"
#include "tests/support/files.h"
#include "tests/support/processes.h"
#include "tests/support/syslog_reader.h"

namespace {

using failing_calls::Failure;
using failing_calls::Interception;
typedef CRecursiveSemaphore Mutex;

const std::string LIBRARY = "/usr/lib/libvelutils++.so.1.0.0";
const char NAME[] = "/lock-of-the-tests";
const char OBJECT[] = "/dev/shm/lock-of-the-tests";
const uid_t STRANGER = 12345;
const char CREATED[] = "7created recursive semaphore \"/lock-of-the-tests\"";

// False in the user namespace of an ordinary user.
bool haveStranger() {
    return Process([] { return setuid(STRANGER) == 0 ? 0 : 1; }).result() == 0;
}

// In memory that parent and children share.
struct Shared {
    std::atomic<bool> go;
    std::atomic<bool> inside;
    std::atomic<int> signals;
};
Shared* const shared = static_cast<Shared*>(
    mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

// Reads and changes the set of a key file without the library.
class LockTest : public testing::Test {
  protected:
    explicit LockTest(const char* keyFile) : file(keyFile) {}
    ~LockTest() override { removeSet(); }
    int set(int id = 1) const { return semget(ftok(file, id), 0, 0); }
    int makeSet() const { return semget(ftok(file, 1), 1, IPC_CREAT | 0600); }
    int removeSet(int id = 1) const { return semctl(set(id), 0, IPC_RMID); }
    int value() const { return semctl(set(), 0, GETVAL); }  // -1: no set
    bool isAwaited() const {
        return soon([this] { return semctl(set(), 0, GETNCNT) == 1; });
    }
    // Compares what was logged since the last call.
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

TEST_F(SemaphoreTest, BadArgumentsAreLoggedAndUsed) {
    CSemaphore nothing("", 0);
    EXPECT_EQ(-1, nothing.init());
    EXPECT_EQ(-1, nothing.lock());
    EXPECT_EQ(-1, nothing.unlock());
    expectLog({"3CSemaphore - constructed with empty pathname!",
               "3CSemaphore - constructed with invalid projectID!",
               "3CSemaphore::init() - ftok failed (errno=2) for file ",
               "3CSemaphore::lock() - invalid semId!", "3CSemaphore::unlock() - invalid semId!"});
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
#ifndef VELUTILS_BIG_ENDIAN_QEMU
    struct semid_ds status;
    EXPECT_EQ(0, semctl(set(), 0, IPC_STAT, &status));
    EXPECT_EQ(0600, status.sem_perm.mode & 0777);
#endif
    CSemaphore other(file, 1);
    EXPECT_EQ(0, lock.lock());
    EXPECT_EQ(0, other.init());
    EXPECT_EQ(0, lock.init());
    EXPECT_EQ(0, value());  // still held
    Process waiter([&] { return other.lock() == 0 ? other.unlock() : 1; });
    EXPECT_TRUE(isAwaited());
    EXPECT_EQ(0, lock.unlock());
    EXPECT_EQ(0, waiter.result());
    EXPECT_EQ(1, value());
    expectLog({});
}

TEST_F(SemaphoreTest, TheKernelReleasesTheLockOfADeadHolder) {
    EXPECT_EQ(0, lock.init());
    Process holder([&] {
        CSemaphore(lock).lock();  // the object is destroyed and the lock stays held
        return pause();
    });
    EXPECT_TRUE(soon([&] { return value() == 0; }));
    EXPECT_EQ(-SIGKILL, holder.result(SIGKILL));
    EXPECT_EQ(1, value());
}

TEST_F(SemaphoreTest, ARemovedSetEndsTheWaitAndASignalDoesNot) {
    EXPECT_EQ(0, lock.init());
    EXPECT_EQ(0, lock.lock());
    Process waiter([&] {
        signal(SIGUSR1, [](int) { ++shared->signals; });
        const int locked = lock.lock();
        const int unlocked = lock.unlock();
        return locked == -1 && unlocked == -1 ? 0 : 1;
    });
    EXPECT_TRUE(isAwaited());
    waiter.signal(SIGUSR1);
    EXPECT_TRUE(soon([] { return shared->signals == 1; }));
    EXPECT_TRUE(isAwaited());  // again, after the handler
    EXPECT_EQ(0, removeSet());
    EXPECT_EQ(0, waiter.result());
    expectLog({"3CSemaphore::lock() - semop failed, errno=" + std::to_string(EIDRM),
               "3CSemaphore::unlock() - semop() failed errno=22"});
}

TEST_F(SemaphoreTest, FailuresOfInit) {
    {
        Failure failure("semop", ERANGE);
        EXPECT_EQ(-1, lock.init());
    }
    EXPECT_EQ(-1, set());  // no one could take that lock
    EXPECT_EQ(-1, lock.lock());
    EXPECT_EQ(0, lock.init());
    {
        Failure failure("semget", EACCES, 2);  // as if another user had made it
        EXPECT_EQ(-1, lock.init());
    }
    // Other processes may remove the set between the two calls that obtain it.
    Interception turns("semget", [this](long n) {
        n % 2 == 1 ? makeSet() : removeSet();
        return 0;
    });
    EXPECT_EQ(-1, lock.init());  // after 100 attempts
    expectLog({"3CSemaphore::init() - semop() failed - unable to initialize semaphore - errno=34",
               "3CSemaphore::lock() - invalid semId!",
               "3CSemaphore::init() - unable to obtain semaphore-set - errno=13",
               "3CSemaphore::init() - unable to obtain semaphore-set - errno=2"});
}

class RecursiveSemaphoreTest : public LockTest {
  protected:
    RecursiveSemaphoreTest() : LockTest(LIBRARY.c_str()) {
        EXPECT_EQ(0, CSemaphore(LIBRARY, 1).init());  // the guard
    }
    ~RecursiveSemaphoreTest() override { shm_unlink(NAME); }

    // Returns 0, or why the lock was not taken.
    static int tryOnce(const char* name = NAME) {
        Mutex lock(name);
        const int result = lock.trylock();
        return result != 0 ? result : lock.unlock();
    }
    static int inChild(int (Mutex::*operation)()) {
        return Process([=] { return (Mutex(NAME).*operation)(); }).result();
    }
    // The mutex can be opened, and is recursive, shared and free. Its user leaves nothing behind
    // but the object, which is finished.
    void expectWorking() {
        const int descriptors = openDescriptors();
        {
            Mutex lock(NAME);
            EXPECT_EQ(0, lock.lock());
            EXPECT_EQ(0, lock.lock());
            EXPECT_EQ(0, lock.unlock());
            EXPECT_EQ(EBUSY, inChild(&Mutex::trylock));
            EXPECT_EQ(EPERM, inChild(&Mutex::unlock));
            EXPECT_EQ(0, lock.unlock());
            EXPECT_EQ(EPERM, lock.unlock());
            EXPECT_EQ(0, inChild(&Mutex::trylock));  // the child ends and holds it
        }
        EXPECT_EQ(EBUSY, tryOnce());
        struct stat status;
        ASSERT_EQ(0, stat(OBJECT, &status));
        EXPECT_EQ(S_IFREG | 0600u, status.st_mode);
        EXPECT_EQ(sizeof(pthread_mutex_t), contentOf(OBJECT).size());
        EXPECT_EQ(0, shm_unlink(NAME));
        EXPECT_EQ(1, value());
        EXPECT_EQ(descriptors, openDescriptors());
        EXPECT_EQ(std::string::npos, contentOf("/proc/self/maps").find(OBJECT));
    }
};

std::string failed(const char* what, int error) {
    return std::string("3recursive-semaphore: ") + what + " - errno=" + strerror(error);
}

TEST_F(RecursiveSemaphoreTest, ManyProcessesCreateOneName) {
    const auto body = [] {
        while (!shared->go) sched_yield();
        Mutex lock(NAME);
        return lock.lock() == 0 ? lock.unlock() : 1;
    };
    for (int round = 0; round < 20; ++round) {
        removeSet();  // they race for the guard, too
        shared->go = false;
        Process racers[] = {Process(body), Process(body), Process(body), Process(body),
                            Process(body), Process(body), Process(body), Process(body)};
        shared->go = true;
        for (Process& racer : racers) EXPECT_EQ(0, racer.result());
        expectWorking();
        expectLog({CREATED});
    }
}

// The mode does not matter. Unfinished objects are in ACreatorMayDieAtAnyCall.
TEST_F(RecursiveSemaphoreTest, AFoundObjectIsLeftAsItIsAndUsedIfItHasTheRightSize) {
    const size_t size = sizeof(pthread_mutex_t);
    for (const size_t found : {size - 1, size + 1, size}) {
        const std::string zeros(found, '\0');
        writeFile(OBJECT, zeros);
        EXPECT_EQ(0, chmod(OBJECT, 0777));
        EXPECT_EQ(found == size ? 0 : -1, tryOnce());
        if (found != size) expectLog({failed("mmap failed", EINVAL)});
        struct stat status;
        EXPECT_EQ(0, stat(OBJECT, &status));
        EXPECT_EQ(S_IFREG | 0777u, status.st_mode);
        EXPECT_EQ(zeros, contentOf(OBJECT));
    }
    expectLog({});
    for (const char* call : {"fstat", "mmap"}) {
        Failure failure(call, ENOMEM);
        EXPECT_EQ(-1, tryOnce());
        expectLog({failed("mmap failed", ENOMEM)});
        EXPECT_TRUE(exists(OBJECT));
    }
}

// The owner of an object could change it at any moment. A FIFO is no memory.
TEST_F(RecursiveSemaphoreTest, OnlyRegularObjectsOfThisUserAreUsed) {
    if (!haveStranger()) GTEST_SKIP() << "there is no second user";
    const struct {
        mode_t mode;
        uid_t user;
        int64_t size;
    } rows[] = {
        {S_IFREG | 01666, STRANGER, 0},
        {S_IFREG | 0666, STRANGER, int64_t{1} << 31},
        {S_IFIFO | 0600, 0, 0},
    };
    for (const auto& row : rows) {
        ASSERT_EQ(0, mknod(OBJECT, row.mode, 0));
        ASSERT_EQ(S_ISREG(row.mode) ? 0 : -1, truncate64(OBJECT, row.size));
        ASSERT_EQ(0, chown(OBJECT, row.user, row.user));
        ASSERT_EQ(0, chmod(OBJECT, row.mode & 07777));
        EXPECT_EQ(-1, tryOnce());
        expectLog({failed("unable to open shared memory", EPERM)});
        struct stat64 status;
        ASSERT_EQ(0, stat64(OBJECT, &status));
        EXPECT_EQ(row.mode, status.st_mode);
        EXPECT_EQ(row.size, status.st_size);
        shm_unlink(NAME);
    }
}

TEST_F(RecursiveSemaphoreTest, TheGuardBelongsToOneUser) {
    if (!haveStranger()) GTEST_SKIP() << "there is no second user";
    const auto asStranger = [](auto body) {
        return Process([&] { return setuid(STRANGER) == 0 ? body() : 99; }).result();
    };
    const auto refused = [](int error) {
        return std::vector<std::string>{
            "3CSemaphore::init() - unable to obtain semaphore-set - errno=" + std::to_string(error),
            "3recursive-semaphore: unable to init guarding semaphore"};
    };
    EXPECT_EQ(255, asStranger([] { return tryOnce(); }));
    expectLog(refused(EACCES));
    struct semid_ds status = {};
    status.sem_perm.mode = 0600;
    status.sem_perm.uid = STRANGER;
    EXPECT_EQ(0, semctl(set(), 0, IPC_SET, &status));
    EXPECT_EQ(-1, tryOnce());
    expectLog(refused(EPERM));
    removeSet();
    EXPECT_EQ(0, asStranger([] { return tryOnce(); }));
    expectLog({CREATED});
    status.sem_perm.uid = 0;
    EXPECT_EQ(0, semctl(set(), 0, IPC_SET, &status));
    EXPECT_EQ(-1, tryOnce());
    expectLog(refused(EPERM));
    EXPECT_EQ(1, value());
    // Its owner can change the mode at any moment: here before the status or the value is read.
    removeSet();
    EXPECT_EQ(0, semctl(makeSet(), 0, SETVAL, 1));
    for (const long call : {1, 2}) {
        Failure failure("semctl", EACCES, call);
        EXPECT_EQ(-1, tryOnce());
        expectLog(refused(EACCES));
    }
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
        {"ftok",
         {"3CSemaphore::init() - ftok failed (errno=1) for file " + LIBRARY,
          "3recursive-semaphore: unable to init guarding semaphore"}},
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
        // Without fstat the object may be an old one.
        EXPECT_EQ(row.call == std::string("fstat"), exists(OBJECT));
        expectWorking();
        expectLog({CREATED});
    }
    Failure failure("posix_fallocate", EINTR);
    EXPECT_EQ(0, tryOnce());
    const auto keepTheGuard = [] {
        Failure late("semop", EPERM, 2);
        return tryOnce();
    };
    EXPECT_EQ(0, Process(keepTheGuard).result());
    expectLog({CREATED, "3CSemaphore::unlock() - semop() failed errno=1"});
}

// This includes the creator of the guard.
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
        // The object is complete before the guard is released, and the message comes after it.
        const bool complete = deaths == 18 || deaths == 19;
        expectLog(complete ? std::vector<std::string>() : std::vector<std::string>{CREATED});
    }
    EXPECT_EQ(0, end);
    EXPECT_EQ(20, deaths);  // 6 to get the guard, 13 for the object, 1 to release the guard
}

// Other processes may remove the guard, if they take its maker for dead, until it is held.
TEST_F(RecursiveSemaphoreTest, ARemovedGuardIsMadeAgain) {
    const struct {
        const char* call;
        long n;
        bool exists;
    } rows[] = {
        {"semget", 2, true}, {"semctl", 1, true}, {"semop", 1, true},
        {"semctl", 2, true}, {"semop", 1, false}, {"semop", 2, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.call);
        if (!row.exists) removeSet();
        {
            Interception removal(row.call, [&](long n) { return n == row.n ? removeSet() : 0; });
            EXPECT_EQ(0, tryOnce());
        }
        expectWorking();
        expectLog({CREATED});
    }
    Interception removals("semop", [this](long) {
        removeSet();
        return 0;
    });
    EXPECT_EQ(-1, tryOnce());
    expectLog({"3CSemaphore::init() - semop() failed - unable to initialize semaphore - errno=22",
               "3recursive-semaphore: unable to init guarding semaphore"});
}

// The clock may be set, and signals may end a pause early.
TEST_F(RecursiveSemaphoreTest, PatienceIsCountedInPauses) {
    removeSet();
    makeSet();
    Interception pauses("nanosleep", [](long n) { return n == 1 ? EINTR : ENOSYS; });
    EXPECT_EQ(0, tryOnce());
    EXPECT_EQ(501, pauses.calls());
    expectWorking();
    expectLog({CREATED});
}

// A maker that was taken for dead makes its set free after all, and another process takes the
// guard, before each of the calls of the process that removes the set.
TEST_F(RecursiveSemaphoreTest, ARemoverAndASlowMakerLetOneIn) {
#ifdef VELUTILS_BIG_ENDIAN_QEMU
    GTEST_SKIP() << "qemu-user does not pass the mode, which has the remover's mark";
#endif
    const auto hold = [this] {
        Interception entry("shm_open", [this](long n) {
            shared->inside = true;
            if (n == 1) soon([this] { return semctl(set(), 0, GETNCNT) == 1 || shared->go; });
            return shared->go ? EEXIST : 0;  // fails if the remover has the guard, too
        });
        return tryOnce("/held-by-another");
    };
    // The remover's calls: status, value, mark, status, value, removal.
    for (long late = 1; late <= 6; ++late) {
        SCOPED_TRACE(late);
        removeSet();
        const int stale = makeSet();
        shared->inside = false;
        shared->go = false;
        std::unique_ptr<Process> other;
        long calls = 0;
        Interception pauses("nanosleep", [](long) { return ENOSYS; });
        Interception removal("semctl", [&](long) {
            if (pauses.calls() < 500 || ++calls != late) return 0;
            EXPECT_EQ(0, semctl(stale, 0, SETVAL, 1));
            other.reset(new Process(hold));
            EXPECT_TRUE(soon([] { return shared->inside.load(); }));
            return 0;
        });
        Interception entry("shm_open", [](long) {
            shared->go = true;
            return 0;
        });
        EXPECT_EQ(0, tryOnce());
        ASSERT_NE(nullptr, other);
        EXPECT_EQ(0, other->result());
        shm_unlink("/held-by-another");
    }
}

#ifndef __SANITIZE_ADDRESS__  // it reports the unwinding of a cancelled thread
TEST_F(RecursiveSemaphoreTest, ACancelledThreadKeepsNothing) {
    pthread_t thread;
    const auto body = [](void*) -> void* {
        pthread_cancel(pthread_self());
        Mutex lock(NAME);
        return nullptr;
    };
    ASSERT_EQ(0, pthread_create(&thread, nullptr, body, nullptr));
    void* result = nullptr;
    EXPECT_EQ(0, pthread_join(thread, &result));
    EXPECT_EQ(PTHREAD_CANCELED, result);
    expectWorking();
}
#endif

// plain_c_test.c locks and unlocks.
TEST_F(RecursiveSemaphoreTest, PlainFunctions) {
    sem_release(sem_create(NAME));
    expectWorking();
    EXPECT_EQ(nullptr, sem_create(nullptr));
    void* emptyCell = nullptr;
    const semaphore_handle withoutLock[] = {nullptr, &emptyCell, sem_create("a/b")};
    for (const semaphore_handle handle : withoutLock) {
        EXPECT_EQ(-1, sem_lock(handle));
        EXPECT_EQ(-1, sem_unlock(handle));
        EXPECT_EQ(-1, sem_trylock(handle));
    }
    sem_release(withoutLock[0]);
    sem_release(withoutLock[2]);
}

TEST_F(RecursiveSemaphoreTest, AScopedLockIsHeldForAScope) {
    Mutex lock(NAME);
    {
        const ScopedLock<Mutex> guard(lock);
        const ScopedLock<Mutex> again(lock, TRY_LOCK);
        EXPECT_TRUE(guard);
        EXPECT_TRUE(again);
        EXPECT_EQ(EBUSY, inChild(&Mutex::trylock));
    }
    EXPECT_EQ(0, inChild(&Mutex::trylock));  // the child ends and holds it
    EXPECT_EQ(EBUSY, ScopedLock<Mutex>(lock, TRY_LOCK).result());
}

TEST_F(RecursiveSemaphoreTest, AScopedLockUnlocksOnce) {
    Mutex lock(NAME);
    EXPECT_EQ(0, lock.lock());
    {
        ScopedLock<Mutex> guard(lock);
        EXPECT_EQ(0, guard.unlock());
        EXPECT_FALSE(guard.held());
        EXPECT_EQ(-1, guard.unlock());
        EXPECT_EQ(0, guard.result());
    }
    ScopedLock<Mutex> guard(lock);
    EXPECT_EQ(0, lock.unlock());
    EXPECT_EQ(0, lock.unlock());  // that of the first lock()
    EXPECT_EQ(EPERM, guard.unlock());
    EXPECT_FALSE(guard);
}

TEST_F(SemaphoreTest, AScopedLockDoesNotUnlockWhatItDidNotGet) {
    EXPECT_FALSE(ScopedLock<CSemaphore>(lock).held());
    expectLog({"3CSemaphore::lock() - invalid semId!"});
}

}  // namespace
