// SPDX-License-Identifier: MIT
//
// If the path continues with a directory, only removing and renaming that directory matter, and
// other changes in the parent (/tmp, say) do not wake the program. If the next component is
// missing, is a link or is the file itself, all changes of entries matter. The kernel reports that
// a watched directory was removed only when no process has it open any more, so its entry in the
// parent is watched as well.
//
// A change between looking and watching would be missed. So the path is walked again until a walk
// adds no new watch.

#include "path_watch.h"

#include <errno.h>
#include <limits.h>
#include <poll.h>
#include <string.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "pieces.h"
#include "status_name.h"

namespace {

const uint32_t ITSELF = IN_DELETE_SELF | IN_MOVE_SELF;
const uint32_t ENTRIES =
    IN_CREATE | IN_CLOSE_WRITE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE | IN_ATTRIB;

// The kernel's limit.
const int MOST_LINKS = 40;

// A path that is still changing after so many walks has changes in the queue, and is walked again.
const int MOST_WALKS = 10;

std::string parentOf(const std::string& directory) {
    const size_t slash = directory.rfind('/');
    return slash == std::string::npos ? "" : directory.substr(0, slash);
}

// Returns the empty text if the file is no longer a link.
std::string targetOf(const std::string& link) {
    char target[PATH_MAX];
    const ssize_t n = readlink(link.c_str(), target, sizeof target);
    return std::string(target, n > 0 ? static_cast<size_t>(n) : 0);
}

}  // namespace

ChangeQueue::ChangeQueue() {}

ChangeQueue::~ChangeQueue() {
    if (fd_ >= 0) close(fd_);
}

int ChangeQueue::open() {
    fd_ = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    return fd_ >= 0 ? 0 : errno;
}

int ChangeQueue::add(const char* path, uint32_t mask) {
    const int watch = inotify_add_watch(fd_, path, mask | IN_MASK_ADD);
    if (watch >= 0) ++uses_[watch];
    return watch;
}

void ChangeQueue::remove(int watch) {
    const auto use = uses_.find(watch);
    if (use == uses_.end() || --use->second > 0) return;
    uses_.erase(use);
    inotify_rm_watch(fd_, watch);
}

bool ChangeQueue::await(const Deadline& deadline, Output output) {
    struct pollfd ready[] = {{fd_, POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
    const nfds_t count = output == Output::LOOK_AFTER ? 2 : 1;
    const int n = poll(ready, count, deadline.pollTime());
    if (n < 0) return true;  // a signal; try to read again
    if (n == 0) return !deadline.isOver();
    return ready[1].revents == 0;
}

bool ChangeQueue::next(const Deadline& deadline, Output output, Change* change) {
    while (at_ == end_) {
        const ssize_t n = read(fd_, buffer_, sizeof buffer_);
        at_ = 0;
        end_ = n > 0 ? static_cast<size_t>(n) : 0;
        if (n <= 0 && !await(deadline, output)) return false;
    }
    struct inotify_event event;
    memcpy(&event, buffer_ + at_, sizeof event);
    *change = {event.wd, event.mask, event.len > 0 ? buffer_ + at_ + sizeof event : ""};
    at_ += sizeof event + event.len;
    // The kernel dropped the watch with the file or its file system.
    if ((event.mask & IN_IGNORED) != 0) uses_.erase(event.wd);
    return true;
}

const char* watchFailure(int error) {
    if (error == ENOSPC) return "no more watches: raise /proc/sys/fs/inotify/max_user_watches";
    if (error == EMFILE) return "no more queues: raise /proc/sys/fs/inotify/max_user_instances";
    return strerror(error);
}

int PathWatch::follow(const std::string& path) {
    drop(watches_);  // so that old kinds of changes do not add up
    watches_.clear();
    int error = 0;
    bool isNew = true;
    for (int i = 0; i < MOST_WALKS && isNew && error == 0; ++i) {
        Watches watches;
        error = walk(path, &watches);
        isNew = !(watches == watches_);
        watches_.swap(watches);
        drop(watches);
    }
    return error;
}

int PathWatch::walk(const std::string& path, Watches* watches) {
    std::string target;
    std::string_view rest = path;
    std::string_view component;
    std::string directory;  // "" for "/"; holds no links
    int links = 0;
    int error = 0;
    while (error == 0 && takeComponent(&rest, &component)) {
        if (component == ".") continue;
        if (component == "..") {
            directory = parentOf(directory);
            continue;
        }
        const std::string full = joined({directory, "/", component});
        struct stat status = {};
        if (lstat(full.c_str(), &status) != 0 && errno != ENOENT) return errno;
        const bool isDirectory = S_ISDIR(status.st_mode);
        error = watch(directory, isDirectory ? IN_DELETE : ENTRIES, component, watches);
        if (isDirectory) {
            directory = full;
            continue;
        }
        const std::string to = S_ISLNK(status.st_mode) ? targetOf(full) : "";
        if (to.empty()) break;
        if (++links > MOST_LINKS) return ELOOP;
        if (to[0] == '/') directory.clear();
        target = joined({to, "/", rest});
        rest = target;
    }
    return error != 0 ? error : watch(directory, 0, "", watches);
}

// A missing directory is no error: the next walk sees that it is gone. Neither is a directory that
// may not be watched, if only its removal would matter.
int PathWatch::watch(const std::string& directory, uint32_t mask, std::string_view name,
                     Watches* watches) {
    const int watch = queue_->add(joined({directory, "/"}).c_str(), mask | ITSELF | IN_ONLYDIR);
    if (watch >= 0) {
        watches->push_back({watch, mask, std::string(name)});
        return 0;
    }
    const bool isMissing = errno == ENOENT || errno == ENOTDIR || errno == ELOOP;
    const bool isOptional = mask != ENTRIES && errno == EACCES;
    return isMissing || isOptional ? 0 : errno;
}

void PathWatch::drop(const Watches& watches) {
    for (const Watched& one : watches) queue_->remove(one.watch);
}

bool PathWatch::concerns(const Change& change) const {
    if ((change.mask & IN_Q_OVERFLOW) != 0) return true;
    const auto concerned = [&change](const Watched& one) {
        return one.watch == change.watch && (change.name.empty() || change.name == one.name);
    };
    return std::any_of(watches_.begin(), watches_.end(), concerned);
}
