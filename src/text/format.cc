// SPDX-License-Identifier: MIT
//
// The formatter. One pass over the format either measures the output or stores it.
//
// The emitters produce runs of characters. Output decides how many of a run fall before the offset,
// how many are stored and how many no longer fit. Measuring is storing with the largest size and no
// buffer.
//
// Tested by format_test.cc.

#include <velutils++/text.h>

#include <limits.h>
#include <string.h>

#include "decimal_pairs_internal.h"
#include "format_internal.h"
#include "short_runs_internal.h"

namespace {

enum Flag : unsigned {
    LEFT = 1,
    PLUS = 2,
    SPACE = 4,
    ALTERNATE = 8,
    ZERO = 16,
    SHORT = 32,
    LONG = 64,
};

// Wide enough for every argument: on our platforms long and pointers have the same width.
typedef unsigned long Value;
static_assert(sizeof(Value) == sizeof(void*), "%p takes the platform's pointer");

struct Arguments {
    va_list list;
    TextRange* watched = nullptr;  // for noteOverlap()
};

struct Directive {
    unsigned flags;
    int width;      // never negative
    int precision;  // negative if there is none
    char conversion;

    bool has(Flag flag) const { return (flags & flag) != 0; }
};

class Output {
  public:
    Output(char* buffer, uint32_t offset, uint32_t size)
        : buffer_(buffer), left_(size - 1), stored_(0), toSkip_(offset), skipped_(0) {}

    uint32_t stored() const { return stored_; }
    uint32_t position() const { return skipped_ + stored_; }

    // Not inlined: that would add 2 KiB and save no time.
    __attribute__((noinline)) void text(const char* p, uint32_t n) {
        const uint32_t skipped = skip(n);
        const uint32_t kept = keep(n - skipped);
        if (buffer_ != nullptr) moveRun(buffer_ + stored_ - kept, p + skipped, kept);
    }

    void character(char ch) {
        char* place;
        if (!placeFor(1, &place)) return text(&ch, 1);
        if (place != nullptr) *place = ch;
    }

    void fill(char ch, long long n) {
        if (n <= 0) return;
        if (n <= 8) return text(ch == '0' ? "00000000" : "        ", static_cast<uint32_t>(n));
        const uint32_t kept = keep(static_cast<uint32_t>(n) - skip(static_cast<uint32_t>(n)));
        if (buffer_ != nullptr) memset(buffer_ + stored_ - kept, ch, kept);
    }

    // Returns whether the next n characters are all stored, and then their place, which is null
    // when only counting.
    bool placeFor(uint32_t n, char** place) {
        if (toSkip_ != 0 || n > left_) return false;
        *place = buffer_ == nullptr ? nullptr : buffer_ + stored_;
        keep(n);
        return true;
    }

  private:
    // Returns how many of the next n characters fall before the offset. Once the buffer is full,
    // the position stops advancing.
    uint32_t skip(uint32_t n) {
        if (toSkip_ == 0 || left_ == 0) return 0;
        const uint32_t skipped = toSkip_ < n ? toSkip_ : n;
        toSkip_ -= skipped;
        skipped_ += skipped;
        return skipped;
    }

    // Returns how many of the next n characters fit.
    uint32_t keep(uint32_t n) {
        const uint32_t kept = n < left_ ? n : left_;
        left_ -= kept;
        stored_ += kept;
        return kept;
    }

    char* const buffer_;  // null when only counting
    uint32_t left_;
    uint32_t stored_;
    uint32_t toSkip_;
    uint32_t skipped_;
};

// Emits the first `emitted` characters of a text, and pads as for a text of n characters.
void emitText(Output& out, const Directive& directive, const char* text, uint32_t n,
              uint32_t emitted) {
    const long long padding = static_cast<long long>(directive.width) - n;
    if (!directive.has(LEFT)) out.fill(directive.has(ZERO) ? '0' : ' ', padding);
    out.text(text, emitted);
    if (directive.has(LEFT)) out.fill(' ', padding);
}

void emitCharacter(Output& out, const Directive& directive, char ch) {
    const uint32_t n = directive.precision == 0 ? 0 : 1;
    emitText(out, directive, &ch, n, ch == '\0' ? 0 : n);
}

void emitString(Output& out, const Directive& directive, const char* text) {
    if (text == nullptr) text = "(null)";
    const size_t n = directive.precision < 0
                         ? strlen(text)
                         : strnlen(text, static_cast<size_t>(directive.precision));
    const uint32_t length = n > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(n);
    emitText(out, directive, text, length, length);
}

struct Prefix {
    const char* text;
    uint32_t length;
};
const Prefix NO_PREFIX = {"", 0};

uint32_t digitCount(Value value, unsigned base) {
    uint32_t n = 1;
    switch (base) {
        case 10:
            for (Value limit = 10; value >= limit; ++n) {
                if (limit > ULONG_MAX / 10) return n + 1;
                limit *= 10;
            }
            return n;
        case 16:
            while ((value >>= 4) != 0) ++n;
            return n;
        default:
            while ((value >>= 3) != 0) ++n;
            return n;
    }
}

// Writes the digits of value before `end`.
void writeDigits(char* end, Value value, unsigned base, const char* digits) {
    switch (base) {  // division by a constant is fast
        case 10:
            for (; value >= 100; value /= 100) {
                end -= 2;
                memcpy(end, DECIMAL_PAIRS + value % 100 * 2, 2);
            }
            *--end = DECIMAL_PAIRS[value * 2 + 1];
            if (value >= 10) *--end = DECIMAL_PAIRS[value * 2];
            break;
        case 16:
            do *--end = digits[value % 16];
            while ((value /= 16) != 0);
            break;
        default:
            do *--end = digits[value % 8];
            while ((value /= 8) != 0);
            break;
    }
}

void emitDigits(Output& out, Value value, unsigned base, const char* digits, uint32_t n) {
    // Write in place: copying digits that were just written stalls for 5 ns.
    char* place = nullptr;
    const bool fits = out.placeFor(n, &place);
    if (fits && place == nullptr) return;  // only counting
    char area[3 * sizeof(Value)];          // enough for octal: a digit for every three bits
    writeDigits((fits ? place : area) + n, value, base, digits);
    if (!fits) out.text(area, n);
}

void emitInteger(Output& out, const Directive& directive, Value value, unsigned base,
                 const Prefix& prefix, const char* digits = "0123456789abcdef") {
    const uint32_t n = digitCount(value, base);
    long long precision = directive.precision;
    // A precision in the directive cancels zero padding.
    if (directive.has(ZERO) && precision < 0)
        precision = static_cast<long long>(directive.width) - prefix.length;
    const long long zeros = precision > n ? precision - n : 0;
    const long long padding = directive.width - zeros - n - prefix.length;

    if (padding > 0 && !directive.has(LEFT)) out.fill(' ', padding);
    if (prefix.length != 0) out.text(prefix.text, prefix.length);
    if (zeros != 0) out.fill('0', zeros);
    emitDigits(out, value, base, digits, n);
    if (padding > 0 && directive.has(LEFT)) out.fill(' ', padding);
}

void emitSigned(Output& out, const Directive& directive, Arguments& arguments) {
    long value = 0;
    if (directive.has(LONG))
        value = va_arg(arguments.list, long);
    else
        value = va_arg(arguments.list, int);
    if (directive.has(SHORT)) value = static_cast<int16_t>(value);

    if (value < 0)
        emitInteger(out, directive, 0 - static_cast<Value>(value), 10, {"-", 1});
    else if (directive.has(PLUS))
        emitInteger(out, directive, static_cast<Value>(value), 10, {"+", 1});
    else if (directive.has(SPACE))
        emitInteger(out, directive, static_cast<Value>(value), 10, {" ", 1});
    else
        emitInteger(out, directive, static_cast<Value>(value), 10, NO_PREFIX);
}

Value unsignedArgument(const Directive& directive, Arguments& arguments) {
    if (directive.has(LONG)) return va_arg(arguments.list, unsigned long);
    const unsigned value = va_arg(arguments.list, unsigned);
    return directive.has(SHORT) ? static_cast<uint16_t>(value) : value;
}

void emitUnsigned(Output& out, const Directive& directive, Arguments& arguments) {
    const Value value = unsignedArgument(directive, arguments);
    const bool prefixed = directive.has(ALTERNATE) && value != 0;
    switch (directive.conversion) {
        case 'u':
            return emitInteger(out, directive, value, 10, NO_PREFIX);
        case 'o':
            return emitInteger(out, directive, value, 8, prefixed ? Prefix{"0", 1} : NO_PREFIX);
        case 'x':
            return emitInteger(out, directive, value, 16, prefixed ? Prefix{"0x", 2} : NO_PREFIX);
        default:
            return emitInteger(out, directive, value, 16, prefixed ? Prefix{"0X", 2} : NO_PREFIX,
                               "0123456789ABCDEF");
    }
}

void storePosition(const Output& out, const Directive& directive, void* target) {
    const uint32_t position = out.position();
    const uint16_t low = static_cast<uint16_t>(position);
    if (directive.has(SHORT))
        memcpy(target, &low, sizeof low);
    else
        memcpy(target, &position, sizeof position);
}

void convert(Output& out, const Directive& directive, Arguments& arguments) {
    switch (directive.conversion) {
        case 'd':
        case 'i':
            return emitSigned(out, directive, arguments);
        case 'u':
        case 'o':
        case 'x':
        case 'X':
            return emitUnsigned(out, directive, arguments);
        case 'p':
            return emitInteger(out, directive,
                               reinterpret_cast<Value>(va_arg(arguments.list, void*)), 16,
                               {"0x", 2});
        case 'c':
            return emitCharacter(out, directive, static_cast<char>(va_arg(arguments.list, int)));
        case 's':
            return emitString(out, directive, va_arg(arguments.list, const char*));
        case 'n':
            return storePosition(out, directive, va_arg(arguments.list, void*));
        default:
            return out.text(&directive.conversion, 1);
    }
}

unsigned flagOf(char ch) {
    switch (ch) {
        case '-':
            return LEFT;
        case '+':
            return PLUS;
        case ' ':
            return SPACE;
        case '#':
            return ALTERNATE;
        case '0':
            return ZERO;
        default:
            return 0;
    }
}

int readNumber(const char** format) {
    int number = 0;
    for (; **format >= '0' && **format <= '9'; ++*format) {
        const int digit = **format - '0';
        number = number > (INT_MAX - digit) / 10 ? INT_MAX : number * 10 + digit;
    }
    return number;
}

// Reads what follows a '%' up to the conversion letter, which is NUL if the format ends first.
Directive readDirective(const char** format, Arguments& arguments) {
    Directive directive = {0, 0, -1, '\0'};
    for (unsigned flag = 0; (flag = flagOf(**format)) != 0; ++*format) directive.flags |= flag;

    if (**format == '*') {
        ++*format;
        const int width = va_arg(arguments.list, int);
        if (width < 0) directive.flags |= LEFT;
        directive.width = width == INT_MIN ? INT_MAX : width < 0 ? -width : width;
    } else {
        directive.width = readNumber(format);
    }
    if (directive.has(LEFT)) directive.flags &= ~unsigned{ZERO};

    if (**format == '.') {
        ++*format;
        if (**format == '*') {
            ++*format;
            directive.precision = va_arg(arguments.list, int);
        } else {
            directive.precision = readNumber(format);
        }
    }

    if (**format == 'h' || **format == 'l') {
        directive.flags |= **format == 'h' ? SHORT : LONG;
        ++*format;
    }
    directive.conversion = **format;
    if (directive.conversion != '\0') ++*format;
    return directive;
}

const char* nextPointer(Arguments& arguments) {
    Arguments next;
    va_copy(next.list, arguments.list);
    const char* const pointer = va_arg(next.list, const char*);
    va_end(next.list);
    return pointer;
}

// run() calls this before it converts a directive. `rest` is the format after the directive. False
// ends the run.
typedef bool Check(const Directive& directive, const char* rest, Arguments& arguments);

// Whether the platform's printf certainly renders the directive alike. False without a closer look
// in rare cases: null, NUL, precisions, and directives that only one of the two knows.
bool isCommon(const Directive& directive, const char*, Arguments& arguments) {
    if (directive.precision >= 0) return false;
    switch (directive.conversion) {
        case 'd':
        case 'i':
        case 'u':
        case 'o':
        case 'x':
        case 'X':
            return (directive.flags & ~(LEFT | ZERO | SHORT | LONG)) == 0;
        case 's':
            return nextPointer(arguments) != nullptr && (directive.flags & ~LEFT) == 0;
        default:
            return false;
    }
}

// Whether only the platform's printf knows the directive, as a number: "%f" or "%lld".
bool isNumber(const Directive& directive, const char* rest) {
    char letter = directive.conversion;
    while (letter != '\0' && strchr("hljztLq", letter) != nullptr) letter = *rest++;
    return letter != '\0' && strchr("diuoxXfFeEgGaA", letter) != nullptr;
}

// Sets arguments.watched->isArgument if the platform's printf may access that memory.
bool noteOverlap(const Directive& directive, const char* rest, Arguments& arguments) {
    TextRange& text = *arguments.watched;
    if (directive.conversion == '\0' || strchr("diuoxXpc%", directive.conversion) != nullptr)
        return true;
    if (directive.conversion != 's' && directive.conversion != 'n') {
        if (isNumber(directive, rest))
            text = {nullptr, SIZE_MAX, text.isArgument};  // later pointers are unknown
        else
            text.isArgument = true;  // possibly, as in "%1$s"
        return true;
    }
    const uintptr_t pointer = reinterpret_cast<uintptr_t>(nextPointer(arguments));
    if (pointer - reinterpret_cast<uintptr_t>(text.begin) < text.size) text.isArgument = true;
    return true;
}

// strchrnul uses vectors on 64-bit platforms. On 32-bit ARM it is no faster than a loop.
const bool FAST_STRCHRNUL = sizeof(void*) == 8;

// Returns the next '%', or the end of the format. Only a long literal is worth a call.
const char* literalEnd(const char* format) {
    const char* const far = format + 8;
    while (*format != '%' && *format != '\0')
        if (__builtin_expect(++format == far, 0) && FAST_STRCHRNUL) return strchrnul(format, '%');
    return format;
}

// Produces the output. Returns false if the check ended it.
bool run(Output& out, const char* format, Arguments& arguments, Check* check = nullptr) {
    for (;;) {
        if (*format != '%' && *format != '\0') {
            const char* const literal = format;
            format = literalEnd(literal + 1);
            if (format - literal == 1)  // a separator, as in "%lu.%lu", in 2 ns instead of 3.5
                out.character(*literal);
            else
                out.text(literal, static_cast<uint32_t>(format - literal));
        }
        if (*format == '\0') return true;

        ++format;
        if (*format == '%') {
            out.text(format++, 1);
            continue;
        }
        const Directive directive = readDirective(&format, arguments);
        if (check != nullptr && !check(directive, format, arguments)) return false;
        if (directive.conversion == '\0') return true;
        convert(out, directive, arguments);
    }
}

int32_t formatInto(char* buffer, int32_t offset, uint32_t size, const char* format,
                   Arguments& arguments) {
    if (buffer == nullptr || size == 0 || offset < 0) return 0;
    Output out(buffer, static_cast<uint32_t>(offset), size);
    run(out, format, arguments);
    buffer[out.stored()] = '\0';
    return static_cast<int32_t>(out.stored());
}

int32_t measure(const char* format, Arguments& arguments) {
    Output out(nullptr, 0, UINT32_MAX);
    run(out, format, arguments, arguments.watched != nullptr ? noteOverlap : nullptr);
    return static_cast<int32_t>(out.stored());
}

}  // namespace

int32_t measureFormatted(const char* format, va_list values, TextRange* text) {
    Arguments arguments;
    va_copy(arguments.list, values);
    arguments.watched = text;
    const int32_t length = measure(format, arguments);
    va_end(arguments.list);
    return length;
}

bool formatLikePlatform(char* buffer, uint32_t size, const char* format, va_list values,
                        int32_t* length) {
    Arguments arguments;
    va_copy(arguments.list, values);
    Output out(buffer, 0, size);
    const bool common = run(out, format, arguments, isCommon);
    va_end(arguments.list);
    *length = static_cast<int32_t>(out.stored());
    return common && out.stored() < size - 1;  // a full buffer may hold only part of the output
}

int32_t vsnxprintf(char* buffer, int32_t offset, uint32_t size, const char* format,
                   va_list values) {
    Arguments arguments;
    va_copy(arguments.list, values);
    const int32_t stored = formatInto(buffer, offset, size, format, arguments);
    va_end(arguments.list);
    return stored;
}

int32_t snxprintf(char* buffer, int32_t offset, uint32_t size, const char* format, ...) {
    Arguments arguments;
    va_start(arguments.list, format);
    const int32_t stored = formatInto(buffer, offset, size, format, arguments);
    va_end(arguments.list);
    return stored;
}

int32_t vstrlenf(const char* format, va_list arguments) {
    return measureFormatted(format, arguments, nullptr);
}

int32_t strlenf(const char* format, ...) {
    Arguments arguments;
    va_start(arguments.list, format);
    const int32_t length = measure(format, arguments);
    va_end(arguments.list);
    return length;
}
