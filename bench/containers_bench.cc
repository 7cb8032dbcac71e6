// SPDX-License-Identifier: MIT
//
// Tables that are made for the number of their entries. Keys are in random order. One round looks
// up each key once, or makes, fills and destroys a table.

#include "side_by_side.h"

#include <velutils++/hash_tables.h>

#include <glib.h>

#include <algorithm>
#include <memory>
#include <random>
#include <unordered_map>
#include <vector>

namespace {

void* asValue(size_t i) {
    return reinterpret_cast<void*>(i + 1);
}

std::vector<std::string> texts(const char* prefix, size_t n) {
    std::vector<std::string> all;
    for (size_t i = 0; i < n; ++i) all.push_back(prefix + std::to_string(i) + ".address");
    std::shuffle(all.begin(), all.end(), std::mt19937(1));
    return all;
}

std::vector<uint32_t> integers(size_t n) {
    std::mt19937 random(1);
    std::vector<uint32_t> all;
    for (size_t i = 0; i < n; ++i) all.push_back(static_cast<uint32_t>(random()));
    return all;
}

// The tables behind a common interface: the constructor fills the table, and find() returns the
// value or null.

class OurTexts {
  public:
    explicit OurTexts(const std::vector<std::string>& keys) : table_(keys.size()) {
        for (size_t i = 0; i < keys.size(); ++i) table_.addEntry(keys[i].c_str(), asValue(i));
    }
    void* find(const std::string& key) const {
        void* value = nullptr;
        table_.getValueFromKey(key.c_str(), &value);
        return value;
    }

  private:
    INStringHashTable table_;
};

class OurIntegers {
  public:
    explicit OurIntegers(const std::vector<uint32_t>& keys) : table_(keys.size(), HASH_LOW_BITS) {
        for (size_t i = 0; i < keys.size(); ++i) table_.addEntry(keys[i], asValue(i));
    }
    void* find(uint32_t key) const {
        void* value = nullptr;
        table_.getValueFromKey(key, &value);
        return value;
    }

  private:
    INUInt32HashTable table_;
};

template <class Key>
class Unordered {
  public:
    explicit Unordered(const std::vector<Key>& keys) {
        table_.reserve(keys.size());
        for (size_t i = 0; i < keys.size(); ++i) table_.emplace(keys[i], asValue(i));
    }
    void* find(const Key& key) const {
        const auto found = table_.find(key);
        return found == table_.end() ? nullptr : found->second;
    }

  private:
    std::unordered_map<Key, void*> table_;
};

class GlibTexts {
  public:
    explicit GlibTexts(const std::vector<std::string>& keys)
        : table_(g_hash_table_new_full(g_str_hash, g_str_equal, g_free, nullptr)) {
        for (size_t i = 0; i < keys.size(); ++i)
            g_hash_table_insert(table_, g_strdup(keys[i].c_str()), asValue(i));
    }
    ~GlibTexts() { g_hash_table_destroy(table_); }
    void* find(const std::string& key) const { return g_hash_table_lookup(table_, key.c_str()); }

  private:
    GHashTable* table_;
};

class GlibIntegers {
  public:
    explicit GlibIntegers(const std::vector<uint32_t>& keys)
        : table_(g_hash_table_new(g_direct_hash, g_direct_equal)) {
        for (size_t i = 0; i < keys.size(); ++i)
            g_hash_table_insert(table_, GUINT_TO_POINTER(keys[i]), asValue(i));
    }
    ~GlibIntegers() { g_hash_table_destroy(table_); }
    void* find(uint32_t key) const { return g_hash_table_lookup(table_, GUINT_TO_POINTER(key)); }

  private:
    GHashTable* table_;
};

template <class Table, class Key>
Body lookUp(const std::vector<Key>& stored, std::vector<Key> wanted) {
    std::shuffle(wanted.begin(), wanted.end(), std::mt19937(2));
    return repeat([table = std::make_shared<Table>(stored), wanted] {
        for (const Key& key : wanted) benchmark::DoNotOptimize(table->find(key));
    });
}

// One lookup per round, of the next key each time.
template <class Table, class Key>
Body lookUpOne(const std::vector<Key>& keys) {
    return repeat([table = std::make_shared<Table>(keys), keys, i = size_t{0}]() mutable {
        benchmark::DoNotOptimize(table->find(keys[i]));
        i = i + 1 == keys.size() ? 0 : i + 1;
    });
}

template <class Table, class Key>
Body fill(const std::vector<Key>& keys) {
    return repeat([keys] {
        const Table table(keys);
        benchmark::DoNotOptimize(&table);
    });
}

}  // namespace

void registerContainers() {
    const std::vector<std::string> keys = texts("link", 1000);
    const std::vector<std::string> others = texts("port", 1000);
    const std::vector<uint32_t> ids = integers(1000);
    typedef Unordered<std::string> UnorderedTexts;
    typedef Unordered<uint32_t> UnorderedIntegers;

    sideBySide("1000 text keys, all found", "INStringHashTable", lookUp<OurTexts>(keys, keys),
               {{"std::unordered_map", "1.0", lookUp<UnorderedTexts>(keys, keys)},
                {"GHashTable", "1.0", lookUp<GlibTexts>(keys, keys)}});
    sideBySide("1000 text keys, none found", "INStringHashTable", lookUp<OurTexts>(keys, others),
               {{"std::unordered_map", "0.8", lookUp<UnorderedTexts>(keys, others)},
                {"GHashTable", "0.8", lookUp<GlibTexts>(keys, others)}});
    sideBySide("1000 text keys, fill and destroy", "INStringHashTable", fill<OurTexts>(keys),
               {{"std::unordered_map", "0.8", fill<UnorderedTexts>(keys)},
                {"GHashTable", "0.8", fill<GlibTexts>(keys)}});
    sideBySide("1000 integer keys, all found", "INUInt32HashTable", lookUp<OurIntegers>(ids, ids),
               {{"std::unordered_map", "0.8", lookUp<UnorderedIntegers>(ids, ids)},
                {"GHashTable", "0.8", lookUp<GlibIntegers>(ids, ids)}});
    sideBySide("1000 integer keys, fill and destroy", "INUInt32HashTable", fill<OurIntegers>(ids),
               {{"std::unordered_map", "1.0", fill<UnorderedIntegers>(ids)},
                {"GHashTable", "1.0", fill<GlibIntegers>(ids)}});

    scaling("INStringHashTable lookup, entries", "constant", 100,
            [](long n) { return lookUpOne<OurTexts>(texts("link", static_cast<size_t>(n))); });
    scaling("INUInt32HashTable lookup, entries", "constant", 100,
            [](long n) { return lookUpOne<OurIntegers>(integers(static_cast<size_t>(n))); });
    scaling("INStringHashTable fill and destroy, entries", "linear", 100,
            [](long n) { return fill<OurTexts>(texts("link", static_cast<size_t>(n))); });
}
