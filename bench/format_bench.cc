// SPDX-License-Identifier: MIT
//
// Formats as daemons use them. String::format renders them in one pass of the library's
// formatter. With std::string, measuring and rendering take two calls of snprintf.

#include "side_by_side.h"

#include <velutils++/text.h>

#include <fmt/format.h>
#include <glib.h>

#include <stdio.h>

#include <iterator>

namespace {

// fmt::format_to_n does not write the NUL.
const size_t SIZE = 128;

template <class... Values>
Body byFmt(fmt::format_string<const Values&...> format, Values... values) {
    return repeat([=] {
        char out[SIZE];
        const auto end = fmt::format_to_n(out, SIZE - 1, format, hidden(values)...);
        *end.out = '\0';
        benchmark::DoNotOptimize(out);
    });
}

template <class... Values>
Body bySnxprintf(const char* format, Values... values) {
    return repeat([=] {
        char out[SIZE];
        snxprintf(out, 0, SIZE, format, hidden(values)...);
        benchmark::DoNotOptimize(out);
    });
}

template <class... Values>
Body bySnprintf(const char* format, Values... values) {
    return repeat([=] {
        char out[SIZE];
        snprintf(out, SIZE, format, hidden(values)...);
        benchmark::DoNotOptimize(out);
    });
}

template <class... Values>
Body measure(const char* format, Values... values) {
    return repeat([=] { benchmark::DoNotOptimize(strlenf(format, hidden(values)...)); });
}

template <class... Values>
Body measureBySnprintf(const char* format, Values... values) {
    return repeat(
        [=] { benchmark::DoNotOptimize(snprintf(nullptr, 0, format, hidden(values)...)); });
}

template <class... Values>
Body intoString(const char* format, Values... values) {
    return repeat([=] {
        String out;
        out.format(format, hidden(values)...);
        benchmark::DoNotOptimize(out);
    });
}

template <class... Values>
Body intoStdString(const char* format, Values... values) {
    return repeat([=] {
        const int n = snprintf(nullptr, 0, format, hidden(values)...);
        std::string out(static_cast<size_t>(n), '\0');
        snprintf(&out[0], out.size() + 1, format, hidden(values)...);
        benchmark::DoNotOptimize(out);
    });
}

template <class... Values>
Body intoGString(const char* format, Values... values) {
    return repeat([=] {
        GString* const out = g_string_new(nullptr);
        g_string_printf(out, format, hidden(values)...);
        benchmark::DoNotOptimize(out);
        g_string_free(out, TRUE);
    });
}

template <class... Values>
void compare(const char* format, fmt::format_string<const Values&...> fmtFormat, Values... values) {
    const std::string quoted = std::string("`") + format + "`";
    sideBySide("snxprintf " + quoted, "snxprintf", bySnxprintf(format, values...),
               {{"snprintf", "0.5", bySnprintf(format, values...)},
                {"fmt::format_to_n", "1.0", byFmt<Values...>(fmtFormat, values...)}});
    sideBySide("strlenf " + quoted, "strlenf", measure(format, values...),
               {{"snprintf to nothing", "0.5", measureBySnprintf(format, values...)}});
    sideBySide("String::format " + quoted, "String::format", intoString(format, values...),
               {{"snprintf twice", "0.75", intoStdString(format, values...)},
                {"g_string_printf", "1.0", intoGString(format, values...)}});
}

}  // namespace

void registerFormat() {
    const char* const name = "interface";
    sideBySide(
        "snxprintf, a message of 100 chars", "snxprintf",
        bySnxprintf("the carrier of %s was lost; its address and its routes stay configured "
                    "for %d seconds",
                    name, 120),
        {{"snprintf", "0.8",
          bySnprintf("the carrier of %s was lost; its address and its routes stay configured "
                     "for %d seconds",
                     name, 120)},
         {"fmt::format_to_n", "0.8",
          byFmt<const char*, int>("the carrier of {} was lost; its address and its routes "
                                  "stay configured for {} seconds",
                                  name, 120)}});
    compare<const char*, int>("%s-%d", "{}-{}", name, 1234);
    compare<unsigned>("%08x", "{:08x}", 0xbeefu);
    compare<unsigned long, unsigned long, unsigned long, unsigned long>(
        "%lu.%lu.%lu.%lu", "{}.{}.{}.{}", 192ul, 168ul, 1ul, 254ul);
    compare<int, const char*>("%5d|%-10s|", "{:5}|{:<10}|", 42, name);
}
