// SPDX-License-Identifier: MIT
//
// Applies the same random edits to Strings that share buffers and to std::strings, also with parts
// of their own text as arguments. Checks every text and every reference count after each step.

#include <velutils++/text.h>

#include <iterator>
#include <map>

#include "fuzz/input.h"
#include "tests/support/strings.h"

namespace {

typedef String::StringBuffer Buffer;
const size_t STRINGS = 5;
const size_t LONGEST = 700;

const Buffer* bufferOf(const String& s) {
    const Buffer* buffer;
    memcpy(&buffer, &s, sizeof buffer);
    return buffer;
}

std::string shifted(std::string text, char first, int change) {
    for (char& ch : text)
        if (ch >= first && ch < first + 26) ch = static_cast<char>(ch + change);
    return text;
}

// The values that a step may use. The texts are those before the step.
struct Turn {
    const String& other;  // may be the edited text itself
    const std::string otherText;
    const size_t at, to, place;  // at <= to, place <= to, all in the text
    const std::string own;       // from `at` on, up to a NUL
    const char ch;
    const std::string bytes;
};
#define STEP(edit, model) \
    [](String& s, std::string& m, const Turn& t) { static_cast<void>(t), edit, model; }
void (*const STEPS[])(String& s, std::string& m, const Turn& t) = {
    STEP(s = t.other, m = t.otherText),
    STEP(s = t.other, m = t.otherText),
    STEP(s = t.bytes.c_str(), m = t.bytes.c_str()),
    STEP(s = s.buffer() + t.at, m = t.own),
    STEP(s += t.other, m += t.otherText),
    STEP(s.concat(t.bytes.data(), long(t.bytes.size())), m += t.bytes),
    STEP(s.insert(long(t.at), t.other), m.insert(t.at, t.otherText)),
    STEP(s.insert(long(t.place), s.buffer() + t.at), m.insert(t.place, t.own)),
    STEP(s.insert(long(t.place), s), m.insert(t.place, std::string(m))),
    STEP(s.deleteRegion(long(t.at), long(t.to)), m.erase(t.at, t.to - t.at)),
    STEP(s.replace(t.ch, 'x'), std::replace(m.begin(), m.end(), t.ch, 'x')),
    STEP(s.toUpperCase(), m = shifted(m, 'a', -32)),
    STEP(s.toLowerCase(), m = shifted(m, 'A', 32)),
    STEP(s.trim(), m.erase(m.find_last_not_of(' ') + 1).erase(0, m.find_first_not_of(' '))),
    STEP(s = t.other.substring(0, 5), m = std::string(t.otherText.c_str()).substr(0, 5)),
    STEP(s.format("<%s|%3d>", s.buffer() + t.at, 7), m = "<" + t.own + "|  7>"),
    STEP(s.concatf("%s%c", s.buffer() + t.at, 'q'), m += t.own + 'q'),
};

void check(const String (&strings)[STRINGS], const std::string (&models)[STRINGS]) {
    std::map<const Buffer*, int> referers = {{Buffer::EMPTY(), 2}};
    for (const String& s : strings) ++referers[bufferOf(s)];
    for (size_t i = 0; i < STRINGS; ++i) {
        const String& s = strings[i];
        REQUIRE(models[i] == bytesOf(s));
        REQUIRE(s.buffer()[s.length()] == '\0' && s.length() <= bufferOf(s)->capacity());
        REQUIRE(bufferOf(s)->hasMultipleReferers() == (referers[bufferOf(s)] > 1));
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, std::min(size, size_t{8000}));
    String strings[STRINGS];
    std::string models[STRINGS];
    while (!input.isEmpty()) {
        const size_t step = input.below(std::size(STEPS));
        const size_t i = input.below(STRINGS), j = input.below(STRINGS);
        const size_t at = input.number<uint16_t>() % (models[i].size() + 1);
        const size_t to = at + input.number<uint16_t>() % (models[i].size() - at + 1);
        const size_t place = input.number<uint16_t>() % (to + 1);
        const std::string own = models[i].c_str() + at;
        const char ch = "aZ \0"[input.below(4)];
        const std::string bytes(input.below(12), ch);
        const Turn turn = {strings[j], models[j], at, to, place, own, ch, bytes};
        STEPS[step](strings[i], models[i], turn);
        if (models[i].size() > LONGEST) strings[i] = "", models[i] = "";
        check(strings, models);
    }
    return 0;
}
