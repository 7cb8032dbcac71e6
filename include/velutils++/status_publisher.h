/* SPDX-License-Identifier: MIT
 *
 * StatusPublisher: a StatusInterface whose readers never see half a value.
 *
 *     StatusPublisher wan;
 *     wan.setup(STATUS_BASE_TMP, "/wan")   the directory /tmp/status/wan
 *     wan.publish("/state", "up")          the file /tmp/status/wan/state, holding exactly "up"
 *
 * StatusInterface::setStatus writes a value in place. Readers can see it empty or half written, a
 * full disk leaves a part of it, and a link at the name redirects the write. publish() writes a
 * temporary file and renames it over the old value (rename(2)). So the name always leads to one
 * whole value.
 *
 * Header-only: the library exports nothing for it. C++ only. In C the header declares nothing.
 */
#ifndef VELUTILS_STATUS_PUBLISHER_H
#define VELUTILS_STATUS_PUBLISHER_H

#include <velutils++/export.h>

#ifdef __cplusplus

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <velutils++/status.h>
#include <velutils++/text.h>

// Adds publish() to StatusInterface.
//
// Temporary files are in the directory of setup() and exist only while publish() runs. Their names
// begin with TEMPORARY_PREFIX(). A process that is killed in publish() leaves one. The next setup()
// of a StatusPublisher on the same directory, by the same user or by root, removes it. publish()
// holds a file lock (flock(2)) on its temporary file, and the kernel releases it when the process
// ends. So setup() leaves the files of living processes and threads alone. A child that was forked
// while another thread was in publish() shares that lock until it calls execve(2) or ends.
//
// Watchers (inotify(7)) see a new value as IN_MOVED_TO. A program that has the old file open keeps
// the old value.
//
// setup() is not virtual. If it is called through a StatusInterface&, it redirects the operations
// of StatusInterface only: publish() keeps the directory of its own setup().
//
// Failures: false, and errno says why. Nothing throws. Only setup() logs, as in StatusInterface.
//
// Threads and processes: an object belongs to one thread at a time. Any number of objects, threads
// and processes may publish and set up in the same directory. If two values are published under one
// name at the same time, one of them stays.
class StatusPublisher : public StatusInterface {
  public:
    // How the names of temporary files begin. Programs that list a status directory should skip
    // them.
    static const char* TEMPORARY_PREFIX() { return ".velutils-"; }

    // Has no directory: publish() fails until a setup() succeeds.
    StatusPublisher() : synced_(false) {}

    // As StatusInterface::setup(). After that it removes temporary files that killed processes have
    // left in the directory, as far as it can: those of its own user, and as root those of all
    // users. An unknown base changes nothing. After any other failure publish() fails until a
    // setup() succeeds.
    bool setup(BasePath base, const String& name);

    // Makes the file hold exactly the value, NULs included, with mode 0644 less the umask.
    //
    // A symbolic link at the name is replaced, not followed. If a directory, FIFO, socket or device
    // is there, the call fails with EEXIST. The last check comes right before the rename. A FIFO,
    // socket or device that another process makes between the two is replaced.
    //
    // If a regular file holds the value already, it stays as it is, with inode, times, mode and
    // owner, and no watcher wakes.
    //
    // Below STATUS_BASE_NV the file and the directory entry are synced (fsync(2)) before the call
    // returns true, even for an unchanged value. Elsewhere nothing is synced.
    //
    // The name is joined to the directory as in setStatus(), and ends at a NUL. Directories in it
    // must exist and be on the same file system. If the last component begins with
    // TEMPORARY_PREFIX(), the call fails with EINVAL.
    //
    // Returns true if the file holds the value. If it returns false, the old value is unchanged and
    // no temporary file is left. There is one exception: if the last step fails, the sync of the
    // directory, the new value is in place. A write beyond the file size limit raises SIGXFSZ,
    // which the caller must handle.
    bool publish(const String& name, const String& value);

  private:
    // Closes a descriptor and keeps errno.
    class Descriptor {
      public:
        explicit Descriptor(int fd) : fd_(fd) {}
        Descriptor(const Descriptor&) = delete;
        Descriptor& operator=(const Descriptor&) = delete;
        ~Descriptor() {
            const int error = errno;
            if (fd_ != -1) close(fd_);
            errno = error;
        }
        int get() const { return fd_; }
        bool isOpen() const { return fd_ != -1; }

      private:
        int fd_;
    };

    // statx(2) and readdir64(3) handle every inode number, size and time, even where off_t and
    // time_t have 32 bits.
    typedef struct statx FileStatus;
#ifdef _LARGEFILE64_SOURCE
    static const struct dirent64* nextEntry(DIR* directory) {
        return readdir64(directory);
    }
#else
    static const struct dirent* nextEntry(DIR* directory) {
        return readdir(directory);
    }
#endif

    // Room for TEMPORARY_PREFIX() and two numbers of 64 bits.
    enum { TEMPORARY_NAME_SIZE = 64, MAKE_TRIES = 100 };

    static bool refuse(int error);
    static bool append(String& text, const String& more);
    static bool look(int directory, const char* path, FileStatus* status);
    static bool sync(const Descriptor& file);
    static bool writeAll(const Descriptor& file, const char* p, size_t n);
    static bool flush(const Descriptor& file);
    static bool holds(const Descriptor& file, const String& value);
    static bool isReplaceable(const char* path);
    static int openToCompare(const char* path);
    static int openParent(const char* path, const char* leaf);
    static bool claim(int fd);
    static int makeTemporary(const Descriptor& directory, char* name);
    static bool isTemporary(const char* name);
    static bool mayRemove(const FileStatus& status);
    static void removeIfDead(int directory, const char* name);
    static void removeDead(const char* directory);
    bool replace(const char* target, const String& value) const;

    String directory_;  // empty before a successful setup()
    bool synced_;
};

inline bool StatusPublisher::setup(BasePath base, const String& name) {
    const char* const directories[] = {"/tmp/status", "/nvstatus", "/proc"};
    const bool known = base >= STATUS_BASE_TMP && base <= STATUS_BASE_PROC;
    if (!known) return StatusInterface::setup(base, name);

    directory_ = String();
    String directory(directories[base]);
    if (!StatusInterface::setup(base, name)) return false;
    if (directory.length() == 0 || !append(directory, name)) return refuse(ENOMEM);
    removeDead(directory.buffer());
    directory_ = directory;
    synced_ = base == STATUS_BASE_NV;
    return true;
}

inline bool StatusPublisher::publish(const String& name, const String& value) {
    if (directory_.length() == 0) return refuse(EINVAL);
    String target(directory_);
    if (!append(target, name)) return refuse(ENOMEM);
    const char* const leaf = strrchr(target.buffer(), '/') + 1;
    if (isTemporary(leaf)) return refuse(EINVAL);
    if (!isReplaceable(target.buffer())) return false;

    // Opened first, so that only the sync itself can fail after the rename.
    const Descriptor parent(synced_ ? openParent(target.buffer(), leaf) : -1);
    if (synced_ && !parent.isOpen()) return false;

    const Descriptor present(openToCompare(target.buffer()));
    const bool unchanged = present.isOpen() && holds(present, value);
    if (unchanged ? synced_ && !sync(present) : !replace(target.buffer(), value)) return false;
    return !synced_ || sync(parent);
}

// Writes a temporary file and renames it over the target.
inline bool StatusPublisher::replace(const char* target, const String& value) const {
    const Descriptor directory(open(directory_.buffer(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!directory.isOpen()) return false;
    char name[TEMPORARY_NAME_SIZE];
    const Descriptor temporary(makeTemporary(directory, name));
    if (!temporary.isOpen()) return false;

    if (writeAll(temporary, value.buffer(), static_cast<size_t>(value.length())) &&
        (!synced_ || sync(temporary)) && flush(temporary) && isReplaceable(target) &&
        renameat(directory.get(), name, AT_FDCWD, target) == 0)
        return true;
    const int error = errno;
    unlinkat(directory.get(), name, 0);
    return refuse(error);
}

inline bool StatusPublisher::refuse(int error) {
    errno = error;
    return false;
}

inline bool StatusPublisher::append(String& text, const String& more) {
    const long before = text.length();
    text.concat(more.buffer(), more.length());
    return text.length() - before == more.length();
}

// Gets the status of the path without following a link, or of the descriptor if path is empty.
inline bool StatusPublisher::look(int directory, const char* path, FileStatus* status) {
    return statx(directory, path, AT_SYMLINK_NOFOLLOW | AT_EMPTY_PATH, STATX_BASIC_STATS, status) ==
           0;
}

inline bool StatusPublisher::sync(const Descriptor& file) {
    int result;
    do {
        result = fsync(file.get());
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

inline bool StatusPublisher::writeAll(const Descriptor& file, const char* p, size_t n) {
    while (n > 0) {
        const ssize_t written = write(file.get(), p, n);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return false;
        if (written == 0) return refuse(EIO);
        p += written;
        n -= static_cast<size_t>(written);
    }
    return true;
}

// Some file systems report a failed write only when a descriptor is closed. Closing a duplicate
// gets that report and keeps the lock.
inline bool StatusPublisher::flush(const Descriptor& file) {
    const int duplicate = fcntl(file.get(), F_DUPFD_CLOEXEC, 0);
    return duplicate != -1 && close(duplicate) == 0;
}

// Whether it is a regular file with exactly these bytes.
inline bool StatusPublisher::holds(const Descriptor& file, const String& value) {
    FileStatus status;
    if (!look(file.get(), "", &status) || !S_ISREG(status.stx_mode)) return false;
    size_t rest = static_cast<size_t>(value.length());
    if (status.stx_size != rest) return false;
    const char* expected = value.buffer();
    while (rest > 0) {
        char piece[1024];
        const ssize_t n = read(file.get(), piece, rest < sizeof piece ? rest : sizeof piece);
        if (n <= 0 || memcmp(piece, expected, static_cast<size_t>(n)) != 0) return false;
        expected += n;
        rest -= static_cast<size_t>(n);
    }
    return true;
}

// Whether nothing, a regular file or a symbolic link is at the path.
inline bool StatusPublisher::isReplaceable(const char* path) {
    FileStatus status;
    if (!look(AT_FDCWD, path, &status)) return errno == ENOENT;
    return S_ISREG(status.stx_mode) || S_ISLNK(status.stx_mode) || refuse(EEXIST);
}

// Without O_NOATIME, reading would write the access time to flash. Only a file's owner may use it.
inline int StatusPublisher::openToCompare(const char* path) {
    const int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const int fd = open(path, flags | O_NOATIME);
    return fd == -1 && errno == EPERM ? open(path, flags) : fd;
}

// Opens the directory that holds the entry.
inline int StatusPublisher::openParent(const char* path, const char* leaf) {
    const String parent(path, 0, leaf - path);
    if (parent.length() != leaf - path) {
        errno = ENOMEM;
        return -1;
    }
    return open(parent.buffer(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

// Locks a new temporary file. EWOULDBLOCK: a setup() has locked it first, in order to remove it.
inline bool StatusPublisher::claim(int fd) {
    FileStatus status;
    if (flock(fd, LOCK_EX | LOCK_NB) != 0 || !look(fd, "", &status)) return false;
    return status.stx_nlink > 0 || refuse(EWOULDBLOCK);
}

// Makes and locks a file with a new name. Returns -1 if it cannot be made.
inline int StatusPublisher::makeTemporary(const Descriptor& directory, char* name) {
    for (int i = 0; i < MAKE_TRIES; ++i) {
        struct timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        snprintf(name, TEMPORARY_NAME_SIZE, "%s%lx-%llx-%lx", TEMPORARY_PREFIX(),
                 static_cast<unsigned long>(getpid()), static_cast<unsigned long long>(now.tv_sec),
                 static_cast<unsigned long>(now.tv_nsec));
        const int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
        const int fd = openat(directory.get(), name, flags, 0644);
        if (fd == -1 && errno == EEXIST) continue;  // made by another at the same nanosecond
        if (fd == -1 || claim(fd)) return fd;
        const int error = errno;
        unlinkat(directory.get(), name, 0);
        close(fd);
        errno = error;
        if (error != EWOULDBLOCK) return -1;
    }
    return -1;
}

inline bool StatusPublisher::isTemporary(const char* name) {
    return strncmp(name, TEMPORARY_PREFIX(), strlen(TEMPORARY_PREFIX())) == 0;
}

inline bool StatusPublisher::mayRemove(const FileStatus& status) {
    const uid_t user = geteuid();
    return S_ISREG(status.stx_mode) && (user == 0 || user == status.stx_uid);
}

// Removes a temporary file that no process has locked. Its maker can lock, rename or remove it at
// any moment, and another process can make a file of the same name. So the file is dead only if we
// hold its lock and the name still leads to the locked file.
inline void StatusPublisher::removeIfDead(int directory, const char* name) {
    FileStatus named;
    if (!look(directory, name, &named) || !mayRemove(named)) return;
    const int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const Descriptor file(openat(directory, name, flags));
    FileStatus locked;
    if (!file.isOpen() || flock(file.get(), LOCK_EX | LOCK_NB) != 0 ||
        !look(file.get(), "", &locked) || !look(directory, name, &named) || !mayRemove(locked))
        return;
    if (locked.stx_ino == named.stx_ino && locked.stx_dev_major == named.stx_dev_major &&
        locked.stx_dev_minor == named.stx_dev_minor)
        unlinkat(directory, name, 0);
}

inline void StatusPublisher::removeDead(const char* directory) {
    DIR* const stream = opendir(directory);
    if (stream == nullptr) return;
    while (const auto* const entry = nextEntry(stream)) {
        if (isTemporary(entry->d_name)) removeIfDead(dirfd(stream), entry->d_name);
    }
    closedir(stream);
}

#endif

#endif
