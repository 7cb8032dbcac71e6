// SPDX-License-Identifier: MIT
//
// String::format and String::concatf: measured by the library's formatter, rendered by the
// platform's vsnprintf, before anything that an argument could point into is overwritten. Short
// outputs of common directives, which both render alike, take one pass of the library's formatter
// instead of the two: half of the time.
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

// Replaces everything from `at` on by the output and returns its length; an empty one changes
// nothing.
uint32_t String::renderAt(long at, const char* format, va_list arguments) {
    char local[2048];
    uint32_t n;
    const bool rendered = formatLikePlatform(local, sizeof local, format, arguments, &n);
    if (!rendered) n = measureFormatted(format, arguments);
    if (n == 0) return 0;

    const long long length = static_cast<long long>(at) + n;
    if (!mayWrite(length)) {
        StringBuffer* const grown = buildBuffer(length, at, buffer_->text());
        if (grown == nullptr) return n;
        if (rendered)
            memcpy(grown->text() + at, local, n);
        else
            renderExactly(grown->text() + at, n, format, arguments);
        grown->setLength(static_cast<long>(length));
        take(grown);
        return n;
    }
    char* const area = n < sizeof local ? local : static_cast<char*>(malloc(size_t{n} + 1));
    if (area == nullptr) return n;
    if (!rendered) renderExactly(area, n, format, arguments);
    memcpy(buffer_->text() + at, area, n);
    buffer_->setLength(static_cast<long>(length));
    if (area != local) free(area);
    return n;
}

String& String::format(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    if (renderAt(0, format, arguments) == 0) takeEmpty();
    va_end(arguments);
    return *this;
}

String& String::concatf(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    renderAt(length(), format, arguments);
    va_end(arguments);
    return *this;
}
