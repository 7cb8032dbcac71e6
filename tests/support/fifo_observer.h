// SPDX-License-Identifier: MIT
//
// An observer of status FIFOs for tests and fuzz targets. It keeps what it receives.

#ifndef VELUTILS_TESTS_FIFO_OBSERVER_H
#define VELUTILS_TESTS_FIFO_OBSERVER_H

#include <velutils++/status.h>

#include <functional>
#include <string>
#include <vector>

class FifoObserver : public StatusFifoObserver {
  public:
    void handleFifoData(struct bufferevent* receiver, char* data, size_t length) override {
        receivers.push_back(reinterpret_cast<unsigned long>(receiver));
        received.append(data, length);
        wellFormed = wellFormed && length >= 1 && length <= 99 && data[length] == '\0';
        if (then) then(receivers.back());
    }

    std::vector<unsigned long> receivers;  // of each call
    std::string received;
    bool wellFormed = true;
    std::function<void(unsigned long receiver)> then;
};

#endif
