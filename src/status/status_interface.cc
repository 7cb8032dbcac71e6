// SPDX-License-Identifier: MIT
//
// A daemon's status directory with its value files and links. Its FIFO receivers are in
// fifo_receiver.cc.
//
// Other users may have placed anything at a name: a FIFO, whose open(2) waits for the other side, a
// device, or a link to either. stat(2) decides how the name is opened. Something else may be at the
// name by then, so open(2) must not wait, and fstat(2) decides how the descriptor is used.
//
// Tested by status_test.cc.

#include <velutils++/status.h>

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>

#include "../text/whole_text_internal.h"

namespace {

// Indexed by BasePath.
const char* const BASE_DIRECTORIES[] = {"/tmp/status", "/nvstatus", "/proc"};

bool isBase(int value) {
    return value >= STATUS_BASE_TMP && value <= STATUS_BASE_PROC;
}

// Logs why a directory could not be made, and returns false with the reason in errno.
bool refused(const String& directory, int error) {
    syslog(LOG_ERR, "Could not create directory %s. Errno:%d!", directory.buffer(), error);
    errno = error;
    return false;
}

// Makes every directory of the path. `made` becomes the part of the path that was processed.
bool makeDirectories(const char* path, String& made) {
    for (;;) {
        path += strspn(path, "/");
        const size_t n = strcspn(path, "/");
        if (n == 0) break;
        if (!appendAll(made, "/", 1) || !appendAll(made, path, n)) return false;
        if (mkdir(made.buffer(), 0777) != 0 && errno != EEXIST) return refused(made, errno);
        path += n;
    }
    // mkdir also fails with EEXIST for a regular file or a dangling link. A directory that this
    // user may not access can still be the right one.
    struct stat status;
    if (stat(made.buffer(), &status) == 0) return S_ISDIR(status.st_mode) || refused(made, ENOTDIR);
    return (errno != ENOENT && errno != ENOTDIR) || refused(made, errno);
}

// Opens only a regular file: opening a device can have effects, and reading one may never end.
int openToRead(const char* path, struct stat* status) {
    if (stat(path, status) != 0 || !S_ISREG(status->st_mode)) return -1;
    const int fd = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0 || (fstat(fd, status) == 0 && S_ISREG(status->st_mode))) return fd;
    close(fd);
    return -1;
}

// A text that takes linear time to append to. String itself grows by a fixed step.
class GrowingText {
  public:
    explicit GrowingText(long room) : room_(0) {
        if (room > 0) makeRoom(room);
    }

    bool append(const char* p, size_t n) {
        const long long length = text_.length() + static_cast<long long>(n);
        return (length <= room_ || grow(length)) && appendAll(text_, p, n);
    }

    // Returns the text in a buffer of the usual size, if there is memory for one.
    String text() const {
        String fitted(text_);
        if (room_ != text_.length()) moveAll(fitted, 0);
        return fitted;
    }

  private:
    bool makeRoom(long long wanted) {
        const long room = static_cast<long>(std::min<long long>(wanted, INT32_MAX));
        if (!moveAll(text_, room)) return false;
        room_ = room;
        return true;
    }

    // If there is no memory for twice the length, there may be enough for less. Each step grows the
    // room in proportion to the length, so the time stays linear.
    bool grow(long long length) {
        for (long long spare = length; spare > length / 16; spare /= 2)
            if (makeRoom(length + spare)) return true;
        return false;
    }

    String text_;
    long room_;
};

// The room for a file's content before it is read, at most. Files in /proc claim a size of 0, and a
// sparse file can claim any size.
const long MOST_ROOM = 64 * 1024;

// Reads a file to its end in pieces of at most 99 bytes, each up to its first NUL. If that fails,
// or if the file has more bytes than a text may have, returns false with what was read so far. The
// limit also ends the reading of a file that grows as fast as it is read.
bool readContent(int fd, long long claimedSize, String& value) {
    if (claimedSize > INT32_MAX) return false;
    GrowingText content(static_cast<long>(std::min<long long>(claimedSize, MOST_ROOM)));
    char piece[100];
    long long left = INT32_MAX;
    ssize_t n;
    while ((n = read(fd, piece, sizeof piece - 1)) != 0) {
        if (n < 0 && errno == EINTR) continue;
        left -= n;
        if (n < 0 || left < 0) break;
        piece[n] = '\0';
        if (!content.append(piece, strlen(piece))) break;
    }
    value = content.text();
    return n == 0;
}

bool isDevice(const struct stat& status) {
    return S_ISCHR(status.st_mode) || S_ISBLK(status.st_mode);
}

// Opens a node without O_NONBLOCK. open(2) by path would wait if a FIFO has replaced the node.
// Opening the checked node by its descriptor cannot.
int openNodeToWrite(const char* path) {
    const int flags = O_WRONLY | O_TRUNC | O_CLOEXEC;
    const int node = open(path, O_PATH | O_CLOEXEC);
    if (node < 0) return -1;
    int fd = -1;
    struct stat status;
    if (fstat(node, &status) == 0 && !S_ISFIFO(status.st_mode)) {
        char samePath[32];
        snprintf(samePath, sizeof samePath, "/proc/self/fd/%d", node);
        fd = open(samePath, flags);
        // A daemon in a chroot may have no /proc.
        if (fd < 0 && errno == ENOENT) fd = open(path, flags | O_NONBLOCK);
        if (fd >= 0 && fstat(fd, &status) == 0 && isDevice(status)) fcntl(fd, F_SETFL, 0);
    }
    close(node);
    return fd;
}

// Opening a FIFO without readers fails. O_NONBLOCK changes two other cases: a driver may behave
// differently with it, and it makes open(2) fail for a file on which another process has a lease
// (fcntl(2)).
int openToWrite(const char* path) {
    struct stat status;
    if (stat(path, &status) == 0 && isDevice(status)) return openNodeToWrite(path);
    const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_CLOEXEC, 0644);
    return fd < 0 && errno == EWOULDBLOCK ? openNodeToWrite(path) : fd;
}

// As write(2) into a FIFO, but without a SIGPIPE if its last reader has closed it. A SIGPIPE that
// was already pending is the caller's and stays pending.
ssize_t writeWithoutSignal(int fd, const char* p, size_t n) {
    sigset_t brokenPipe, mask, before, after;
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &brokenPipe, &mask);
    sigpending(&before);

    const ssize_t written = write(fd, p, n);
    const int error = errno;
    if (written < 0 && error == EPIPE) {
        const struct timespec now = {0, 0};
        while (sigtimedwait(&brokenPipe, nullptr, &now) < 0 && errno == EINTR) continue;
        // sigtimedwait takes a signal of the thread before one of the process. If the caller's
        // signal was also the thread's, the kernel merged the two: raise it again.
        sigpending(&after);
        if (sigismember(&before, SIGPIPE) && !sigismember(&after, SIGPIPE)) raise(SIGPIPE);
    }

    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    errno = error;
    return written;
}

// If fstat(2) fails, assume that it is a FIFO.
bool isFifo(int fd) {
    struct stat status;
    return fstat(fd, &status) != 0 || S_ISFIFO(status.st_mode);
}

}  // namespace

StatusInterface::StatusInterface() : fifoEntries(nullptr) {}

StatusInterface::~StatusInterface() {
    cleanup();
}

bool StatusInterface::formPath(const String& name, String* full) const {
    *full = path;
    return appendAll(*full, name.buffer(), static_cast<size_t>(name.length()));
}

bool StatusInterface::setup(BasePath base, const String& name) {
    String made;
    int error = EINVAL;
    if (isBase(base)) {
        String directory;
        if (appendAll(directory, BASE_DIRECTORIES[base], strlen(BASE_DIRECTORIES[base])) &&
            appendAll(directory, name.buffer(), static_cast<size_t>(name.length()))) {
            path = directory;
            if (makeDirectories(path.buffer(), made)) return true;
        }
        error = errno;
    }
    syslog(LOG_ERR, "Could not setup status interface for %s!", made.buffer());
    errno = error;
    return false;
}

bool StatusInterface::setStatus(const String& name, const String& value) {
    String file;
    if (!formPath(name, &file)) return false;
    const int fd = openToWrite(file.buffer());
    if (fd < 0) return false;
    const size_t n = static_cast<size_t>(value.length());
    const ssize_t written =
        isFifo(fd) ? writeWithoutSignal(fd, value.buffer(), n) : write(fd, value.buffer(), n);
    close(fd);
    return written == value.length();
}

bool StatusInterface::getStatus(const String& name, String& value) const {
    String file;
    const bool formed = formPath(name, &file);
    value = String();
    if (!formed) return false;
    struct stat status;
    const int fd = openToRead(file.buffer(), &status);
    if (fd < 0) return false;

    const bool whole = readContent(fd, status.st_size, value);
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
