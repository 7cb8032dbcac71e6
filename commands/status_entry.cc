// SPDX-License-Identifier: MIT
//
// A walk opens each directory relative to its parent and follows no links. So it stays in the tree
// even if another process replaces a directory with a link.

#include "status_entry.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "pieces.h"
#include "status_name.h"

namespace {

// A file that changes its type this often while we look at it does so on purpose.
const int MOST_TRIES = 100;

Entry::Kind kindOf(mode_t mode) {
    if (S_ISREG(mode)) return Entry::VALUE;
    if (S_ISLNK(mode)) return Entry::LINK;
    if (S_ISFIFO(mode)) return Entry::FIFO;
    if (S_ISDIR(mode)) return Entry::DIRECTORY;
    return Entry::OTHER;
}

// Both return ESTALE if the file has changed its type since it was looked at.
int readValue(int directory, const char* path, Links links, std::string* value) {
    const int keep = links == Links::KEEP ? O_NOFOLLOW : 0;
    const Descriptor file(
        openat(directory, path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | keep));
    if (!file.isOpen()) return errno == ELOOP || errno == ENOENT || errno == ENXIO ? ESTALE : errno;
    struct stat status;
    if (fstat(file.get(), &status) != 0) return errno;
    if (!S_ISREG(status.st_mode)) return ESTALE;
    return readAll(file.get(), value);
}

int readTarget(int directory, const char* path, std::string* target) {
    std::string buffer(256, '\0');
    for (;;) {
        const ssize_t n = readlinkat(directory, path, &buffer[0], buffer.size());
        if (n < 0) return errno == EINVAL || errno == ENOENT ? ESTALE : errno;
        if (static_cast<size_t>(n) < buffer.size()) {
            target->assign(buffer, 0, static_cast<size_t>(n));
            return 0;
        }
        buffer.resize(2 * buffer.size());
    }
}

int examineOnce(int directory, const char* path, Links links, Entry* entry) {
    *entry = Entry();
    struct stat status;
    const int flags = links == Links::KEEP ? AT_SYMLINK_NOFOLLOW : 0;
    if (fstatat(directory, path, &status, flags) != 0)
        return errno == ENOENT || errno == ENOTDIR ? 0 : errno;
    entry->kind = kindOf(status.st_mode);
    if (entry->kind == Entry::VALUE) return readValue(directory, path, links, &entry->text);
    if (entry->kind == Entry::LINK) return readTarget(directory, path, &entry->text);
    return 0;
}

bool isDirectory(int directory, const struct dirent& entry) {
    if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
    struct stat status;
    return fstatat(directory, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISDIR(status.st_mode);
}

// Returns 0 or an error number.
int readContents(int directory, Contents* contents) {
    const int fd = openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return errno;
    DIR* const stream = fdopendir(fd);
    if (stream == nullptr) {
        const int error = errno;
        close(fd);
        return error;
    }
    errno = 0;
    while (const struct dirent* const entry = readdir(stream)) {
        const std::string name = entry->d_name;
        if (name == "." || name == ".." || isTemporary(entry->d_name)) continue;
        contents->emplace(joined({name, isDirectory(directory, *entry) ? "/" : ""}),
                          std::string(name));
        errno = 0;
    }
    const int error = errno;
    closedir(stream);
    return error;
}

}  // namespace

Descriptor::~Descriptor() {
    if (isOpen()) close(fd_);
}

int readAll(int fd, std::string* content) {
    char piece[4096];
    for (;;) {
        const ssize_t n = read(fd, piece, sizeof piece);
        if (n == 0) return 0;
        if (n > 0)
            content->append(piece, static_cast<size_t>(n));
        else if (errno != EINTR)
            return errno;
    }
}

int examine(int directory, const char* path, Links links, Entry* entry) {
    int error = ESTALE;
    for (int i = 0; error == ESTALE && i < MOST_TRIES; ++i)
        error = examineOnce(directory, path, links, entry);
    return error;
}

void walkEntry(int directory, const std::string& entry, const std::string& name, Visitor* visitor) {
    Entry found;
    const int error = examine(directory, entry.c_str(), Links::KEEP, &found);
    if (error != 0) return visitor->fail(name, error);
    if (found.kind != Entry::DIRECTORY) return visitor->visit(name, found);
    const Descriptor below(
        openat(directory, entry.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (below.isOpen()) return walkDirectory(below.get(), name, visitor);
    // It was removed or replaced since its parent was read.
    if (errno == ENOENT || errno == ENOTDIR || errno == ELOOP) return;
    visitor->fail(name, errno);
}

void walkDirectory(int directory, const std::string& name, Visitor* visitor) {
    if (!visitor->enter(directory, name)) return;
    Contents contents;
    const int error = readContents(directory, &contents);
    if (error != 0) return visitor->fail(name, error);
    visitor->contents(name, contents);
    for (const auto& entry : contents) {
        const std::string full = joined({name, "/", entry.second});
        if (visitor->wants(full)) walkEntry(directory, entry.second, full, visitor);
    }
}
