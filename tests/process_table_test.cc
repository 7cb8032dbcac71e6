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
#include "tests/support/virtual_slot.h"

namespace {

typedef std::vector<std::string> Strings;

const char OWN_ID[] = "[own id]";

std::string bracketed(int pid) {
    return "[" + std::to_string(pid) + "]";
}

// A pipe that nothing is ever written into.
const struct Pipe {
    Pipe() { EXPECT_EQ(0, pipe2(ends, O_CLOEXEC)); }
    int ends[2];
} silence;

// Runs cat(1) with the arguments, OWN_ID replaced by its id in brackets.
int runCat(Strings arguments) {
    std::vector<char*> argv;
    for (std::string& argument : arguments) {
        if (argument == OWN_ID) argument = bracketed(getpid());
        argv.push_back(&argument[0]);
    }
    argv.push_back(nullptr);
    return dup2(silence.ends[0], STDIN_FILENO) | execv("/bin/cat", argv.data());
}

// A child that does nothing until it is ended, once the kernel shows its arguments.
class Child : public Process {
  public:
    // Goes by a name and one argument, "-".
    explicit Child(const char* name) : Child(Strings{name, "-"}) {}
    explicit Child(const Strings& arguments) : Process([&] { return runCat(arguments); }) {
        std::string shown;
        for (const std::string& argument : arguments)
            shown += (argument == OWN_ID ? bracketed(pid()) : argument) + '\0';
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
        int counted = 0;
        const std::vector<int> found = pids();
        for (const int pid : found) {
            ProcessEntry* const entry = table.getProcessEntryByPid(pid);
            EXPECT_TRUE(entry->isValid());
            if (entry->getName() != bracketed(pid)) ++counted;
        }
        EXPECT_EQ(found.size(), std::set<int>(found.begin(), found.end()).size());
        EXPECT_EQ(static_cast<int>(found.size()), table.getNumberOfProcessesByName(nullptr));
        EXPECT_EQ(counted, table.getNumberOfProcesses());
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
        {{"[1", "-"}, "[1 -"},
        {{""}, ""},                // the one byte is a separator
        {{"a", "-", ""}, "a - "},  // only the last separator goes
        // Up to 255 bytes, separators included, the whole line shows.
        {{x(252), "-"}, x(252) + " -"},
        {{x(253), "-"}, x(253) + " -"},
        {{x(254), "-"}, x(254)},  // the 255th byte is the separator
        {{x(255), "-"}, x(255)},
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

TEST_F(ProcessTable, CountsEntriesNamedFromACommandLine) {
    Child running("running"), zombie("zombie"), posing(Strings{OWN_ID});
    zombie.becomeZombie();
    table.refresh(true);
    EXPECT_EQ(bracketed(zombie.pid()), nameOf(zombie));
    EXPECT_EQ(bracketed(posing.pid()), nameOf(posing));
    check();
    const int count = table.getNumberOfProcesses();
    for (Child* const ended : {&zombie, &posing, &running}) {
        ended->reap();
        table.refresh(true);
        check();
        EXPECT_EQ(count - (ended == &running), table.getNumberOfProcesses());
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
    EXPECT_TRUE(own->getNext() == newest && newest->getNext() == entries[0]);
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
    ProcessEntry* const second = table.getNextProcessEntryByName(prefix, first);
    EXPECT_TRUE(first != nullptr && first == table.getProcessEntryByPid(app.pid()));
    EXPECT_TRUE(second != nullptr && second == table.getProcessEntryByPid(apple.pid()));
    EXPECT_EQ(nullptr, table.getNextProcessEntryByName(prefix, second));
    const ProcessEntry stranger(app.pid(), prefix);
    EXPECT_EQ(nullptr, table.getNextProcessEntryByName(nullptr, &stranger));
    EXPECT_EQ(nullptr, table.getProcessEntryByPid(-1));
}

TEST_F(ProcessTable, UnreadableProc) {
    table.refresh(false);
    const std::vector<int> before = pids();
    const int count = table.getNumberOfProcesses();
    {
        const DescriptorsExhausted exhausted;
        table.refresh(true);
    }
    EXPECT_TRUE(before == pids() && count == table.getNumberOfProcesses());
    for (const int pid : before) EXPECT_FALSE(table.getProcessEntryByPid(pid)->isValid());
    table.refresh(true);
    EXPECT_EQ(before, pids());
    check();
    inChild([&] {
        EXPECT_EQ(0, chroot("/tmp"));
        table.refresh(false);
        EXPECT_EQ(std::vector<int>(), pids());
        EXPECT_EQ(0, table.getNumberOfProcesses());
    });
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
        EXPECT_EQ("known -, (none), added -, last -", nameOf(known) + ", " + nameOf(ended) + ", " +
                                                          nameOf(added) + ", " + nameOf(last));
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

TEST(ProcessSlots, AreInOrder) {
    typedef ProcessControl C;
    EXPECT_TRUE(inSlotOrder(&C::refresh, &C::getNextProcessEntryByName,
                            &C::getNumberOfProcessesByName, &C::getProcessEntryByPid,
                            &C::getNumberOfProcesses, &C::cleanup));
    typedef ProcessEntry E;
    EXPECT_TRUE(
        inSlotOrder(&E::getPid, &E::getName, &E::getNext, &E::setNext, &E::setValid, &E::isValid));
}

}  // namespace
