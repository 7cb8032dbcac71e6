// SPDX-License-Identifier: MIT

#include "command_port.h"

#include <string.h>

bool CommandPort::open(StatusInterface& directory, const String& name) {
    return directory.setupIpcRxFifo(name, this) != 0;
}

void CommandPort::handleFifoData(struct bufferevent*, char* data, size_t length) {
    const char* const end = data + length;
    for (const char* at = data; at < end;) {
        const size_t left = static_cast<size_t>(end - at);
        const char* const newline = static_cast<const char*>(memchr(at, '\n', left));
        addPiece(at, newline != nullptr ? static_cast<size_t>(newline - at) : left);
        if (newline == nullptr) return;
        finishLine();
        at = newline + 1;
    }
}

void CommandPort::addPiece(const char* piece, size_t length) {
    const long wanted = line_.length() + static_cast<long>(length);
    if (wanted > LONGEST_LINE || memchr(piece, '\0', length) != nullptr) dropping_ = true;
    if (dropping_) return;
    line_.concat(piece, static_cast<long>(length));
    if (line_.length() != wanted) dropping_ = true;  // out of memory: no half command
}

void CommandPort::finishLine() {
    const String line(line_);
    const bool bad = dropping_;
    line_ = "";
    dropping_ = false;
    if (bad)
        handler_.handleBadLine();
    else
        handler_.handleCommand(line);
}
