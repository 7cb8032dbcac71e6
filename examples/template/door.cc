// SPDX-License-Identifier: MIT
//
// A door. It publishes its state as /tmp/status/door/state, and the bytes that other programs write
// to /tmp/status/door/knock as /tmp/status/door/last-knock.

#include <velutils++/status.h>

#include <event.h>

class Door : public StatusFifoObserver {
  public:
    bool open() {
        return status_.setup(STATUS_BASE_TMP, "/door") &&
               status_.setupIpcRxFifo("/knock", this) != 0 && status_.setStatus("/state", "closed");
    }
    void handleFifoData(struct bufferevent*, char* data, size_t length) override {
        String knock;
        knock.concat(data, static_cast<long>(length));  // all bytes, NULs included
        status_.setStatus("/last-knock", knock);
    }

  private:
    StatusInterface status_;
};

int main() {
    event_init();
    Door door;
    return door.open() ? event_dispatch() : 1;
}
