/* SPDX-License-Identifier: MIT
 *
 * The library's types beside those of the C++ standard library: conversions, output to streams,
 * hashing, range for. C++ only; nothing of it is in the library. What needs std::string_view is
 * there from C++17 on.
 *
 *     std::unordered_map<String, IpAddress> routes;
 *     for (const auto& route : routes) std::cout << route.first << ' ' << route.second << '\n';
 *
 * Failures: where memory is refused, std::string throws as it always does; all else gives the empty
 * value. Threads: as the arguments.
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

// All characters, NULs included.
inline std::string toStdString(const String& text) {
    return std::string(text.buffer(), static_cast<size_t>(text.length()));
}

#if __cplusplus >= 201703L
// All characters, NULs included. Valid until the String is changed, assigned or destroyed.
inline std::string_view toStringView(const String& text) {
    return std::string_view(text.buffer(), static_cast<size_t>(text.length()));
}

// All characters, NULs included. Empty when out of memory. Before C++17 of a std::string.
inline String toString(std::string_view characters) {
#else
inline String toString(const std::string& characters) {
#endif
    String text;
    text.concat(characters.data(), static_cast<long>(characters.size()));
    return text;
}

// The characters of a text for a range for, NULs included. Changing the text ends their life.
//
//     for (const char character : text) ...
inline const char* begin(const String& text) {
    return text.buffer();
}
// After the last of them.
inline const char* end(const String& text) {
    return text.buffer() + text.length();
}

// The characters, NULs included. Width, fill and left or right adjustment count as for a
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
// As addressWithPrefix(), with width, fill and adjustment.
inline std::ostream& operator<<(std::ostream& out, const IpAddress& address) {
    return out << addressWithPrefix(address);
}

namespace std {

// Equal Strings have equal hashes. == compares the characters up to the first NUL, and the lengths
// including what follows it; so does this.
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

// A copy of the values of an INUInt32HashTable or INStringHashTable, in the table's own order. The
// table may be changed while the copy is walked. Empty when out of memory.
//
//     for (void* value : valuesOf(table)) delete static_cast<Route*>(value);
template <class Table>
inline std::vector<void*> valuesOf(const Table& table) {
    std::vector<void*> values;
    try {
        values.resize(table.getNumberOfKeys());
    } catch (const std::exception&) {
        return values;
    }
    table.getFirstNPointers(values.size(), values.data());
    return values;
}

#endif

#endif
