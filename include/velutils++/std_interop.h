/* SPDX-License-Identifier: MIT
 *
 * Use of the library's types with the C++ standard library: conversions, output to streams,
 * hashing, range for. What needs std::string_view is declared from C++17 on.
 *
 *     std::unordered_map<String, IpAddress> routes;
 *     for (const auto& route : routes) std::cout << route.first << ' ' << route.second << '\n';
 *
 * Failures: when out of memory, std::string throws std::bad_alloc. Everything else returns the
 * empty value. With -fno-exceptions, the standard library ends the process when std::string or
 * valuesOf() is out of memory. Threads: as for the arguments.
 *
 * Header-only: the library exports nothing for it. C++ only. In C the header declares nothing.
 */
#ifndef VELUTILS_STD_INTEROP_H
#define VELUTILS_STD_INTEROP_H

#include <velutils++/export.h>

#ifdef __cplusplus
#include <stddef.h>
#include <stdint.h>

#include <exception>
#include <functional>
#include <ostream>
#include <string>
#include <vector>
#if __cplusplus >= 201703L
#include <string_view>
#endif

#include <velutils++/hash_tables.h>
#include <velutils++/ip_address.h>
#include <velutils++/text.h>

// Returns a copy of all characters, NULs included.
inline std::string toStdString(const String& text) {
    return std::string(text.buffer(), static_cast<size_t>(text.length()));
}

#if __cplusplus >= 201703L
// Returns all characters, NULs included. They are valid until the String is changed, assigned or
// destroyed.
inline std::string_view toStringView(const String& text) {
    return std::string_view(text.buffer(), static_cast<size_t>(text.length()));
}

// Returns a String of all characters, NULs included. Empty when out of memory. Before C++17 it
// takes a std::string.
inline String toString(std::string_view characters) {
#else
inline String toString(const std::string& characters) {
#endif
    String text;
    text.concat(characters.data(), static_cast<long>(characters.size()));
    return text;
}

// The characters of a text for a range for, NULs included. The loop must not change the text.
//
//     for (const char character : text) ...
inline const char* begin(const String& text) {
    return text.buffer();
}
// The end of the characters, for a range for.
inline const char* end(const String& text) {
    return text.buffer() + text.length();
}

// Writes the characters, NULs included. Width, fill and left or right adjustment work as for a
// std::string, and the width is 0 afterwards.
inline std::ostream& operator<<(std::ostream& out, const String& text) {
    const std::streamsize padding = out.width() - text.length();
    const bool left = (out.flags() & std::ios_base::adjustfield) == std::ios_base::left;
    for (std::streamsize i = 0; !left && i < padding; ++i) out.put(out.fill());
    out.write(text.buffer(), text.length());
    for (std::streamsize i = 0; left && i < padding; ++i) out.put(out.fill());
    out.width(0);
    return out;
}
// Writes the text of addressWithPrefix(), with width, fill and adjustment.
inline std::ostream& operator<<(std::ostream& out, const IpAddress& address) {
    return out << addressWithPrefix(address);
}

namespace std {

// Equal Strings have equal hashes. Like ==, it uses the characters up to the first NUL and the
// whole length.
template <>
struct hash<String> {
    // FNV-1a of the characters, then of the length.
    size_t operator()(const String& text) const noexcept {
        uint32_t value = 2166136261U;
        for (const char* at = text.buffer(); *at != '\0'; ++at)
            value = (value ^ static_cast<unsigned char>(*at)) * 16777619U;
        return (value ^ static_cast<uint32_t>(text.length())) * 16777619U;
    }
};

}  // namespace std

// Returns a copy of the values of an INUInt32HashTable or INStringHashTable, in the table's order.
// You can change the table while you walk the copy. Empty when out of memory.
//
//     for (void* value : valuesOf(table)) delete static_cast<Route*>(value);
template <class Table>
inline std::vector<void*> valuesOf(const Table& table) {
    std::vector<void*> values;
#ifdef __cpp_exceptions
    try {
        values.resize(table.getNumberOfKeys());
    } catch (const std::exception&) {
        return values;
    }
#else
    values.resize(table.getNumberOfKeys());
#endif
    table.getFirstNPointers(values.size(), values.data());
    return values;
}

#endif

#endif
