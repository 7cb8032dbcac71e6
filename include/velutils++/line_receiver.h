/* SPDX-License-Identifier: MIT
 *
 * LineReceiver: lines from a status FIFO.
 *
 *     class Commands : public LineReceiver {
 *         void handleLine(const String& line) override { ... }
 *     };
 *     status.setupIpcRxFifo("/command", &commands);
 *
 * Header-only: the library exports nothing for it. C++ only. In C the header declares nothing.
 */
#ifndef VELUTILS_LINE_RECEIVER_H
#define VELUTILS_LINE_RECEIVER_H

#include <velutils++/export.h>

#ifdef __cplusplus
#include <limits.h>
#include <string.h>

#include <velutils++/status.h>
#include <velutils++/text.h>

// Collects the bytes of one FIFO into lines, however they arrive, and delivers each line whole and
// in order. A line ends with a newline ("\n"). Use one LineReceiver for each FIFO: it would mix the
// bytes of several.
//
// In handleLine() and handleBadLine() an observer may
//
//   - delete itself, after or together with its receiver. Nothing more is delivered, and the object
//     is not used any more.
//   - remove its receiver or destroy the StatusInterface. Whole lines of the same call of
//     handleFifoData() are still delivered, unless forget() is called. Nothing is delivered after
//     them.
//   - pass more bytes to handleFifoData(). The inner call first delivers what the outer call still
//     has, so the order is kept.
//
// Memory: at most one unfinished line. It never takes more than `longest` characters need, or twice
// as much for a moment while it grows.
//
// Failures: a line that cannot be stored is a bad line. Nothing throws or logs.
//
// Threads: an object belongs to the thread that runs the libevent loop.
class LineReceiver : public StatusFifoObserver {
  public:
    // Lines can have up to `longest` characters without their newline. If longest is 0 or less,
    // only empty lines are delivered.
    explicit LineReceiver(long longest = 1024)
        : longest_(longest > 0 ? longest : 0),
          room_(0),
          length_(0),
          bad_(false),
          newest_(nullptr) {}
    LineReceiver(const LineReceiver&) = delete;
    LineReceiver& operator=(const LineReceiver&) = delete;
    ~LineReceiver() override {
        for (Piece* piece = newest_; piece != nullptr; piece = piece->outer) piece->owner = nullptr;
    }

    // Called with each line, without its newline and otherwise as it arrived. It must not throw. If
    // it does, the lines of the same call of handleFifoData() that follow are lost.
    virtual void handleLine(const String& line) = 0;

    // Called instead of handleLine() for a line that is longer than `longest`, that contains a NUL,
    // or that cannot be stored when out of memory. The line is dropped. `length` is the number of
    // its bytes without the newline, at most LONG_MAX.
    virtual void handleBadLine(long length) { static_cast<void>(length); }

    // Drops the unfinished line. In handleLine() and handleBadLine() it also drops the bytes that
    // were not delivered yet. The next byte begins a new line. Call it if the observer gets another
    // receiver. Otherwise the bytes of the new one continue the old one's unfinished line.
    void forget() {
        forgetLine();
        for (Piece* piece = newest_; piece != nullptr; piece = piece->outer) piece->at = piece->end;
    }

#if defined(__GNUC__) && __GNUC__ >= 12 && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdangling-pointer"  // own takes its address back when it ends
#endif
    // Called by the receiver. You can also pass bytes from elsewhere, any number at a time.
    void handleFifoData(struct bufferevent* receiver, char* data, size_t length) override {
        static_cast<void>(receiver);
        Piece own(*this, data, length);
        while (Piece* const piece = own.oldestWithBytes()) {
            if (!takeLine(*piece)) continue;
            deliverLine();
            if (own.owner == nullptr) return;
        }
    }
#if defined(__GNUC__) && __GNUC__ >= 12 && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

  private:
    // The bytes of a current call of handleFifoData(). It is on that call's stack, so it can
    // outlive this object.
    struct Piece {
        Piece(LineReceiver& receiver, const char* data, size_t length)
            : at(data), end(data + length), owner(&receiver), outer(receiver.newest_) {
            receiver.newest_ = this;
        }
        Piece(const Piece&) = delete;
        Piece& operator=(const Piece&) = delete;
        // If an observer throws, bytes are left. Their whole lines are lost, but an unfinished line
        // is kept, so that no later call delivers only its end.
        ~Piece() {
            if (owner == nullptr) return;
            while (Piece* const piece = oldestWithBytes())
                if (owner->takeLine(*piece)) owner->forgetLine();
            owner->newest_ = outer;
        }

        Piece* oldestWithBytes() {
            Piece* oldest = nullptr;
            for (Piece* piece = this; piece != nullptr; piece = piece->outer)
                if (piece->at != piece->end) oldest = piece;
            return oldest;
        }

        const char* at;  // the first byte that was not taken yet
        const char* const end;
        LineReceiver* owner;  // null once it was destroyed
        Piece* const outer;   // of the call around this one
    };

    // Moves the bytes up to the next newline into the line. True when there was one.
    bool takeLine(Piece& piece) {
        const size_t left = static_cast<size_t>(piece.end - piece.at);
        const char* const newline = static_cast<const char*>(memchr(piece.at, '\n', left));
        const char* const begin = piece.at;
        const char* const end = newline != nullptr ? newline : piece.end;
        piece.at = newline != nullptr ? newline + 1 : end;
        if (begin != end) append(begin, static_cast<long>(end - begin));
        return newline != nullptr;
    }

    void append(const char* bytes, long n) {
        length_ = n < LONG_MAX - length_ ? length_ + n : LONG_MAX;
        if (bad_) return;
        bad_ = length_ > longest_ || memchr(bytes, '\0', static_cast<size_t>(n)) != nullptr;
        if (!bad_) {
            if (length_ > room_) makeRoom();
            line_.concat(bytes, n);
            bad_ = line_.length() != length_;
        }
        if (bad_) line_ = String();
    }

    // Doubles the room, so that a long line of many pieces is not copied for each of them.
    void makeRoom() {
        room_ = room_ < longest_ / 2 ? 2 * room_ : longest_;
        if (room_ < length_) room_ = length_;
        const String larger(line_.buffer(), room_);
        if (larger.length() == line_.length()) line_ = larger;
    }

    // The observer may destroy this object, so use only the stack after calling it.
    void deliverLine() {
        const String line(line_);
        const long length = length_;
        const bool bad = bad_;
        forgetLine();
        if (bad)
            handleBadLine(length);
        else
            handleLine(line);
    }

    void forgetLine() {
        line_ = String();
        room_ = 0;
        length_ = 0;
        bad_ = false;
    }

    const long longest_;
    String line_;    // the unfinished line; empty once it is bad
    long room_;      // the room that line_ was made with
    long length_;    // bytes of the unfinished line
    bool bad_;       // the unfinished line will not be delivered
    Piece* newest_;  // the innermost call under way
};

#endif

#endif
