// SPDX-License-Identifier: MIT

#include <velutils++/process_table.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <stdio.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "tests/support/allocations.h"
#include "tests/support/files.h"
#include "tests/support/processes.h"

namespace {

typedef std::vector<std::string> Strings;

std::string bracketed(int pid) {
    return "[" + std::to_string(pid) + "]";
}

// A pipe that nothing is ever written into.
const struct Pipe {
    Pipe() { EXPECT_EQ(0, pipe2(ends, O_CLOEXEC)); }
    int ends[2];
} silence;

// Runs cat(1) with the arguments.
int runCat(Strings arguments) {
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(&argument[0]);
    argv.push_back(nullptr);
    dup2(silence.ends[0], STDIN_FILENO);
    return execv("/bin/cat", argv.data());
}

// A child that does nothing until it is ended, once the kernel shows its arguments.
class Child : public Process {
  public:
    // Goes by a name and one argument, "-".
    explicit Child(const char* name) : Child(Strings{name, "-"}) {}
    explicit Child(const Strings& arguments) : Process([&] { return runCat(arguments); }) {
        std::string shown;
        for (const std::string& argument : arguments) shown += argument + '\0';
        const std::string file = "/proc/" + std::to_string(pid()) + "/cmdline";
        EXPECT_TRUE(soon([&] { return contentOf(file) == shown; }));
    }

    // Ends the process, which stays in /proc until it is reaped.
    void becomeZombie() {
        siginfo_t info;
        signal(SIGKILL);
        EXPECT_EQ(0, waitid(P_PID, static_cast<id_t>(pid()), &info, WEXITED | WNOWAIT));
    }
    void reap() { result(SIGKILL); }
};

// Runs checks in a forked child with mounts of its own.
template <class Checks>
void inChild(Checks checks) {
    fflush(stdout);
    Process child([&] {
        EXPECT_EQ(0, unshare(CLONE_NEWNS));
        checks();
        fflush(stdout);
        return testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(0, child.result());
}

class ProcessTable : public testing::Test {
  protected:
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

    // What holds of every complete snapshot.
    void check() {
        const std::vector<int> found = pids();
        for (const int pid : found) EXPECT_TRUE(table.getProcessEntryByPid(pid)->isValid());
        EXPECT_EQ(found.size(), std::set<int>(found.begin(), found.end()).size());
        EXPECT_EQ(static_cast<int>(found.size()), table.getNumberOfProcessesByName(nullptr));
        EXPECT_EQ(static_cast<int>(found.size()), table.getNumberOfProcesses());
        EXPECT_NE(nullptr, table.getProcessEntryByPid(getpid()));
    }

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
        {{""}, ""},                // the one byte is a separator
        {{"a", "-", ""}, "a - "},  // only the last separator goes
        // Up to 255 bytes, separators included, the whole line shows.
        {{x(252), "-"}, x(252) + " -"},
        {{x(253), "-"}, x(253) + " -"},
        {{x(254), "-"}, x(254)},        // the 255th byte is the separator
        {{x(254) + " ", "-"}, x(254)},  // the 255th byte is the argument's own blank
        {{x(100000), "-"}, x(255)},
    };
    for (const auto& row : rows) {
        const Child child(row.arguments);
        table.refresh(false);
        EXPECT_EQ(row.name, nameOf(child));
        check();
    }
}

TEST_F(ProcessTable, CountsEveryEntry) {
    Child running("running"), zombie("zombie");
    zombie.becomeZombie();
    table.refresh(true);
    EXPECT_EQ(bracketed(zombie.pid()), nameOf(zombie));
    check();
    int count = table.getNumberOfProcesses();
    for (Child* const ended : {&zombie, &running}) {
        ended->reap();
        table.refresh(true);
        EXPECT_EQ(--count, table.getNumberOfProcesses());
        check();
    }
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

    // As when ids have wrapped: the list has another order than /proc.
    ProcessEntry* const own = table.getProcessEntryByPid(getpid());
    ProcessEntry* const newest = table.getProcessEntryByPid(added.pid());
    own->setNext(newest);
    newest->setNext(entries[1]);
    entries[1]->setNext(entries[0]);
    entries[0]->setNext(nullptr);
    fourth.reap();
    table.refresh(true);
    EXPECT_EQ(newest, own->getNext());
    EXPECT_EQ(entries[0], newest->getNext());
    EXPECT_EQ(nullptr, entries[0]->getNext());
    check();
}

TEST_F(ProcessTable, LookupsByName) {
    const Child app("/usr/bin/app"), apple("/usr/bin/apple"), other("/sbin/x /usr/bin/app");
    table.refresh(false);
    const char* const prefix = "/usr/bin/app";
    EXPECT_EQ(2, table.getNumberOfProcessesByName(prefix));
    EXPECT_EQ(1, table.getNumberOfProcessesByName("/usr/bin/app -"));
    EXPECT_EQ(0, table.getNumberOfProcessesByName("/usr/bin/app -x"));
    EXPECT_EQ(table.getNumberOfProcessesByName(nullptr), table.getNumberOfProcessesByName(""));
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

// Only directories with numbers are processes, and only as long as they have a command line file.
TEST_F(ProcessTable, OtherNamesInProc) {
    inChild([&] {
        EXPECT_EQ(0, mount("proc", "/proc", "tmpfs", 0, nullptr));
        table.refresh(true);
        EXPECT_EQ(std::vector<int>(), pids());
        for (const char* const name : {"/proc/12x", "/proc/4711", "/proc/4712"}) mkdir(name, 0700);
        EXPECT_EQ(0, symlink("4711", "/proc/123"));
        writeFile("/proc/12x/cmdline", "no number");
        writeFile("/proc/4711/cmdline", "named");
        table.refresh(true);
        EXPECT_EQ(std::vector<int>{4711}, pids());
        EXPECT_STREQ("named", table.getProcessEntryByPid(4711)->getName());
        unlink("/proc/4711/cmdline");
        rmdir("/proc/4711");
        table.refresh(true);
        EXPECT_EQ(std::vector<int>(), pids());
        mkdir("/proc/05000001", 0700);
        EXPECT_EQ(0, symlink("05000001", "/proc/5000001"));
        writeFile("/proc/5000001/cmdline", "");
        table.refresh(true);
        EXPECT_STREQ("[05000001]", table.getProcessEntryByPid(5000001)->getName());
    });
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

// Ids 2 to 3001 are known in a mixed order, each twice in a row. Each takes a bounded number of
// steps to find and no memory from the heap, and the first of a pair stays.
TEST_F(ProcessTable, KnownProcessesAreFoundAtOnceInAnyOrder) {
    inChild([&] {
        EXPECT_EQ(0, mount("proc", "/proc", "tmpfs", 0, nullptr));
        const auto add = [](int pid) { mkdir(("/proc/" + std::to_string(pid)).c_str(), 0700); };
        add(1);
        writeFile("/proc/1/cmdline", "1");
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
        add(4000);
        writeFile("/proc/4000/cmdline", "4000");
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
    });
}

// A refusal leaves known processes, one that has ended, and some of the new ones in the list.
TEST_F(ProcessTable, RefusedAllocations) {
    for (long n = 2 * 4; n < 6 * 4; ++n) {  // the first is opendir's
        Child known("known"), ended("ended");
        table.refresh(false);
        ended.reap();
        const Child added("added"), last("last");
        {
            const allocations::Refusal refusal(n / 4);
            EXPECT_THROW(table.refresh(n % 2 != 0), std::bad_alloc);
        }
        table.refresh(n % 4 < 2);
        check();
        EXPECT_EQ("known -", nameOf(known));
        EXPECT_EQ("(none)", nameOf(ended));
        EXPECT_EQ("added -", nameOf(added));
        EXPECT_EQ("last -", nameOf(last));
    }
    table.cleanup();
    EXPECT_EQ(0, table.getNumberOfProcesses());
}

TEST_F(ProcessTable, StartsEmpty) {
    EXPECT_EQ(0, table.getNumberOfProcesses());
    EXPECT_EQ(std::vector<int>(), pids());
    EXPECT_EQ(nullptr, table.getProcessEntryByPid(getpid()));
    for (const char* const text : {"", "0", "0123456789"}) EXPECT_TRUE(table.isNumeric(text));
    for (const char* const text : {"self", "12a", "-1", " 1", "/", ":", "\xb2"})
        EXPECT_FALSE(table.isNumeric(text)) << text;
}

}  // namespace
