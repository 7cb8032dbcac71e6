// SPDX-License-Identifier: MIT
//
// fuzz/status_value.cc holds values of any bytes, fuzz/fifo_bytes.cc what receivers are handed of
// any bytes in any pieces.

#include <velutils++/status.h>

#include <errno.h>
#include <event.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <pthread.h>
#include <signal.h>
#include <string.h>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

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
    StatusTree() : descriptors_(openDescriptors()) {
        EXPECT_EQ(0, system("rm -rf /tmp/status /tmp/statuswan /nvstatus/*"));
        umask(022);
        EXPECT_TRUE(wan_.setup(STATUS_BASE_TMP, "/wan"));
    }
    ~StatusTree() override {
        wan_.cleanup();
        EXPECT_EQ(descriptors_, openDescriptors());
    }

    std::string get(const char* name) {
        String value("before");
        EXPECT_TRUE(wan_.getStatus(name, value)) << name;
        return bytesOf(value);
    }

    static void shell(const std::string& commands) {
        EXPECT_EQ(0, system(("cd /tmp/status/wan && " + commands).c_str())) << commands;
    }

    const int descriptors_;
    StatusInterface wan_;
};

TEST_F(StatusTree, SetupMakesEveryDirectoryOfThePath) {
    SyslogReader log;
    const struct {
        BasePath base;
        const char *name, *directory;
    } rows[] = {
        {STATUS_BASE_TMP, "/wan", "/tmp/status/wan"},  // there already
        {STATUS_BASE_TMP, "wan", "/tmp/statuswan"},    // nothing goes between base and name
        {STATUS_BASE_TMP, "//a///b/", "/tmp/status/a/b"}, {STATUS_BASE_TMP, "", "/tmp/status"},
        {STATUS_BASE_NV, "/wan", "/nvstatus/wan"},        {STATUS_BASE_PROC, "/self", "/proc/self"},
    };
    for (const auto& row : rows) {
        EXPECT_TRUE(StatusInterface().setup(row.base, row.name)) << row.name;
        EXPECT_TRUE(exists(row.directory)) << row.directory;
    }
    EXPECT_EQ(static_cast<mode_t>(S_IFDIR | 0755), modeOf("/tmp/status/a/b"));
    EXPECT_EQ(std::vector<std::string>(), log.messages());
}

TEST_F(StatusTree, SetupFailuresAreLogged) {
    SyslogReader log;
    StatusInterface interface;
    for (const int base : {3, -1}) {
        EXPECT_FALSE(interface.setup(static_cast<BasePath>(base), "/wan"));
        EXPECT_EQ(std::vector<std::string>({"3Could not setup status interface for !"}),
                  log.messages());
    }
    // An unknown base leaves the directory alone: names are still paths of their own.
    EXPECT_TRUE(interface.setStatus("/tmp/alone", "x"));
    EXPECT_EQ("x", contentOf("/tmp/alone"));

    shell(
        "touch file; ln -s . link; ln -s nowhere dangling; ln -s file/x through; ln -s loop loop");
    // What cannot be looked at for another reason may be a directory.
    for (const char* name : {"/wan/link", "/wan/loop"})
        EXPECT_TRUE(interface.setup(STATUS_BASE_TMP, name)) << name;
    const struct {
        std::string name, refused;
        int error;
    } rows[] = {{"/wan/file", "", ENOTDIR},
                {"/wan/through", "", ENOTDIR},
                {"/wan/dangling", "", ENOENT},
                {"/wan/file", "/sub", ENOTDIR}};
    for (const auto& row : rows) {
        const std::string path = TREE + row.name + row.refused;
        EXPECT_FALSE(interface.setup(STATUS_BASE_TMP, (row.name + row.refused + "/").c_str()));
        EXPECT_EQ(std::vector<std::string>({"3Could not create directory " + path +
                                                ". Errno:" + std::to_string(row.error) + "!",
                                            "3Could not setup status interface for " + path + "!"}),
                  log.messages());
    }
    // The directory that could not be made stays the one aimed at.
    shell("rm file && mkdir -p file/sub");
    EXPECT_TRUE(interface.setStatus("/v", "1"));
    EXPECT_EQ("1", contentOf("/tmp/status/wan/file/sub/v"));
}

TEST_F(StatusTree, ValueFiles) {
    std::string longText;
    for (int i = 0; longText.size() < 4 << 20; ++i) longText += std::to_string(i);
    EXPECT_TRUE(wan_.setStatus("/state", longText.c_str()));
    EXPECT_EQ(longText, get("/state"));
    EXPECT_EQ(static_cast<mode_t>(S_IFREG | 0644), modeOf(TREE + "/wan/state"));
    chmod((TREE + "/wan/state").c_str(), 0600);
    EXPECT_TRUE(wan_.setStatus("/state", ""));
    EXPECT_EQ("", contentOf(TREE + "/wan/state"));
    EXPECT_EQ(static_cast<mode_t>(S_IFREG | 0600), modeOf(TREE + "/wan/state"));

    String same("/state");
    EXPECT_TRUE(wan_.setStatus(same, same));
    EXPECT_TRUE(wan_.getStatus(same, same));
    EXPECT_EQ(String("/state"), same);

    // The kernel's files claim to be empty.
    EXPECT_TRUE(StatusInterface().getStatus("/proc/filesystems", same));
    EXPECT_EQ(contentOf("/proc/filesystems"), same.buffer());
}

TEST_F(StatusTree, FilesThatCannotBeUsed) {
    String value("before");
    EXPECT_FALSE(wan_.getStatus("/missing", value));
    EXPECT_EQ(String(), value);
    mkdir((TREE + "/wan/dir").c_str(), 0755);
    EXPECT_FALSE(wan_.setStatus("/dir", "x"));
    EXPECT_FALSE(wan_.setStatus("/no/such/dir", "x"));
    EXPECT_FALSE(wan_.setLink("/no/such/dir", "x"));
    EXPECT_FALSE(wan_.setStatus(std::string(5000, 'n').c_str(), "x"));

    // A full disk: what fitted stays, the call fails, later calls work.
    const std::string dir = TREE + "/wan/dir";
    ASSERT_EQ(0, mount("full", dir.c_str(), "tmpfs", 0, "size=8k"));
    EXPECT_TRUE(wan_.setStatus("/dir/a", std::string(4000, 'a').c_str()));
    EXPECT_FALSE(wan_.setStatus("/dir/b", std::string(10000, 'b').c_str()));
    EXPECT_TRUE(wan_.setStatus("/dir/b", "fits"));
    // Without permission to write.
    mount("", dir.c_str(), "", MS_REMOUNT | MS_RDONLY, "");
    EXPECT_FALSE(wan_.setStatus("/dir/b", "no"));
    EXPECT_FALSE(wan_.setLink("/dir/l", "no"));
    EXPECT_EQ("fits", contentOf(dir + "/b"));
    umount(dir.c_str());
}

TEST_F(StatusTree, WhatIsNoValueIsRefusedAtOnce) {
    for (const char* planted : {"mkfifo v", "mkfifo f; ln -s f v", "ln -s /dev/zero v",
                                "ln -s /dev/null v", "mkdir v", "truncate -s 2G v"}) {
        shell(std::string("rm -rf v f; ") + planted);
        String value("before");
        EXPECT_FALSE(wan_.getStatus("/v", value)) << planted;
        EXPECT_EQ(String(), value);
    }
    // Without opening it, which can act on a device.
    shell("mkfifo unopened");
    const int events = inotify_init1(IN_NONBLOCK);
    EXPECT_LE(0, inotify_add_watch(events, (TREE + "/wan/unopened").c_str(), IN_OPEN));
    String value;
    EXPECT_FALSE(wan_.getStatus("/unopened", value));
    char event[100];
    EXPECT_EQ(-1, read(events, event, sizeof event));
    close(events);
}

// A neighbour exchanges a file, or a device, and a FIFO all the time.
TEST_F(StatusTree, NothingWaitsForAFifoThatTakesTheNameMeanwhile) {
    for (const char* other : {"printf up > v", "ln -s /dev/null v"}) {
        shell(std::string("rm -f v f; mkfifo f; ") + other);
        const Process neighbour([] {
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

// All that waits in a FIFO of 64 KiB.
std::string taken(int reader) {
    std::string bytes(65536, '\0');
    const ssize_t n = read(reader, &bytes[0], bytes.size());
    return bytes.substr(0, n < 0 ? 0 : static_cast<size_t>(n));
}

TEST_F(StatusTree, AValueForAFifoArrivesWholeOrNotUpToPipeBuf) {
    shell("mkfifo fifo");
    EXPECT_FALSE(wan_.setStatus("/fifo", "nobody reads"));
    const int reader = openReader(TREE + "/wan/fifo");
    const std::string most(PIPE_BUF, 'p'), room(65536, 'r'), filling(65536 - PIPE_BUF + 1, 'f');
    EXPECT_TRUE(wan_.setStatus("/fifo", most.c_str()));
    EXPECT_EQ(most, taken(reader));
    EXPECT_FALSE(wan_.setStatus("/fifo", (room + "more").c_str()));
    EXPECT_EQ(room, taken(reader));

    EXPECT_TRUE(wan_.setStatus("/fifo", filling.c_str()));
    EXPECT_FALSE(wan_.setStatus("/fifo", most.c_str()));
    EXPECT_EQ(filling, taken(reader));
    close(reader);
}

TEST_F(StatusTree, AReaderThatLeavesCausesNoSignal) {
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

// O_NONBLOCK would make a difference to them.
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
        return pause();  // until the SIGIO with which the kernel asks for the lease
    });
    EXPECT_TRUE(soon([] { return exists(TREE + "/wan/leased"); }));
    EXPECT_TRUE(wan_.setStatus("/state", "up"));
    EXPECT_EQ(-SIGIO, holder.result());
    EXPECT_EQ("up", get("/state"));
}

TEST_F(StatusTree, Links) {
    EXPECT_TRUE(wan_.setStatus("/link", "a file first"));
    EXPECT_TRUE(wan_.setLink("/link", "../lan/state"));
    char target[100] = {};
    EXPECT_EQ(12, readlink("/tmp/status/wan/link", target, sizeof target));
    EXPECT_STREQ("../lan/state", target);
    EXPECT_TRUE(wan_.setLink("/link", ""));
    EXPECT_FALSE(exists(TREE + "/wan/link"));
    EXPECT_TRUE(wan_.setLink("/link", ""));
}

// FIFO receivers

void send(const std::string& fifo, const std::string& bytes) {
    const int fd = open(fifo.c_str(), O_WRONLY | O_NONBLOCK);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(static_cast<ssize_t>(bytes.size()), write(fd, bytes.data(), bytes.size()));
    close(fd);
}

// Runs the loop until nothing is waiting.
void runLoop() {
    for (int i = 0; i < 5; ++i) event_loop(EVLOOP_NONBLOCK);
}

class StatusFifo : public StatusTree {
  protected:
    StatusFifo() { first_ = wan_.setupIpcRxFifo("/first", &observer_); }

    FifoObserver observer_;
    unsigned long first_;
};

TEST_F(StatusFifo, ReceiversAreToldApartAndRemovedAlone) {
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

    // They stay where they were made when the directory changes, and go with the object.
    EXPECT_TRUE(wan_.setup(STATUS_BASE_TMP, "/lan"));
    wan_.cleanup();
    EXPECT_FALSE(exists(TREE + "/wan/second"));
}

TEST_F(StatusFifo, AReceiverMayGoWithItsOwnerWhileItIsServed) {
    StatusInterface* owner = new StatusInterface;
    owner->setup(STATUS_BASE_TMP, "/owner");
    EXPECT_NE(0UL, owner->setupIpcRxFifo("/own", &observer_));
    observer_.then = [&](unsigned long) { delete std::exchange(owner, nullptr); };
    send(TREE + "/owner/own", std::string(300, '3'));
    runLoop();
    EXPECT_EQ(nullptr, owner);
    EXPECT_EQ(1U, observer_.receivers.size());
    EXPECT_FALSE(exists(TREE + "/owner/own"));
}

// It is served, also when it is given the same descriptor.
TEST_F(StatusFifo, AReceiverMayBeReplacedWhileItIsServed) {
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
        // libevent does not serve an event within itself; its callback called directly does.
        StatusInterface::STATUS_FIFO_READ_EVENT(reinterpret_cast<struct bufferevent*>(receiver),
                                                static_cast<StatusFifoObserver*>(&observer_));
    };
    send(TREE + "/wan/first", std::string(250, 'o'));
    runLoop();
    EXPECT_EQ(2U, observer_.receivers.size());
    EXPECT_FALSE(exists(TREE + "/wan/first"));
}

TEST_F(StatusFifo, OnlyItsOwnNodeGoesWithAReceiver) {
    const unsigned long second = wan_.setupIpcRxFifo("/first", &observer_);
    wan_.deleteIpcRxFifo(first_);
    send(TREE + "/wan/first", "to the second");
    runLoop();
    EXPECT_EQ("to the second", observer_.received);

    shell("rm first; mkfifo first");  // as another instance does when it starts
    wan_.deleteIpcRxFifo(second);
    EXPECT_TRUE(exists(TREE + "/wan/first"));
}

TEST_F(StatusFifo, OnlyTheNodeJustMadeIsUsed) {
    for (const char* planted : {"rm new; touch new", "rm new; ln -s first new", "rm new"}) {
        const Interception plant("lstat", [&](long) {
            shell(planted);
            return 0;
        });
        EXPECT_EQ(0UL, wan_.setupIpcRxFifo("/new", &observer_)) << planted;
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

TEST_F(StatusFifo, AnExceptionOfAnObserverIsStoppedAndLogged) {
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

TEST_F(StatusFifo, TheEndOfAThreadIsNotStopped) {
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

TEST_F(StatusFifo, SetupFailures) {
    mkdir((TREE + "/wan/dir").c_str(), 0755);
    for (const char* name : {"/no/such/dir", "/dir"})
        EXPECT_EQ(0UL, wan_.setupIpcRxFifo(name, &observer_));
}

// Tried by main before there is an event base.
bool leavesNothingBehind() {
    StatusInterface interface;
    FifoObserver observer;
    EXPECT_TRUE(interface.setup(STATUS_BASE_TMP, "/without"));
    const int descriptors = openDescriptors();
    if (interface.setupIpcRxFifo("/fifo", &observer) != 0) return false;
    return !exists("/tmp/status/without/fifo") && openDescriptors() == descriptors;
}
bool withoutBase;

TEST(StatusFifoWithoutBase, LeavesNothingBehind) {
    EXPECT_TRUE(withoutBase);
}

TEST(EventCatalogue, IsConsistent) {
    // The highest number of each class; class 4 has a gap at 5.
    const int highest[] = {0, 2, 8, 2, 15, 12, 4, 2, 2, 6, 2, 2};
    std::set<int32_t> ids = {0x04000005};
    std::set<std::string> names;
    for (const EventCatalogueEntry& entry : EVENT_CATALOGUE) {
        const int eventClass = entry.id >> 24, number = entry.id & 0xFFFFFF;
        ASSERT_LE(1, eventClass) << entry.name;
        ASSERT_GE(11, eventClass) << entry.name;
        EXPECT_LE(1, number) << entry.name;
        EXPECT_GE(highest[eventClass], number) << entry.name;
        EXPECT_TRUE(ids.insert(entry.id).second) << entry.name;
        EXPECT_TRUE(names.insert(entry.name).second) << entry.name;
        EXPECT_EQ(strlen(entry.name), strspn(entry.name, "abcdefghijklmnopqrstuvwxyz0123456789-"));
        EXPECT_NE('.', entry.description[strlen(entry.description) - 1]);
    }
    EXPECT_EQ(56U, names.size());
    EXPECT_STREQ("wan-up", EVENT_CATALOGUE[0].name);
    EXPECT_EQ(0x0400000C, EVENT_CATALOGUE[18].id);
    EXPECT_STREQ("GRE connection came up", EVENT_CATALOGUE[18].description);
    EXPECT_STREQ("test event", EVENT_CATALOGUE[55].description);
}

TEST(EventCatalogue, IsSearched) {
    for (const EventCatalogueEntry& entry : EVENT_CATALOGUE) {
        EXPECT_EQ(&entry, findEventById(entry.id));
        EXPECT_EQ(&entry, findEventByName(std::string(entry.name).c_str()));
    }
    for (const int32_t id : {0, -1, 0x04000005, 0x0B000003}) EXPECT_EQ(nullptr, findEventById(id));
    for (const char* name : {"", "wan", "wan-up ", "WAN-UP", static_cast<const char*>(nullptr)})
        EXPECT_EQ(nullptr, findEventByName(name));
}

}  // namespace

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    withoutBase = leavesNothingBehind();
    event_init();
    return RUN_ALL_TESTS();
}
