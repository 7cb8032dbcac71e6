// SPDX-License-Identifier: MIT
//
// velutils status send: writes a line, or standard input, to a daemon's FIFO.
//
// The FIFO is opened and written without blocking, so a missing reader is noticed at once. Each
// write has at most PIPE_BUF bytes and ends at the end of a line if possible, so that the bytes of
// other writers do not come in between.

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "duration.h"
#include "report.h"
#include "signals.h"
#include "status_commands.h"
#include "status_entry.h"
#include "status_name.h"

namespace {

const int64_t PATIENCE = int64_t{5} * 1000 * 1000 * 1000;  // ns

class Sender {
  public:
    Sender(const std::string& name, int fifo, int64_t patience)
        : name_(name), fifo_(fifo), patience_(patience) {}

    // Sends at most PIPE_BUF bytes, all or none.
    int send(const char* p, size_t n) {
        const Deadline deadline = Deadline::in(patience_);
        for (;;) {
            const int error = write(p, n);
            if (error == 0) return DONE;
            if (error == EPIPE) return stopped("nobody reads it any more");
            if (error != EAGAIN) return failed(name_, error);
            if (deadline.isOver()) return stopped("it is full");
            awaitRoom(deadline);
        }
    }

    // Sends standard input to its end.
    int sendInput() {
        char buffer[PIPE_BUF];
        size_t held = 0;
        for (;;) {
            if (!awaitInput()) return stopped("nobody reads it any more");
            const ssize_t n = read(STDIN_FILENO, buffer + held, sizeof buffer - held);
            if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
            if (n < 0) return failed("standard input", errno);
            held += static_cast<size_t>(n);
            const size_t ready = n == 0 ? held : wholeLines(buffer, held);
            const int status = ready > 0 ? send(buffer, ready) : DONE;
            if (status != DONE || n == 0) return status;
            held -= ready;
            memmove(buffer, buffer + ready, held);
        }
    }

    int stopped(const char* why) const {
        char text[100];
        snprintf(text, sizeof text, "%s: %llu bytes written", why, written_);
        return refused(name_, text);
    }

  private:
    // How many bytes to send now. If the buffer is full, the last line may not be complete.
    static size_t wholeLines(const char* buffer, size_t n) {
        if (n < PIPE_BUF) return n;
        const void* const newline = memrchr(buffer, '\n', n);
        if (newline == nullptr) return n;
        return static_cast<size_t>(static_cast<const char*>(newline) - buffer) + 1;
    }

    // Returns 0 or an error number. EPIPE must not end this program with a signal.
    int write(const char* p, size_t n) {
        sigset_t pipe;
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        const SignalsHeld held(pipe);
        const ssize_t written = ::write(fifo_, p, n);
        const int error = written < 0 ? errno : 0;
        const struct timespec now = {0, 0};
        if (error == EPIPE) sigtimedwait(&pipe, nullptr, &now);
        if (error == 0) written_ += static_cast<unsigned long long>(written);
        return error == EINTR ? EAGAIN : error;
    }

    // Another writer may fill the room first. Then the next write fails again.
    void awaitRoom(const Deadline& deadline) const {
        struct pollfd room = {fifo_, POLLOUT, 0};
        poll(&room, 1, deadline.pollTime());
    }

    // False if the reader leaves before there is input.
    bool awaitInput() const {
        struct pollfd ready[] = {{STDIN_FILENO, POLLIN, 0}, {fifo_, 0, 0}};
        while (poll(ready, 2, -1) < 0 && errno == EINTR) {
        }
        return (ready[1].revents & POLLERR) == 0;
    }

    const std::string name_;
    const int fifo_;
    const int64_t patience_;
    unsigned long long written_ = 0;
};

// Prints why not.
bool isFifo(const std::string& name, int error, mode_t mode) {
    if (error != 0) {
        failed(name, error);
        return false;
    }
    if (!S_ISFIFO(mode)) failed(name, "is not a FIFO");
    return S_ISFIFO(mode);
}

}  // namespace

int statusSend(const Request& request) {
    const std::string name = request.operands[0];
    if (!isNameUsable(name)) return FAILED;
    const bool isLine = request.operandCount > 1;
    const std::string line = isLine ? joined({request.operands[1], "\n"}) : "";
    if (isLine && line.find('\n') + 1 < line.size())
        return wrongUsage(request, "a TEXT is one line");
    if (line.size() > PIPE_BUF) return wrongUsage(request, "the TEXT is longer than PIPE_BUF");

    const std::string path = pathOf(request.base, name);
    struct stat status;
    // Before the open, which has effects on some devices.
    int error = stat(path.c_str(), &status) != 0 ? errno : 0;
    if (!isFifo(name, error, status.st_mode)) return FAILED;
    const Descriptor fifo(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    Sender sender(name, fifo.get(), request.isTimed ? request.timeout : PATIENCE);
    if (!fifo.isOpen()) {
        error = errno;
        return error == ENXIO ? sender.stopped("nobody reads it") : failed(name, error);
    }
    error = fstat(fifo.get(), &status) != 0 ? errno : 0;
    if (!isFifo(name, error, status.st_mode)) return FAILED;
    return isLine ? sender.send(line.data(), line.size()) : sender.sendInput();
}
