// SPDX-License-Identifier: MIT
//
// Applies the same random operations to both hash tables and to a list in the order of insertion.

#include <velutils++/hash_tables.h>

#include <map>
#include <vector>

#include "fuzz/input.h"

namespace {

struct Item {
    std::string name;
    unsigned long bucket;
    void* value;
};
typedef std::vector<Item> Model;
std::vector<void*> passed;

Model::iterator oldest(Model& model, const std::string& name) {
    return std::find_if(model.begin(), model.end(),
                        [&name](const Item& item) { return item.name == name; });
}

// The tables return values bucket by bucket, and within a chain in the order of insertion.
template <class Table>
void holds(const Table& table, Model model, size_t first) {
    REQUIRE(table.getNumberOfKeys() == model.size());
    std::stable_sort(model.begin(), model.end(),
                     [](const Item& a, const Item& b) { return a.bucket < b.bucket; });
    std::vector<void*> values;
    size_t longest = 0;
    std::map<unsigned long, size_t> lengths;
    for (const Item& item : model) {
        longest = std::max(longest, ++lengths[item.bucket]);
        values.push_back(item.value);
    }
    REQUIRE(table.getLongestChain() == longest);
    passed.clear();
    table.passAllPointers([](void* value) { passed.push_back(value); });
    REQUIRE(values == passed);
    std::vector<void*> some(first);
    some.resize(table.getFirstNPointers(first, some.data()));
    values.resize(std::min(first, values.size()));
    REQUIRE(some == values);
}

template <class Table, class Key>
void step(Table& table, Model& model, size_t action, Key key, const std::string& name,
          void* value) {
    if (action == 0) {
        table.removeAllEntries();
        model.clear();
    } else if (action < 6) {
        REQUIRE(table.addEntry(key, value));
        model.push_back({name, table.calculateHash(key), value});
    } else {
        const auto known = oldest(model, name);
        REQUIRE(table.removeEntry(key) == (known != model.end()));
        if (known != model.end()) model.erase(known);
    }
    char untouched;
    void* found = &untouched;
    const auto left = oldest(model, name);
    REQUIRE(table.getValueFromKey(key, &found) == (left != model.end()));
    REQUIRE(found == (left != model.end() ? left->value : &untouched));
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, std::min(size, size_t{2000}));
    const size_t buckets = input.below(40);
    INUInt32HashTable integers(buckets, HASH_LOW_BITS);
    INStringHashTable texts(buckets);
    Model integerModel, textModel;
    static char values[256];
    while (!input.isEmpty()) {
        const size_t action = input.below(10);
        void* const value = &values[input.below(256)];
        const std::string name(input.below(4), static_cast<char>('a' + input.below(3)));
        const unsigned long key = name.size() << 30 | static_cast<unsigned char>(name[0]);
        step(integers, integerModel, action, key, name.size() < 1 ? "" : std::to_string(key),
             value);
        step(texts, textModel, action, name.c_str(), name, value);
        holds(integers, integerModel, input.below(8));
        holds(texts, textModel, input.below(8));
    }
    return 0;
}
