// SPDX-License-Identifier: MIT
//
// String::format and String::concatf: measured by the library's formatter, rendered by the
// platform's vsnprintf, before anything that an argument could point into is overwritten.
//
// Tested by text_test.cc and format_test.cc.

// A fortified vsnprintf ends the program at a %n in a writable format; here %n is allowed.
#undef _FORTIFY_SOURCE

#include <velutils++/text.h>

#include "format_internal.h"
#include "string_internal.h"

#include <stdio.h>
#include <stdlib.h>

namespace {

// Exactly n characters: what the platform renders, cut or filled up with NULs, and a NUL.
void renderExactly(char* area, uint32_t n, const char* format, va_list arguments) {
    const int rendered = vsnprintf(area, static_cast<size_t>(n) + 1, format, arguments);
    const uint32_t valid = rendered < 0 ? 0 : static_cast<uint32_t>(rendered);
    if (valid < n) memset(area + valid, 0, n - valid + 1);
}

}  // namespace

// Replaces everything from `at` on by the n >= 1 characters of the output.
void String::renderAt(long at, uint32_t n, const char* format, va_list arguments) {
    const long long length = static_cast<long long>(at) + n;
    if (!mayWrite(length)) {
        StringBuffer* const grown = buildBuffer(length, at, buffer_->text());
        if (grown == nullptr) return;
        renderExactly(grown->text() + at, n, format, arguments);
        grown->setLength(static_cast<long>(length));
        take(grown);
        return;
    }
    char local[2048];
    char* const area = n < sizeof local ? local : static_cast<char*>(malloc(size_t{n} + 1));
    if (area == nullptr) return;
    renderExactly(area, n, format, arguments);
    memcpy(buffer_->text() + at, area, n);
    buffer_->setLength(static_cast<long>(length));
    if (area != local) free(area);
}

String& String::format(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const uint32_t n = measureFormatted(format, arguments);
    if (n == 0)
        takeEmpty();
    else
        renderAt(0, n, format, arguments);
    va_end(arguments);
    return *this;
}

String& String::concatf(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const uint32_t n = measureFormatted(format, arguments);
    if (n != 0) renderAt(length(), n, format, arguments);
    va_end(arguments);
    return *this;
}
