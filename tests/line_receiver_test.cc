// SPDX-License-Identifier: MIT
//
// On real FIFOs; fuzz/line_receiver.cc cuts streams everywhere, and nests and deletes receivers.

#include <velutils++/line_receiver.h>

#include <event.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <string.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "tests/support/allocations.h"

namespace {

typedef std::vector<std::string> Texts;

// Notes what it is told: lines as they are, bad ones as "bad" and their length.
class Lines : public LineReceiver {
  public:
    explicit Lines(Texts& told, long longest = 1024) : LineReceiver(longest), told_(told) {}
    void handleLine(const String& line) override {
        told_.emplace_back(line.buffer(), static_cast<size_t>(line.length()));
        const std::function<void()> reaction = react;  // may delete this object
        if (reaction) reaction();
    }
    void handleBadLine(long length) override { told_.push_back("bad " + std::to_string(length)); }
    void feed(std::string bytes) { handleFifoData(nullptr, &bytes[0], bytes.size()); }

    std::function<void()> react;

  private:
    Texts& told_;
};

TEST(LineReceiver, LongestOfAll) {
    Texts told;
    Lines(told, LONG_MIN).feed("\na\n");
    Lines(told, LONG_MAX).feed(std::string(5000, 'x') + "\n");
    EXPECT_EQ((Texts{"", "bad 1", std::string(5000, 'x')}), told);
}

TEST(LineReceiver, ALineIsStoredInFewAllocationsAndAnEndlessOneNotAtAll) {
    Texts told;
    Lines lines(told, 64 * 1024);
    char xs[64], nuls[99] = "";
    memset(xs, 'x', sizeof xs);
    long before = allocations::requests();
    for (int i = 0; i < 1024; ++i) lines.handleFifoData(nullptr, xs, sizeof xs);
    EXPECT_GT(before + 20, allocations::requests());
    before = allocations::requests();
    for (int i = 0; i < 100000; ++i) lines.handleFifoData(nullptr, nuls, sizeof nuls);
    EXPECT_EQ(before, allocations::requests());
    lines.feed("\nok\n");
    EXPECT_EQ((Texts{"bad 9965536", "ok"}), told);
}

TEST(LineReceiver, ALineThatCannotBeStoredIsBad) {
    const long outstanding = allocations::outstanding();
    char pieces[][8] = {"one\nlon", "ger, t", "oo\n", "last\n"};
    bool happened = true;
    for (long n = 1; happened; ++n) {
        Texts told;
        told.reserve(9);
        Lines lines(told);
        {
            const allocations::Refusal refusal(n);
            for (auto& piece : pieces) lines.handleFifoData(nullptr, piece, strlen(piece));
            happened = refusal.happened();
        }
        ASSERT_EQ(3u, told.size());
        EXPECT_TRUE(told[0] == "one" || told[0] == "bad 3") << told[0];
        EXPECT_TRUE(told[1] == "longer, too" || told[1] == "bad 11") << told[1];
        EXPECT_TRUE(told[2] == "last" || told[2] == "bad 4") << told[2];
        if (happened) continue;
        EXPECT_EQ((Texts{"one", "longer, too", "last"}), told);
    }
    EXPECT_EQ(outstanding, allocations::outstanding());
}

// What an observer of a FIFO does when it is told "act", and what still comes then.
TEST(LineReceiver, ObserversMayRemoveThemselves) {
    struct Daemon {
        explicit Daemon(Texts& told) : status(new StatusInterface), lines(new Lines(told)) {}
        std::unique_ptr<StatusInterface> status;
        std::unique_ptr<Lines> lines;
        unsigned long identifier = 0;
    };
    const struct {
        const char* what;
        void (*act)(Daemon& daemon);
        Texts told;
    } rows[] = {
        {"nothing", [](Daemon&) {}, {"act", "b", "whole", "next"}},
        {"forget", [](Daemon& daemon) { daemon.lines->forget(); }, {"act", "le", "next"}},
        {"remove the receiver",
         [](Daemon& daemon) { daemon.status->deleteIpcRxFifo(daemon.identifier); },
         {"act", "b"}},
        {"remove and forget",
         [](Daemon& daemon) {
             daemon.status.reset();
             daemon.lines->forget();
         },
         {"act"}},
        {"destroy the interface", [](Daemon& daemon) { daemon.status.reset(); }, {"act", "b"}},
        {"delete itself",
         [](Daemon& daemon) {
             daemon.status.reset();
             daemon.lines.reset();
         },
         {"act"}},
        {"throw", [](Daemon&) { throw std::bad_alloc(); }, {"act", "whole", "next"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Texts told;
        Daemon daemon(told);
        daemon.lines->react = [&] {
            if (told.back() == "act") row.act(daemon);
        };
        ASSERT_TRUE(daemon.status->setup(STATUS_BASE_TMP, "/lines"));
        daemon.identifier = daemon.status->setupIpcRxFifo("/fifo", daemon.lines.get());
        ASSERT_NE(0u, daemon.identifier);
        const int writer = open("/tmp/status/lines/fifo", O_RDWR);  // no SIGPIPE
        for (const std::string text : {"act\nb\nwho", "le\nnext\n"}) {
            EXPECT_EQ(static_cast<ssize_t>(text.size()), write(writer, text.data(), text.size()));
            event_loop(EVLOOP_NONBLOCK);
        }
        close(writer);
        daemon.status.reset();
        event_loop(EVLOOP_NONBLOCK);  // libevent frees what was removed
        EXPECT_EQ(row.told, told);
    }
}

}  // namespace

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    event_init();
    return RUN_ALL_TESTS();
}
