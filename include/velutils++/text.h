/* SPDX-License-Identifier: MIT
 *
 * String, the library's text type; its printf-style formatter; comparison without case.
 *
 * The plain functions can be called from C; the class needs C++11.
 *
 * Text is bytes: no encoding is assumed, letters are ASCII letters, bytes compare as 0 to 255.
 * Lengths, positions and counts are 32-bit quantities, whatever the width of long: a text that
 * would be longer than 2147483647 characters is refused like an allocation that fails.
 */
#ifndef VELUTILS_TEXT_H
#define VELUTILS_TEXT_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#include <velutils++/export.h>

#ifdef __cplusplus
#include <type_traits>

/* On overloads that keep the meaning of old programs; see EnableForNumber. */
#define VELUTILS_NUMBER_AS_TEXT \
    __attribute__((deprecated("a number becomes one character: use String::stringOf()")))

extern "C" {
#endif

/* The formatter
 *
 *   %[-+ #0][width|*][.precision|.*][h|l]conversion
 *
 *   d i     int                 u o x X   unsigned int         p   void*, always with 0x
 *   c       int, its low byte   s         const char*          n   int*, see below
 *   %%      one %
 *
 * h takes the low 16 bits of an int (and makes %n store a short), l a long; a second length letter
 * is not read as one. Differences from printf(3): no floating point; any other conversion letter
 * is emitted as itself and takes no argument; 0 pads texts too; %.0d of 0 is "0"; %s of a null
 * pointer is "(null)"; %c of NUL emits its padding only. A precision cancels 0 for integers, and
 * - cancels it for all. A format that ends inside a directive ends there, without output for it.
 * %n stores the number of characters produced so far, as 32 bits (16 with h), also when the
 * output is only measured. Widths and precisions above 2147483647 count as 2147483647.
 *
 * No allocation, no state, no errors but those stated. The format must not be null; arguments are
 * taken as the directives say, unchecked. With -Wformat (part of -Wall) the compiler compares them
 * with the format, as for printf(3). Threads: any, each on its own buffer. */

/* Writes the output from its character number `offset` on, at most size - 1 characters and a NUL,
 * and returns how many characters were stored. A long output can so be fetched in pieces. Returns
 * 0 and writes nothing if buffer is null, offset is negative or size is 0. */
VELUTILS_API int32_t snxprintf(char* buffer, int32_t offset, uint32_t size, const char* format, ...)
    __attribute__((format(printf, 4, 5)));
VELUTILS_API int32_t vsnxprintf(char* buffer, int32_t offset, uint32_t size, const char* format,
                                va_list arguments) __attribute__((format(printf, 4, 0)));

/* The length of the whole output, without the NUL. */
VELUTILS_API int32_t strlenf(const char* format, ...) __attribute__((format(printf, 1, 2)));
VELUTILS_API int32_t vstrlenf(const char* format, va_list arguments)
    __attribute__((format(printf, 1, 0)));

/* Compare two NUL-terminated texts, A to Z taken as a to z: exactly -1, 0 or 1. strnicmp looks at
 * no more than count characters; a negative count sets no bound. Neither accepts null. */
VELUTILS_API int stricmp(const char* a, const char* b);
VELUTILS_API int strnicmp(const char* a, const char* b, int32_t count);

#ifdef __cplusplus
}  // extern "C"

// Chooses the overloads for a number where a text or a character is expected: any arithmetic or
// enumeration type but char. The result is one character, as ever: static_cast<char>(number). The
// compiler warns about every use. A character that was computed needs that cast.
template <class Number>
using EnableForNumber =
    typename std::enable_if<std::is_scalar<Number>::value && !std::is_same<Number, char>::value &&
                            std::is_convertible<Number, char>::value>::type;

// A copy-on-write text. A String is one pointer to a shared, counted buffer:
//
//     | referers | capacity | length | t e x t \0 . . . . |    one malloc block
//
// Copies share the buffer; the first change to a String that shares its buffer copies it. All
// empty Strings without a buffer of their own share one static buffer, so making them costs no
// allocation. A buffer built for a text has some room to spare (NEAREST_VALID_STRING_LENGTH); into
// it a String that does not share grows in place.
//
// Failures: nothing throws, logs or reports. A null const char* is the empty text everywhere.
// Positions out of range are limited or ignored as stated. When an allocation is refused, a
// constructor gives the empty String and a changing operation leaves the String as it was.
//
// Embedded NULs: concat(const char*, long) can put them into a text. length() counts them; what
// reads buffer() as a NUL-terminated text ends at the first. Each operation says which it does
// where it matters.
//
// Threads: Strings that share a buffer may live in different threads; the count is changed
// atomically once the process has a second thread. One String object belongs to one thread at a
// time.
class VELUTILS_API String {
  public:
    // The shared buffer. Constructors do not check that the text fits: allocate with
    // new (capacity) StringBuffer(capacity, ...) and a capacity no less than the length.
    // new gives null when the heap refuses.
    class VELUTILS_API StringBuffer {
      public:
        // Empty, one character, n bytes, two or three texts joined, or a copy with its capacity.
        StringBuffer();  // for EMPTY() only
        explicit StringBuffer(long capacity);
        StringBuffer(long capacity, char ch);
        StringBuffer(long capacity, long n, const char* p);
        StringBuffer(long capacity, long firstLength, const char* first, long secondLength,
                     const char* second);
        StringBuffer(long capacity, long firstLength, const char* first, long secondLength,
                     const char* second, long thirdLength, const char* third);
        StringBuffer(const StringBuffer& other);
        StringBuffer& operator=(const StringBuffer&) = delete;

        // One block for the buffer and its text.
        static void* operator new(size_t size, long capacity) noexcept;
        static void operator delete(void* block) noexcept;
        static void operator delete(void* block, long capacity) noexcept;

        // The capacity for a text of n >= 0 characters: the next value that is 7 modulo 16 for
        // n <= 127 (7, 23, ... 135), the next that is 63 modulo 64 above (191, 255, ...).
        static long NEAREST_VALID_STRING_LENGTH(long n);
        // The buffer of all empty texts. One reference is its own, so it counts as shared while
        // any String holds it. It is never written and never released, and can be used until the
        // process ends.
        static StringBuffer* EMPTY();

        // The room for text; whether this is shared; counting another referer.
        long capacity() const;
        bool hasMultipleReferers() const;
        void link();
        // Takes one reference back; the last one releases the buffer.
        void drop();

      private:
        friend class String;

        char* text() { return reinterpret_cast<char*>(this + 1); }
        const char* text() const { return reinterpret_cast<const char*>(this + 1); }
        VELUTILS_LOCAL void setLength(long length);

        // For the object behind EMPTY(), which is initialised at compile time.
        struct EmptyText;
        struct Constant {};
        constexpr explicit StringBuffer(Constant) : referers_(1), capacity_(0), length_(0) {}

        int32_t referers_;
        long capacity_;
        long length_;
    };

    // The shared empty String. It is never destroyed: destructors of static objects, atexit
    // handlers and threads can use it until the process ends.
    static const String& EMPTY();

    // Of nothing, of another text, which they then share, or of a copy of the characters.
    String();
    String(const String& other);
    String(char ch);  // NUL gives the empty text
    String(const char* s);
    // One character: the number's low byte. For its digits use stringOf().
    template <class Number, class = EnableForNumber<Number>>
    VELUTILS_NUMBER_AS_TEXT String(Number ch) : String(static_cast<char>(ch)) {}
    // Reserves room for `capacity` characters; never shortens s. Has a buffer of its own even for
    // an empty s.
    String(const char* s, long capacity);
    // At most count characters of s from start on; both are limited to the text.
    String(const char* s, long start, long count);
    ~String();

    // Replace the text, also by this very one.
    String& operator=(const String& other);
    String& operator=(const char* s);  // s may point into this text
    String& operator=(char ch);
    // One character, as the constructor.
    template <class Number, class = EnableForNumber<Number>>
    VELUTILS_NUMBER_AS_TEXT String& operator=(Number ch) {
        return *this = static_cast<char>(ch);
    }

    // Append.
    String& concat(const String& other);
    String& concat(const char* p, long n);  // exactly n bytes, NULs included
    String& operator+=(const String& other);
    String& operator+=(const char* s);
    String& operator+=(char ch);  // NUL adds nothing
    // One character, as the constructor.
    template <class Number, class = EnableForNumber<Number>>
    VELUTILS_NUMBER_AS_TEXT String& operator+=(Number ch) {
        return *this += static_cast<char>(ch);
    }
    // Appends n >= 1 bytes; p is not null, and may point into this text.
    void internalConcat(const char* p, long n);

    // In characters.
    long length() const;
    // NUL-terminated; valid until this String is changed, assigned or destroyed.
    const char* buffer() const;
    // NUL for any i outside the text.
    char operator[](long i) const;
    // The String itself.
    String& operator*();
    const String& operator*() const;
    // Copies the characters from begin up to, not including, end, both limited to the text, and
    // returns their number. dst gets no NUL; a null dst gives 0.
    long getChars(long begin, long end, char* dst) const;

    // As the constructors of the same arguments; numbers in decimal.
    static String stringOf(bool b);  // "true" or "false"
    static String stringOf(char ch);
    static String stringOf(const char* s);
    static String stringOf(const char* s, long start, long count);
    static String stringOf(int v) { return stringOf(static_cast<long>(v)); }
    static String stringOf(unsigned int v) { return stringOf(static_cast<unsigned long>(v)); }
    static String stringOf(long v);
    static String stringOf(unsigned long v);
    static String stringOf(void* p);  // as the platform's "%p"

    // Replaces the text with the formatted output, or appends it. The length is what vstrlenf
    // measures. The characters are those of the platform's vsnprintf, cut to that length or
    // followed by NULs up to it. If vsnprintf fails, what it had written by then stays. An output
    // whose length vstrlenf gives as 0 or negative (one of more than 2147483647 characters) makes
    // the text empty, or appends nothing. Arguments may point into this text. An output that fits
    // into an unshared buffer takes no memory, unless it has 2048 characters or more and an
    // argument points into this text or a directive is unknown to the formatter. The format must
    // be a literal of the program, never data.
    String& format(const char* format, ...) __attribute__((format(printf, 2, 3)));
    String& concatf(const char* format, ...) __attribute__((format(printf, 2, 3)));

    // Order. The sign is that of the other text against this one: positive when this text sorts
    // first. Both read NUL-terminated texts. compareToIgnoreCase gives exactly -1, 0 or 1.
    int32_t compareTo(const String& other) const;
    int32_t compareToIgnoreCase(const String& other) const;

    // Equality. Between Strings all bytes count, NULs included; a const char* and the comparison
    // without case end at a NUL. A null s equals the empty text.
    bool equals(const String& other) const;
    bool equals(const char* s) const;
    bool equalsIgnoreCase(const String& other) const;
    bool equalsIgnoreCase(const char* s) const;

    // Byte by byte, NULs included. An empty text is found at every offset from 0 to length().
    bool startsWith(const String& prefix) const;
    bool startsWith(const String& prefix, long offset) const;
    bool endsWith(const String& suffix) const;

    // Searches: the position of the first character, or -1. `from` below 0 means 0 forwards; a
    // start that leaves no room for the match gives -1. An empty text is found at the start.
    // Forward searches with case end at the first NUL and never find NUL.
    long indexOf(char ch) const;
    long indexOf(char ch, long from) const;
    long indexOf(const String& s) const;
    long indexOf(const String& s, long from) const;
    long indexOfIgnoreCase(const String& s) const;
    long indexOfIgnoreCase(const String& s, long from) const;

    // Backward searches: the last position, not above `from`; a negative `from` gives -1. The
    // character search sees all bytes, NULs included; at each position texts are compared up to
    // their first NUL. An empty text is found at the last position looked at.
    long lastIndexOf(char ch) const;
    long lastIndexOf(char ch, long from) const;
    long lastIndexOf(const String& s) const;
    long lastIndexOf(const String& s, long from) const;
    long lastIndexOfIgnoreCase(const String& s) const;
    long lastIndexOfIgnoreCase(const String& s, long from) const;

    // Whether count characters from offset equal count characters of other from otherOffset. False
    // when either range leaves its text or an argument is negative. A NUL in both ends the
    // comparison.
    bool regionMatches(bool ignoreCase, long offset, const String& other, long otherOffset,
                       long count) const;
    bool regionMatches(long offset, const String& other, long otherOffset, long count) const;

    // A newChar of NUL changes nothing.
    void replace(char oldChar, char newChar);
    // ASCII letters only.
    void toLowerCase();
    void toUpperCase();
    // Removes blanks (bytes 9 to 13 and 32) from both ends.
    void trim();

    // Remove the characters from start up to, not including, end, or to the end of the text.
    // Positions outside the text are limited to it.
    String& deleteRegion(long start);
    String& deleteRegion(long start, long end);

    // Insert before `position`; one outside 0 to length() changes nothing. The text may be this
    // one or lie in it.
    String& insert(long position, const String& text);
    String& insert(long position, const char* text);
    String& insert(long position, char ch);
    // One character, as the constructor.
    template <class Number, class = EnableForNumber<Number>>
    VELUTILS_NUMBER_AS_TEXT String& insert(long position, Number ch) {
        return insert(position, static_cast<char>(ch));
    }

    // The text from start on, up to its first NUL; with end, no further than before end, and
    // empty behind a NUL. A negative start gives the empty text without end, and means 0 with one.
    String substring(long start) const;
    String substring(long start, long end) const;

    // Reads the text as sscanf(3) "%i" does: decimal, 0x hexadecimal, leading 0 octal. -1 when it
    // holds no number.
    long toInteger() const;

  private:
    // What members use for length() and buffer(): a call of either costs 1 ns.
    long size() const { return buffer_->length_; }
    const char* chars() const { return buffer_->text(); }

    VELUTILS_LOCAL bool mayWrite(long long length) const;  // in place, a text of this length
    VELUTILS_LOCAL void take(StringBuffer* buffer);        // null changes nothing
    VELUTILS_LOCAL void takeEmpty();
    VELUTILS_LOCAL bool unshare();  // keeps the capacity; false when the heap refuses
    VELUTILS_LOCAL void putAt(long at, const char* p, long long n);  // p may lie in this text
    VELUTILS_LOCAL void insertBytes(long position, const char* text, long long n);
    VELUTILS_LOCAL int32_t renderAt(long at, const char* format, va_list arguments);

    StringBuffer* buffer_;
};

// The joined text.
VELUTILS_API String operator+(const String& a, const String& b);
VELUTILS_API String operator+(const String& a, const char* b);
VELUTILS_API String operator+(const char* a, const String& b);
VELUTILS_API String operator+(const String& a, char b);
VELUTILS_API String operator+(char a, const String& b);
// The number is one character, as in String's constructor. Text is String itself: were it converted
// to, enumerators could no longer be added to numbers.
template <class Text, class Number, class = EnableForNumber<Number>>
VELUTILS_NUMBER_AS_TEXT inline
    typename std::enable_if<std::is_same<Text, String>::value, String>::type
    operator+(const Text& a, Number b) {
    return a + static_cast<char>(b);
}
// The same from the left.
template <class Text, class Number, class = EnableForNumber<Number>>
VELUTILS_NUMBER_AS_TEXT inline
    typename std::enable_if<std::is_same<Text, String>::value, String>::type
    operator+(Number a, const Text& b) {
    return static_cast<char>(a) + b;
}

// Relations compare NUL-terminated texts; between Strings == also needs equal lengths. A null
// const char* is the empty text; so is a NUL character.
VELUTILS_API bool operator==(const String& a, const String& b);
VELUTILS_API bool operator!=(const String& a, const String& b);
VELUTILS_API bool operator<(const String& a, const String& b);
VELUTILS_API bool operator>(const String& a, const String& b);
VELUTILS_API bool operator<=(const String& a, const String& b);
VELUTILS_API bool operator>=(const String& a, const String& b);
VELUTILS_API bool operator==(const String& a, const char* b);
VELUTILS_API bool operator!=(const String& a, const char* b);
VELUTILS_API bool operator<(const String& a, const char* b);
VELUTILS_API bool operator>(const String& a, const char* b);
VELUTILS_API bool operator<=(const String& a, const char* b);
VELUTILS_API bool operator>=(const String& a, const char* b);
VELUTILS_API bool operator==(const char* a, const String& b);
VELUTILS_API bool operator!=(const char* a, const String& b);
VELUTILS_API bool operator<(const char* a, const String& b);
VELUTILS_API bool operator>(const char* a, const String& b);
VELUTILS_API bool operator<=(const char* a, const String& b);
VELUTILS_API bool operator>=(const char* a, const String& b);
VELUTILS_API bool operator==(const String& a, char b);
VELUTILS_API bool operator!=(const String& a, char b);
VELUTILS_API bool operator==(char a, const String& b);
VELUTILS_API bool operator!=(char a, const String& b);

static_assert(sizeof(String) == sizeof(void*), "a String is one pointer");
#endif

#endif
