// SPDX-License-Identifier: MIT
//
// velutils status wait: waits until a name exists or has a value.

#include <errno.h>
#include <fcntl.h>

#include "duration.h"
#include "path_watch.h"
#include "report.h"
#include "status_commands.h"
#include "status_entry.h"
#include "status_name.h"

namespace {

// Finds out whether the wait is over. Returns 0 or an error number.
int look(const std::string& path, const std::string* value, bool* isOver) {
    Entry entry;
    const int error = examine(AT_FDCWD, path.c_str(), Links::FOLLOW, &entry);
    *isOver = value == nullptr ? entry.kind != Entry::NONE
                               : entry.kind == Entry::VALUE && entry.text == *value;
    return error;
}

// Waits for a change that concerns the path. False if the time is up.
bool awaitChange(ChangeQueue* queue, const PathWatch& watch, const Deadline& deadline) {
    Change change;
    do
        if (!queue->next(deadline, ChangeQueue::Output::IGNORE, &change)) return false;
    while (!watch.concerns(change));
    return true;
}

}  // namespace

int statusWait(const Request& request) {
    const Deadline deadline = request.isTimed ? Deadline::in(request.timeout) : Deadline::never();
    const std::string name = request.operands[0];
    if (!isNameUsable(name)) return FAILED;
    const std::string path = pathOf(request.base, normalized(name));
    const std::string given = request.operandCount > 1 ? request.operands[1] : "";
    const std::string* const value = request.operandCount > 1 ? &given : nullptr;

    bool isOver = false;
    int error = look(path, value, &isOver);
    if (error != 0) return failed(name, error);
    if (isOver) return DONE;
    if (deadline.isOver()) return refused(name, "time is up");

    ChangeQueue queue;
    PathWatch watch(&queue);
    error = queue.open();
    do {
        if (error == 0) error = watch.follow(path);
        if (error != 0) return failed(name, watchFailure(error));
        error = look(path, value, &isOver);
        if (error != 0) return failed(name, error);
        if (isOver) return DONE;
    } while (awaitChange(&queue, watch, deadline));
    return refused(name, "time is up");
}
