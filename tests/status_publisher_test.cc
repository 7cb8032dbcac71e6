// SPDX-License-Identifier: MIT
//
// failures_test.cc makes each system call and each allocation of publish() fail, and checks which
// files are synced.

#include <velutils++/status_publisher.h>

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <deque>

#include "tests/support/descriptor_check.h"
#include "tests/support/files.h"
#include "tests/support/network.h"
#include "tests/support/processes.h"
#include "tests/support/strings.h"

namespace {

// Fewer repetitions under an emulator or a sanitizer.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(__arm__)
const int PUBLICATIONS = 10000, KILLS = 40;
#else
const int PUBLICATIONS = 200000, KILLS = 200;
#endif
const std::string WAN = "/tmp/status/wan";

// Each value repeats one letter, and each letter has its own length, so a mixture of two values is
// not a value.
std::string valueOf(int i) {
    return std::string(static_cast<size_t>(1 + i % 26 * 241), static_cast<char>('a' + i % 26));
}

bool isWhole(const std::string& value) {
    return !value.empty() && value == valueOf(value[0] - 'a');
}

bool publish(StatusPublisher& publisher, const char* name, const std::string& value) {
    return publisher.publish(name, make(value));
}

struct stat statusOf(const std::string& path) {
    struct stat status = {};
    EXPECT_EQ(0, lstat(path.c_str(), &status)) << path;
    return status;
}

// A publisher on /tmp/status/wan, with nothing of earlier tests in the tree.
class Publisher : public testing::Test {
  protected:
    Publisher() {
        EXPECT_EQ(0, system("rm -rf /tmp/status /nvstatus/*"));
        umask(022);
        EXPECT_TRUE(wan_.setup(STATUS_BASE_TMP, "/wan"));
    }
    ~Publisher() override { EXPECT_EQ("", temporaries()); }

    static std::string temporaries() {
        return outputOf("find " + WAN + " -name '" + StatusPublisher::TEMPORARY_PREFIX() + "*'");
    }

    DescriptorCheck descriptors_;
    StatusPublisher wan_;
};

// The children's loops end at the first fault.
TEST_F(Publisher, ReadersSeeWholeValuesOnly) {
    ASSERT_TRUE(publish(wan_, "/v", valueOf(0)));
    const auto write = [&](int first) {
        alarm(240);
        for (int i = 0; i < PUBLICATIONS / 2; ++i)
            if (!publish(wan_, "/v", valueOf(first + i))) return 1;
        return 0;
    };
    const auto read = [] {
        alarm(240);
        setpriority(PRIO_PROCESS, 0, 19);
        while (isWhole(contentOf(WAN + "/v"))) {
        }
        return 1;
    };
    std::deque<Process> readers;
    for (int i = 0; i < 8; ++i) readers.emplace_back(read);
    Process one([&] { return write(0); }), other([&] { return write(13); });
    EXPECT_EQ(0, one.result());
    EXPECT_EQ(0, other.result());
    for (Process& reader : readers) EXPECT_EQ(-SIGKILL, reader.result(SIGKILL));
}

// Another publisher continues in the same directory.
TEST_F(Publisher, AKilledPublisherLeavesAWholeValueAndTheNextSetupCleansUp) {
    ASSERT_TRUE(publish(wan_, "/v", valueOf(0)));
    const auto publishes = [&](const char* name) {
        for (int i = 0; publish(wan_, name, valueOf(i)); ++i) {
        }
        return 1;
    };
    Process living([&] { return publishes("/living"); });
    for (int i = 0; i < KILLS; ++i) {
        Process victim([&] { return publishes("/v"); });
        usleep(static_cast<useconds_t>(rand() % 3000));
        EXPECT_EQ(-SIGKILL, victim.result(SIGKILL));
        EXPECT_TRUE(isWhole(contentOf(WAN + "/v")));
        EXPECT_TRUE(StatusPublisher().setup(STATUS_BASE_TMP, "/wan"));
    }
    EXPECT_EQ(-SIGKILL, living.result(SIGKILL));
    EXPECT_TRUE(wan_.setup(STATUS_BASE_TMP, "/wan"));
}

TEST_F(Publisher, SetupRemovesDeadTemporariesOnly) {
    EXPECT_EQ("", outputOf("cd " + WAN +
                           "; touch .velutils-dead .velutils-locked v; "
                           "ln -s v .velutils-link; mkfifo .velutils-pipe"));
    const int held = open((WAN + "/.velutils-locked").c_str(), O_RDONLY);
    EXPECT_EQ(0, flock(held, LOCK_EX));
    EXPECT_TRUE(wan_.setup(STATUS_BASE_TMP, "/wan"));
    EXPECT_EQ(".velutils-link\n.velutils-locked\n.velutils-pipe\nv\n", outputOf("ls -A " + WAN));
    EXPECT_EQ("", outputOf("rm " + WAN + "/.velutils-*"));
    close(held);
}

TEST_F(Publisher, OnlyRootRemovesTemporariesOfOthers) {
    const std::string dead = WAN + "/" + StatusPublisher::TEMPORARY_PREFIX() + "dead";
    EXPECT_EQ(0, chmod(WAN.c_str(), 0777));
    if (seteuid(4711) != 0) GTEST_SKIP() << "there is no second user";
    writeFile(dead, "x");
    EXPECT_EQ(0, seteuid(0));
    EXPECT_EQ(0, seteuid(4712));
    EXPECT_TRUE(wan_.setup(STATUS_BASE_TMP, "/wan"));
    EXPECT_TRUE(exists(dead));
    EXPECT_EQ(0, seteuid(0));
    EXPECT_TRUE(wan_.setup(STATUS_BASE_TMP, "/wan"));
    EXPECT_FALSE(exists(dead));
}

TEST_F(Publisher, TheFileHoldsExactlyTheValue) {
    umask(027);
    for (const std::string& value : {std::string("a\0b\n", 4), valueOf(25)}) {
        EXPECT_TRUE(publish(wan_, "/v", value));
        EXPECT_EQ(value, contentOf(WAN + "/v"));
    }
    EXPECT_EQ(static_cast<mode_t>(S_IFREG | 0640), statusOf(WAN + "/v").st_mode);
    EXPECT_TRUE(wan_.setup(STATUS_BASE_NV, "/wan"));
    EXPECT_TRUE(publish(wan_, "/v", "kept"));
    EXPECT_EQ("kept", contentOf("/nvstatus/wan/v"));
}

TEST_F(Publisher, AnUnchangedValueIsNotWritten) {
    ASSERT_TRUE(publish(wan_, "/v", "up"));
    const struct timespec past[2] = {{1000, 0}, {1000, 0}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, (WAN + "/v").c_str(), past, 0));
    const struct stat before = statusOf(WAN + "/v");
    EXPECT_TRUE(publish(wan_, "/v", "up"));
    const struct stat after = statusOf(WAN + "/v");
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ(1000, after.st_mtime);
    EXPECT_EQ(1000, after.st_atime);
    for (const char* other : {"uq", "u", "up ", ""}) {
        EXPECT_TRUE(publish(wan_, "/v", other));
        EXPECT_EQ(other, contentOf(WAN + "/v"));
    }
}

TEST_F(Publisher, LinksAreReplacedAndOtherKindsRefused) {
    EXPECT_EQ("", outputOf("cd " + WAN +
                           "; printf up > /tmp/victim; ln -s /tmp/victim link; "
                           "mkdir directory; mkfifo fifo"));
    for (const char* value : {"up", "down"}) EXPECT_TRUE(publish(wan_, "/link", value));
    EXPECT_EQ("up", contentOf("/tmp/victim"));
    EXPECT_TRUE(S_ISREG(statusOf(WAN + "/link").st_mode));

    const char* const device = "/../../../dev/null";
    for (const char* name : {"/directory", "/fifo", device}) {
        const mode_t before = statusOf(WAN + name).st_mode;
        EXPECT_FALSE(publish(wan_, name, "x")) << name;
        EXPECT_EQ(EEXIST, errno) << name;
        EXPECT_EQ(before, statusOf(WAN + name).st_mode) << name;
    }
}

TEST_F(Publisher, WithoutADirectoryPublishFails) {
    StatusPublisher other;
    EXPECT_FALSE(publish(other, "/tmp/v", "no set-up"));
    EXPECT_FALSE(other.setup(static_cast<BasePath>(3), "/wan"));
    EXPECT_FALSE(publish(other, "/tmp/v", "no such base"));
    EXPECT_TRUE(publish(wan_, "/v", "a file"));
    EXPECT_FALSE(wan_.setup(STATUS_BASE_TMP, "/wan/v/below-a-file"));
    EXPECT_FALSE(publish(wan_, "", "no directory"));
}

TEST_F(Publisher, NamesOfTemporaryFilesAreRefused) {
    EXPECT_FALSE(publish(wan_, "/.velutils-mine", "x"));
    EXPECT_EQ(EINVAL, errno);
}

TEST_F(Publisher, AFullDiskLeavesTheOldValue) {
    ASSERT_EQ(0, mount("full", WAN.c_str(), "tmpfs", 0, "size=16k"));
    EXPECT_TRUE(publish(wan_, "/v", "old"));
    EXPECT_FALSE(publish(wan_, "/v", std::string(20000, 'n')));
    EXPECT_EQ(ENOSPC, errno);
    EXPECT_EQ("", temporaries());
    EXPECT_EQ("old", contentOf(WAN + "/v"));
    EXPECT_TRUE(publish(wan_, "/v", std::string(8000, 'f')));
    EXPECT_EQ(0, umount(WAN.c_str()));
}

}  // namespace
