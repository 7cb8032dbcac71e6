// SPDX-License-Identifier: MIT
//
// String's buffers: which operations allocate, copy or write in place, and what is left when out of
// memory. Each row of EDITS runs on an unshared String, on a shared one, and with each allocation
// failing. fuzz/string_edit.cc compares random edits with a model, fuzz/string_search.cc
// comparisons and searches, and fuzz/format.cc the texts of concatf().

#include <velutils++/text.h>

#include <gtest/gtest.h>
#include <limits.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/support/allocations.h"
#include "tests/support/strings.h"

namespace {

using std::string_literals::operator""s;
typedef String::StringBuffer Buffer;

const char* const null = nullptr;
const String abc("abc");
const String hello("hello");

const Buffer* bufferOf(const String& s) {
    return reinterpret_cast<const Buffer*>(s.buffer()) - 1;
}

// The text. Also checks what holds for every String.
std::string textOf(const String& s) {
    EXPECT_EQ('\0', s.buffer()[s.length()]);
    EXPECT_LE(s.length(), bufferOf(s)->capacity());
    return bytesOf(s);
}

TEST(StringBuffer, Sizes) {
    for (long n = 0; n < 2000; ++n) {
        long fit = n;
        while (n <= 127 ? fit % 16 != 7 : fit % 64 != 63) ++fit;
        EXPECT_EQ(fit, Buffer::NEAREST_VALID_STRING_LENGTH(n)) << n;
    }
    EXPECT_EQ(INT32_MAX, Buffer::NEAREST_VALID_STRING_LENGTH(INT32_MAX));
}

// String itself uses the other constructors.
TEST(StringBuffer, EmptyBuffers) {
    const long before = allocations::outstanding();
    for (Buffer* const buffer : {new (0) Buffer(), new (5) Buffer(5)}) {
        EXPECT_STREQ("", reinterpret_cast<const char*>(buffer + 1));
        EXPECT_FALSE(buffer->hasMultipleReferers());
        buffer->drop();
    }
    EXPECT_EQ(before, allocations::outstanding());
}

template <class... Strings>
void expectEmpty(const Strings&... strings) {
    for (const Buffer* buffer : {bufferOf(strings)...}) EXPECT_EQ(Buffer::EMPTY(), buffer);
}

TEST(StringBuffer, EmptyTextsShareOneBufferAndAllocateNothing) {
    String::EMPTY();  // sanitizers allocate when it is made
    const long before = allocations::requests();
    expectEmpty(String(), String::EMPTY(), String() + "" + null + '\0' + String(), String('\0'),
                String(null), String(""), String(null, 5), String(null, 0, 1), String("abc", 5, 1),
                String("abc", 1, 0), String("abc", 1, LONG_MIN), String::stringOf('\0'),
                hello.substring(5), hello.substring(-1), hello.substring(3, 3),
                hello.substring(5, 9), hello.substring(LONG_MIN, 0));
    EXPECT_EQ(before, allocations::requests());
    expectEmpty(String("abc", LONG_MAX));  // as if out of memory
    EXPECT_EQ(0, Buffer::EMPTY()->capacity());
    EXPECT_TRUE(Buffer::EMPTY()->hasMultipleReferers());
    EXPECT_EQ("", textOf(String()));
}

#define VALUE(expression) #expression, []() -> String { return expression; }
struct Value {
    const char* name;
    String (*make)();
    std::string text;
    long capacity;
    std::string refused;  // the text when an allocation fails
};
const Value VALUES[] = {
    {VALUE(String('a')), "a", 7, ""},
    {VALUE(String("abc", 100)), "abc", 103, ""},
    {VALUE(String("12345678", 2)), "12345678", 23, ""},  // reserving never shortens
    {VALUE(String("abc", 1, 100)), "bc", 7, ""},
    {VALUE(String("abc", LONG_MIN, LONG_MAX)), "abc", 7, ""},
    {VALUE(abc + 'd'), "abcd", 7, "abc"},
    {VALUE(abc + hello), "abchello", 23, "abc"},
    {VALUE(String::stringOf(true)), "true", 7, ""},
    {VALUE(String::stringOf(false)), "false", 7, ""},
    {VALUE(String::stringOf('c')), "c", 7, ""},
    {VALUE(String::stringOf("hello", 1, 3)), "ell", 7, ""},
    {VALUE(String::stringOf(LONG_MIN)), std::to_string(LONG_MIN), 23, ""},
    {VALUE(String::stringOf(4294967295UL)), "4294967295", 23, ""},
    {VALUE(String::stringOf(reinterpret_cast<void*>(0x1234))), "0x1234", 7, ""},
    {VALUE(hello.substring(0)), "hello", 7, ""},  // not a shared buffer
    {VALUE(hello.substring(1, 3)), "el", 7, ""},
    {VALUE(hello.substring(3, LONG_MAX)), "lo", 7, ""},
    {VALUE(hello.substring(-2, 2)), "he", 7, ""},
};

TEST(String, ValuesAndTheirBuffers) {
    for (const Value& row : VALUES) {
        SCOPED_TRACE(row.name);
        const String value = row.make();
        EXPECT_EQ(row.text, textOf(value));
        EXPECT_EQ(row.capacity, bufferOf(value)->capacity());
        const long before = allocations::outstanding();
        for (long n = 1;; ++n) {
            allocations::Refusal refusal(n);
            const String refused = row.make();
            if (!refusal.happened()) break;
            EXPECT_EQ(row.refused, std::string(refused.buffer()));
            EXPECT_EQ(row.refused.empty(), bufferOf(refused) == Buffer::EMPTY());
        }
        EXPECT_EQ(before, allocations::outstanding());
    }
    EXPECT_EQ("xabc", textOf('x' + abc));
    EXPECT_EQ("xabc", textOf("x" + abc));
    EXPECT_EQ("abc", textOf(null + abc));
    EXPECT_EQ(bufferOf(abc), bufferOf(abc + ""));
    const String nul = make("a\0bc"s);
    EXPECT_EQ("bc", textOf(nul.substring(2)));   // continues after the NUL
    EXPECT_EQ("", textOf(nul.substring(2, 4)));  // with an end, the text stops at the NUL
    EXPECT_EQ("a", textOf(nul.substring(0, 4)));
}

TEST(String, ReadAccess) {
    String s("x");
    EXPECT_EQ(&s, &*s);
    EXPECT_EQ(&hello, &*hello);
    char out[] = "......";
    EXPECT_EQ(5, hello.getChars(LONG_MIN, LONG_MAX, out));
    EXPECT_STREQ("hello.", out);
    EXPECT_EQ(0, hello.getChars(LONG_MAX, LONG_MIN, out));
    EXPECT_EQ(INT32_MAX, String("2147483647").toInteger());
    EXPECT_EQ(INT32_MIN, String("-2147483648").toInteger());
}

// The compiler warns about some formats below.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
#ifndef __clang__
#pragma GCC diagnostic ignored "-Wformat-overflow"
#endif

// What happens to the buffer: the String keeps it, takes a new one sized for the text, sizes its
// own for the text, which may move it, takes a copy with the same capacity, or takes the shared
// empty one.
enum Fate { STAYS, RESIZED, GROWN, COPIED, EMPTIED };
#define DO(action) [](String& s) { action; }
#define EDIT(action) #action, DO(action)
struct Edit {
    const char* name;
    void (*edit)(String& s);
    std::string before;
    long room;
    std::string after;
    Fate alone;
    Fate shared;
};
const std::string longText(3000, 'x'), positional = longText + "%1$s";
const std::string fullText = longText + "abcdefg";  // without room to spare
const Edit EDITS[] = {
    {EDIT(s = "xy"), "abc", 100, "xy", STAYS, RESIZED},
    {EDIT(s = ""), "abc", 100, "", STAYS, RESIZED},
    {EDIT(s = null), "abc", 100, "", EMPTIED, EMPTIED},
    {EDIT(s = '\0'), "abc", 100, "", EMPTIED, EMPTIED},
    {EDIT(s = 'x'), "abc", 100, "x", RESIZED, RESIZED},  // even when it would fit

    {EDIT(s += "defg"), "abc", 0, "abcdefg", STAYS, RESIZED},
    {EDIT(s += 'h'), "abcdefg", 0, "abcdefgh", RESIZED, RESIZED},

    {EDIT(s += 'h'), fullText, 0, fullText + 'h', GROWN, RESIZED},
    {EDIT(s += s.buffer() + 3000), fullText, 0, fullText + "abcdefg", GROWN, RESIZED},

    {EDIT(s.replace('x', 'y')), "abc", 100, "abc", STAYS, COPIED},  // no match, yet copied
    {EDIT(s.toUpperCase()), "abc-\xc4yz@[`{\0q"s, 100, "ABC-\xc4YZ@[`{\0Q"s, STAYS, COPIED},
    {EDIT(s.toLowerCase()), "ABC-\xe4YZ@[`{\0Q"s, 100, "abc-\xe4yz@[`{\0q"s, STAYS, COPIED},

    {EDIT(s.trim()), "\t\n\v\f\r  ", 0, "", EMPTIED, EMPTIED},
    {EDIT(s.trim()), "\rab\v", 100, "ab", STAYS, RESIZED},
    {EDIT(s.trim()), "\bab\x0e", 0, "\bab\x0e", STAYS, STAYS},

    {EDIT(s.deleteRegion(2)), "hello", 100, "he", STAYS, RESIZED},
    {EDIT(s.deleteRegion(3, LONG_MAX)), "hello", 100, "hel", STAYS, RESIZED},
    {EDIT(s.deleteRegion(LONG_MIN, 2)), "hello", 100, "llo", STAYS, RESIZED},

    {EDIT(s.insert(1, hello)), "cde", 0, "chellode", RESIZED, RESIZED},
    {EDIT(s.insert(2, 'x')), "cd", 0, "cdx", STAYS, RESIZED},

    // The library measures, and the platform renders. An argument may be the text itself.
    {EDIT(s.format("%d-%s", 42, s.buffer())), "abcdef", 0, "42-abcdef", RESIZED, RESIZED},
    {EDIT(s.format("%s", "")), "abc", 100, "", EMPTIED, EMPTIED},
    // The measured outputs are "0x0" and "0".
    {EDIT(s.format("%p", static_cast<void*>(nullptr))), "abc", 0, "(ni", STAYS, RESIZED},
    {EDIT(s.concatf("%.0d", 0)), "abc", 0, "abc\0"s, STAYS, RESIZED},
    // If the platform fails, what it has written stays.
    {EDIT(s.format("%d of 50%l", 7)), "abcdefghi", 0, "7 of 50", STAYS, RESIZED},
    {EDIT(s.format("%2147483647d%10d", 1, 2)), "abc", 100, "", EMPTIED, EMPTIED},
    // Long outputs are rendered in place, unless the format or an argument lies there.
    {EDIT(s.format("%s%.1s", longText.c_str(), "ab")), "abc", 4000, longText + "a", STAYS, RESIZED},
    {EDIT(s.format("%s%.2s", s.buffer() + 1, "ab")), longText + 'y', 0, longText.substr(1) + "yab",
     STAYS, RESIZED},
    {EDIT(s.format(s.buffer(), 'y', "")), longText + "%c%s", 4000, longText + 'y', STAYS, RESIZED},
    {EDIT(s.format(positional.c_str(), s.buffer())), "abc", 4000, longText + "ab", STAYS,
     RESIZED},  // the measured output ends with "$s"
    // The library takes 3 for the first text and "" for the second.
    {EDIT(s.format("%2048d%hhd%.0s%s", 1, 3, "", s.buffer())), "abc", 4000,
     std::string(2047, ' ') + "13a", STAYS, RESIZED},
};

void checkFate(Fate fate, const String& s, const Buffer* old, long oldCapacity) {
    const Buffer* const now = bufferOf(s);
    const long sized = Buffer::NEAREST_VALID_STRING_LENGTH(s.length());
    const bool resized = fate == RESIZED || fate == GROWN;
    if (fate != GROWN) {
        EXPECT_EQ(fate == STAYS, now == old);
    }
    EXPECT_EQ(fate == EMPTIED, now == Buffer::EMPTY());
    EXPECT_EQ(fate == EMPTIED ? 0 : resized ? sized : oldCapacity, now->capacity());
    if (resized || fate == COPIED) {
        EXPECT_FALSE(now->hasMultipleReferers());
    }
}

// The first allocation fails, then the second, and so on until the edit succeeds.
void checkEdit(const Edit& row, bool shared) {
    const Fate fate = shared ? row.shared : row.alone;
    for (long n = 1;; ++n) {
        String s = make(row.before, row.room);
        const String copy(shared ? s : String::EMPTY());
        const Buffer* const old = bufferOf(s);
        const long capacity = old->capacity();
        bool failed;
        {
            const allocations::Refusal refusal(n);
            row.edit(s);
            failed = refusal.happened();
        }
        if (shared) {
            EXPECT_EQ(row.before, textOf(copy));
        }
        if (!failed) {
            EXPECT_EQ(row.after, textOf(s));
            checkFate(fate, s, old, capacity);
            EXPECT_GE(n, fate == STAYS || fate == EMPTIED ? 1 : 2);
            return;
        }
        EXPECT_EQ(old, bufferOf(s));
        EXPECT_EQ(row.before, textOf(s));
    }
}

TEST(String, EditsWriteInPlaceOrInANewBufferOrFail) {
    const long before = allocations::outstanding();
    for (const Edit& row : EDITS) {
        SCOPED_TRACE(row.name + " on "s + row.before);
        checkEdit(row, false);
        checkEdit(row, true);
    }
    EXPECT_EQ(before, allocations::outstanding());
    String owner = String::EMPTY();
    owner = "";  // the empty buffer always counts as shared
    EXPECT_EQ(7, bufferOf(owner)->capacity());
}

// Lengths that no text can have also do nothing, before anything is read.
TEST(String, EditsThatDoNothingLeaveSharedBuffersShared) {
    String s("hello"), empty;
    const String copy(s);
    const long before = allocations::requests();
    s = *s;
    s += "";
    s += null;
    s += '\0';
    s += String::EMPTY();
    s.concat(null, 3).concat("x", 0).concat("x", LONG_MIN).concat("x", LONG_MAX - 2);
    s.internalConcat("x", INT32_MAX);
    s.deleteRegion(5).deleteRegion(LONG_MAX).deleteRegion(3, 3).deleteRegion(4, 2);
    s.deleteRegion(2, LONG_MIN).insert(6, 'x').insert(-1, 'x').insert(6, "x").insert(-1, abc);
    s.insert(1, '\0').insert(1, null).insert(1, "").insert(1, String::EMPTY());
    s.replace('l', '\0');
    s.trim();
    s.concatf("%s", "").concatf("%*d", INT_MIN, 1).concatf("%2147483647d%10d", 1, 2);
    EXPECT_EQ(copy.buffer(), s.buffer());
    EXPECT_EQ("hello", textOf(s));
    empty.toLowerCase();
    empty.toUpperCase();
    empty.replace('a', 'b');
    empty.trim();
    EXPECT_EQ(Buffer::EMPTY(), bufferOf(empty));
    EXPECT_EQ(before, allocations::requests());
}

TEST(String, LongOutputInPlaceTakesNoMemory) {
    String s("", 7000);
    const long before = allocations::requests();
    // Numbers that only the platform knows are not pointers into the text.
    s.format("%2048d%.1f%Lg%hhx%zd%lld", 1, 2.5, 2.5L, 3, size_t{4}, 5LL);
    EXPECT_EQ(before, allocations::requests());
    s.format("%.3000s", longText.c_str()).concatf("%s%c", longText.c_str(), 'y');
    EXPECT_EQ(before, allocations::requests());
    EXPECT_EQ(longText + longText + 'y', textOf(s));
}

#pragma GCC diagnostic pop

TEST(Comparison, NullPointersAndCharacters) {
    for (const String& s : {String(), abc, make("\0"s)}) {
        const bool none = s.length() == 0;
        EXPECT_EQ(none, s.equals(null));
        EXPECT_EQ(none, s.equalsIgnoreCase(null));
        EXPECT_EQ(relations(s.length(), 0), relations(s, null));
        EXPECT_EQ(relations(0, s.length()), relations(null, s));
        EXPECT_EQ(none, s == '\0');
        EXPECT_EQ(!none, '\0' != s);
    }
    EXPECT_TRUE(String("a") == 'a');
    EXPECT_FALSE('a' != String("a"));
    EXPECT_TRUE(String("ab") != 'a');
    EXPECT_TRUE(String("b") != 'a');
    EXPECT_FALSE('a' == String("ab"));
}

TEST(Comparison, SharersAreEqual) {
    const String copy(abc);
    EXPECT_EQ(relations(0, 0), relations(abc, copy));
    EXPECT_EQ(0, abc.compareTo(copy));
    EXPECT_EQ(0, abc.compareToIgnoreCase(copy));
    EXPECT_TRUE(abc.equals(copy));
    EXPECT_TRUE(abc.equalsIgnoreCase(copy));
}

TEST(Comparison, PositionsWhoseSumsOverflow) {
    EXPECT_FALSE(hello.regionMatches(LONG_MAX, hello, 1, LONG_MAX));
    EXPECT_FALSE(hello.regionMatches(1, hello, LONG_MAX, LONG_MAX));
    EXPECT_FALSE(hello.startsWith(hello, LONG_MAX));
}

// Each thread owns Strings whose buffers it shares with the other threads. It copies, drops and
// changes them. A change copies the buffer, or writes in place in the last thread that has it.
TEST(Threads, StringsOfDifferentThreadsMayShareBuffers) {
    enum { THREADS = 4, BUFFERS = 300, COPIES = 20 };
    const String base("base");
    std::vector<String> originals;
    for (long i = 0; i < BUFFERS; ++i) originals.push_back(base + String::stringOf(i));
    std::vector<std::vector<String>> strings(THREADS, originals);
    originals.clear();
    std::vector<std::thread> threads;
    for (auto& mine : strings) {
        threads.emplace_back([&base, &mine] {
            // Only the count of each buffer orders the threads here.
            for (size_t i = 0; i < BUFFERS; i += 2) mine[i] += 'x';
            for (String& s : mine) {
                const std::string text = textOf(s);
                for (int n = 0; n < COPIES; ++n)
                    EXPECT_EQ(text, textOf(String(String::EMPTY()) + s));
                String copy(base);
                copy = s;
                copy.toUpperCase();
                s += 'x';
                EXPECT_EQ(text + 'x', textOf(s));
                EXPECT_EQ("BASE", textOf(copy).substr(0, 4));
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_FALSE(bufferOf(base)->hasMultipleReferers());
    for (const auto& mine : strings)
        for (const String& s : mine) EXPECT_FALSE(bufferOf(s)->hasMultipleReferers());
}

}  // namespace
