// SPDX-License-Identifier: MIT
//
// A daemon's status directory with its value files and links. Its FIFO receivers are in
// fifo_receiver.cc.
//
// Tested by status_test.cc.

#include <velutils++/status.h>

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

namespace {

// By the value of BasePath.
const String BASE_DIRECTORIES[] = {"/tmp/status", "/nvstatus", "/proc"};

bool isBase(int value) {
    return value >= STATUS_BASE_TMP && value <= STATUS_BASE_PROC;
}

// Appends all of p; false when the heap refuses.
bool append(String& text, const char* p, size_t n) {
    const long wanted = text.length() + static_cast<long>(n);
    text.concat(p, static_cast<long>(n));
    return text.length() == wanted;
}

// Makes every directory of the path. `made` holds the path as far as it was walked.
bool makeDirectories(const char* path, String& made) {
    for (;;) {
        path += strspn(path, "/");
        const size_t n = strcspn(path, "/");
        if (n == 0) return true;
        if (!append(made, "/", 1) || !append(made, path, n)) return false;
        if (mkdir(made.buffer(), 0777) != 0 && errno != EEXIST) {
            syslog(LOG_ERR, "Could not create directory %s. Errno:%d!", made.buffer(), errno);
            return false;
        }
        path += n;
    }
}

// Appends a file's content in pieces of at most 99 bytes, each up to its first NUL. False when it
// could not be read to its end, or not be held.
bool appendContent(int fd, String& value) {
    char piece[100];
    for (;;) {
        const ssize_t n = read(fd, piece, sizeof piece - 1);
        if (n == 0) return true;
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        piece[n] = '\0';
        if (!append(value, piece, strlen(piece))) return false;
    }
}

}  // namespace

StatusInterface::StatusInterface() : fifoEntries(nullptr) {}

StatusInterface::~StatusInterface() {
    cleanup();
}

bool StatusInterface::formPath(const String& name, String* full) const {
    *full = path;
    return append(*full, name.buffer(), static_cast<size_t>(name.length()));
}

bool StatusInterface::setup(BasePath base, const String& name) {
    String made;
    if (isBase(base)) {
        String directory(BASE_DIRECTORIES[base]);
        if (append(directory, name.buffer(), static_cast<size_t>(name.length()))) {
            path = directory;
            if (makeDirectories(path.buffer(), made)) return true;
        }
    }
    syslog(LOG_ERR, "Could not setup status interface for %s!", made.buffer());
    return false;
}

bool StatusInterface::setStatus(const String& name, const String& value) {
    String file;
    if (!formPath(name, &file)) return false;
    const int fd = open(file.buffer(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return false;
    const ssize_t written = write(fd, value.buffer(), static_cast<size_t>(value.length()));
    close(fd);
    return written == value.length();
}

bool StatusInterface::getStatus(const String& name, String& value) const {
    String file;
    const bool formed = formPath(name, &file);
    value = String();
    if (!formed) return false;
    const int fd = open(file.buffer(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;

    const bool whole = appendContent(fd, value);
    close(fd);
    return whole;
}

bool StatusInterface::setLink(const String& name, const String& target) {
    String link;
    if (!formPath(name, &link)) return false;
    unlink(link.buffer());
    if (target.length() == 0) return true;
    return symlink(target.buffer(), link.buffer()) == 0;
}
