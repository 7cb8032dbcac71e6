// SPDX-License-Identifier: MIT
//
// Any bytes as text that a line, JSON or Prometheus can hold.

#ifndef VELUTILS_COMMANDS_ESCAPE_H
#define VELUTILS_COMMANDS_ESCAPE_H

#include <string>
#include <string_view>

// For a line: a backslash as \\, a newline as \n, a tab as \t, other bytes outside 0x20 to 0x7e as
// \xhh. Reversible.
std::string escaped(std::string_view bytes);

// A JSON string (RFC 8259) with its quotes. Control characters, C1 included, are escaped.
std::string jsonString(std::string_view bytes);

// The value of a label in Prometheus' text format, with its quotes.
std::string labelValue(std::string_view bytes);

// The bytes as UTF-8 (RFC 3629): each sequence that is none becomes one U+FFFD, where a sequence
// goes as far as it could still have become a character.
std::string asUtf8(std::string_view bytes);

#endif
