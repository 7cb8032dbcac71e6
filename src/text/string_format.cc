// SPDX-License-Identifier: MIT
//
// String::format and String::concatf: measured by the library's formatter, rendered by the
// platform's vsnprintf.
//
// The format or an argument may point into the text that the output replaces. A short output is
// therefore rendered on the stack and then copied. A long output is rendered where it belongs: in
// this buffer, or in a new one. If it belongs in this buffer and the measuring pass found such a
// pointer, it is rendered in temporary memory first. Short outputs of common directives, which
// both formatters render alike, take one pass of the library's formatter instead of both passes:
// half the time.
//
// Tested by text_test.cc and format_test.cc.

// A fortified vsnprintf aborts at a %n in a writable format, but here %n is allowed.
#undef _FORTIFY_SOURCE

#include <velutils++/text.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "format_internal.h"
#include "string_internal.h"

namespace {

// Renders exactly n characters: those of the platform, then NULs. If vsnprintf fails, the
// characters that it has already written stay.
void renderExactly(char* area, int32_t n, const char* format, va_list arguments) {
    const size_t size = static_cast<size_t>(n) + 1;
    memset(area, 0, size);
    vsnprintf(area, size, format, arguments);
}

}  // namespace

void String::putAt(long at, const char* p, long n) {
    if (at == 0)
        assign(p, n);
    else
        internalConcat(p, n);
}

// Replaces everything from `at` on with the output and returns its length. A length below 1 changes
// nothing.
int32_t String::renderAt(long at, const char* format, va_list arguments) {
    char local[2048];
    int32_t n;
    if (formatLikePlatform(local, sizeof local, format, arguments, &n)) {
        if (n > 0) putAt(at, local, n);
        return n;
    }

    const size_t size = static_cast<size_t>(buffer_->capacity_) + 1;
    const uintptr_t fromText =
        reinterpret_cast<uintptr_t>(format) - reinterpret_cast<uintptr_t>(chars());
    TextRange text = {chars(), size, fromText < size};  // the format counts as an argument
    n = measureFormatted(format, arguments, &text);
    if (n < 1) return n;
    const long long length = static_cast<long long>(at) + n;
    const bool inPlace = mayWrite(length);
    const bool isShort = n < static_cast<int32_t>(sizeof local);
    if (isShort || (inPlace && text.isArgument)) {
        char* const area = isShort ? local : static_cast<char*>(malloc(static_cast<size_t>(n) + 1));
        if (area == nullptr) return n;
        renderExactly(area, n, format, arguments);
        putAt(at, area, n);
        if (!isShort) free(area);
        return n;
    }

    StringBuffer* const target = inPlace ? buffer_ : buildBuffer(length, at, chars());
    if (target == nullptr) return n;
    renderExactly(target->text() + at, n, format, arguments);
    target->setLength(static_cast<long>(length));
    if (!inPlace) take(target);
    return n;
}

String& String::format(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    if (renderAt(0, format, arguments) < 1) takeEmpty();
    va_end(arguments);
    return *this;
}

String& String::concatf(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    renderAt(size(), format, arguments);
    va_end(arguments);
    return *this;
}
