// SPDX-License-Identifier: MIT
//
// Sizes and hashes. fuzz/hash_tables.cc compares the entries with a model.

#include <velutils++/hash_tables.h>

#include <gtest/gtest.h>

#include <limits.h>

#include <new>
#include <string>

#include "tests/support/allocations.h"

namespace {

const auto OTHER_FUNCTION = HashFunctionType(77);  // there is only one, whatever the value
const unsigned long LARGEST = 1ul << 28;

TEST(HashTables, HaveTheSmallestSufficientPowerOfTwoOfBuckets) {
    const unsigned long rows[][2] = {{0, 2}, {2, 2}, {3, 4}, {1024, 1024}, {1025, 2048}};
    for (const auto& row : rows) {
        const INUInt32HashTable integers(row[0], OTHER_FUNCTION);
        EXPECT_EQ(row[1] - 1, integers.calculateHash(ULONG_MAX)) << row[0];
        EXPECT_EQ(100384 % row[1], INStringHashTable(row[0]).calculateHash("abc")) << row[0];
    }
}

TEST(HashTables, ALargerTableIsRefusedBeforeItAsksForMemory) {
    EXPECT_THROW(INUInt32HashTable(LARGEST + 1, HASH_LOW_BITS), std::bad_array_new_length);
    EXPECT_THROW(INStringHashTable(LARGEST + 1), std::bad_array_new_length);
    std::string thrown;
    const allocations::Refusal refusal(1);
    try {
        INStringHashTable table(LARGEST);
    } catch (const std::bad_alloc& error) {
        thrown = error.what();
    }
    EXPECT_EQ("std::bad_alloc", thrown);
}

TEST(IntegerTable, KeysAre32BitsWide) {
    char a;
    void* value = nullptr;
    INUInt32HashTable table(8, HASH_LOW_BITS);
    EXPECT_TRUE(table.addEntry(0xFFFFFFFF, &a));
    EXPECT_EQ(7u, table.calculateHash(ULONG_MAX));
    EXPECT_TRUE(table.getValueFromKey(ULONG_MAX, &value));
    EXPECT_EQ(&a, value);
    EXPECT_TRUE(table.removeEntry(ULONG_MAX));
}

TEST(StringTable, Hashes) {
    const INStringHashTable table(1 << 20);
    uint32_t h = 0;
    std::string key;
    for (unsigned char ch = 255; ch > 200; --ch) {
        EXPECT_EQ(h & 0xfffff, table.calculateHash(key.c_str())) << key.size();
        key += static_cast<char>(ch);
        h = h ^ h << 5 ^ ch;
    }
}

// All 32 bits of their hashes are equal.
TEST(StringTable, TellsCollidingKeysApart) {
    char first, second;
    void* value = nullptr;
    INStringHashTable table(1);
    EXPECT_TRUE(table.addEntry("bA", &first));
    EXPECT_FALSE(table.getValueFromKey("c`", &value));
    EXPECT_TRUE(table.addEntry("c`", &second));
    EXPECT_TRUE(table.getValueFromKey("c`", &value));
    EXPECT_EQ(&second, value);
    EXPECT_TRUE(table.removeEntry("c`"));
    EXPECT_TRUE(table.getValueFromKey("bA", &value));
    EXPECT_EQ(&first, value);
}

}  // namespace
