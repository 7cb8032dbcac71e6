/* SPDX-License-Identifier: MIT
 *
 * The status tree: a daemon's values as small files and links that other programs read, FIFOs
 * through which other programs send it bytes, and the catalogue of the router's events.
 *
 *     setup(STATUS_BASE_TMP, "/wan")     the directory /tmp/status/wan and its missing parents
 *     setStatus("/state", "up")          the file /tmp/status/wan/state, holding exactly "up"
 *     setLink("/active", "state")        the link /tmp/status/wan/active -> state
 *     setupIpcRxFifo("/ctl", &observer)  the FIFO /tmp/status/wan/ctl, read from the libevent loop
 *
 * Names are appended to the directory as they are, so they must begin with "/".
 *
 * The event catalogue, in event_catalogue.h, can be used from C; the classes need C++11.
 */
#ifndef VELUTILS_STATUS_H
#define VELUTILS_STATUS_H

#include <stddef.h>
#include <stdint.h>

#include <velutils++/event_catalogue.h>
#include <velutils++/export.h>

#ifdef __cplusplus

#include <velutils++/text.h>

struct bufferevent;

// The base directories of the status tree.
enum BasePath : int {
    STATUS_BASE_TMP = 0,   // /tmp/status, lost at a restart
    STATUS_BASE_NV = 1,    // /nvstatus, kept
    STATUS_BASE_PROC = 2,  // /proc
};

// What a daemon implements to receive the bytes of a FIFO.
class VELUTILS_API StatusFifoObserver {
  public:
    virtual ~StatusFifoObserver() {}

    // Called from the libevent loop with the next 1 to 99 bytes, in order. A NUL follows them,
    // which length does not count. The bytes are valid during the call only. The receiver,
    // converted to unsigned long, is the identifier that setupIpcRxFifo() returned. A FIFO is a
    // byte stream: one write may arrive in several calls, and several writes in one.
    //
    // It must not throw, because an exception cannot pass through libevent's loop. An exception is
    // caught and logged (LOG_ERR), and the receiver continues with the bytes that follow.
    // pthread_exit(3) and the cancellation of a thread are not caught.
    virtual void handleFifoData(struct bufferevent* receiver, char* data, size_t length) = 0;
};

// One FIFO receiver. The StatusInterface makes it, owns it and frees it.
class VELUTILS_API StatusFifoEntry {
  public:
    StatusFifoEntry();
    ~StatusFifoEntry();

    struct bufferevent* bufferEvent;  // null until made; its address is the identifier
    int fd;                           // -1 until opened
    StatusFifoEntry* next;            // the next older receiver
    String path;                      // of the FIFO node
};

// A daemon's directory in the status tree and the FIFO receivers in it.
//
// Values are written in place, so a reader can see a file empty or half written. Files and links
// outlive the object and the process; FIFO nodes are removed with their receivers. Before a setup()
// with a known base, names are complete paths. Names are used as they are, ".." included: they must
// never come from outside.
//
// Other users may be able to write in the tree. No call waits for what it finds at a name, except
// that setStatus() opens and writes a device, and opens a file that another process has a lease on
// (fcntl(2)), as open(2) and write(2) do.
//
// Failures: false or 0. setup() also sets errno, and logs with syslog(3) at LOG_ERR.
//
// Threads and processes: an object belongs to one thread at a time, and an object with receivers to
// the thread that runs libevent's loop. Each call opens and closes its own file. Any number of
// objects and processes may use the same directory. A forked child has a copy of the object: it
// must end with _exit(2) or start another program. With exit(3), the destructor of a static object
// would remove the parent's FIFOs.
class VELUTILS_API StatusInterface {
  public:
    StatusInterface();
    StatusInterface(const StatusInterface&) = delete;
    StatusInterface& operator=(const StatusInterface&) = delete;
    virtual ~StatusInterface();  // as cleanup()

    // Chooses the directory, and makes it and its missing parents with mode 0777 less the umask. A
    // link to a directory counts as one. Returns false for a plain file (ENOTDIR) and for a link
    // that leads nowhere (ENOENT). The new directory is chosen even if it cannot be made. An
    // unknown base changes nothing (EINVAL). Receivers stay where they are.
    bool setup(BasePath base, const String& name);

    // Removes all receivers and their FIFO nodes.
    void cleanup();

    // Replaces the file's content with exactly the value. A new file has mode 0644 less the umask.
    // Returns false if the file cannot be opened or the value cannot be written whole.
    //
    // Into a FIFO, up to PIPE_BUF bytes are written whole or not at all, and a longer value may be
    // cut. If it has no reader or no room, the result is false. SIGPIPE is not raised.
    bool setStatus(const String& name, const String& value);

    // Reads a value, of this daemon or another. The file must be a regular one, as those in /proc
    // are; anything else is not even opened. A NUL hides what follows it up to the next multiple of
    // 99 bytes. Returns false, and stores what was read so far, if the file cannot be read to its
    // end, when out of memory, for a file of more than 2147483647 bytes, and if another process has
    // a write lease on the file (fcntl(2)).
    bool getStatus(const String& name, String& value) const;

    // Removes what is at the name. If the target is not empty, makes a symbolic link to it there.
    bool setLink(const String& name, const String& target);

    // Removes what is at the name and makes a FIFO there, with mode 0666 less the umask, and a
    // receiver that passes its bytes to the observer. The FIFO's descriptor is close-on-exec.
    // Returns the receiver's identifier, or 0 on failure. It fails without libevent's default event
    // base, so call event_init() first. It also fails if someone else replaces the new FIFO before
    // it is opened. The caller owns the observer, which must outlive the receiver.
    //
    // If libevent cannot allocate memory for incoming bytes, the receiver stops. Set it up again to
    // recover.
    unsigned long setupIpcRxFifo(const String& name, StatusFifoObserver* observer);

    // Removes the receiver, and its FIFO node unless another node has taken its place. An unknown
    // identifier is ignored. It can be called from handleFifoData(), even for the receiver that is
    // delivering: nothing more is delivered from it.
    void deleteIpcRxFifo(unsigned long identifier);

    // The read callback of the receivers: passes everything in the bufferevent's input to the
    // observer.
    static void STATUS_FIFO_READ_EVENT(struct bufferevent* receiver, void* observer);

  private:
    VELUTILS_LOCAL bool formPath(const String& name, String* full) const;

    String path;
    StatusFifoEntry* fifoEntries;
};
#endif

#endif
