// SPDX-License-Identifier: MIT
//
// Every operation that asks the kernel for something, with each of its system calls failing in
// turn: first with an error of the device, then interrupted by a signal. A row lists the calls in
// their order, with what the operation then gives and reports, and thereby that there are no
// others. Nothing stays open. Locks are in locks_test.cc, which can let them fail everywhere.

#include <velutils++/configuration.h>
#include <velutils++/echo_client.h>
#include <velutils++/interface_control.h>
#include <velutils++/process_table.h>
#include <velutils++/status.h>
#include <velutils++/status_publisher.h>

#include <gtest/gtest.h>

#include <errno.h>
#include <event.h>
#include <fcntl.h>
#include <string.h>
#include <sys/mman.h>

#include <filesystem>

#include "tests/support/files.h"
#include "tests/support/processes.h"
#include "tests/support/system_calls.h"

namespace {

std::string logged;  // what went to syslog and standard output since it was cleared

void log(int priority, const char* format, va_list arguments) {
    char text[500];
    vsnprintf(text, sizeof text, format, arguments);
    logged += "|" + std::to_string(priority) + text;
}

}  // namespace

// In place of the C library's, which makes calls of its own. A fortified call brings a flag.
#define STANDS_FOR(name) __asm__(name) __attribute__((visibility("default")))
extern "C" void caughtSyslog(int priority, const char* format, ...) STANDS_FOR("syslog");
extern "C" void caughtCheckedSyslog(int priority, int flag, const char* format, ...)
    STANDS_FOR("__syslog_chk");
void caughtSyslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log(priority, format, arguments);
    va_end(arguments);
}
void caughtCheckedSyslog(int priority, int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log(priority, format, arguments);
    va_end(arguments);
}

namespace {

class Observer : public StatusFifoObserver {
    void handleFifoData(struct bufferevent*, char*, size_t) override {}
} observer;
StatusInterface tree;
StatusPublisher kept, lost;
IpInterfaceStatus interfaces;
PingClient pinger;
ProcessControl processes;

// How many processes are named, and how many are valid, of the sandbox's shell, this program and
// the child.
std::string listed(bool keep) {
    processes.refresh(keep);
    int named = 0, valid = 0;
    ProcessEntry* entry = nullptr;
    while ((entry = processes.getNextProcessEntryByName(nullptr, entry)) != nullptr) {
        named += entry->getName()[0] != '[';
        valid += entry->isValid();
    }
    return std::to_string(named) + " of " + std::to_string(valid);
}

// What publishing gives, what the file then holds, and the number of files there.
std::string published(StatusPublisher& publisher, const std::string& directory, const char* value) {
    const bool done = publisher.publish("/value", value);
    system_calls::ignore();
    const std::filesystem::directory_iterator files(directory);
    return std::to_string(done) + " " + contentOf(directory + "/value") + " " +
           std::to_string(std::distance(begin(files), end(files)));
}

// `calls` begins with what the operation gives when nothing fails. Then come its calls, each with
// what it gives when that one fails and, behind ~, when it is interrupted, if that differs. #
// stands for the error number.
struct Operation {
    const char* name;
    std::string calls;
    std::string (*run)();
    void (*prepare)();
};

#define RESULT(expression) [] { return std::to_string(expression); }
void nothing() {}
const std::string NO_DIRECTORY = "; mkdir 0|3Could not create directory /tmp";
const std::string NO_SETUP = ". Errno:#!|3Could not setup status interface for /tmp";

const Operation OPERATIONS[] = {
    {"setup",
     "1" + NO_DIRECTORY + NO_SETUP + "!" + NO_DIRECTORY + "/status" + NO_SETUP + "/status!" +
         NO_DIRECTORY + "/status/d" + NO_SETUP + "/status/d!; stat 1",
     RESULT(StatusInterface().setup(STATUS_BASE_TMP, "/d")),
     [] { std::filesystem::remove_all("/tmp/status/d"); }},
    {"setStatus", "1; stat 1; open 0; stat 1; write 0; close 1",
     RESULT(tree.setStatus("/value", "up")), nothing},
    {"getStatus", "1 up; stat 0 ; open 0 ; stat 0 ; read 0 ~1 up; read 0 up~1 up; close 1 up",
     [] {
         String value("before");
         const bool read = tree.getStatus("/value", value);
         return std::to_string(read) + " " + value.buffer();
     },
     [] { tree.setStatus("/value", "up"); }},
    {"publish to be kept",
     "1 new 1; stat 0 old 1; open 0 old 1; open 1 new 1; stat 1 new 1; read 1 new 1; open 0 old 1; "
     "open 0 old 1; lock 0 old 1; stat 0 old 1; write 0 old 1~1 new 1; sync 0 old 1~1 new 1; "
     "fcntl 0 old 1; close 0 old 1; stat 0 old 1; rename 0 old 1; close 1 new 1; close 1 new 1; "
     "sync 0 new 1~1 new 1; close 1 new 1; close 1 new 1",
     [] { return published(kept, "/nvstatus/a", "new"); }, [] { kept.publish("/value", "old"); }},
    {"publish what is kept",
     "1 old 1; stat 0 old 1; open 0 old 1; open 1 old 1; stat 1 old 1; read 1 old 1; "
     "sync 0 old 1~1 old 1; sync 0 old 1~1 old 1; close 1 old 1; close 1 old 1",
     [] { return published(kept, "/nvstatus/a", "old"); }, [] { kept.publish("/value", "old"); }},
    {"publish until the restart",
     "1 new 1; stat 0 old 1; open 1 new 1; stat 1 new 1; read 1 new 1; open 0 old 1; open 0 old 1; "
     "lock 0 old 1; stat 0 old 1; write 0 old 1~1 new 1; fcntl 0 old 1; close 0 old 1; "
     "stat 0 old 1; rename 0 old 1; close 1 new 1; close 1 new 1; close 1 new 1",
     [] { return published(lost, "/tmp/status/b", "new"); }, [] { lost.publish("/value", "old"); }},
    {"setLink", "1; unlink 0; symlink 0", RESULT(tree.setLink("/link", "new")),
     [] { tree.setLink("/link", "old"); }},
    {"setupIpcRxFifo, deleteIpcRxFifo",
     "1; unlink 1; mknod 0; stat 0; open 0; stat 0; epoll 0; stat 1; stat 1; unlink 1; epoll 1; "
     "close 1",
     [] {
         const unsigned long fifo = tree.setupIpcRxFifo("/fifo", &observer);
         tree.deleteIpcRxFifo(fifo);
         event_loop(EVLOOP_NONBLOCK);
         return std::string(fifo != 0 ? "1" : "0");
     },
     nothing},
    // The C library asks the kernel, and again when it is interrupted.
    {"isInterfaceAvailable",
     "1; socket 0; bind 0; name 0; send 0~1; receive 0~1; receive 0~1; send 0~1; receive 0~1; "
     "receive 0~1; close 1",
     RESULT(interfaces.isInterfaceAvailable("lo")), nothing},
    {"isInterfaceUp", "1; socket 0; ioctl 0; close 1", RESULT(interfaces.isInterfaceUp("lo")),
     nothing},
    {"setInterfaceUp", "1; socket 0; ioctl 0; ioctl 0; close 1",
     RESULT(interfaces.setInterfaceUp("lo", 1)), nothing},
    {"getIpV4Address", "1; socket 0; ioctl 0; close 1",
     RESULT(interfaces.getIpV4Address("lo") != 0), nothing},
    {"setIpV4Address", "1; socket 0; ioctl 0; close 1",
     RESULT(interfaces.setIpV4Address("lo", 0x7F000001)), nothing},
    {"getIpV4Mask", "1; socket 0; ioctl 0; close 1", RESULT(interfaces.getIpV4Mask("lo") != 0),
     nothing},
    {"setIpV4Mask", "1; socket 0; ioctl 0; close 1",
     RESULT(interfaces.setIpV4Mask("lo", 0xFF000000)), nothing},
    {"haveNetworkConnectivity", "1; open 0; close 1", RESULT(interfaces.haveNetworkConnectivity()),
     [] {
         StatusInterface().setup(STATUS_BASE_TMP, "/link-manager/hotlink");
         writeFile("/tmp/status/link-manager/hotlink/interface", "");
     }},
    // The resolver looks whether its configuration has changed.
    {"sendSimplePing", "0; socket 1; option 1; stat 1; send 1; close 0",
     [] {
         PingClient client;
         return std::to_string(client.sendSimplePing("127.0.0.1", "127.0.0.1"));
     },
     nothing},
    {"checkPingResponse", "0; receive 3", RESULT(pinger.checkPingResponse()),
     [] { pinger.sendSimplePing("127.0.0.1", "127.0.0.1"); }},
    {"ConfigReader::initialize",
     "1 1; open 0 nonecfg: Error in config file /tmp/conf, line 0:\ncfg:   \n; stat 1 1; "
     "read 0 none; read 0 1; close 1 1",
     [] {
         ConfigReader reader;
         const bool read = reader.initialize("/tmp/conf", 4);
         return std::to_string(read) + " " + reader.getValue("a", "none").buffer();
     },
     [] { writeFile("/tmp/conf", "a = 1\n"); }},
    // A process whose command line cannot be opened is left out; one whose command line cannot be
    // read is named by its id.
    {"refresh",
     "3 of 3; open 0 of 0; stat 0 of 0; getdents 0 of 0; open 2 of 2; read 2 of 3; close 3 of 3; "
     "open 2 of 2; read 2 of 3; close 3 of 3; open 2 of 2; read 2 of 3; close 3 of 3; "
     "getdents 3 of 3; close 3 of 3",
     [] { return listed(false); }, nothing},
    {"refresh, keep",
     "3 of 3; open 3 of 0; stat 3 of 0; getdents 0 of 0; getdents 3 of 3; close 3 of 3",
     [] { return listed(true); }, [] { processes.refresh(false); }},
};

// The pieces of a text between separators.
std::vector<std::string> split(const std::string& text, const std::string& separator) {
    std::vector<std::string> pieces;
    size_t from = 0, at;
    for (; (at = text.find(separator, from)) != std::string::npos; from = at + separator.size())
        pieces.push_back(text.substr(from, at - from));
    pieces.push_back(text.substr(from));
    return pieces;
}

// What a child tells about its run.
struct Report {
    char outcome[2000];
    char calls[2000];
    int newDescriptors;
};
Report* const report = static_cast<Report*>(
    mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

// Runs the operation in a child with its n-th call failing, or none for 0.
std::string outcomeOf(const Operation& operation, long n, int error) {
    *report = Report();
    Process child([&] {
        operation.prepare();
        const int descriptors = openDescriptors();
        system_calls::watch();
        char* printed;
        size_t length;
        stdout = open_memstream(&printed, &length);
        logged.clear();
        system_calls::failAt(n, error);
        const std::string result = operation.run();
        system_calls::ignore();
        fclose(stdout);
        strcpy(report->outcome, (result + logged + printed).c_str());
        strcpy(report->calls, system_calls::made().c_str());
        report->newDescriptors = openDescriptors() - descriptors;
        return 0;
    });
    EXPECT_EQ(0, child.result());
    EXPECT_EQ(0, report->newDescriptors);
    return report->outcome;
}

std::string filledIn(std::string text, int error) {
    for (size_t at; (at = text.find('#')) != std::string::npos;)
        text.replace(at, 1, std::to_string(error));
    return text;
}

class SystemCalls : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(0, Process([] { return system_calls::watch() ? 0 : 1; }).result())
            << "system calls cannot be watched here";
    }
};

TEST_F(SystemCalls, ThatFailGiveTheResultAndMessageOfTheOperation) {
    for (const Operation& operation : OPERATIONS) {
        SCOPED_TRACE(operation.name);
        operation.prepare();
        operation.run();  // what the C library does once, it has done now
        const std::vector<std::string> rows = split(operation.calls, "; ");
        EXPECT_EQ(rows[0], outcomeOf(operation, 0, 0));
        const std::string made = report->calls;
        std::string expected;
        for (size_t n = 1; n < rows.size(); ++n) {
            SCOPED_TRACE(rows[n]);
            const size_t space = rows[n].find(' ');
            expected += rows[n].substr(0, space + 1);
            const std::vector<std::string> outcomes = split(rows[n].substr(space + 1), "~");
            EXPECT_EQ(filledIn(outcomes[0], EIO), outcomeOf(operation, long(n), EIO));
            EXPECT_EQ(filledIn(outcomes.back(), EINTR), outcomeOf(operation, long(n), EINTR));
        }
        EXPECT_EQ(expected, made);
    }
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    event_init();
    tree.setup(STATUS_BASE_TMP, "/a");
    kept.setup(STATUS_BASE_NV, "/a");
    lost.setup(STATUS_BASE_TMP, "/b");
    return RUN_ALL_TESTS();
}
