// SPDX-License-Identifier: MIT
//
// Sizes and hashes. fuzz/hash_tables.cc holds the entries against a model.

#include <velutils++/hash_tables.h>

#include <gtest/gtest.h>

#include <limits.h>
#include <string.h>

#include <new>
#include <string>

#include "tests/support/allocations.h"

namespace {

// The two tables under one face: key(i) is the table's key number i.
struct Integers : INUInt32HashTable {
    explicit Integers(unsigned long size) : INUInt32HashTable(size, HashFunctionType(77)) {}
    static uint32_t key(uint32_t i) { return i * 3; }
};

struct Strings : INStringHashTable {
    using INStringHashTable::INStringHashTable;
    // In a buffer that the next call overwrites: the table must not keep it.
    static const char* key(uint32_t i) {
        static char text[20];
        return strcpy(text, std::to_string(i).c_str());
    }
};

template <class Table>
class Tables : public testing::Test {
  public:
    Tables() : before_(allocations::outstanding()) {}
    ~Tables() override { EXPECT_EQ(before_, allocations::outstanding()); }

  private:
    long before_;
};
using BothTables = testing::Types<Integers, Strings>;
TYPED_TEST_SUITE(Tables, BothTables, );

TYPED_TEST(Tables, SmallestSufficientPowerOfTwo) {
    const TypeParam large(1 << 20);
    const unsigned long rows[][2] = {{0, 2}, {2, 2}, {3, 4}, {5, 8}, {1024, 1024}, {1025, 2048}};
    for (const auto& row : rows) {
        TypeParam table(row[0]);
        for (uint32_t i = 0; i < 2000; ++i)
            ASSERT_EQ(large.calculateHash(TypeParam::key(i)) % row[1],
                      table.calculateHash(TypeParam::key(i)));
        EXPECT_EQ(0u, table.getLongestChain());
        EXPECT_TRUE(table.addEntry(TypeParam::key(1), nullptr));
    }
}

// The refusal tells a size that is refused before the heap is asked from one that the heap refuses.
TYPED_TEST(Tables, LargestSize) {
    allocations::Refusal refusal(1);
    for (const unsigned long size : {(1ul << 28) + 1, 1ul << 31, ULONG_MAX})
        EXPECT_THROW(TypeParam table(size), std::bad_array_new_length);
    try {
        allocations::Refusal second(1);
        TypeParam table(1ul << 28);
        ADD_FAILURE();
    } catch (const std::bad_alloc& e) {
        EXPECT_EQ(nullptr, dynamic_cast<const std::bad_array_new_length*>(&e));
    }
}

TEST(IntegerTable, KeysAre32BitsWide) {
    char a;
    void* value = nullptr;
    INUInt32HashTable table(8, HASH_LOW_BITS);
    for (uint32_t key = 0; key < 100; ++key) EXPECT_EQ(key % 8, table.calculateHash(key));
    EXPECT_TRUE(table.addEntry(0xFFFFFFFF, &a));
    EXPECT_EQ(7u, table.calculateHash(ULONG_MAX));
    EXPECT_TRUE(table.getValueFromKey(ULONG_MAX, &value));
    EXPECT_EQ(&a, value);
    EXPECT_TRUE(table.removeEntry(ULONG_MAX));
}

TEST(StringTable, Hashes) {
    const INStringHashTable table(1 << 20);
    EXPECT_EQ(100384u, table.calculateHash("abc"));
    uint32_t h = 0;
    std::string key;
    for (unsigned char ch = 255; ch > 200; --ch) {
        EXPECT_EQ(h & 0xfffff, table.calculateHash(key.c_str())) << key.size();
        key += static_cast<char>(ch);
        h = h ^ h << 5 ^ ch;
    }
}

}  // namespace
