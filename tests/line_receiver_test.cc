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

TEST(LineReceiver, AnExceptionLosesTheWholeLinesThatFollow) {
    Texts received;
    Lines lines(received);
    lines.react = [] { throw std::bad_alloc(); };
    EXPECT_THROW(lines.feed("throws\nis lost\nwho"), std::bad_alloc);
    lines.react = nullptr;
    lines.feed("le\nnext\n");
    EXPECT_EQ((Texts{"throws", "whole", "next"}), received);
}

TEST(LineReceiver, AnObserverMayDestroyTheInterface) {
    event_init();
    Texts received;
    Lines lines(received);
    auto status = std::make_unique<StatusInterface>();
    ASSERT_TRUE(status->setup(STATUS_BASE_TMP, "/lines"));
    ASSERT_NE(0u, status->setupIpcRxFifo("/fifo", &lines));
    lines.react = [&] { status.reset(); };
    const int writer = open("/tmp/status/lines/fifo", O_RDWR);
    EXPECT_EQ(99 + 9, write(writer, ("destroys\n" + std::string(99, '\n')).c_str(), 99 + 9));
    event_loop(EVLOOP_NONBLOCK);
    close(writer);
    event_loop(EVLOOP_NONBLOCK);  // libevent frees removed receivers here
    Texts expected(91, "");       // of the first 99 bytes
    expected[0] = "destroys";
    EXPECT_EQ(expected, received);
}

}  // namespace
