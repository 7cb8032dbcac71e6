// SPDX-License-Identifier: MIT
//
// Output does not go through stdio, which loses the reason of a failed write.

#include "report.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <new>

#include "escape.h"

namespace {

const size_t FLUSH_SIZE = 16384;

int failureStatus = FAILED;
std::string* output = nullptr;
bool isOutputUsed = false;

// Writes everything. Returns 0 or an error number.
int writeAll(int fd, const char* p, size_t n) {
    while (n > 0) {
        const ssize_t written = write(fd, p, n);
        if (written >= 0) {
            p += written;
            n -= static_cast<size_t>(written);
        } else if (errno == EAGAIN) {
            struct pollfd ready = {fd, POLLOUT, 0};
            poll(&ready, 1, -1);
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

[[noreturn]] void endUnwritten(int error) {
    failed("standard output", error);
    _exit(failureStatus);
}

}  // namespace

void beginReport() {
    static std::string buffer;
    output = &buffer;
    std::set_new_handler(endOutOfMemory);
    // O_PATH allows neither reading nor writing. Programs started later find the descriptor closed.
    int fd;
    do fd = open("/", O_PATH | O_CLOEXEC);
    while (fd >= 0 && fd <= STDERR_FILENO);
    if (fd > STDERR_FILENO) close(fd);
}

void setFailureStatus(int status) {
    failureStatus = status;
}

void say(Pieces text) {
    std::string line = "velutils: ";
    append(&line, text);
    line += '\n';
    writeAll(STDERR_FILENO, line.data(), line.size());
}

int failed(std::string_view subject, const char* reason) {
    say({escaped(subject), ": ", reason});
    return failureStatus;
}

int failed(std::string_view subject, int errorNumber) {
    return failed(subject, strerror(errorNumber));
}

int refused(std::string_view subject, const char* reason) {
    failed(subject, reason);
    return NO;
}

int refused(std::string_view subject, int errorNumber) {
    return refused(subject, strerror(errorNumber));
}

void put(Pieces text) {
    append(output, text);
    if (output->size() >= FLUSH_SIZE) flushOutput();
}

void flushOutput() {
    if (output->empty()) return;
    isOutputUsed = true;
    const int error = writeAll(STDOUT_FILENO, output->data(), output->size());
    if (error != 0) endUnwritten(error);
    output->clear();
}

void endOutput() {
    flushOutput();
    if (isOutputUsed && close(STDOUT_FILENO) != 0) endUnwritten(errno);
}

// Allocates nothing.
void endOutOfMemory() {
    const char text[] = "velutils: out of memory\n";
    writeAll(STDERR_FILENO, text, sizeof text - 1);
    _exit(failureStatus);
}
