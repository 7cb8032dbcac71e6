// SPDX-License-Identifier: MIT
//
// velutils status watch: prints the tree and then every change.
//
// It remembers what it last printed for each name. When the kernel reports a change, it looks at
// the name and prints what is there now if that differs. So a change that is reported twice is
// printed once, and after the kernel's queue has overflowed, looking at everything again prints
// what was missed.
//
// A directory is watched before it is read. A regular file that is created or written in place is
// read when its writer closes it.
//
// The base directory may be missing at first, or removed: its path is watched, too.

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <vector>

#include "path_watch.h"
#include "report.h"
#include "status_commands.h"
#include "status_entry.h"
#include "status_format.h"
#include "status_name.h"

namespace {

const uint32_t ENTRIES = IN_CREATE | IN_CLOSE_WRITE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE |
                         IN_ATTRIB | IN_ONLYDIR | IN_EXCL_UNLINK;

class Watch : public Visitor {
  public:
    explicit Watch(const Request& request);

    int run();

  private:
    // What it remembers of a name.
    struct Known {
        Entry entry;     // as printed
        int watch = -1;  // of a directory
        bool isUnreadable = false;
    };

    bool wants(const std::string& name) override;
    bool enter(int directory, const std::string& name) override;
    void contents(const std::string& name, const Contents& contents) override;
    void visit(const std::string& name, const Entry& entry) override;
    void fail(const std::string& name, int error) override;

    bool isDone() const;
    bool isOnTheWay(const std::string& name) const;
    bool attach();
    void handle(const Change& change);
    void handleEntry(const Change& change, const std::string& name);
    void handleMade(const std::string& name);
    void handleGone(const std::string& name);
    void followLink(const std::string& name);
    void reconcile(const std::string& name);
    int openParent(const std::string& name) const;
    void forget(const std::string& name);
    void forgetBelow(const std::string& name);
    void unwatch(Known* known);
    void print(const std::string& name, const Entry& entry);
    void end(int status);

    const Request& request_;
    const std::string base_;
    std::vector<std::string> names_;  // "" for the whole base
    ChangeQueue queue_;
    PathWatch path_;
    std::map<std::string, Known> known_;
    std::map<int, std::string> directories_;  // names by their watches
    uint64_t printed_ = 0;
    bool isEnded_ = false;
    int status_ = DONE;
};

Watch::Watch(const Request& request)
    : request_(request), base_(directoryOf(request.base)), path_(&queue_) {
    for (int i = 0; i < request.operandCount; ++i)
        names_.push_back(normalized(request.operands[i]));
    if (names_.empty()) names_.push_back("");
}

int Watch::run() {
    const int error = queue_.open();
    if (error != 0) return failed(base_, watchFailure(error));
    if (!attach()) return status_;
    Change change;
    while (!isDone() && queue_.next(Deadline::never(), ChangeQueue::Output::LOOK_AFTER, &change))
        handle(change);
    if (isDone()) return status_;
    // The output no longer has a reader: end as the next write would.
    raise(SIGPIPE);
    return failed("standard output", EPIPE);
}

bool Watch::isDone() const {
    return isEnded_ || (request_.isCounted && printed_ >= request_.count);
}

void Watch::end(int status) {
    isEnded_ = true;
    status_ = status;
}

// Whether the name was asked for, or is on the way to one that was.
bool Watch::wants(const std::string& name) {
    if (isDone()) return false;
    const auto isAsked = [&name](const std::string& asked) { return isWithin(name, asked); };
    return isOnTheWay(name) || std::any_of(names_.begin(), names_.end(), isAsked);
}

bool Watch::isOnTheWay(const std::string& name) const {
    for (const std::string& asked : names_)
        if (asked != name && isWithin(asked, name)) return true;
    return false;
}

// Looks for the base directory and at everything in it. False after a failure.
bool Watch::attach() {
    const int error = path_.follow(base_);
    const Descriptor directory(open(base_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (error != 0) {
        end(failed(base_, watchFailure(error)));
    } else if (directory.isOpen()) {
        walkDirectory(directory.get(), "", this);
    } else if (errno == ENOENT || errno == ENOTDIR) {
        forget("");
    } else {
        end(failed(base_, errno));
    }
    return !isEnded_;
}

bool Watch::enter(int directory, const std::string& name) {
    if (isDone()) return false;
    // By the descriptor, because the path may lead elsewhere by now.
    char path[40];
    snprintf(path, sizeof path, "/proc/self/fd/%d", directory);
    const int watch = queue_.add(path, ENTRIES);
    if (watch < 0) {
        fail(name.empty() ? base_ : name, errno);
        return false;
    }
    Known& known = known_[name];
    if (known.watch == watch) {
        queue_.remove(watch);  // it was added before
    } else {
        unwatch(&known);
        const auto elsewhere = directories_.find(watch);
        if (elsewhere != directories_.end()) {
            known_[elsewhere->second].watch = -1;
            queue_.remove(watch);
        }
        known.watch = watch;
        directories_[watch] = name;
    }
    if (known.entry.kind != Entry::NONE && known.entry.kind != Entry::DIRECTORY)
        print(name, Entry());
    known.entry = Entry();
    known.entry.kind = Entry::DIRECTORY;
    known.isUnreadable = false;
    return true;
}

// Forgets what is no longer in the directory.
void Watch::contents(const std::string& name, const Contents& contents) {
    const std::string prefix = joined({name, "/"});
    std::vector<std::string> gone;
    for (auto at = known_.lower_bound(prefix); at != known_.end(); ++at) {
        if (at->first.compare(0, prefix.size(), prefix) != 0) break;
        const std::string below = at->first.substr(prefix.size());
        const std::string entry = below.substr(0, below.find('/'));
        if (contents.count(entry) == 0 && contents.count(joined({entry, "/"})) == 0)
            gone.push_back(joined({prefix, entry}));
    }
    for (const std::string& entry : gone) forget(entry);
}

void Watch::visit(const std::string& name, const Entry& entry) {
    if (isDone()) return;
    if (entry.kind == Entry::NONE || entry.kind == Entry::OTHER) return forget(name);
    if (isOnTheWay(name)) return entry.kind == Entry::LINK ? followLink(name) : forget(name);
    Known& known = known_[name];
    known.isUnreadable = false;
    if (known.entry.kind == entry.kind && known.entry.text == entry.text) return;
    if (known.entry.kind == Entry::DIRECTORY) {
        forgetBelow(name);
        unwatch(&known);
    }
    known.entry = entry;
    print(name, entry);
}

// Other commands follow links on the way to a name, and so does this one.
void Watch::followLink(const std::string& name) {
    const Descriptor parent(openParent(name));
    const std::string entry = name.substr(name.rfind('/') + 1);
    const Descriptor directory(
        openat(parent.get(), entry.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory.isOpen())
        walkDirectory(directory.get(), name, this);
    else
        forget(name);
}

void Watch::fail(const std::string& name, int error) {
    if (error == ENOSPC || error == ENOMEM) return end(failed(name, watchFailure(error)));
    Known& known = known_[name];
    if (!known.isUnreadable) status_ = failed(name, error);
    known.isUnreadable = true;
}

void Watch::handle(const Change& change) {
    if ((change.mask & IN_Q_OVERFLOW) != 0 || path_.concerns(change)) {
        attach();
        return;
    }
    const auto directory = directories_.find(change.watch);
    if (directory == directories_.end()) return;
    const std::string name = directory->second;
    if ((change.mask & IN_IGNORED) != 0) {
        directories_.erase(directory);
        known_[name].watch = -1;
        return reconcile(name);
    }
    if (change.name.empty() || isTemporary(change.name)) return;
    const std::string entry = joined({name, "/", change.name});
    if (wants(entry)) handleEntry(change, entry);
}

void Watch::handleEntry(const Change& change, const std::string& name) {
    if ((change.mask & (IN_DELETE | IN_MOVED_FROM)) != 0) return handleGone(name);
    if ((change.mask & IN_ATTRIB) != 0) {
        const auto known = known_.find(name);
        if (known != known_.end() && known->second.isUnreadable) reconcile(name);
        return;
    }
    if ((change.mask & (IN_CREATE | IN_ISDIR)) == IN_CREATE) return handleMade(name);
    reconcile(name);
}

// Handles a new name. A regular file is read when its writer closes it; but a file that already has
// another name is a new link, and has no writer.
void Watch::handleMade(const std::string& name) {
    const Descriptor parent(openParent(name));
    struct stat status;
    const std::string entry = name.substr(name.rfind('/') + 1);
    if (fstatat(parent.get(), entry.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return;
    if (!S_ISREG(status.st_mode) || status.st_nlink > 1) reconcile(name);
}

// Handles a removed name. If it exists again, another change follows.
void Watch::handleGone(const std::string& name) {
    const Descriptor parent(openParent(name));
    struct stat status;
    const std::string entry = name.substr(name.rfind('/') + 1);
    if (fstatat(parent.get(), entry.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) forget(name);
}

// Looks at what is there now, and prints the difference.
void Watch::reconcile(const std::string& name) {
    if (name.empty()) {
        attach();
        return;
    }
    const Descriptor parent(openParent(name));
    if (parent.isOpen()) walkEntry(parent.get(), name.substr(name.rfind('/') + 1), name, this);
}

// Opens the directory of the entry, and follows only links that are on the way to a name that was
// asked for. Returns -1 if it does not exist.
int Watch::openParent(const std::string& name) const {
    const int flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
    int directory = open(base_.c_str(), flags);
    for (size_t at = 1, slash; (slash = name.find('/', at)) != std::string::npos; at = slash + 1) {
        const Descriptor above(directory);
        const int keep = isOnTheWay(name.substr(0, slash)) ? 0 : O_NOFOLLOW;
        directory = openat(above.get(), name.substr(at, slash - at).c_str(), flags | keep);
    }
    return directory;
}

// Forgets a name that no longer exists, and everything below it.
void Watch::forget(const std::string& name) {
    const auto at = known_.find(name);
    if (at != known_.end()) {
        unwatch(&at->second);
        const Entry::Kind kind = at->second.entry.kind;
        known_.erase(at);
        if (kind != Entry::NONE && kind != Entry::DIRECTORY) print(name, Entry());
    }
    forgetBelow(name);
}

void Watch::forgetBelow(const std::string& name) {
    const std::string prefix = joined({name, "/"});
    auto at = known_.lower_bound(prefix);
    while (at != known_.end() && at->first.compare(0, prefix.size(), prefix) == 0) {
        unwatch(&at->second);
        const Entry::Kind kind = at->second.entry.kind;
        if (kind != Entry::NONE && kind != Entry::DIRECTORY) print(at->first, Entry());
        at = known_.erase(at);
    }
}

void Watch::unwatch(Known* known) {
    if (known->watch < 0) return;
    directories_.erase(known->watch);
    queue_.remove(known->watch);
    known->watch = -1;
}

// Prints a line at once.
void Watch::print(const std::string& name, const Entry& entry) {
    if (isDone()) return;
    ++printed_;
    if (request_.json)
        put({"{", jsonMemberOf(name, entry), "}\n"});
    else
        put({lineOf(name, entry), "\n"});
    flushOutput();
}

}  // namespace

int statusWatch(const Request& request) {
    for (int i = 0; i < request.operandCount; ++i)
        if (!isNameUsable(request.operands[i])) return FAILED;
    return Watch(request).run();
}
