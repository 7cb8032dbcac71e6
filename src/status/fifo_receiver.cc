// SPDX-License-Identifier: MIT
//
// The FIFO receivers of a StatusInterface.
//
// An entry joins fifoEntries (newest first; the list owns it) only when its node, descriptor and
// bufferevent all exist. The descriptor is open for writing too, so the FIFO never reports end of
// file when its writers close it.
//
// When an entry is removed, the node at its path may belong to another receiver that was set up
// under the same name, or to another instance of the daemon. The open descriptor identifies the
// node that the entry made.
//
// An observer may remove its own receiver during the callback, and may throw. The bufferevent must
// live until STATUS_FIFO_READ_EVENT returns: a Service on that function's stack records the removal
// and frees the bufferevent when the callback returns. No exception reaches libevent: it would
// leave libevent's loop marked as running.
//
// Tested by status_test.cc.

#include <velutils++/status.h>

#include <cxxabi.h>
#include <event.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <exception>
#include <memory>

namespace {

// Without a default event base, libevent would dereference a null pointer.
bool haveEventBase() {
    struct event probe;
    memset(&probe, 0, sizeof probe);
    event_set(&probe, -1, 0, nullptr, nullptr);
    const bool have = event_get_base(&probe) != nullptr;
    event_debug_unassign(&probe);
    return have;
}

// A running call of STATUS_FIFO_READ_EVENT. Calls nest if an observer runs the loop itself.
class Service {
  public:
    explicit Service(struct bufferevent* receiver)
        : receiver_(receiver), removed_(false), outer_(innermost_) {
        innermost_ = this;
    }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;
    ~Service() {
        innermost_ = outer_;
        if (removed_ && !isServed(receiver_)) bufferevent_free(receiver_);
    }

    bool removed() const { return removed_; }

    static bool isServed(const struct bufferevent* receiver) {
        for (const Service* service = innermost_; service != nullptr; service = service->outer_)
            if (service->receiver_ == receiver) return true;
        return false;
    }

    // After this call the services of the receiver deliver nothing, and the last one frees it.
    static void remove(struct bufferevent* receiver) {
        bufferevent_disable(receiver, EV_READ | EV_WRITE);
        for (Service* service = innermost_; service != nullptr; service = service->outer_)
            if (service->receiver_ == receiver) service->removed_ = true;
    }

  private:
    static Service* innermost_;  // only the thread that runs the loop uses it

    struct bufferevent* const receiver_;
    bool removed_;
    Service* const outer_;
};

Service* Service::innermost_ = nullptr;

struct EntryRelease {
    void operator()(StatusFifoEntry* entry) const {
        if (entry->bufferEvent != nullptr) {
            if (Service::isServed(entry->bufferEvent))
                Service::remove(entry->bufferEvent);
            else
                bufferevent_free(entry->bufferEvent);
        }
        if (entry->fd >= 0) close(entry->fd);
        delete entry;
    }
};
typedef std::unique_ptr<StatusFifoEntry, EntryRelease> Entry;

bool isSameNode(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool isOwnFifo(const struct stat& status) {
    return S_ISFIFO(status.st_mode) && status.st_uid == geteuid();
}

// Makes a FIFO at the path and opens it, or returns -1. Another user may replace the node before
// each of the steps.
int makeFifo(const char* path) {
    struct stat made;
    struct stat opened;
    if (mkfifo(path, 0666) != 0 || lstat(path, &made) != 0 || !isOwnFifo(made)) return -1;
    const int fd = open(path, O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return -1;
    if (fstat(fd, &opened) == 0 && isOwnFifo(opened) && isSameNode(made, opened)) return fd;
    close(fd);
    return -1;
}

// Removes the node at the path, if it is the one that is open.
void removeNode(const char* path, int fd) {
    struct stat there;
    struct stat opened;
    if (lstat(path, &there) == 0 && fstat(fd, &opened) == 0 && isSameNode(there, opened))
        unlink(path);
}

void logException(const char* what) {
    syslog(LOG_ERR, "A FIFO observer threw an exception: %s!", what);
}

// A thread's cancellation is also an exception (abi::__forced_unwind) and must be passed on. It has
// no object, so the sanitizer must not check the reference.
__attribute__((no_sanitize("undefined"))) void deliver(StatusFifoObserver* observer,
                                                       struct bufferevent* receiver, char* data,
                                                       size_t n) {
    try {
        observer->handleFifoData(receiver, data, n);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (const std::exception& exception) {
        logException(exception.what());
    } catch (...) {
        logException("not a std::exception");
    }
}

unsigned long identifierOf(const StatusFifoEntry& entry) {
    return reinterpret_cast<unsigned long>(entry.bufferEvent);
}

}  // namespace

StatusFifoEntry::StatusFifoEntry() : bufferEvent(nullptr), fd(-1), next(nullptr) {}

StatusFifoEntry::~StatusFifoEntry() {}

unsigned long StatusInterface::setupIpcRxFifo(const String& name, StatusFifoObserver* observer) {
    if (!haveEventBase()) return 0;
    Entry entry(new StatusFifoEntry);
    if (!formPath(name, &entry->path)) return 0;
    unlink(entry->path.buffer());
    entry->fd = makeFifo(entry->path.buffer());
    if (entry->fd < 0) return 0;
    entry->bufferEvent =
        bufferevent_new(entry->fd, STATUS_FIFO_READ_EVENT, nullptr, nullptr, observer);
    if (entry->bufferEvent == nullptr) return 0;
    if (bufferevent_enable(entry->bufferEvent, EV_READ) != 0) return 0;

    entry->next = fifoEntries;
    fifoEntries = entry.release();
    return identifierOf(*fifoEntries);
}

void StatusInterface::deleteIpcRxFifo(unsigned long identifier) {
    StatusFifoEntry** link = &fifoEntries;
    while (*link != nullptr && identifierOf(**link) != identifier) link = &(*link)->next;
    if (*link == nullptr) return;
    const Entry entry(*link);
    *link = entry->next;
    removeNode(entry->path.buffer(), entry->fd);
}

void StatusInterface::cleanup() {
    while (fifoEntries != nullptr) deleteIpcRxFifo(identifierOf(*fifoEntries));
}

void StatusInterface::STATUS_FIFO_READ_EVENT(struct bufferevent* receiver, void* observer) {
    const Service service(receiver);
    char data[100];
    while (!service.removed()) {
        const size_t n = bufferevent_read(receiver, data, sizeof data - 1);
        if (n == 0) return;
        data[n] = '\0';
        deliver(static_cast<StatusFifoObserver*>(observer), receiver, data, n);
    }
}
