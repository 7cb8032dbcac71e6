// SPDX-License-Identifier: MIT
//
// String and its buffer: counting, copy on write, construction, assignment, appending.
//
// An operation that changes a String writes in place only if the buffer is not shared and the
// result fits. Otherwise it builds the whole new buffer first and then releases the old one, so its
// source may be part of the old buffer, and an allocation that fails changes nothing. Only
// appending to a long text reallocates its buffer, if the buffer is not shared.
//
// Tested by text_test.cc.

#include <velutils++/text.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <new>

#include "short_runs_internal.h"
#include "string_internal.h"

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#define VELUTILS_SINGLE_THREADED __libc_single_threaded
#else
#define VELUTILS_SINGLE_THREADED false
#endif

typedef String::StringBuffer Buffer;

namespace {

// From this length on, appending reallocates the buffer. The heap mostly extends the block in
// place, so appending takes linear and not quadratic time. A shorter text takes few blocks;
// reallocating them would save less than a tenth of the time.
const long LONG_TEXT = 128;

size_t blockSize(long capacity) {
    return sizeof(Buffer) + static_cast<size_t>(capacity) + 1;
}

// The analyzer warns because it does not know that the empty buffer, which is not on the heap, is
// always shared.
Buffer* reallocated(void* buffer, long capacity) {
    return static_cast<Buffer*>(realloc(buffer, blockSize(capacity)));  // NOLINT(*-unix.Malloc)
}

}  // namespace

// StringBuffer

// The only buffer that is not allocated.
struct Buffer::EmptyText {
    StringBuffer buffer{Constant()};
    char nul = '\0';
};

// Initialised at compile time and never destroyed, so that constructors and destructors of static
// objects can use it.
Buffer* Buffer::EMPTY() {
    static EmptyText empty;
    return &empty.buffer;
}

Buffer::StringBuffer() : StringBuffer(0) {}

Buffer::StringBuffer(long capacity) : referers_(1), capacity_(capacity), length_(0) {
    setLength(0);
}

Buffer::StringBuffer(long capacity, char ch) : referers_(1), capacity_(capacity), length_(0) {
    *text() = ch;
    setLength(1);
}

Buffer::StringBuffer(long capacity, long n, const char* p)
    : referers_(1), capacity_(capacity), length_(0) {
    memcpy(text(), p, static_cast<size_t>(n));
    setLength(n);
}

Buffer::StringBuffer(long capacity, long firstLength, const char* first, long secondLength,
                     const char* second)
    : StringBuffer(capacity, firstLength, first) {
    memcpy(text() + length_, second, static_cast<size_t>(secondLength));
    setLength(length_ + secondLength);
}

Buffer::StringBuffer(long capacity, long firstLength, const char* first, long secondLength,
                     const char* second, long thirdLength, const char* third)
    : StringBuffer(capacity, firstLength, first, secondLength, second) {
    memcpy(text() + length_, third, static_cast<size_t>(thirdLength));
    setLength(length_ + thirdLength);
}

Buffer::StringBuffer(const StringBuffer& other)
    : StringBuffer(other.capacity_, other.length_, other.text()) {}

void* Buffer::operator new(size_t, long capacity) noexcept {
    return malloc(blockSize(capacity));
}

void Buffer::operator delete(void* block) noexcept {
    free(block);
}

void Buffer::operator delete(void* block, long) noexcept {
    free(block);
}

long Buffer::NEAREST_VALID_STRING_LENGTH(long n) {
    if (n <= 127) return ((n + 8) & ~15L) + 7;
    return ((n - 64) & ~63L) + 127;
}

long Buffer::capacity() const {
    return capacity_;
}

bool Buffer::hasMultipleReferers() const {
    return isShared();
}

// Plain counting takes a third of the time of atomic counting, and most daemons have one thread.
void Buffer::link() {
    if (VELUTILS_SINGLE_THREADED)
        ++referers_;
    else
        __atomic_add_fetch(&referers_, 1, __ATOMIC_RELAXED);
}

void Buffer::drop() {
    const int32_t left = VELUTILS_SINGLE_THREADED
                             ? --referers_
                             : __atomic_sub_fetch(&referers_, 1, __ATOMIC_ACQ_REL);
    if (left == 0 && this != EMPTY()) delete this;
}

// Switching buffers

// Not inlined: that would add 600 bytes on the router, and a call costs little beside an
// allocation.
__attribute__((noinline)) void String::take(StringBuffer* buffer) {
    if (buffer == nullptr) return;
    buffer_->drop();
    buffer_ = buffer;
}

void String::takeEmpty() {
    take(sharedEmpty());
}

void String::assign(const char* p, long long n) {
    if (!mayWrite(n)) return take(buildBuffer(n, static_cast<long>(n), p));
    moveRun(buffer_->text(), p, static_cast<size_t>(n));
    buffer_->setLength(static_cast<long>(n));
}

bool String::unshare() {
    if (!buffer_->hasMultipleReferers()) return true;
    StringBuffer* const copy = new (buffer_->capacity_) StringBuffer(*buffer_);
    take(copy);
    return copy != nullptr;
}

// Construction

// In static storage without a destructor, so that it can be used until the process ends.
const String& String::EMPTY() {
    alignas(String) static char storage[sizeof(String)];
    static const String* const empty = ::new (static_cast<void*>(storage)) String();
    return *empty;
}

String::String() : buffer_(sharedEmpty()) {}

String::String(Exactly, const char* p, long n)
    : buffer_(n < 1 ? sharedEmpty() : orEmpty(buildBuffer(n, n, p))) {}

String::String(const String& other) : buffer_(other.buffer_) {
    buffer_->link();
}

String::String(char ch) : buffer_(ch == '\0' ? sharedEmpty() : orEmpty(buildBuffer(1, ch))) {}

String::String(const char* s) : buffer_(nullptr) {
    const long long n = s == nullptr ? 0 : lengthOf(s);
    buffer_ = n == 0 ? sharedEmpty() : orEmpty(buildBuffer(n, static_cast<long>(n), s));
}

String::String(const char* s, long capacity) : buffer_(nullptr) {
    if (s == nullptr) {
        buffer_ = sharedEmpty();
        return;
    }
    const long long n = lengthOf(s);
    buffer_ = orEmpty(buildBuffer(n > capacity ? n : capacity, static_cast<long>(n), s));
}

String::String(const char* s, long start, long count) : buffer_(nullptr) {
    const long long length = s == nullptr ? 0 : lengthOf(s);
    const long long first = start < 0 ? 0 : start > length ? length : start;
    const long long n = count > length - first ? length - first : count;
    buffer_ = n < 1 ? sharedEmpty() : orEmpty(buildBuffer(n, static_cast<long>(n), s + first));
}

String::~String() {
    buffer_->drop();
    // Volatile, because the compiler removes plain stores to an object whose lifetime ends.
    *const_cast<StringBuffer* volatile*>(&buffer_) = nullptr;
}

// Assignment

String& String::operator=(const String& other) {
    if (this == &other) return *this;
    StringBuffer* const old = buffer_;
    other.buffer_->link();
    buffer_ = other.buffer_;
    old->drop();
    return *this;
}

String& String::operator=(const char* s) {
    if (s == nullptr) {
        takeEmpty();
        return *this;
    }
    assign(s, lengthOf(s));
    return *this;
}

String& String::operator=(char ch) {
    if (ch == '\0')
        takeEmpty();
    else
        take(buildBuffer(1, ch));
    return *this;
}

// Appending

// The appending operations only append in place. The rest is in functions of its own, so that the
// short case need not save registers.

void String::internalConcat(const char* p, long n) {
    if (n > LONGEST_TEXT) return;
    if (!mayAppend(n)) return concatElsewhere(p, n);
    char* const end = buffer_->text() + size();
    buffer_->setLength(size() + n);
    moveRun(end, p, static_cast<size_t>(n));
}

__attribute__((noinline)) void String::concatElsewhere(const char* p, long n) {
    const long long length = static_cast<long long>(size()) + n;
    if (size() < LONG_TEXT || buffer_->isShared()) {
        StringBuffer* const larger = buildBuffer(length, size(), chars(), n, p);
        if (larger == nullptr) return;
        buffer_->drop();
        buffer_ = larger;
        return;
    }
    if (length > LONGEST_TEXT) return;
    const long capacity = Buffer::NEAREST_VALID_STRING_LENGTH(static_cast<long>(length));
    const uintptr_t position =
        reinterpret_cast<uintptr_t>(p) - reinterpret_cast<uintptr_t>(chars());
    StringBuffer* const larger = reallocated(buffer_, capacity);
    if (larger == nullptr) return;
    larger->capacity_ = capacity;
    buffer_ = larger;
    const bool inText = position <= static_cast<uintptr_t>(size());
    internalConcat(inText ? chars() + position : p, n);
}  // NOLINT(*-unix.Malloc): the analyzer loses track of the buffer

__attribute__((noinline)) String& String::concatElsewhere(char ch) {
    concatElsewhere(&ch, 1);
    return *this;
}

String& String::concat(const String& other) {
    return concat(other.chars(), other.size());
}

String& String::concat(const char* p, long n) {
    if (p != nullptr && n >= 1) internalConcat(p, n);
    return *this;
}

String& String::operator+=(const String& other) {
    return concat(other);
}

String& String::operator+=(const char* s) {
    if (s == nullptr) return *this;
    const long long n = lengthOf(s);
    return n > LONGEST_TEXT ? *this : concat(s, static_cast<long>(n));
}

String& String::operator+=(char ch) {
    if (ch == '\0') return *this;
    if (!mayAppend(1)) return concatElsewhere(ch);
    const long old = size();
    StringBuffer* const buffer = buffer_;
    buffer->text()[old] = ch;
    buffer->setLength(old + 1);
    return *this;
}

String operator+(const String& a, const String& b) {
    String sum(a);
    sum += b;
    return sum;
}

String operator+(const String& a, const char* b) {
    String sum(a);
    sum += b;
    return sum;
}

String operator+(const char* a, const String& b) {
    String sum(a);
    sum += b;
    return sum;
}

String operator+(const String& a, char b) {
    String sum(a);
    sum += b;
    return sum;
}

String operator+(char a, const String& b) {
    String sum(a);
    sum += b;
    return sum;
}

// Reading

long String::length() const {
    return size();
}

const char* String::buffer() const {
    return chars();
}

char String::operator[](long i) const {
    return i >= 0 && i < size() ? chars()[i] : '\0';
}

String& String::operator*() {
    return *this;
}

const String& String::operator*() const {
    return *this;
}

long String::getChars(long begin, long end, char* dst) const {
    if (dst == nullptr) return 0;
    const long first = begin < 0 ? 0 : begin > size() ? size() : begin;
    const long last = end < first ? first : end > size() ? size() : end;
    memmove(dst, chars() + first, static_cast<size_t>(last - first));
    return last - first;
}

// Values as text

String String::stringOf(bool b) {
    return String(b ? "true" : "false");
}

String String::stringOf(char ch) {
    return String(ch);
}

String String::stringOf(const char* s) {
    return String(s);
}

String String::stringOf(const char* s, long start, long count) {
    return String(s, start, count);
}

String String::stringOf(long v) {
    char text[32];
    snprintf(text, sizeof text, "%ld", v);
    return String(text);
}

String String::stringOf(unsigned long v) {
    char text[32];
    snprintf(text, sizeof text, "%lu", v);
    return String(text);
}

String String::stringOf(void* p) {
    char text[32];
    snprintf(text, sizeof text, "%p", p);
    return String(text);
}
