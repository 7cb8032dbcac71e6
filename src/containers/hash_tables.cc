// SPDX-License-Identifier: MIT
//
// Chained hash tables with integer and text keys.
//
// Both tables consist of the function templates below. They differ in how entries are made, in the
// overloads for their keys and in the hash. An entry's place in a chain is given by the link that
// leads to it: the bucket's head, or the next field of the entry before it. The link at the end of
// a chain holds null, and storing an entry there appends it.
//
// A text entry and its key are one block. The block also has the whole hash of the key, so that a
// lookup compares texts only if they are almost certainly equal.
//
//   | key | value | next | hash | room for ConfigReader's value | k e y \0 |
//
// Tested by hash_tables_test.cc.

#include <velutils++/hash_tables.h>

#include <cxxabi.h>
#include <string.h>

#include <new>

#include "text_hash_internal.h"

struct INStringHashTable::Entry {
    char* key;
    void* value;
    Entry* next;
    uint32_t hash;
};

namespace {

// 2^28 pointers take a quarter of a 32-bit address space.
const unsigned long LARGEST_SIZE = 1ul << 28;

uint32_t bucketsFor(unsigned long size) {
    // Throws std::bad_array_new_length in less code than a throw expression.
    if (size > LARGEST_SIZE) abi::__cxa_throw_bad_array_new_length();
    uint32_t mask = 1;
    while (size > mask + 1) mask = mask * 2 + 1;
    return mask + 1;
}

// A text key to look for.
struct TextKey {
    const char* text;
    uint32_t hash;
};

template <class Entry>
bool hasKey(const Entry& entry, uint32_t key) {
    return entry.key == key;
}

template <class Entry>
bool hasKey(const Entry& entry, const TextKey& key) {
    return entry.hash == key.hash && strcmp(entry.key, key.text) == 0;
}

// One chain

// Returns the link to the oldest entry of key, or the link at the end of the chain.
template <class Entry, class Key>
Entry** linkTo(Entry** link, const Key& key) {
    while (*link != nullptr && !hasKey(**link, key)) link = &(*link)->next;
    return link;
}

template <class Entry, class Key>
bool lookUp(Entry** head, const Key& key, void** value) {
    const Entry* const entry = *linkTo(head, key);
    if (entry == nullptr) return false;
    *value = entry->value;
    return true;
}

// Makes an entry of key with `room` bytes between its fields and its text. Null when out of memory.
template <class Entry>
Entry* newEntry(const TextKey& key, size_t room) {
    const size_t textSize = strlen(key.text) + 1;
    void* const block = ::operator new(sizeof(Entry) + room + textSize, std::nothrow);
    if (block == nullptr) return nullptr;
    char* const text = static_cast<char*>(block) + sizeof(Entry) + room;
    memcpy(text, key.text, textSize);
    return new (block) Entry{text, nullptr, nullptr, key.hash};
}

template <class Entry>
void append(Entry** link, Entry* entry) {
    while (*link != nullptr) link = &(*link)->next;
    *link = entry;
}

template <class Entry, class Key>
bool removeOldest(Entry** head, const Key& key) {
    Entry** const link = linkTo(head, key);
    Entry* const entry = *link;
    if (entry == nullptr) return false;
    *link = entry->next;
    ::operator delete(entry);
    return true;
}

// All chains

template <class Entry>
void releaseAll(Entry** buckets, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) {
        Entry* entry = buckets[i];
        buckets[i] = nullptr;
        while (entry != nullptr) {
            Entry* const next = entry->next;
            ::operator delete(entry);
            entry = next;
        }
    }
}

template <class Entry>
unsigned long firstPointers(Entry* const* buckets, uint32_t count, unsigned long n, void** out) {
    unsigned long written = 0;
    for (uint32_t i = 0; i < count; ++i) {
        for (const Entry* entry = buckets[i]; entry != nullptr; entry = entry->next) {
            if (written == n) return written;
            out[written++] = entry->value;
        }
    }
    return written;
}

template <class Entry>
void passAll(Entry* const* buckets, uint32_t count, void (*fn)(void*)) {
    for (uint32_t i = 0; i < count; ++i) {
        const Entry* entry = buckets[i];
        while (entry != nullptr) {
            const Entry* const next = entry->next;
            fn(entry->value);
            entry = next;
        }
    }
}

struct Extent {
    unsigned long entries;
    unsigned long longestChain;
};

template <class Entry>
Extent measure(Entry* const* buckets, uint32_t count) {
    Extent extent = {0, 0};
    for (uint32_t i = 0; i < count; ++i) {
        unsigned long length = 0;
        for (const Entry* entry = buckets[i]; entry != nullptr; entry = entry->next) ++length;
        extent.entries += length;
        if (length > extent.longestChain) extent.longestChain = length;
    }
    return extent;
}

}  // namespace

// Computes four steps at once. Then the hash depends on one shift for every four bytes, and not on
// four, which saves 3 ns for a key of 15 characters.
uint32_t hashOf(const char* text) {
    uint32_t hash = 0;
    for (;; text += 4) {
        const uint32_t first = static_cast<unsigned char>(text[0]);
        if (first == 0) return hash;
        const uint32_t second = static_cast<unsigned char>(text[1]);
        if (second == 0) return addToHash(hash, text[0]);
        const uint32_t firstTwo = first << 5 ^ first ^ second;
        const uint32_t third = static_cast<unsigned char>(text[2]);
        if (third == 0) return hash ^ hash << 10 ^ firstTwo;
        const uint32_t fourth = static_cast<unsigned char>(text[3]);
        if (fourth == 0) return addToHash(hash ^ hash << 10 ^ firstTwo, text[2]);
        hash ^= hash << 20 ^ firstTwo << 10 ^ firstTwo ^ third << 5 ^ third ^ fourth;
    }
}

// INUInt32HashTable

INUInt32HashTable::INUInt32HashTable(unsigned long size, HashFunctionType)
    : buckets(nullptr), numberOfBuckets(bucketsFor(size)), hashMask(numberOfBuckets - 1) {
    buckets = new Entry*[numberOfBuckets]();
}

INUInt32HashTable::~INUInt32HashTable() {
    removeAllEntries();
    delete[] buckets;
}

bool INUInt32HashTable::getValueFromKey(unsigned long key, void** value) const {
    return lookUp(&buckets[calculateHash(key)], static_cast<uint32_t>(key), value);
}

bool INUInt32HashTable::addEntry(unsigned long key, void* value) {
    Entry* const entry = new (std::nothrow) Entry{static_cast<uint32_t>(key), value, nullptr};
    if (entry == nullptr) return false;
    append(&buckets[calculateHash(key)], entry);
    return true;
}

bool INUInt32HashTable::removeEntry(unsigned long key) {
    return removeOldest(&buckets[calculateHash(key)], static_cast<uint32_t>(key));
}

void INUInt32HashTable::removeAllEntries() {
    releaseAll(buckets, numberOfBuckets);
}

unsigned long INUInt32HashTable::getFirstNPointers(unsigned long n, void** out) const {
    return firstPointers(buckets, numberOfBuckets, n, out);
}

void INUInt32HashTable::passAllPointers(void (*fn)(void*)) const {
    passAll(buckets, numberOfBuckets, fn);
}

unsigned long INUInt32HashTable::getNumberOfKeys() const {
    return measure(buckets, numberOfBuckets).entries;
}

unsigned long INUInt32HashTable::getLongestChain() const {
    return measure(buckets, numberOfBuckets).longestChain;
}

unsigned long INUInt32HashTable::calculateHash(unsigned long key) const {
    return key & hashMask;
}

// INStringHashTable

INStringHashTable::INStringHashTable(unsigned long size)
    : buckets(nullptr), numberOfBuckets(bucketsFor(size)), hashMask(numberOfBuckets - 1) {
    buckets = new Entry*[numberOfBuckets]();
}

INStringHashTable::~INStringHashTable() {
    removeAllEntries();
    delete[] buckets;
}

bool INStringHashTable::getValueFromKey(const char* key, void** value) const {
    const TextKey wanted = {key, hashOf(key)};
    return lookUp(&buckets[wanted.hash & hashMask], wanted, value);
}

bool INStringHashTable::addEntry(const char* key, void* value) {
    const TextKey added = {key, hashOf(key)};
    Entry* const entry = newEntry<Entry>(added, 0);
    if (entry == nullptr) return false;
    entry->value = value;
    append(&buckets[added.hash & hashMask], entry);
    return true;
}

INStringHashTable::Entry** INStringHashTable::findLink(const char* key, uint32_t hash) const {
    return linkTo(&buckets[hash & hashMask], TextKey{key, hash});
}

void* INStringHashTable::appendAt(Entry** link, const char* key, uint32_t hash, size_t room) {
    Entry* const entry = newEntry<Entry>({key, hash}, room);
    if (entry == nullptr) return nullptr;
    entry->value = entry + 1;
    *link = entry;
    return entry->value;
}

bool INStringHashTable::removeEntry(const char* key) {
    const TextKey wanted = {key, hashOf(key)};
    return removeOldest(&buckets[wanted.hash & hashMask], wanted);
}

void INStringHashTable::removeAllEntries() {
    releaseAll(buckets, numberOfBuckets);
}

unsigned long INStringHashTable::getFirstNPointers(unsigned long n, void** out) const {
    return firstPointers(buckets, numberOfBuckets, n, out);
}

void INStringHashTable::passAllPointers(void (*fn)(void*)) const {
    passAll(buckets, numberOfBuckets, fn);
}

unsigned long INStringHashTable::getNumberOfKeys() const {
    return measure(buckets, numberOfBuckets).entries;
}

unsigned long INStringHashTable::getLongestChain() const {
    return measure(buckets, numberOfBuckets).longestChain;
}

unsigned long INStringHashTable::calculateHash(const char* key) const {
    return hashOf(key) & hashMask;
}
