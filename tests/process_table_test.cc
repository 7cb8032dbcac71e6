// SPDX-License-Identifier: MIT

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
#include "tests/support/failing_calls.h"
#include "tests/support/files.h"
#include "tests/support/processes.h"

namespace {

using failing_calls::Failure;
typedef std::vector<std::string> Strings;

// Runs cat(1) with the arguments. It reads from a pipe that it could write to itself, so it waits.
int runCat(Strings arguments) {
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(&argument[0]);
    argv.push_back(nullptr);
    int ends[2];
    if (pipe(ends) != 0) return 1;
    dup2(ends[0], STDIN_FILENO);
    return execv("/bin/cat", argv.data());
}

// A child that waits until it is killed. The constructor returns when the kernel shows its
// arguments.
class Child : public Process {
  public:
    // With one argument, "-".
    explicit Child(const char* name) : Child(Strings{name, "-"}) {}
    explicit Child(const Strings& arguments) : Process([&] { return runCat(arguments); }) {
        std::string shown;
        for (const std::string& argument : arguments) shown += argument + '\0';
        const std::string file = "/proc/" + std::to_string(pid()) + "/cmdline";
        EXPECT_TRUE(soon([&] { return contentOf(file) == shown; }));
    }

    // Kills the process. It stays in /proc until it is reaped.
    void becomeZombie() {
        siginfo_t info;
        signal(SIGKILL);
        EXPECT_EQ(0, waitid(P_PID, static_cast<id_t>(pid()), &info, WEXITED | WNOWAIT));
    }
    void reap() { result(SIGKILL); }
};

// A /proc for test directories while it lives.
struct EmptyProc {
    EmptyProc() { EXPECT_EQ(0, mount("proc", "/proc", "tmpfs", 0, nullptr)); }
    ~EmptyProc() { EXPECT_EQ(0, umount("/proc")); }

    static void add(const std::string& id) { EXPECT_EQ(0, mkdir(("/proc/" + id).c_str(), 0700)); }
    static void add(const std::string& id, const std::string& commandLine) {
        add(id);
        writeFile("/proc/" + id + "/cmdline", commandLine);
    }
};

class ProcessTable : public testing::Test {
  protected:
    ~ProcessTable() override { EXPECT_EQ(descriptors, openDescriptors()); }

    std::string nameOf(const Child& child) {
        ProcessEntry* const entry = table.getProcessEntryByPid(child.pid());
        return entry != nullptr ? entry->getName() : "(none)";
    }

    std::vector<int> pids() const {
        std::vector<int> found;
        const ProcessEntry* entry = nullptr;
        while ((entry = table.getNextProcessEntryByName(nullptr, entry)) != nullptr)
            found.push_back(entry->getPid());
        return found;
    }

    // What is true of every complete snapshot.
    void check() {
        const std::vector<int> found = pids();
        for (const int pid : found) EXPECT_TRUE(table.getProcessEntryByPid(pid)->isValid());
        EXPECT_EQ(static_cast<int>(found.size()), table.getNumberOfProcessesByName(nullptr));
        EXPECT_EQ(static_cast<int>(found.size()), table.getNumberOfProcesses());
        EXPECT_NE(nullptr, table.getProcessEntryByPid(getpid()));
    }

    const int descriptors = openDescriptors();
    ProcessControl table;
};

std::string x(size_t n) {
    return std::string(n, 'x');
}

TEST_F(ProcessTable, NamesAreCommandLines) {
    const struct {
        Strings arguments;
        std::string name;
    } rows[] = {
        {{"/usr/bin/app", "-", "-"}, "/usr/bin/app - -"},
        {{"\xc3\xa4\xff\x01 two\nlines", "-"}, "\xc3\xa4\xff\x01 two\nlines -"},
        {{""}, ""},                // the only byte is a separator
        {{"a", "-", ""}, "a - "},  // only the last separator is removed
        {{x(253), "-"}, x(253) + " -"},
        {{x(254), "-"}, x(254)},        // the 255th byte is the separator
        {{x(254) + " ", "-"}, x(254)},  // the 255th byte is a space of the argument
    };
    for (const auto& row : rows) {
        const Child child(row.arguments);
        table.refresh(false);
        EXPECT_EQ(row.name, nameOf(child));
        check();
    }
}

TEST_F(ProcessTable, AZombieIsCountedUntilItIsReaped) {
    Child zombie("zombie");
    zombie.becomeZombie();
    table.refresh(true);
    EXPECT_EQ("[" + std::to_string(zombie.pid()) + "]", nameOf(zombie));
    check();
    zombie.reap();
    table.refresh(true);
    EXPECT_EQ("(none)", nameOf(zombie));
    check();
}

TEST_F(ProcessTable, KeepKeepsEntriesNamesAndOrder) {
    Child first("first"), second("second"), third("third"), fourth("fourth"), last("last");
    table.refresh(false);
    std::vector<int> expected = pids();
    EXPECT_TRUE(std::is_sorted(expected.begin(), expected.end())) << "the order of /proc";
    ProcessEntry* const entries[] = {table.getProcessEntryByPid(second.pid()),
                                     table.getProcessEntryByPid(fourth.pid())};
    first.reap();
    third.reap();
    last.reap();
    fourth.becomeZombie();
    expected.resize(expected.size() - 5);
    Child added("added");
    for (const Child* child : {&second, &fourth, &added}) expected.push_back(child->pid());
    table.refresh(true);
    EXPECT_EQ(expected, pids());
    EXPECT_EQ(entries[0], table.getProcessEntryByPid(second.pid()));
    EXPECT_EQ(entries[1], table.getProcessEntryByPid(fourth.pid()));
    EXPECT_EQ("fourth -", nameOf(fourth)) << "names are not read again";
    check();
}

TEST_F(ProcessTable, LookupsByName) {
    const Child app("/usr/bin/app"), apple("/usr/bin/apple"), other("/sbin/x /usr/bin/app");
    table.refresh(false);
    const char* const prefix = "/usr/bin/app";
    EXPECT_EQ(2, table.getNumberOfProcessesByName(prefix));
    EXPECT_EQ(1, table.getNumberOfProcessesByName("/usr/bin/app -"));
    EXPECT_EQ(0, table.getNumberOfProcessesByName("/usr/bin/app -x"));
    ProcessEntry* const first = table.getNextProcessEntryByName(prefix, nullptr);
    ASSERT_NE(nullptr, first);
    EXPECT_EQ(table.getProcessEntryByPid(app.pid()), first);
    ProcessEntry* const second = table.getNextProcessEntryByName(prefix, first);
    ASSERT_NE(nullptr, second);
    EXPECT_EQ(table.getProcessEntryByPid(apple.pid()), second);
    EXPECT_EQ(nullptr, table.getNextProcessEntryByName(prefix, second));
    const ProcessEntry stranger(app.pid(), prefix);
    EXPECT_EQ(nullptr, table.getNextProcessEntryByName(nullptr, &stranger));
    EXPECT_EQ(nullptr, table.getProcessEntryByPid(-1));
}

// Only directories whose names are numbers are processes, while they have a command line file.
TEST_F(ProcessTable, OtherNamesInProc) {
    table.refresh(false);
    const EmptyProc proc;
    table.refresh(true);
    EXPECT_EQ(std::vector<int>(), pids());
    proc.add("12x", "no number");
    proc.add("4711", "named");
    proc.add("4712");
    EXPECT_EQ(0, symlink("4711", "/proc/123"));
    table.refresh(true);
    EXPECT_EQ(std::vector<int>{4711}, pids());
    EXPECT_STREQ("named", table.getProcessEntryByPid(4711)->getName());
}

TEST_F(ProcessTable, CallsThatFail) {
    const EmptyProc proc;
    proc.add("7", "seven");
    table.refresh(false);
    {
        const Failure failure("opendir", EIO);
        table.refresh(true);
        EXPECT_FALSE(table.getProcessEntryByPid(7)->isValid());
        EXPECT_EQ(1, table.getNumberOfProcesses());
    }
    {
        const Failure failure("read", EIO);
        table.refresh(false);
        EXPECT_STREQ("[7]", table.getProcessEntryByPid(7)->getName());
    }
    for (const char* const call : {"opendir", "open"}) {
        const Failure failure(call, EIO);
        table.refresh(false);
        EXPECT_EQ(0, table.getNumberOfProcesses()) << call;
    }
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
TEST_F(ProcessTable, KnownProcessesAreFoundQuicklyInAnyOrder) {
    const EmptyProc proc;
    proc.add("1", "1");
    table.refresh(false);
    std::vector<ProcessEntry*> firstOfPairs;
    ProcessEntry* list = nullptr;
    for (int pid = 3001; pid > 1; --pid) {
        proc.add(std::to_string(pid));
        const int mixed = 2 + pid * 1237 % 3000;
        list = new Asked(mixed, new Asked(mixed, list));
        firstOfPairs.push_back(list);
    }
    ProcessEntry* entry = table.getProcessEntryByPid(1);
    entry->setNext(list);
    proc.add("4000", "4000");
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
    EXPECT_EQ(3002, table.getNumberOfProcesses());
}

// After std::bad_alloc the list has known processes, one that has ended, and some of the new ones.
TEST_F(ProcessTable, ARefreshWithoutMemoryIsCompletedByTheNext) {
    for (long n = 2; n < 6; ++n) {  // the first allocation is opendir's
        for (const bool keep : {true, false}) {
            Child known("known"), ended("ended");
            table.refresh(false);
            ended.reap();
            const Child added("added"), last("last");
            {
                const allocations::Refusal refusal(n);
                EXPECT_THROW(table.refresh(keep), std::bad_alloc);
            }
            table.refresh(true);
            check();
            EXPECT_EQ("known -", nameOf(known));
            EXPECT_EQ("(none)", nameOf(ended));
            EXPECT_EQ("added -", nameOf(added));
            EXPECT_EQ("last -", nameOf(last));
        }
    }
    table.cleanup();
    EXPECT_EQ(0, table.getNumberOfProcesses());
}

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

}  // namespace
