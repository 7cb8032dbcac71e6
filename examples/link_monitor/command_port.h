// SPDX-License-Identifier: MIT
//
// Commands from other programs: a FIFO in the status directory that carries lines.
//
//     echo "event wan-up" > /tmp/status/link-monitor/command
//
// A FIFO has no message boundaries: lines arrive split or joined and are put together here. A line
// that is too long or holds a NUL is reported and dropped whole.

#ifndef LINK_MONITOR_COMMAND_PORT_H
#define LINK_MONITOR_COMMAND_PORT_H

#include <velutils++/status.h>
#include <velutils++/text.h>

class CommandHandler {
  public:
    virtual ~CommandHandler() {}
    virtual void handleCommand(const String& line) = 0;
    virtual void handleBadLine() = 0;
};

class CommandPort : private StatusFifoObserver {
  public:
    static const long LONGEST_LINE = 1000;

    explicit CommandPort(CommandHandler& handler) : handler_(handler), dropping_(false) {}

    // The receiver belongs to the directory, which goes before this port does.
    bool open(StatusInterface& directory, const String& name);

  private:
    void handleFifoData(struct bufferevent* receiver, char* data, size_t length) override;
    void addPiece(const char* piece, size_t length);
    void finishLine();

    CommandHandler& handler_;
    String line_;
    bool dropping_;  // the line under way is bad
};

#endif
