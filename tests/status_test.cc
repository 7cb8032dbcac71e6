// SPDX-License-Identifier: MIT
//
// fuzz/status_value.cc checks values of any bytes, and fuzz/fifo_bytes.cc what receivers deliver of
// any bytes in any pieces. failures_test.cc makes each system call fail. docs/check-pages compares
// the rows of the event catalogue with its page.

#include <velutils++/status.h>

#include <errno.h>
#include <event.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <vector>

#include "tests/support/descriptor_check.h"
#include "tests/support/failing_calls.h"
#include "tests/support/fifo_observer.h"
#include "tests/support/files.h"
#include "tests/support/processes.h"
#include "tests/support/strings.h"
#include "tests/support/syslog_reader.h"

namespace {

using failing_calls::Interception;
const std::string TREE = "/tmp/status";

mode_t modeOf(const std::string& path) {
    struct stat status;
    return lstat(path.c_str(), &status) == 0 ? status.st_mode : 0;
}

// A daemon's interface on /tmp/status/wan, with nothing of earlier tests in the tree.
class StatusTree : public ::testing::Test {
  protected:
    StatusTree() {
        EXPECT_EQ(0, system("rm -rf /tmp/status /tmp/statuswan /nvstatus/*"));
        umask(022);
        EXPECT_TRUE(wan_.setup(STATUS_BASE_TMP, "/wan"));
    }

    std::string get(const char* name) {
        String value("before");
        EXPECT_TRUE(wan_.getStatus(name, value)) << name;
        return bytesOf(value);
    }

    static void shell(const std::string& commands) {
        EXPECT_EQ(0, system(("cd /tmp/status/wan && " + commands).c_str())) << commands;
    }

    DescriptorCheck descriptors_;
    StatusInterface wan_;
};

TEST_F(StatusTree, SetupMakesEveryDirectoryOfThePath) {
    SyslogReader log;
    EXPECT_TRUE(wan_.setup(STATUS_BASE_TMP, "wan"));  // nothing goes between base and name
    EXPECT_EQ(static_cast<mode_t>(S_IFDIR | 0755), modeOf("/tmp/statuswan"));
    EXPECT_TRUE(wan_.setup(STATUS_BASE_TMP, "//a///b/"));
    EXPECT_EQ(static_cast<mode_t>(S_IFDIR | 0755), modeOf("/tmp/status/a/b"));
    EXPECT_TRUE(wan_.setup(STATUS_BASE_NV, "/wan"));
    EXPECT_TRUE(exists("/nvstatus/wan"));
    EXPECT_TRUE(wan_.setup(STATUS_BASE_PROC, "/self"));
    EXPECT_EQ(std::vector<std::string>(), log.messages());
}

TEST_F(StatusTree, SetupFailuresAreLogged) {
    SyslogReader log;
    StatusInterface interface;
    for (const int base : {3, -1}) {
        EXPECT_FALSE(interface.setup(static_cast<BasePath>(base), "/wan"));
        EXPECT_EQ(EINVAL, errno);
        EXPECT_EQ(std::vector<std::string>({"3Could not setup status interface for !"}),
                  log.messages());
    }
    // Without a directory, names are paths of their own.
    EXPECT_TRUE(interface.setStatus("/tmp/alone", "x"));
    EXPECT_EQ("x", contentOf("/tmp/alone"));

    shell(
        "touch file; ln -s . link; ln -s nowhere dangling; ln -s file/x through; ln -s loop loop");
    // A path that stat(2) cannot follow for another reason may be a directory.
    for (const char* name : {"/wan/link", "/wan/loop"})
        EXPECT_TRUE(interface.setup(STATUS_BASE_TMP, name)) << name;
    const auto fails = [&](const char* name, const std::string& directory, int error) {
        EXPECT_FALSE(interface.setup(STATUS_BASE_TMP, name));
        const std::vector<std::string> messages = {
            "3Could not create directory " + directory + ". Errno:" + std::to_string(error) + "!",
            "3Could not setup status interface for " + directory + "!"};
        EXPECT_EQ(messages, log.messages());
    };
    fails("/wan/file", TREE + "/wan/file", ENOTDIR);
    fails("/wan/through", TREE + "/wan/through", ENOTDIR);
    fails("/wan/dangling", TREE + "/wan/dangling", ENOENT);
    fails("/wan/file/sub/deeper", TREE + "/wan/file/sub", ENOTDIR);
    // Later calls still use the directory of the failed setup.
    shell("rm file && mkdir -p file/sub/deeper");
    EXPECT_TRUE(interface.setStatus("/v", "1"));
    EXPECT_EQ("1", contentOf("/tmp/status/wan/file/sub/deeper/v"));
}

TEST_F(StatusTree, ValueFiles) {
    std::string longText;
    for (int i = 0; longText.size() < 4 << 20; ++i) longText += std::to_string(i);
    EXPECT_TRUE(wan_.setStatus("/state", longText.c_str()));
    EXPECT_EQ(longText, get("/state"));
    EXPECT_EQ(static_cast<mode_t>(S_IFREG | 0644), modeOf(TREE + "/wan/state"));
    shell("chmod 600 state");
    EXPECT_TRUE(wan_.setStatus("/state", ""));
    EXPECT_EQ("", contentOf(TREE + "/wan/state"));
    EXPECT_EQ(static_cast<mode_t>(S_IFREG | 0600), modeOf(TREE + "/wan/state"));

    String same("/state");
    EXPECT_TRUE(wan_.setStatus(same, same));
    EXPECT_TRUE(wan_.getStatus(same, same));
    EXPECT_EQ(String("/state"), same);

    // Files in /proc claim a size of 0.
    EXPECT_TRUE(StatusInterface().getStatus("/proc/filesystems", same));
    EXPECT_EQ(contentOf("/proc/filesystems"), same.buffer());
}

TEST_F(StatusTree, AValueThatDoesNotFitOnTheDiskFails) {
    shell("mkdir dir; mount -t tmpfs -o size=8k full dir");
    EXPECT_FALSE(wan_.setStatus("/dir/v", std::string(10000, 'b').c_str()));
    EXPECT_TRUE(wan_.setStatus("/dir/v", "fits"));
    EXPECT_EQ("fits", get("/dir/v"));
    shell("umount dir");
}

TEST_F(StatusTree, OnlyRegularFilesAreRead) {
    for (const char* planted :
         {"true", "mkfifo v", "ln -s /dev/zero v", "mkdir v", "truncate -s 2G v"}) {
        shell(std::string("rm -rf v; ") + planted);
        String value("before");
        EXPECT_FALSE(wan_.getStatus("/v", value)) << planted;
        EXPECT_EQ(String(), value);
    }
    // Others are not even opened, because opening a device can have effects.
    shell("mkfifo unopened");
    const int events = inotify_init1(IN_NONBLOCK);
    EXPECT_LE(0, inotify_add_watch(events, (TREE + "/wan/unopened").c_str(), IN_OPEN));
    String value;
    EXPECT_FALSE(wan_.getStatus("/unopened", value));
    char event[100];
    EXPECT_EQ(-1, read(events, event, sizeof event));
    close(events);
}

// Another process keeps exchanging a file, or a device, with a FIFO.
TEST_F(StatusTree, AFifoThatTakesTheNameMeanwhileBlocksNothing) {
    for (const char* other : {"printf up > v", "ln -s /dev/null v"}) {
        shell(std::string("rm -f v f; mkfifo f; ") + other);
        const Process exchanger([] {
            if (chdir("/tmp/status/wan") != 0) return 1;
            for (;;) syscall(SYS_renameat2, AT_FDCWD, "v", AT_FDCWD, "f", RENAME_EXCHANGE);
        });
        Process daemon([&] {
            for (int i = 0; i < 20000; ++i) {
                String value;
                wan_.setStatus("/v", "up");
                if (wan_.getStatus("/v", value) && value != "up") return 1;
            }
            return 0;
        });
        EXPECT_EQ(0, daemon.result()) << other;
    }
}

int openReader(const std::string& fifo) {
    return open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
}

// What is in a FIFO of 64 KiB.
std::string drained(int reader) {
    std::string bytes(65536, '\0');
    const ssize_t n = read(reader, &bytes[0], bytes.size());
    return bytes.substr(0, n < 0 ? 0 : static_cast<size_t>(n));
}

TEST_F(StatusTree, AFifoTakesWhatItHasRoomFor) {
    shell("mkfifo fifo");
    EXPECT_FALSE(wan_.setStatus("/fifo", "nobody reads"));
    const int reader = openReader(TREE + "/wan/fifo");
    const std::string room(65536, 'r');
    EXPECT_TRUE(wan_.setStatus("/fifo", room.c_str()));
    EXPECT_EQ(room, drained(reader));
    EXPECT_FALSE(wan_.setStatus("/fifo", (room + "more").c_str()));
    EXPECT_EQ(room, drained(reader));
    EXPECT_TRUE(wan_.setStatus("/fifo", room.substr(1).c_str()));
    EXPECT_FALSE(wan_.setStatus("/fifo", "xy"));  // short values are not split
    EXPECT_EQ(room.substr(1), drained(reader));
    close(reader);
}

TEST_F(StatusTree, AFifoThatLosesItsLastReaderCausesNoSignal) {
    shell("mkfifo fifo");
    sigset_t brokenPipe, mask;
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    enum { NONE, OF_THREAD, OF_PROCESS };
    for (const int own : {NONE, OF_THREAD, OF_PROCESS}) {
        if (own != NONE) pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr);
        if (own == OF_THREAD) raise(SIGPIPE);
        if (own == OF_PROCESS) kill(getpid(), SIGPIPE);
        const int reader = openReader(TREE + "/wan/fifo");
        const Interception leave("write", [&](long) {
            close(reader);
            return 0;
        });
        EXPECT_FALSE(wan_.setStatus("/fifo", "up"));
        EXPECT_EQ(EPIPE, errno);
        // The caller's mask and signal are as they were.
        pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        EXPECT_EQ(own != NONE, sigismember(&mask, SIGPIPE));
        const struct timespec now = {0, 0};
        int waiting = 0;
        while (sigtimedwait(&brokenPipe, nullptr, &now) == SIGPIPE) ++waiting;
        EXPECT_EQ(own != NONE, waiting) << own;
    }
    pthread_sigmask(SIG_UNBLOCK, &brokenPipe, nullptr);
}

// They are opened without O_NONBLOCK, which would change what they do.
TEST_F(StatusTree, DevicesAndLeasedFilesAreOpenedAsUsual) {
    shell("ln -s /dev/null null; printf down > state");
    EXPECT_TRUE(wan_.setStatus("/null", "up"));
    const auto withoutProc = [&] {
        const bool gone = unshare(CLONE_NEWNS) == 0 && umount2("/proc", MNT_DETACH) == 0;
        return gone && wan_.setStatus("/null", "up") ? 0 : 1;
    };
    EXPECT_EQ(0, Process(withoutProc).result());

    Process holder([] {
        const int fd = open("/tmp/status/wan/state", O_RDWR);
        if (fcntl(fd, F_SETLEASE, F_WRLCK) == 0) writeFile("/tmp/status/wan/leased", "");
        return pause();  // until the kernel breaks the lease and sends SIGIO
    });
    EXPECT_TRUE(soon([] { return exists(TREE + "/wan/leased"); }));
    EXPECT_TRUE(wan_.setStatus("/state", "up"));
    EXPECT_EQ(-SIGIO, holder.result());
    EXPECT_EQ("up", get("/state"));
}

TEST_F(StatusTree, Links) {
    EXPECT_TRUE(wan_.setStatus("/link", "a file first"));
    EXPECT_TRUE(wan_.setLink("/link", "../lan/state"));
    EXPECT_EQ("../lan/state", std::filesystem::read_symlink(TREE + "/wan/link"));
    EXPECT_TRUE(wan_.setLink("/link", ""));
    EXPECT_FALSE(exists(TREE + "/wan/link"));
    EXPECT_TRUE(wan_.setLink("/link", ""));
    EXPECT_FALSE(wan_.setLink("/no/such/directory", "x"));
}

// FIFO receivers

void send(const std::string& fifo, const std::string& bytes) {
    const int fd = open(fifo.c_str(), O_WRONLY | O_NONBLOCK);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(static_cast<ssize_t>(bytes.size()), write(fd, bytes.data(), bytes.size()));
    close(fd);
}

// Runs the loop until there is nothing left to read.
void runLoop() {
    for (int i = 0; i < 5; ++i) event_loop(EVLOOP_NONBLOCK);
}

// GoogleTest runs the suites in this order, and the next one makes the event base.
TEST(StatusFifoWithoutBase, IsNotMade) {
    FifoObserver observer;
    EXPECT_EQ(0UL, StatusInterface().setupIpcRxFifo("/tmp/fifo", &observer));
}

class StatusFifo : public StatusTree {
  protected:
    static void SetUpTestSuite() { event_init(); }
    StatusFifo() { first_ = wan_.setupIpcRxFifo("/first", &observer_); }

    FifoObserver observer_;
    unsigned long first_;
};

TEST_F(StatusFifo, IdentifiersNameReceivers) {
    EXPECT_EQ(static_cast<mode_t>(S_IFIFO | 0644), modeOf(TREE + "/wan/first"));
    writeFile(TREE + "/wan/second", "a leftover file");
    const unsigned long second = wan_.setupIpcRxFifo("/second", &observer_);
    for (const char* name : {"/second", "/first"}) {
        send(TREE + "/wan" + name, name);
        runLoop();
    }
    EXPECT_EQ("/second/first", observer_.received);
    EXPECT_EQ((std::vector<unsigned long>{second, first_}), observer_.receivers);

    for (const unsigned long receiver : {0UL, first_, first_}) wan_.deleteIpcRxFifo(receiver);
    EXPECT_FALSE(exists(TREE + "/wan/first"));
    send(TREE + "/wan/second", ".");
    runLoop();
    EXPECT_EQ("/second/first.", observer_.received);

    // A FIFO stays in the directory where it was made. cleanup() removes it.
    EXPECT_TRUE(wan_.setup(STATUS_BASE_TMP, "/lan"));
    wan_.cleanup();
    EXPECT_FALSE(exists(TREE + "/wan/second"));
}

// The new receiver works, even if it gets the same descriptor.
TEST_F(StatusFifo, AnObserverMayReplaceItsReceiver) {
    observer_.then = [&](unsigned long receiver) {
        observer_.then = nullptr;
        wan_.deleteIpcRxFifo(receiver);
        EXPECT_NE(0UL, wan_.setupIpcRxFifo("/first", &observer_));
    };
    send(TREE + "/wan/first", std::string(150, 'x'));
    runLoop();
    send(TREE + "/wan/first", "to the successor");
    runLoop();
    EXPECT_EQ(std::string(99, 'x') + "to the successor", observer_.received);
}

TEST_F(StatusFifo, AnObserverMayRunTheLoopAndRemoveItself) {
    observer_.then = [&](unsigned long receiver) {
        observer_.then = [&](unsigned long inner) { wan_.deleteIpcRxFifo(inner); };
        send(TREE + "/wan/first", "inner");
        // libevent does not call the callback again from within itself, so call it directly.
        StatusInterface::STATUS_FIFO_READ_EVENT(reinterpret_cast<struct bufferevent*>(receiver),
                                                static_cast<StatusFifoObserver*>(&observer_));
    };
    send(TREE + "/wan/first", std::string(250, 'o'));
    runLoop();
    EXPECT_EQ(2U, observer_.receivers.size());
    EXPECT_FALSE(exists(TREE + "/wan/first"));
}

TEST_F(StatusFifo, AReceiverRemovesOnlyItsOwnNode) {
    const unsigned long second = wan_.setupIpcRxFifo("/first", &observer_);
    wan_.deleteIpcRxFifo(first_);
    send(TREE + "/wan/first", "to the second");
    runLoop();
    EXPECT_EQ("to the second", observer_.received);

    shell("rm first; mkfifo first");  // as a new instance of the daemon does
    wan_.deleteIpcRxFifo(second);
    EXPECT_TRUE(exists(TREE + "/wan/first"));
}

TEST_F(StatusFifo, WithoutADirectoryThereIsNoNode) {
    EXPECT_EQ(0UL, wan_.setupIpcRxFifo("/no/such/directory", &observer_));
    shell("rm first");
    wan_.deleteIpcRxFifo(first_);
}

TEST_F(StatusFifo, ANodeThatReplacesTheNewOneIsNotUsed) {
    {
        const Interception plant("lstat", [](long) {
            shell("ln -sf first new");
            return 0;
        });
        EXPECT_EQ(0UL, wan_.setupIpcRxFifo("/new", &observer_));
    }
    const Interception exchange("open", [](long) {
        shell("mv new old; mkfifo new");
        return 0;
    });
    EXPECT_EQ(0UL, wan_.setupIpcRxFifo("/new", &observer_));
}

TEST_F(StatusFifo, ANodeOfAnotherUserIsNotUsed) {
    writeFile("/tmp/file", "");
    if (chown("/tmp/file", 65534, 65534) != 0) GTEST_SKIP() << "there is no second user";
    const Interception plant("lstat",
                             [](long) { return chown("/tmp/status/wan/new", 65534, 65534); });
    EXPECT_EQ(0UL, wan_.setupIpcRxFifo("/new", &observer_));
    EXPECT_TRUE(exists(TREE + "/wan/new"));
}

TEST_F(StatusFifo, AnExceptionOfAnObserverIsCaughtAndLogged) {
    SyslogReader log;
    observer_.then = [&](unsigned long receiver) {
        if (observer_.receivers.size() == 1) throw std::runtime_error("first");
        if (observer_.receivers.size() == 2) throw 2;
        if (observer_.receivers.size() != 4) return;
        wan_.deleteIpcRxFifo(receiver);
        throw std::runtime_error("removed");
    };
    send(TREE + "/wan/first", std::string(250, 'x'));
    runLoop();
    EXPECT_EQ(std::string(250, 'x'), observer_.received);
    send(TREE + "/wan/first", std::string(150, 'y'));
    runLoop();
    EXPECT_EQ(std::string(250, 'x') + std::string(99, 'y'), observer_.received);
    EXPECT_FALSE(exists(TREE + "/wan/first"));
    const std::string threw = "3A FIFO observer threw an exception: ";
    EXPECT_EQ(std::vector<std::string>(
                  {threw + "first!", threw + "not a std::exception!", threw + "removed!"}),
              log.messages());
}

void* endsInItsObserver(void* receiver) {
    FifoObserver observer;
    observer.then = [](unsigned long own) { pthread_exit(reinterpret_cast<void*>(own)); };
    StatusInterface::STATUS_FIFO_READ_EVENT(static_cast<struct bufferevent*>(receiver),
                                            static_cast<StatusFifoObserver*>(&observer));
    return nullptr;
}

TEST_F(StatusFifo, AnObserverMayEndItsThread) {
    void* result = nullptr;
    observer_.then = [&](unsigned long receiver) {
        pthread_t thread;
        pthread_create(&thread, nullptr, endsInItsObserver, reinterpret_cast<void*>(receiver));
        pthread_join(thread, &result);
        observer_.then = nullptr;
    };
    send(TREE + "/wan/first", std::string(250, 'x'));
    runLoop();
    EXPECT_EQ(reinterpret_cast<void*>(first_), result);
    EXPECT_EQ(std::string(151, 'x'), observer_.received);
}

TEST(EventCatalogue, FindsEachRowByItsIdAndName) {
    for (const EventCatalogueEntry& entry : EVENT_CATALOGUE) {
        EXPECT_EQ(&entry, findEventById(entry.id));
        EXPECT_EQ(&entry, findEventByName(std::string(entry.name).c_str()));
    }
    for (const int32_t id : {0, -1, 0x04000005, 0x0B000003}) EXPECT_EQ(nullptr, findEventById(id));
    for (const char* name : {"", "wan", "wan-up ", "WAN-UP", static_cast<const char*>(nullptr)})
        EXPECT_EQ(nullptr, findEventByName(name));
}

}  // namespace
