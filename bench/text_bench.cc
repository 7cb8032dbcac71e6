// SPDX-License-Identifier: MIT

#include "side_by_side.h"

#include <velutils++/text.h>

#include <ctype.h>
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
    sideBySide("copy and destroy, 20 chars", "String", copyAndDestroy<String>(20),
               {{"std::string", "0.15", copyAndDestroy<std::string>(20)}});
    sideBySide("copy and destroy, 200 chars", "String", copyAndDestroy<String>(200),
               {{"std::string", "0.15", copyAndDestroy<std::string>(200)}});
    sideBySide("from text, 20 chars", "String", fromText<String>(20),
               {{"std::string", "1.0", fromText<std::string>(20)}});
    sideBySide("append pieces of 8 to 4 KiB", "String", appendPieces<String>(4096),
               {{"std::string", "1.3", appendPieces<std::string>(4096)}});
    sideBySide("toLowerCase and toUpperCase, 200 chars", "String", lowerAndUpper(200),
               {{"std::transform", "0.2", transformed(200)}});
    sideBySide("equalsIgnoreCase, 200 chars", "String", equalWithoutCase(200),
               {{"strcasecmp", "1.5", strcasecmpOfTheSame(200)}});
    sideBySide("indexOfIgnoreCase in 1 KiB", "String", indexWithoutCase(1012),
               {{"strcasestr", "1.0", strcasestrOfTheSame(1012)}});

    scaling("String copy and destroy, chars", "constant", 100, copyAndDestroy<String>);
    scaling("String from text, chars", "linear", 100, fromText<String>);
    // After every 64 characters the text is copied to a new block.
    scaling("String append of 8, chars in all", "quadratic", 800, appendPieces<String>);
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
