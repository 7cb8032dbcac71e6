// SPDX-License-Identifier: MIT
//
// Both hash tables as one random program against std::multimap, whose entries of one key keep the
// order of insertion as well.

#include <velutils++/hash_tables.h>

#include <map>
#include <vector>

#include "fuzz/input.h"

namespace {

typedef std::multimap<std::string, void*> Model;
std::vector<void*> passed;

void* keyOrNull(Model& model, const std::string& key) {
    const auto oldest = model.lower_bound(key);
    return oldest != model.end() && oldest->first == key ? oldest->second : nullptr;
}

template <class Table>
void holds(const Table& table, const Model& model, size_t first) {
    REQUIRE(table.getNumberOfKeys() == model.size());
    REQUIRE(table.getLongestChain() <= model.size());
    REQUIRE((table.getLongestChain() == 0) == model.empty());
    passed.clear();
    table.passAllPointers([](void* value) { passed.push_back(value); });
    std::vector<void*> some(first);
    some.resize(table.getFirstNPointers(first, some.data()));
    REQUIRE(some == std::vector<void*>(passed.begin(), passed.begin() + long(some.size())));
    REQUIRE(some.size() == std::min(first, passed.size()));
    std::vector<void*> values;
    for (const auto& item : model) values.push_back(item.second);
    std::sort(values.begin(), values.end());
    std::sort(passed.begin(), passed.end());
    REQUIRE(values == passed);
}

template <class Table, class Key>
void step(Table& table, Model& model, size_t action, Key key, const std::string& name,
          void* value) {
    if (action == 0) {
        table.removeAllEntries();
        model.clear();
    } else if (action < 6) {
        REQUIRE(table.addEntry(key, value));
        model.emplace(name, value);
    } else {
        REQUIRE(table.removeEntry(key) == (model.count(name) != 0));
        if (model.count(name) != 0) model.erase(model.lower_bound(name));
    }
    void* found = nullptr;
    REQUIRE(table.getValueFromKey(key, &found) == (model.count(name) != 0));
    REQUIRE(found == keyOrNull(model, name));
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
