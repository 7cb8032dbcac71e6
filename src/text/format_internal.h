// SPDX-License-Identifier: MIT
//
// What String's formatting takes from the formatter besides its public functions.

#ifndef VELUTILS_FORMAT_INTERNAL_H
#define VELUTILS_FORMAT_INTERNAL_H

#include <stdarg.h>
#include <stdint.h>

// vstrlenf before its result is made signed, so that an output too long for a text is told apart.
uint32_t measureFormatted(const char* format, va_list arguments);

// vsnxprintf for outputs that the platform's vsnprintf renders alike. False, with anything in
// buffer, when it may not, or the output does not fit.
bool formatLikePlatform(char* buffer, uint32_t size, const char* format, va_list arguments,
                        uint32_t* length);

#endif
