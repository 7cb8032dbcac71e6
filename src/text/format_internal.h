// SPDX-License-Identifier: MIT
//
// The formatter's functions for String::format and String::concatf.

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

// As vstrlenf. Also sets text->isArgument if a text or %n argument points into the range, or if it
// cannot check that argument: because it does not know the directive, or because it read an earlier
// number differently from the platform. May change the range.
int32_t measureFormatted(const char* format, va_list arguments, TextRange* text);

// As vsnxprintf, for an output that the platform's vsnprintf renders alike. Returns false, with
// undefined content in buffer, if it may render another one or if the output does not fit.
bool formatLikePlatform(char* buffer, uint32_t size, const char* format, va_list arguments,
                        int32_t* length);

#endif
