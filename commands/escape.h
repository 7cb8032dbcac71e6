// SPDX-License-Identifier: MIT
//
// Turns any bytes into text for a line, for JSON and for Prometheus.

#ifndef VELUTILS_COMMANDS_ESCAPE_H
#define VELUTILS_COMMANDS_ESCAPE_H

#include <string>
#include <string_view>

// For a line: a backslash becomes \\, a newline \n, a tab \t and every other byte outside 0x20 to
// 0x7e \xhh. This can be reversed.
std::string escaped(std::string_view bytes);

// A JSON string (RFC 8259) with its quotes. All control characters are escaped, C1 too.
std::string jsonString(std::string_view bytes);

// A label value of Prometheus' text format, with its quotes.
std::string labelValue(std::string_view bytes);

// The bytes as UTF-8 (RFC 3629). U+FFFD replaces each byte that cannot begin a character, and each
// incomplete character.
std::string asUtf8(std::string_view bytes);

#endif
