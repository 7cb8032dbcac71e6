// SPDX-License-Identifier: MIT
//
// velutils status get, set, link and remove: single entries.

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>

#include <velutils++/status_publisher.h>

#include "report.h"
#include "signals.h"
#include "status_commands.h"
#include "status_entry.h"
#include "status_name.h"

namespace {

const char* nameOfKind(mode_t mode) {
    if (S_ISDIR(mode)) return "is a directory";
    if (S_ISFIFO(mode)) return "is a FIFO";
    return "is a socket or a device";
}

// A name as the library takes it: a directory of the tree, and an entry in it.
struct Place {
    explicit Place(const std::string& name)
        : directory(stringOf(name.substr(0, name.rfind('/')))),
          entry(stringOf(name.substr(name.rfind('/')))) {}
    String directory;
    String entry;
};

// Whether a value or link may be created at the path: there is a value, a link or nothing. Prints
// why not.
bool isReplaceable(const std::string& path, const std::string& name) {
    struct stat status;
    if (lstat(path.c_str(), &status) != 0) return true;  // creating it reports the error
    if (S_ISREG(status.st_mode) || S_ISLNK(status.st_mode)) return true;
    failed(name, nameOfKind(status.st_mode));
    return false;
}

enum class How { PUBLISH, IN_PLACE, LINK };

bool apply(StatusPublisher* status, How how, const String& entry, const String& text) {
    if (how == How::PUBLISH) return status->publish(entry, text);
    return how == How::LINK ? status->setLink(entry, text) : status->setStatus(entry, text);
}

// Creates a value or a link, and the directories that it needs. Signals wait until no temporary
// file is left; but a write in place may block, and can be interrupted.
int make(const Request& request, How how) {
    const std::string name = request.operands[0];
    if (!isNewNameUsable(name)) return FAILED;
    if (how != How::IN_PLACE && !isReplaceable(pathOf(request.base, name), name)) return FAILED;
    const Place place(name);
    const String text = stringOf(request.operands[1]);
    // The library would log what is printed here.
    setlogmask(LOG_MASK(LOG_EMERG));
    int error = 0;
    {
        sigset_t none;
        sigemptyset(&none);
        const SignalsHeld held(how == How::IN_PLACE ? none : endingSignals());
        StatusPublisher status;
        errno = 0;
        bool isDone = status.setup(request.base, place.directory);
        if (isDone) {
            errno = 0;
            isDone = apply(&status, how, place.entry, text);
        }
        if (!isDone) error = errno != 0 ? errno : EIO;
    }
    return error == 0 ? DONE : failed(name, error);
}

int removeOne(const Request& request, const std::string& name) {
    if (!isNameUsable(name)) return FAILED;
    const std::string path = pathOf(request.base, name);
    struct stat status;
    if (lstat(path.c_str(), &status) != 0)
        return errno == ENOENT || errno == ENOTDIR ? NO : failed(name, errno);
    const mode_t mode = status.st_mode;
    if (!S_ISREG(mode) && !S_ISLNK(mode) && !S_ISFIFO(mode)) return failed(name, nameOfKind(mode));
    if (unlink(path.c_str()) != 0) return errno == ENOENT ? NO : failed(name, errno);
    return DONE;
}

}  // namespace

int statusGet(const Request& request) {
    const std::string name = request.operands[0];
    if (!isNameUsable(name)) return FAILED;
    const std::string path = pathOf(request.base, name);
    Entry entry;
    const int error = examine(AT_FDCWD, path.c_str(), Links::FOLLOW, &entry);
    if (error != 0) return failed(name, error);
    switch (entry.kind) {
        case Entry::VALUE:
            put({entry.text, "\n"});
            return DONE;
        case Entry::NONE:
            return refused(name, ENOENT);
        case Entry::DIRECTORY:
            return failed(name, "is a directory");
        case Entry::FIFO:
            return failed(name, "is a FIFO");
        default:
            return failed(name, "is a socket or a device");
    }
}

int statusSet(const Request& request) {
    // Files in /proc can only be written in place.
    const bool isInPlace = request.inPlace || request.base == STATUS_BASE_PROC;
    return make(request, isInPlace ? How::IN_PLACE : How::PUBLISH);
}

int statusLink(const Request& request) {
    if (*request.operands[1] == '\0') return wrongUsage(request, "an empty TARGET");
    return make(request, How::LINK);
}

int statusRemove(const Request& request) {
    int worst = DONE;
    for (int i = 0; i < request.operandCount; ++i)
        worst = std::max(worst, removeOne(request, request.operands[i]));
    return worst;
}
