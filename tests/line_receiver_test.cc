// SPDX-License-Identifier: MIT
//
// On real FIFOs. fuzz/line_receiver.cc splits streams everywhere, and nests and deletes receivers.

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

// Records whole lines, and for a bad one "bad" and its length.
class Lines : public LineReceiver {
  public:
    explicit Lines(Texts& received, long longest = 1024)
        : LineReceiver(longest), received_(received) {}
    void handleLine(const String& line) override {
        received_.emplace_back(line.buffer(), static_cast<size_t>(line.length()));
        const std::function<void()> reaction = react;  // may delete this object
        if (reaction) reaction();
    }
    void handleBadLine(long length) override {
        received_.push_back("bad " + std::to_string(length));
    }
    void feed(std::string bytes) { handleFifoData(nullptr, &bytes[0], bytes.size()); }

    std::function<void()> react;

  private:
    Texts& received_;
};

TEST(LineReceiver, TheSmallestAndTheLargestLimit) {
    Texts received;
    Lines(received, LONG_MIN).feed("\na\n");
    Lines(received, LONG_MAX).feed(std::string(5000, 'x') + "\n");
    EXPECT_EQ((Texts{"", "bad 1", std::string(5000, 'x')}), received);
}

TEST(LineReceiver, ALineIsStoredInFewAllocationsAndABadOneNotAtAll) {
    Texts received;
    Lines lines(received, 64 * 1024);
    char xs[64], nuls[99] = "";
    memset(xs, 'x', sizeof xs);
    long before = allocations::requests();
    for (int i = 0; i < 1024; ++i) lines.handleFifoData(nullptr, xs, sizeof xs);
    EXPECT_GT(before + 20, allocations::requests());
    before = allocations::requests();
    for (int i = 0; i < 100000; ++i) lines.handleFifoData(nullptr, nuls, sizeof nuls);
    EXPECT_EQ(before, allocations::requests());
    lines.feed("\nok\n");
    EXPECT_EQ((Texts{"bad 9965536", "ok"}), received);
}

TEST(LineReceiver, ALineThatCannotBeStoredIsBad) {
    const Texts whole = {"one", "longer, too", "last"};
    const Texts bad = {"bad 3", "bad 11", "bad 4"};
    const long outstanding = allocations::outstanding();
    char pieces[][8] = {"one\nlon", "ger, t", "oo\n", "last\n"};
    bool happened = true;
    for (long n = 1; happened; ++n) {
        Texts received;
        received.reserve(9);
        {
            Lines lines(received);
            const allocations::Refusal refusal(n);
            for (auto& piece : pieces) lines.handleFifoData(nullptr, piece, strlen(piece));
            happened = refusal.happened();
        }
        ASSERT_EQ(3u, received.size());
        for (size_t i = 0; i < 3; ++i)
            if (received[i] == bad[i] && happened) received[i] = whole[i];
        EXPECT_EQ(whole, received) << n;
    }
    EXPECT_EQ(outstanding, allocations::outstanding());
}

// What an observer does when it receives "act", and what it receives in all.
TEST(LineReceiver, AnObserverMayRemoveItselfOrThrow) {
    struct Daemon {
        explicit Daemon(Texts& received)
            : status(new StatusInterface), lines(new Lines(received)) {}
        std::unique_ptr<StatusInterface> status;
        std::unique_ptr<Lines> lines;
        unsigned long identifier = 0;
    };
    const struct {
        const char* what;
        void (*act)(Daemon& daemon);
        Texts received;
    } rows[] = {
        {"remove the receiver",
         [](Daemon& daemon) { daemon.status->deleteIpcRxFifo(daemon.identifier); },
         {"act", "b"}},
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
        Texts received;
        Daemon daemon(received);
        daemon.lines->react = [&] {
            if (received.back() == "act") row.act(daemon);
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
        event_loop(EVLOOP_NONBLOCK);  // libevent frees removed receivers here
        EXPECT_EQ(row.received, received);
    }
}

}  // namespace

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    event_init();
    return RUN_ALL_TESTS();
}
