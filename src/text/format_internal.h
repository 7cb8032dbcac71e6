// SPDX-License-Identifier: MIT
//
// What String's formatting takes from the formatter besides its public functions.

#ifndef VELUTILS_FORMAT_INTERNAL_H
#define VELUTILS_FORMAT_INTERNAL_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

// A range of memory that the platform's vsnprintf may read or write through an argument.
struct TextRange {
    const char* begin;
    size_t size;
    bool isArgument;
};

// vstrlenf. Also sets text->isArgument if a text or %n argument points into the range, or if the
// format has a directive that only the platform may know, and with it the argument.
int32_t measureFormatted(const char* format, va_list arguments, TextRange* text);

// vsnxprintf for outputs that the platform's vsnprintf renders alike. False, with anything in
// buffer, when it may not, or the output does not fit.
bool formatLikePlatform(char* buffer, uint32_t size, const char* format, va_list arguments,
                        int32_t* length);

#endif
