// SPDX-License-Identifier: MIT
//
// The formatter where it differs from the platform's snprintf. fuzz/format.cc compares what does
// not differ, and slices of an output with the whole. text_test.cc tests how String uses the
// formatter.

#include <velutils++/text.h>

#include <gtest/gtest.h>
#include <limits.h>

#include <string>

#include "tests/support/allocations.h"

// The compiler warns about some formats below.
#pragma GCC diagnostic ignored "-Wformat"
#ifndef __clang__
#pragma GCC diagnostic ignored "-Wformat-overflow"
#endif

namespace {

// The part of the output from offset on that fits a buffer of size bytes. Checks that nothing
// around the buffer is written.
template <class... Arguments>
std::string slice(int32_t offset, uint32_t size, const char* format, Arguments... arguments) {
    std::string area(size + 2, '#');
    const int32_t stored = snxprintf(&area[1], offset, size, format, arguments...);
    const size_t end = 1 + static_cast<size_t>(stored);
    EXPECT_LT(static_cast<uint32_t>(stored), size);
    EXPECT_EQ('\0', area[end]);
    EXPECT_EQ('#', area[0]);
    EXPECT_EQ(std::string::npos, area.find_first_not_of('#', end + 1));
    return area.substr(1, end - 1);
}

// The whole output. Checks that it is as long as measured.
template <class... Arguments>
std::string out(const char* format, Arguments... arguments) {
    const int32_t length = strlenf(format, arguments...);
    const std::string whole = slice(0, static_cast<uint32_t>(length) + 10, format, arguments...);
    EXPECT_EQ(static_cast<size_t>(length), whole.size()) << format;
    return whole;
}

TEST(Formatter, Directives) {
    void* const null = nullptr;
    const char* const nothing = nullptr;
    const struct {
        std::string got;
        std::string want;
    } rows[] = {
        {out(""), ""},
        {out("%.0d", 0), "0"},  // at least one digit
        {out("%3.x", 0), "  0"},
        {out("%#x", 0), "0"},
        {out("%#o", 0), "0"},
        {out("%#.3o", 8), "0010"},  // the prefix and then the precision
        {out("%ld", LONG_MIN), std::to_string(LONG_MIN)},
        {out("%li", LONG_MAX), std::to_string(LONG_MAX)},
        {out("%lu", -1L), std::to_string(ULONG_MAX)},
        {out("%5p", null), "  0x0"},
        {out("%08p", reinterpret_cast<void*>(0x1234)), "0x001234"},
        {out("%.4p", null), "0x0000"},
        {out("%+p", null), "0x0"},
        {out("%05s", "ab"), "000ab"},
        {out("%-05s|", "ab"), "ab   |"},
        {out("%.3s", nothing), "(nu"},
        {out("%8s", nothing), "  (null)"},
        {out("%.*s", INT_MIN, "abc"), "abc"},
        {out("%03c", 'A'), "00A"},
        {out("%-3c|", 'A'), "A  |"},
        {out("%2.0c|", 'A'), "  |"},
        {out("%.1c", 'A'), "A"},
        {out("%3c|", 0), "  |"},  // a NUL only counts in the width
        {out("%-3c|", 0), "  |"},
        {out("%03c|", 0), "00|"},
        {out("%ls", "ab"), "ab"},
        {out("%lc", 'c'), "c"},
        {out("%hs", "de"), "de"},
        {out("%f", 1.5), "f"},
        {out("%-08.3k"), "k"},
        {out("%5%"), "%"},
        {out("%lld %d", 5, 6), "ld 5"},  // no argument is taken
        {out("%hhd"), "hd"},
        {out("%5.-3d"), "-3d"},  // ended by the second "-"
        {out("%*5d", 1), "5d"},
        {out("a%"), "a"},
        {out("a%-+ #0"), "a"},
        {out("a%12."), "a"},
        {out("a%.*", 3), "a"},
        {out("a%5.2l"), "a"},
    };
    for (const auto& row : rows) EXPECT_EQ(row.want, row.got);
}

TEST(Formatter, HugeWidthsAndPrecisions) {
    EXPECT_EQ(INT_MAX, strlenf("%2147483647d", 5));
    EXPECT_EQ(INT_MAX, strlenf("%99999999999d", 5));
    EXPECT_EQ(INT_MAX, strlenf("%.2147483648d", 5));
    EXPECT_EQ(INT_MAX, strlenf("%*d", INT_MIN, 5));
    EXPECT_EQ(INT_MAX, strlenf("%0*d", INT_MAX, -5));
    EXPECT_EQ(INT_MIN, strlenf("%.2147483647d", -5));  // 2^31 characters do not fit the result
    EXPECT_EQ("   ", slice(7, 4, "%2147483647d", 5));
    EXPECT_EQ("    5", slice(INT_MAX - 5, 10, "%2147483647d", 5));
    EXPECT_EQ("ab", out("%.99999999999s", "ab"));
}

TEST(Formatter, BadArgumentsWriteNothing) {
    char buffer[] = "#";
    int n = 7;
    EXPECT_EQ(0, snxprintf(buffer, 0, 0, "abc%n", &n));
    EXPECT_EQ(0, snxprintf(buffer, -1, 2, "abc%n", &n));
    EXPECT_EQ(0, snxprintf(buffer, INT_MIN, 2, "abc%n", &n));
    EXPECT_EQ(0, snxprintf(nullptr, 0, 2, "abc%n", &n));
    EXPECT_STREQ("#", buffer);
    EXPECT_EQ(7, n);
}

TEST(Formatter, Counts) {
    int n = -1;
    int16_t half[] = {-1, -1};
    EXPECT_EQ("abcd", out("abc%nd", &n));
    EXPECT_EQ(3, n);
    EXPECT_EQ(4, strlenf("abcd%-5n", &n));
    EXPECT_EQ(4, n);
    EXPECT_EQ("c", slice(2, 10, "abc%n", &n));
    EXPECT_EQ(3, n);
    EXPECT_EQ("c", slice(2, 2, "abcdefg%n", &n));  // characters that do not fit do not count
    EXPECT_EQ(3, n);
    EXPECT_EQ("", slice(10, 5, "abc%nd", &n));
    EXPECT_EQ(3, n);
    EXPECT_EQ("", slice(2, 1, "abc%n", &n));
    EXPECT_EQ(0, n);
    EXPECT_EQ(65539, strlenf("%65539s%hn", "", &half[0]));
    EXPECT_EQ(3, half[0]);
    EXPECT_EQ(-1, half[1]);
}

TEST(StringFormat, CountsInAWritableFormat) {
    char format[] = "%s%n|%hn";
    int n = 0;
    short half = 0;
    String s("abc", 100);
    EXPECT_STREQ("abcx|", s.concatf(format, "x", &n, &half).buffer());
    EXPECT_EQ(1, n);  // of the appended output
    EXPECT_EQ(2, half);
    EXPECT_STREQ("yz|", s.format(format, "yz", &n, &half).buffer());
    EXPECT_EQ(2, n);
}

TEST(Formatter, DoesNotAllocate) {
    char buffer[40];
    const long before = allocations::requests();
    snxprintf(buffer, 0, sizeof buffer, "%600d%s%p%.300x", 1, "text", static_cast<void*>(buffer),
              5);
    EXPECT_EQ(before, allocations::requests());
}

}  // namespace
