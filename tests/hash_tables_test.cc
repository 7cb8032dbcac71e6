// SPDX-License-Identifier: MIT

#include <velutils++/hash_tables.h>

#include <gtest/gtest.h>

#include <limits.h>
#include <string.h>

#include <algorithm>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "tests/support/allocations.h"

namespace {

// The two tables under one face: key(i) is the table's key number i, hash(i) what it hashes to.
struct Integers : INUInt32HashTable {
    explicit Integers(unsigned long size) : INUInt32HashTable(size, HashFunctionType(77)) {}
    static uint32_t key(uint32_t i) { return i * 3; }
    static uint32_t hash(uint32_t i) { return i * 3; }
};

struct Strings : INStringHashTable {
    using INStringHashTable::INStringHashTable;
    static std::string textOf(uint32_t i) { return i == 0 ? "" : "\xfc" + std::to_string(i); }
    // In a buffer that the next call overwrites: the table must not keep it.
    static const char* key(uint32_t i) {
        static char text[20];
        return strcpy(text, textOf(i).c_str());
    }
    static uint32_t hash(uint32_t i) {
        uint32_t h = 0;
        for (const char ch : textOf(i)) h = h ^ (h << 5) ^ static_cast<unsigned char>(ch);
        return h;
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

std::vector<void*> passed;

template <class Table>
void* valueIn(const Table& table, uint32_t i) {
    char untouched;
    void* value = &untouched;
    if (table.getValueFromKey(Table::key(i), &value)) return value;
    EXPECT_EQ(&untouched, value);
    return nullptr;
}

TYPED_TEST(Tables, SmallestSufficientPowerOfTwo) {
    const unsigned long rows[][2] = {{0, 2}, {2, 2}, {3, 4}, {5, 8}, {1024, 1024}, {1025, 2048}};
    for (const auto& row : rows) {
        const TypeParam table(row[0]);
        for (uint32_t i = 0; i < 2000; ++i)
            ASSERT_EQ(TypeParam::hash(i) % row[1], table.calculateHash(TypeParam::key(i)));
        EXPECT_EQ(0u, table.getLongestChain());
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

// Random programs against the chains as plain vectors.
TYPED_TEST(Tables, BehaveAsChainsInOrderOfInsertion) {
    typedef std::pair<uint32_t, void*> Item;
    const uint32_t buckets = 8;
    char values[256];
    std::mt19937 random(4);
    TypeParam table(buckets);
    std::vector<Item> model[buckets];
    for (int step = 1; step <= 4000; ++step) {
        const uint32_t key = static_cast<uint32_t>(random() % 20);
        std::vector<Item>& chain = model[TypeParam::hash(key) % buckets];
        const auto isKey = [key](const Item& item) { return item.first == key; };
        const auto found = std::find_if(chain.begin(), chain.end(), isKey);
        if (step % 1000 == 0) {
            table.removeAllEntries();
            for (std::vector<Item>& each : model) each.clear();
        } else if (random() % 2 == 0) {
            chain.emplace_back(key, &values[random() % sizeof values]);
            ASSERT_TRUE(table.addEntry(TypeParam::key(key), chain.back().second));
        } else {
            ASSERT_EQ(found != chain.end(), table.removeEntry(TypeParam::key(key)));
            if (found != chain.end()) chain.erase(found);
        }

        const auto oldest = std::find_if(chain.begin(), chain.end(), isKey);
        ASSERT_EQ(oldest == chain.end() ? nullptr : oldest->second, valueIn(table, key));
        std::vector<void*> all;
        size_t longest = 0;
        for (const std::vector<Item>& each : model) {
            for (const Item& item : each) all.push_back(item.second);
            longest = std::max(longest, each.size());
        }
        ASSERT_EQ(all.size(), table.getNumberOfKeys());
        ASSERT_EQ(longest, table.getLongestChain());
        passed.clear();
        table.passAllPointers([](void* value) { passed.push_back(value); });
        ASSERT_EQ(all, passed);
        const size_t n = random() % (all.size() + 3);
        std::vector<void*> first(n);
        all.resize(std::min(n, all.size()));
        first.resize(table.getFirstNPointers(n, first.data()));
        ASSERT_EQ(all, first);
    }
    passed = std::vector<void*>();
}

TEST(IntegerTable, KeysAre32BitsWide) {
    char a;
    void* value = nullptr;
    INUInt32HashTable table(8, HASH_LOW_BITS);
    EXPECT_TRUE(table.addEntry(0xFFFFFFFF, &a) && table.calculateHash(ULONG_MAX) == 7);
    EXPECT_TRUE(table.getValueFromKey(ULONG_MAX, &value) && value == &a);
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
