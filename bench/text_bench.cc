// SPDX-License-Identifier: MIT

#include "side_by_side.h"

#include <velutils++/text.h>

#include <ctype.h>
#include <glib.h>
#include <string.h>

#include <algorithm>

namespace {

// Words of mixed case, n characters.
std::string mixedText(size_t n) {
    std::string text;
    while (text.size() < n) text += "Link eth0 IS Up, carrier Detected; ";
    text.resize(n);
    return text;
}

std::string upper(std::string text) {
    for (char& ch : text) ch = static_cast<char>(toupper(ch));
    return text;
}

template <class Text>
Body makeAndDestroy() {
    return repeat([] {
        Text text;
        benchmark::DoNotOptimize(text);
    });
}

template <class Text>
Body copyAndDestroy(size_t n) {
    return repeat([text = Text(mixedText(n).c_str())] {
        Text copy(text);
        benchmark::DoNotOptimize(copy);
    });
}

template <class Text>
Body fromText(size_t n) {
    return repeat([text = mixedText(n)] {
        Text made(hidden(text.c_str()));
        benchmark::DoNotOptimize(made);
    });
}

template <class Text>
Body appendPieces(size_t n) {
    return repeat([n] {
        Text text;
        for (size_t i = 0; i < n; i += 8) text += hidden("piece 8 ");
        benchmark::DoNotOptimize(text);
    });
}

template <class Text>
Body appendCharacters(size_t n) {
    return repeat([n] {
        Text text;
        for (size_t i = 0; i < n; ++i) text += hidden('x');
        benchmark::DoNotOptimize(text);
    });
}

Body appendCharactersToGString(size_t n) {
    return repeat([n] {
        GString* const text = g_string_new(nullptr);
        for (size_t i = 0; i < n; ++i) g_string_append_c(text, hidden('x'));
        benchmark::DoNotOptimize(text);
        g_string_free(text, TRUE);
    });
}

template <class Text>
Body equal(size_t n) {
    return repeat([a = Text(mixedText(n).c_str()), b = Text(mixedText(n).c_str())] {
        benchmark::DoNotOptimize(*hidden(&a) == b);
    });
}

String substringOf(const String& text) {
    return text.substring(20, 40);
}

std::string substringOf(const std::string& text) {
    return text.substr(20, 20);
}

template <class Text>
Body substring(size_t n) {
    return repeat([text = Text(mixedText(n).c_str())] {
        const Text part = substringOf(*hidden(&text));
        benchmark::DoNotOptimize(part);
    });
}

void insertAndDelete(String& text) {
    text.insert(30, "inserted");
    text.deleteRegion(30, 38);
}

void insertAndDelete(std::string& text) {
    text.insert(30, "inserted");
    text.erase(30, 8);
}

// After the first round the text has enough room.
template <class Text>
Body insertedAndDeleted(size_t n) {
    return repeat([text = Text(mixedText(n).c_str())]() mutable {
        insertAndDelete(*hidden(&text));
        benchmark::DoNotOptimize(text);
    });
}

// The text to find is at the start. Its first letters occur all over the text.
Body lastIndexOf(size_t n) {
    return repeat(
        [text = String(("carrier lost" + mixedText(n)).c_str()), wanted = String("carrier lost")] {
            benchmark::DoNotOptimize(hidden(&text)->lastIndexOf(wanted));
        });
}

Body lastIndexByGlib(size_t n) {
    return repeat([text = "carrier lost" + mixedText(n), wanted = std::string("carrier lost")] {
        benchmark::DoNotOptimize(g_strrstr(hidden(text.c_str()), wanted.c_str()));
    });
}

Body lowerAndUpper(size_t n) {
    return repeat([text = String(mixedText(n).c_str())]() mutable {
        text.toLowerCase();
        text.toUpperCase();
        benchmark::DoNotOptimize(text);
    });
}

Body transformed(size_t n) {
    return repeat([text = mixedText(n)]() mutable {
        std::transform(text.begin(), text.end(), text.begin(), tolower);
        std::transform(text.begin(), text.end(), text.begin(), toupper);
        benchmark::DoNotOptimize(text);
    });
}

Body equalWithoutCase(size_t n) {
    return repeat([a = String(mixedText(n).c_str()), b = String(upper(mixedText(n)).c_str())] {
        benchmark::DoNotOptimize(a.equalsIgnoreCase(b));
    });
}

Body strcasecmpOfTheSame(size_t n) {
    return repeat([a = mixedText(n), b = upper(mixedText(n))] {
        benchmark::DoNotOptimize(strcasecmp(hidden(a.c_str()), b.c_str()) == 0);
    });
}

// The text to find is at the end. Its first letters occur all over the text.
Body indexWithoutCase(size_t n) {
    return repeat(
        [text = String((mixedText(n) + "CARRIER LOST").c_str()), wanted = String("carrier lost")] {
            benchmark::DoNotOptimize(text.indexOfIgnoreCase(wanted));
        });
}

Body strcasestrOfTheSame(size_t n) {
    return repeat([text = mixedText(n) + "CARRIER LOST", wanted = std::string("carrier lost")] {
        benchmark::DoNotOptimize(strcasestr(hidden(text.c_str()), wanted.c_str()));
    });
}

}  // namespace

void registerText() {
    sideBySide("make and destroy an empty text", "String", makeAndDestroy<String>(),
               {{"std::string", "4", makeAndDestroy<std::string>()}});
    sideBySide("copy and destroy, 20 chars", "String", copyAndDestroy<String>(20),
               {{"std::string", "0.15", copyAndDestroy<std::string>(20)}});
    sideBySide("copy and destroy, 200 chars", "String", copyAndDestroy<String>(200),
               {{"std::string", "0.15", copyAndDestroy<std::string>(200)}});
    sideBySide("from text, 20 chars", "String", fromText<String>(20),
               {{"std::string", "1.0", fromText<std::string>(20)}});
    sideBySide("append pieces of 8 to 4 KiB", "String", appendPieces<String>(4096),
               {{"std::string", "1.2", appendPieces<std::string>(4096)}});
    sideBySide("append 4096 characters one by one", "String", appendCharacters<String>(4096),
               {{"std::string", "1.5", appendCharacters<std::string>(4096)},
                {"GString", "1.5", appendCharactersToGString(4096)}});
    sideBySide("compare equal texts, 20 chars", "String", equal<String>(20),
               {{"std::string", "1.5", equal<std::string>(20)}});
    sideBySide("compare equal texts, 200 chars", "String", equal<String>(200),
               {{"std::string", "1.5", equal<std::string>(200)}});
    sideBySide("substring of 20 in 60 chars", "String", substring<String>(60),
               {{"std::string", "1.0", substring<std::string>(60)}});
    sideBySide("insert and delete 8 in 60 chars", "String", insertedAndDeleted<String>(60),
               {{"std::string", "1.0", insertedAndDeleted<std::string>(60)}});
    sideBySide("lastIndexOf in 1 KiB", "String", lastIndexOf(1012),
               {{"g_strrstr", "0.8", lastIndexByGlib(1012)}});
    sideBySide("toLowerCase and toUpperCase, 200 chars", "String", lowerAndUpper(200),
               {{"std::transform", "0.2", transformed(200)}});
    sideBySide("equalsIgnoreCase, 200 chars", "String", equalWithoutCase(200),
               {{"strcasecmp", "1.5", strcasecmpOfTheSame(200)}});
    sideBySide("indexOfIgnoreCase in 1 KiB", "String", indexWithoutCase(1012),
               {{"strcasestr", "1.0", strcasestrOfTheSame(1012)}});

    scaling("String copy and destroy, chars", "constant", 100, copyAndDestroy<String>);
    scaling("String from text, chars", "linear", 100, fromText<String>);
    scaling("String append of 8, chars in all", "linear", 8000, appendPieces<String>);
    scaling("String toLowerCase and toUpperCase, chars", "linear", 100, lowerAndUpper);
    scaling("String equalsIgnoreCase, chars", "linear", 100, equalWithoutCase);
    scaling("String indexOfIgnoreCase, chars", "linear", 100, indexWithoutCase);
    scaling("String format `%s`, chars", "linear", 100, [](long n) {
        return repeat([text = mixedText(static_cast<size_t>(n))] {
            String out;
            out.format("%s", text.c_str());
            benchmark::DoNotOptimize(out);
        });
    });
    scaling("String insert in the middle, chars", "linear", 100, [](long n) {
        return repeat([n, text = String(mixedText(static_cast<size_t>(n)).c_str())] {
            String changed(text);
            changed.insert(n / 2, "inserted");
            benchmark::DoNotOptimize(changed);
        });
    });
}
