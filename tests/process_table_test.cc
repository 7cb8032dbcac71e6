// SPDX-License-Identifier: MIT
//
// Most tests mount a /proc of their own, in which a process is a directory with a command line
// file.

#include <velutils++/process_table.h>

#include <errno.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <new>
#include <string>
#include <vector>

#include "tests/support/allocations.h"
#include "tests/support/descriptor_check.h"
#include "tests/support/failing_calls.h"
#include "tests/support/files.h"
#include "tests/support/processes.h"

namespace {

using failing_calls::Failure;
typedef std::vector<std::string> Strings;

class ProcessTable : public testing::Test {
  protected:
    std::string nameOf(int pid) {
        ProcessEntry* const entry = table.getProcessEntryByPid(pid);
        return entry != nullptr ? entry->getName() : "(none)";
    }

    std::vector<int> pids() const {
        std::vector<int> found;
        const ProcessEntry* entry = nullptr;
        while ((entry = table.getNextProcessEntryByName(nullptr, entry)) != nullptr)
            found.push_back(entry->getPid());
        return found;
    }

    DescriptorCheck descriptors;
    ProcessControl table;
};

TEST_F(ProcessTable, StartsEmpty) {
    EXPECT_EQ(0, table.getNumberOfProcesses());
    EXPECT_EQ(std::vector<int>(), pids());
    EXPECT_EQ(nullptr, table.getProcessEntryByPid(getpid()));
}

TEST_F(ProcessTable, NumericTextsHaveDigitsOnly) {
    for (const char* const text : {"", "0123456789"}) EXPECT_TRUE(table.isNumeric(text)) << text;
    for (const char* const text : {"self", "12a", "-1", "/", ":"})
        EXPECT_FALSE(table.isNumeric(text)) << text;
}

TEST_F(ProcessTable, ListsTheProcessesOfTheKernel) {
    std::string ownName = contentOf("/proc/self/cmdline");
    ownName.pop_back();
    std::replace(ownName.begin(), ownName.end(), '\0', ' ');
    Process zombie([] { return 0; });
    const int zombiePid = zombie.pid();
    siginfo_t info;
    EXPECT_EQ(0, waitid(P_PID, static_cast<id_t>(zombiePid), &info, WEXITED | WNOWAIT));
    table.refresh(true);
    EXPECT_EQ(ownName, nameOf(getpid()));
    EXPECT_EQ("[" + std::to_string(zombiePid) + "]", nameOf(zombiePid));
    zombie.result();
    table.refresh(true);
    EXPECT_EQ(ownName, nameOf(getpid()));
    EXPECT_EQ("(none)", nameOf(zombiePid));
}

class OwnProc : public ProcessTable {
  protected:
    OwnProc() { EXPECT_EQ(0, mount("proc", "/proc", "tmpfs", 0, nullptr)); }
    ~OwnProc() override { EXPECT_EQ(0, umount("/proc")); }

    static std::string directoryOf(int pid) { return "/proc/" + std::to_string(pid); }
    static void add(int pid) { EXPECT_EQ(0, mkdir(directoryOf(pid).c_str(), 0700)); }
    static void add(int pid, const Strings& arguments) {
        add(pid);
        std::string commandLine;
        for (const std::string& argument : arguments) commandLine += argument + '\0';
        writeFile(directoryOf(pid) + "/cmdline", commandLine);
    }
    static void remove(int pid) {
        unlink((directoryOf(pid) + "/cmdline").c_str());
        EXPECT_EQ(0, rmdir(directoryOf(pid).c_str()));
    }

    // What is true of every complete snapshot.
    void check(int count) {
        const std::vector<int> found = pids();
        for (const int pid : found) EXPECT_TRUE(table.getProcessEntryByPid(pid)->isValid());
        EXPECT_EQ(count, static_cast<int>(found.size()));
        EXPECT_EQ(count, table.getNumberOfProcessesByName(nullptr));
        EXPECT_EQ(count, table.getNumberOfProcesses());
    }
};

std::string x(size_t n) {
    return std::string(n, 'x');
}

TEST_F(OwnProc, NamesAreCommandLines) {
    const struct {
        Strings arguments;
        std::string name;
    } rows[] = {
        {{"/usr/bin/app", "-", "-"}, "/usr/bin/app - -"},
        {{"\xc3\xa4\xff\x01 two\nlines", "-"}, "\xc3\xa4\xff\x01 two\nlines -"},
        {{}, "[1001]"},
        {{""}, ""},                // the only byte is a separator
        {{"a", "-", ""}, "a - "},  // only the last separator is removed
        {{x(253), "-"}, x(253) + " -"},
        {{x(254), "-"}, x(254)},        // the 255th byte is the separator
        {{x(254) + " ", "-"}, x(254)},  // the 255th byte is a space of the argument
    };
    for (const auto& row : rows) {
        add(1001, row.arguments);
        table.refresh(false);
        EXPECT_EQ(row.name, nameOf(1001));
        check(1);
        remove(1001);
    }
    table.refresh(true);
    check(0);
}

// It is read between two longer names.
TEST_F(OwnProc, ANameMayHaveNoSeparatorAtTheEnd) {
    add(1001, {x(200)});
    add(1002);
    writeFile(directoryOf(1002) + "/cmdline", "renamed");
    add(1003, {x(200)});
    table.refresh(false);
    EXPECT_EQ("renamed", nameOf(1002));
}

// In ascending and in descending order of the ids.
TEST_F(OwnProc, KeepKeepsEntriesNamesAndOrder) {
    for (const int step : {1, -1}) {
        for (int i = -2; i <= 2; ++i) add(1003 + i * step, {"old"});
        table.refresh(false);
        const std::vector<int> before = pids();
        ProcessEntry* const second = table.getProcessEntryByPid(before[1]);
        ProcessEntry* const fourth = table.getProcessEntryByPid(before[3]);
        for (const int pid : {before[0], before[2], before[4]}) remove(pid);
        writeFile(directoryOf(before[3]) + "/cmdline", "new");
        add(1006, {"new"});
        table.refresh(true);
        EXPECT_EQ((std::vector<int>{before[1], before[3], 1006}), pids());
        EXPECT_EQ(second, table.getProcessEntryByPid(before[1]));
        EXPECT_EQ(fourth, table.getProcessEntryByPid(before[3]));
        EXPECT_STREQ("old", fourth->getName());
        EXPECT_EQ("new", nameOf(1006));
        check(3);
        for (const int pid : pids()) remove(pid);
    }
}

TEST_F(OwnProc, LookupsByName) {
    add(1001, {"/usr/bin/app", "-"});
    add(1002, {"/usr/bin/apple"});
    add(1003, {"/sbin/x /usr/bin/app"});
    table.refresh(false);
    const char* const prefix = "/usr/bin/app";
    EXPECT_EQ(2, table.getNumberOfProcessesByName(prefix));
    EXPECT_EQ(1, table.getNumberOfProcessesByName("/usr/bin/app -"));
    EXPECT_EQ(0, table.getNumberOfProcessesByName("/usr/bin/app -x"));
    ProcessEntry* const first = table.getNextProcessEntryByName(prefix, nullptr);
    ASSERT_NE(nullptr, first);
    ProcessEntry* const second = table.getNextProcessEntryByName(prefix, first);
    ASSERT_NE(nullptr, second);
    EXPECT_EQ(1001 + 1002, first->getPid() + second->getPid());
    EXPECT_EQ(nullptr, table.getNextProcessEntryByName(prefix, second));
    const ProcessEntry stranger(1001, prefix);
    EXPECT_EQ(nullptr, table.getNextProcessEntryByName(nullptr, &stranger));
    EXPECT_EQ(nullptr, table.getProcessEntryByPid(-1));
}

// Only directories whose names are numbers are processes, while they have a command line file.
TEST_F(OwnProc, OtherNames) {
    add(1001, {"named"});
    add(1002);
    EXPECT_EQ(0, symlink("1001", "/proc/1003"));
    EXPECT_EQ(0, mkdir("/proc/1004x", 0700));
    writeFile("/proc/1004x/cmdline", "no number");
    table.refresh(true);
    EXPECT_EQ(std::vector<int>{1001}, pids());
}

TEST_F(OwnProc, CallsThatFail) {
    add(1001, {"name"});
    table.refresh(false);
    {
        const Failure failure("opendir", EIO);
        table.refresh(true);
        EXPECT_FALSE(table.getProcessEntryByPid(1001)->isValid());
        EXPECT_EQ(1, table.getNumberOfProcesses());
    }
    {
        const Failure failure("read", EIO);
        table.refresh(false);
        EXPECT_EQ("[1001]", nameOf(1001));
    }
    for (const char* const call : {"opendir", "open"}) {
        const Failure failure(call, EIO);
        table.refresh(false);
        EXPECT_EQ(0, table.getNumberOfProcesses()) << call;
    }
}

// After std::bad_alloc the list has known processes, one that has ended, and some of the new ones.
TEST_F(OwnProc, ARefreshWithoutMemoryIsCompletedByTheNext) {
    for (long n = 2; n < 6; ++n) {  // the first allocation is opendir's
        for (const bool keep : {true, false}) {
            for (const int pid : {1001, 1002}) add(pid, {"old"});
            table.refresh(false);
            remove(1002);
            for (const int pid : {1003, 1004}) add(pid, {"new"});
            {
                const allocations::Refusal refusal(n);
                EXPECT_THROW(table.refresh(keep), std::bad_alloc);
            }
            table.refresh(true);
            check(3);
            EXPECT_EQ("old", nameOf(1001));
            EXPECT_EQ("new", nameOf(1003));
            EXPECT_EQ("new", nameOf(1004));
            for (const int pid : {1001, 1003, 1004}) remove(pid);
        }
    }
    table.cleanup();
    check(0);
}

// An entry that counts how often entries are asked for their ids.
struct Asked : ProcessEntry {
    Asked(int id, ProcessEntry* follower) : ProcessEntry(id, "") { setNext(follower); }
    int getPid() const override {
        ++asked;
        return ProcessEntry::getPid();
    }
    static long asked;
};
long Asked::asked;

// The list has the ids 2 to 3001 in a mixed order, each twice in a row. Refresh finds each in a
// bounded number of steps, without memory from the heap, and keeps the first of each pair.
TEST_F(OwnProc, KnownProcessesAreFoundQuicklyInAnyOrder) {
    add(1, {"1"});
    table.refresh(false);
    std::vector<ProcessEntry*> firstOfPairs;
    ProcessEntry* list = nullptr;
    for (int pid = 3001; pid > 1; --pid) {
        add(pid);
        const int mixed = 2 + pid * 1237 % 3000;
        list = new Asked(mixed, new Asked(mixed, list));
        firstOfPairs.push_back(list);
    }
    ProcessEntry* entry = table.getProcessEntryByPid(1);
    entry->setNext(list);
    add(4000, {"4000"});
    Asked::asked = 0;
    const long requests = allocations::requests();
    table.refresh(true);
    EXPECT_EQ(3, allocations::requests() - requests);  // opendir's, the new entry, its name
    EXPECT_LT(Asked::asked, 10 * 6000);
    for (; !firstOfPairs.empty(); firstOfPairs.pop_back()) {
        entry = entry->getNext();
        EXPECT_EQ(firstOfPairs.back(), entry);
    }
    EXPECT_EQ(table.getProcessEntryByPid(4000), entry->getNext());
    check(3002);
}

}  // namespace
