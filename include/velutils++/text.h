/* SPDX-License-Identifier: MIT
 *
 * String, the library's text type; its printf-style formatter; comparison without case.
 *
 * The plain functions can be called from C; the class needs C++11.
 *
 * Text is bytes. No encoding is assumed, only ASCII letters have case, and bytes compare as 0 to
 * 255. Lengths, positions and counts are 32-bit quantities, whatever the width of long. An
 * operation that would make a text longer than 2147483647 characters fails as when out of memory.
 */
#ifndef VELUTILS_TEXT_H
#define VELUTILS_TEXT_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#include <velutils++/export.h>

#ifdef __cplusplus
#include <type_traits>

/* Marks overloads that keep the meaning of old programs; see EnableForNumber. */
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
 * h takes the low 16 bits of an int, and l takes a long. A second length letter is read as the
 * conversion letter.
 *
 * Differences from printf(3):
 *
 *   - Any other conversion letter is emitted as itself and takes no argument. So there is no
 *     floating point, and there are no other length letters:
 *
 *         snxprintf   "%.1f C" of 21.5   f C
 *         snxprintf   "%zu" of 1234      zu
 *         snxprintf   "%lld" of 5        ld
 *
 *     The directives after it may then take the wrong arguments, and a %s can read a number as an
 *     address.
 *   - A precision cancels the flag 0 for integers. The flag - cancels it for all conversions. The
 *     flag 0 pads texts and characters, too: "%05s" of "ab" is 000ab.
 *   - The flag # puts its 0 in front of the zeros of a precision: "%#.3o" of 8 is 0010.
 *   - A precision of 0 still emits the 0 of an integer: "%.0d" of 0 is 0. It cuts the character of
 *     %c. %c of NUL emits its padding only.
 *   - %p is a number with 0x, even for a null pointer: 0x0. %s of a null pointer is (null).
 *   - %n stores how many characters were produced so far, including those before the offset, but
 *     not those that a full buffer has cut off. It stores an int, or a short with h, even if the
 *     output is only measured. With l it stores 32 bits, too: in a 64-bit long this is the low half
 *     on a little-endian processor and the high half on a big-endian one. So use %n with an int.
 *   - A format that ends inside a directive ends there, and the directive emits nothing.
 *   - Widths and precisions above 2147483647 become 2147483647.
 *
 * The formatter does not allocate, has no state and has no errors but those stated. It does not
 * check the arguments. With -Wformat (part of -Wall) the compiler checks them against the format,
 * as for printf(3). Threads: any number at once, each with its own buffer.
 *
 * REQUIRES: the format is not null. */

/* Skips the first offset characters of the output, writes at most size - 1 of the rest and a NUL to
 * buffer, and returns how many it wrote. With growing offsets you get a long output in pieces.
 * Returns 0 and writes nothing if buffer is null, offset is negative or size is 0. */
VELUTILS_API int32_t snxprintf(char* buffer, int32_t offset, uint32_t size, const char* format, ...)
    __attribute__((format(printf, 4, 5)));
VELUTILS_API int32_t vsnxprintf(char* buffer, int32_t offset, uint32_t size, const char* format,
                                va_list arguments) __attribute__((format(printf, 4, 0)));

/* Returns the length of the complete output, without the NUL. */
VELUTILS_API int32_t strlenf(const char* format, ...) __attribute__((format(printf, 1, 2)));
VELUTILS_API int32_t vstrlenf(const char* format, va_list arguments)
    __attribute__((format(printf, 1, 0)));

/* Compares two texts without case. Returns -1 if a sorts first, 0 if they are equal, otherwise 1.
 * REQUIRES: a and b are NUL-terminated and not null. */
VELUTILS_API int stricmp(const char* a, const char* b);
/* As stricmp(), but compares at most count characters. A negative count sets no limit. */
VELUTILS_API int strnicmp(const char* a, const char* b, int32_t count);

#ifdef __cplusplus
}  // extern "C"

// Selects the overloads that take a number where a text or a character is expected: any arithmetic
// or enumeration type but char. The number becomes one character, static_cast<char>(number), and
// the compiler warns about each use. Cast a computed character to char to avoid the warning.
template <class Number>
using EnableForNumber =
    typename std::enable_if<std::is_scalar<Number>::value && !std::is_same<Number, char>::value &&
                            std::is_convertible<Number, char>::value>::type;

// A copy-on-write text. A String is one pointer to a shared, counted buffer:
//
//     | referers | capacity | length | t e x t \0 . . . . |    one malloc block
//
// Copies share the buffer. The first change to a String that shares its buffer copies the buffer.
// All Strings that are made empty share one static buffer, which takes no memory. A new buffer has
// some room to spare (NEAREST_VALID_STRING_LENGTH), so an unshared String can grow in place until
// that room is used up.
//
// Failures: nothing throws, logs or reports an error. A null const char* is the empty text
// everywhere. Positions out of range are limited or ignored, as stated at each operation. When out
// of memory, a constructor makes the empty String and a changing operation changes nothing.
//
// Embedded NULs: concat(const char*, long) can put them into a text. length() counts them.
// Functions that take buffer() as a NUL-terminated text stop at the first one. Where it matters, an
// operation says what it does.
//
// Threads: Strings that share a buffer may belong to different threads. The count of a buffer is
// changed atomically once the process has a second thread. One String object belongs to one thread
// at a time.
class VELUTILS_API String {
  public:
    // The shared buffer. Make one with new (capacity) StringBuffer(capacity, ...), which returns
    // null when out of memory. A program rarely needs this class. REQUIRES: the capacity is at
    // least the length of the text. It is not checked.
    class VELUTILS_API StringBuffer {
      public:
        // For EMPTY() only.
        StringBuffer();
        // Holds the empty text.
        explicit StringBuffer(long capacity);
        // Holds one character.
        StringBuffer(long capacity, char ch);
        // Holds n bytes.
        StringBuffer(long capacity, long n, const char* p);
        // Holds two or three texts, joined.
        StringBuffer(long capacity, long firstLength, const char* first, long secondLength,
                     const char* second);
        StringBuffer(long capacity, long firstLength, const char* first, long secondLength,
                     const char* second, long thirdLength, const char* third);
        // Copies the text and the capacity.
        StringBuffer(const StringBuffer& other);
        StringBuffer& operator=(const StringBuffer&) = delete;

        // Allocates or frees one block for the buffer and its text.
        static void* operator new(size_t size, long capacity) noexcept;
        static void operator delete(void* block) noexcept;
        static void operator delete(void* block, long capacity) noexcept;

        // Returns the capacity for a text of n >= 0 characters. For n <= 127 it is the next value
        // that is 7 modulo 16 (7, 23, ... 135), above that the next that is 63 modulo 64 (191, 255,
        // ...).
        static long NEAREST_VALID_STRING_LENGTH(long n);
        // The buffer of all empty texts. One reference is its own, so it counts as shared while
        // any String holds it. It is never written and never released, and can be used until the
        // process ends.
        static StringBuffer* EMPTY();

        // The room for text in characters.
        long capacity() const;
        // Whether more than one reference to the buffer exists.
        bool hasMultipleReferers() const;
        // Adds a reference.
        void link();
        // Removes a reference. The last one frees the buffer.
        void drop();

      private:
        friend class String;

        char* text() { return reinterpret_cast<char*>(this + 1); }
        const char* text() const { return reinterpret_cast<const char*>(this + 1); }
        VELUTILS_LOCAL bool isShared() const;
        VELUTILS_LOCAL void setLength(long length);

        // For the object that EMPTY() returns, which is initialised at compile time.
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

    // The empty text.
    String();
    // Shares the buffer of the other text.
    String(const String& other);
    // One character. NUL makes the empty text.
    String(char ch);
    // A copy of a NUL-terminated text.
    String(const char* s);
    // One character: the number's low byte. For its digits use stringOf().
    template <class Number, class = EnableForNumber<Number>>
    VELUTILS_NUMBER_AS_TEXT String(Number ch) : String(static_cast<char>(ch)) {}
    // A copy of s in a buffer with room for at least capacity characters. capacity never shortens
    // s. Even an empty s gets a buffer of its own.
    String(const char* s, long capacity);
    // A copy of at most count characters of s from start on. Both are limited to the text.
    String(const char* s, long start, long count);
    ~String();

    // Replaces the text and shares the buffer of the other one.
    String& operator=(const String& other);
    // Replaces the text with a copy of s, which may point into this text.
    String& operator=(const char* s);
    // Replaces the text with one character. NUL makes it empty.
    String& operator=(char ch);
    // One character, as the constructor.
    template <class Number, class = EnableForNumber<Number>>
    VELUTILS_NUMBER_AS_TEXT String& operator=(Number ch) {
        return *this = static_cast<char>(ch);
    }

    // Appends the other text.
    String& concat(const String& other);
    // Appends exactly n bytes, NULs included. p may point into this text.
    String& concat(const char* p, long n);
    // Appends a text, which may be this one or point into it.
    String& operator+=(const String& other);
    String& operator+=(const char* s);
    // Appends one character. NUL appends nothing.
    String& operator+=(char ch);
    // One character, as the constructor.
    template <class Number, class = EnableForNumber<Number>>
    VELUTILS_NUMBER_AS_TEXT String& operator+=(Number ch) {
        return *this += static_cast<char>(ch);
    }
    // Appends n bytes. p may point into this text.
    // REQUIRES: n >= 1, and p is not null.
    void internalConcat(const char* p, long n);

    // Returns the length in characters.
    long length() const;
    // Returns the characters with a NUL after them. They are valid until this String is changed,
    // assigned or destroyed.
    const char* buffer() const;
    // Returns the character at i, or NUL if i is outside the text.
    char operator[](long i) const;
    // Returns the String itself.
    String& operator*();
    const String& operator*() const;
    // Copies the characters from begin up to, but not including, end, and returns their number.
    // Both are limited to the text. No NUL is written. If dst is null, returns 0.
    long getChars(long begin, long end, char* dst) const;

    // Makes a String from the value. A number becomes decimal digits, and the other arguments are
    // those of the constructors.
    static String stringOf(bool b);  // "true" or "false"
    static String stringOf(char ch);
    static String stringOf(const char* s);
    static String stringOf(const char* s, long start, long count);
    static String stringOf(int v) { return stringOf(static_cast<long>(v)); }
    static String stringOf(unsigned int v) { return stringOf(static_cast<unsigned long>(v)); }
    static String stringOf(long v);
    static String stringOf(unsigned long v);
    static String stringOf(void* p);  // as the platform's "%p"

    // Replaces the text with the formatted output, or appends the output.
    //
    // The length is what vstrlenf() measures. The characters are those of the platform's
    // vsnprintf(), cut to that length or followed by NULs up to it. So directives that the
    // formatter does not have give a wrong text: format("%.1f C", 21.5) gives "21.", since "f C"
    // has three characters. The directives after them may be measured with wrong arguments. Use
    // snprintf(3) for such values.
    //
    // If vsnprintf() fails, what it has written stays. If vstrlenf() returns 0 or a negative number
    // (for more than 2147483647 characters), the text becomes empty, or nothing is appended.
    //
    // The format and arguments may point into this text. An output that fits into an unshared
    // buffer takes no memory. The exception is an output of 2048 characters or more, if the format
    // or an argument points into this text or may do so. An argument may do so if the formatter
    // does not know its directive, as in "%1$s", or if it is a text after a number that the
    // formatter does not know, such as "%f" or "%lld".
    //
    // The format must be a literal of the program, never data: a format from outside can read and
    // write the program's memory.
    String& format(const char* format, ...) __attribute__((format(printf, 2, 3)));
    String& concatf(const char* format, ...) __attribute__((format(printf, 2, 3)));

    // Compares two texts up to their first NULs. The result is positive if this text sorts first,
    // negative if the other one does, and 0 if they are equal.
    int32_t compareTo(const String& other) const;
    // As compareTo() without case. Returns exactly 1, -1 or 0.
    int32_t compareToIgnoreCase(const String& other) const;

    // Whether the texts are equal. All bytes count, NULs included.
    bool equals(const String& other) const;
    // Whether the text up to its first NUL equals s. A null s is the empty text.
    bool equals(const char* s) const;
    // Whether the lengths are equal, and the texts up to their first NULs are equal without case.
    bool equalsIgnoreCase(const String& other) const;
    // Whether the text up to its first NUL equals s without case. A null s is the empty text.
    bool equalsIgnoreCase(const char* s) const;

    // Whether the text begins with prefix, or has it at offset. All bytes count, NULs included. An
    // empty prefix is found at every offset from 0 to length().
    bool startsWith(const String& prefix) const;
    bool startsWith(const String& prefix, long offset) const;
    // Whether the text ends with suffix. All bytes count, NULs included.
    bool endsWith(const String& suffix) const;

    // Returns the first position of the character or text at or after from, or -1. A negative from
    // counts as 0. The search ends at the first NUL and never finds a NUL. An empty text is found
    // at the start of the search.
    long indexOf(char ch) const;
    long indexOf(char ch, long from) const;
    long indexOf(const String& s) const;
    long indexOf(const String& s, long from) const;
    // The number is one character, as in the constructor.
    template <class Number, class = EnableForNumber<Number>>
    VELUTILS_NUMBER_AS_TEXT long indexOf(Number ch, long from = 0) const {
        return indexOf(static_cast<char>(ch), from);
    }
    // As indexOf() without case, and positions after a NUL are searched, too.
    long indexOfIgnoreCase(const String& s) const;
    long indexOfIgnoreCase(const String& s, long from) const;

    // Returns the last position of the character at or before from, or -1. All bytes count, NULs
    // included. A negative from gives -1.
    long lastIndexOf(char ch) const;
    long lastIndexOf(char ch, long from) const;
    // Returns the last position of the text at or before from, or -1. At each position the texts
    // are compared up to their first NUL. An empty text is found at the first position tried. A
    // negative from gives -1.
    long lastIndexOf(const String& s) const;
    long lastIndexOf(const String& s, long from) const;
    // The number is one character, as in the constructor.
    template <class Number, class = EnableForNumber<Number>>
    VELUTILS_NUMBER_AS_TEXT long lastIndexOf(Number ch) const {
        return lastIndexOf(static_cast<char>(ch));
    }
    template <class Number, class = EnableForNumber<Number>>
    VELUTILS_NUMBER_AS_TEXT long lastIndexOf(Number ch, long from) const {
        return lastIndexOf(static_cast<char>(ch), from);
    }
    // As lastIndexOf() without case.
    long lastIndexOfIgnoreCase(const String& s) const;
    long lastIndexOfIgnoreCase(const String& s, long from) const;

    // Whether count characters from offset equal count characters of other from otherOffset. False
    // if a range is not inside its text or an argument is negative. A NUL in both texts ends the
    // comparison.
    bool regionMatches(bool ignoreCase, long offset, const String& other, long otherOffset,
                       long count) const;
    bool regionMatches(long offset, const String& other, long otherOffset, long count) const;

    // Replaces each oldChar with newChar. If newChar is NUL, nothing changes.
    void replace(char oldChar, char newChar);
    // Changes the case of all ASCII letters.
    void toLowerCase();
    void toUpperCase();
    // Removes blanks (bytes 9 to 13 and 32) from both ends.
    void trim();

    // Removes the characters from start up to, but not including, end, or to the end of the text.
    // Positions outside the text are limited to it.
    String& deleteRegion(long start);
    String& deleteRegion(long start, long end);

    // Inserts a text before position, which may be length(). The text may be this one or point into
    // it. A position below 0 or above length() changes nothing.
    String& insert(long position, const String& text);
    String& insert(long position, const char* text);
    // Inserts one character before position. NUL, and a position below 0 or above length(), change
    // nothing.
    String& insert(long position, char ch);
    // One character, as the constructor.
    template <class Number, class = EnableForNumber<Number>>
    VELUTILS_NUMBER_AS_TEXT String& insert(long position, Number ch) {
        return insert(position, static_cast<char>(ch));
    }

    // Returns the text from start up to its next NUL or its end. Empty if start is negative or not
    // inside the text.
    String substring(long start) const;
    // Returns the characters from start up to, but not including, end. A negative start counts as
    // 0. Only the text up to its first NUL counts.
    String substring(long start, long end) const;

    // Reads the text as sscanf(3) "%i" does: as decimal, with 0x as hexadecimal, with a leading 0
    // as octal. Returns -1 if it does not begin with a number.
    long toInteger() const;

  private:
    // Members use these instead of length() and buffer(), whose calls cost 1 ns each.
    long size() const { return buffer_->length_; }
    const char* chars() const { return buffer_->text(); }

    friend VELUTILS_API bool operator==(const String& a, const String& b);

    struct Exactly {};
    VELUTILS_LOCAL String(Exactly, const char* p, long n);  // n bytes
    VELUTILS_LOCAL bool mayWrite(long long length) const;   // in place, a text of this length
    VELUTILS_LOCAL bool mayAppend(long n) const;            // in place, n characters
    VELUTILS_LOCAL void take(StringBuffer* buffer);         // null changes nothing
    VELUTILS_LOCAL void takeEmpty();
    VELUTILS_LOCAL bool unshare();  // keeps the capacity; false when out of memory
    VELUTILS_LOCAL void concatElsewhere(const char* p, long n);
    VELUTILS_LOCAL String& concatElsewhere(char ch);
    VELUTILS_LOCAL void assign(const char* p, long long n);     // p may point into the text
    VELUTILS_LOCAL void putAt(long at, const char* p, long n);  // at the start or the end
    VELUTILS_LOCAL void insertBytes(long position, const char* text, long long n);
    VELUTILS_LOCAL int32_t renderAt(long at, const char* format, va_list arguments);

    StringBuffer* buffer_;
};

// Returns the joined text.
VELUTILS_API String operator+(const String& a, const String& b);
VELUTILS_API String operator+(const String& a, const char* b);
VELUTILS_API String operator+(const char* a, const String& b);
VELUTILS_API String operator+(const String& a, char b);
VELUTILS_API String operator+(char a, const String& b);

// Compares the texts up to their first NULs. Two Strings are equal only if their lengths are equal,
// too. A null const char* and a NUL character are the empty text.
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

// The result of an operator, if Text is String itself: with conversions to String, adding an
// enumerator to a number would be ambiguous.
template <class Text, class Result>
using ResultForString = typename std::enable_if<std::is_same<Text, String>::value, Result>::type;

// The number is one character, as in String's constructor.
template <class Text, class Number, class = EnableForNumber<Number>>
VELUTILS_NUMBER_AS_TEXT inline ResultForString<Text, String> operator+(const Text& a, Number b) {
    return a + static_cast<char>(b);
}
template <class Text, class Number, class = EnableForNumber<Number>>
VELUTILS_NUMBER_AS_TEXT inline ResultForString<Text, String> operator+(Number a, const Text& b) {
    return static_cast<char>(a) + b;
}
template <class Text, class Number, class = EnableForNumber<Number>>
VELUTILS_NUMBER_AS_TEXT inline ResultForString<Text, bool> operator==(const Text& a, Number b) {
    return a == static_cast<char>(b);
}
template <class Text, class Number, class = EnableForNumber<Number>>
VELUTILS_NUMBER_AS_TEXT inline ResultForString<Text, bool> operator==(Number a, const Text& b) {
    return static_cast<char>(a) == b;
}
template <class Text, class Number, class = EnableForNumber<Number>>
VELUTILS_NUMBER_AS_TEXT inline ResultForString<Text, bool> operator!=(const Text& a, Number b) {
    return a != static_cast<char>(b);
}
template <class Text, class Number, class = EnableForNumber<Number>>
VELUTILS_NUMBER_AS_TEXT inline ResultForString<Text, bool> operator!=(Number a, const Text& b) {
    return static_cast<char>(a) != b;
}

static_assert(sizeof(String) == sizeof(void*), "a String is one pointer");
#endif

#endif
