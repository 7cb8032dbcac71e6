// SPDX-License-Identifier: MIT
//
// Writes bytes into two FIFOs in pieces of any size. Each observer gets all bytes of its FIFO in
// order, and none after its receiver was removed.

#include <velutils++/status.h>

#include <event.h>
#include <fcntl.h>
#include <unistd.h>

#include "fuzz/input.h"
#include "tests/support/fifo_observer.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static struct event_base* const base = event_init();
    REQUIRE(base != nullptr);
    Input input(data, std::min(size, size_t{4000}));  // fits in one write
    StatusInterface interface;
    REQUIRE(interface.setup(STATUS_BASE_TMP, "/fuzz"));
    const char* const names[] = {"/0", "/1"};
    FifoObserver observers[2];
    std::string sent[2];
    size_t callsLeft[2];  // before a receiver is removed
    int fds[2];
    for (size_t i = 0; i < 2; ++i) {
        callsLeft[i] = input.below(256) + 10;
        observers[i].then = [&, i](unsigned long receiver) {
            REQUIRE(observers[i].wellFormed && callsLeft[i] > 0);
            if (--callsLeft[i] == 0) interface.deleteIpcRxFifo(receiver);
        };
        REQUIRE(interface.setupIpcRxFifo(names[i], &observers[i]) != 0);
        fds[i] = open((std::string("/tmp/status/fuzz") + names[i]).c_str(), O_WRONLY | O_NONBLOCK);
        REQUIRE(fds[i] >= 0);
    }
    while (!input.isEmpty()) {
        const size_t i = input.below(2);
        const size_t loops = input.below(3);
        const std::string piece = input.text(input.number<uint16_t>() % 600);
        if (callsLeft[i] == 0) continue;
        REQUIRE(write(fds[i], piece.data(), piece.size()) == static_cast<ssize_t>(piece.size()));
        sent[i] += piece;
        for (size_t k = 0; k < loops; ++k) event_loop(EVLOOP_NONBLOCK);
    }
    for (size_t k = 0; k < 5; ++k) event_loop(EVLOOP_NONBLOCK);
    for (size_t i = 0; i < 2; ++i) {
        close(fds[i]);
        const std::string& received = observers[i].received;
        if (callsLeft[i] > 0) REQUIRE(received == sent[i]);
        REQUIRE(sent[i].compare(0, received.size(), received) == 0);
    }
    interface.cleanup();
    event_loop(EVLOOP_NONBLOCK);  // libevent frees the buffered events of removed receivers here
    return 0;
}
