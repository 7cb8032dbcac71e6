// SPDX-License-Identifier: MIT
//
// Hash tables from 32-bit integers and from texts to untyped pointers. C++ only.
//
// A table is an array of chains. It never grows: choose its size from the number of entries
// expected; beyond it the chains lengthen.
//
//     buckets | 0 | -> entry -> entry -> entry      one key's entries share a chain; each chain is
//             | 1 |                                 in the order of insertion, oldest first
//             | 2 | -> entry
//             | 3 |
//
// Keys are not unique: addEntry always adds, and lookup and removal take the oldest entry of a key.
// Look a key up first to keep it unique.
//
// The table owns its entries and copies of its text keys. The values stay the caller's: they are
// stored as they are, never looked behind and never freed. getFirstNPointers hands them all out.
//
// Failures: addEntry reports a refused allocation and changes nothing. Only constructors throw:
// std::bad_array_new_length for a size above 268435456 (2^28), std::bad_alloc when the heap refuses
// the array.
//
// Threads: one at a time for each table, also when all of them only read.

#ifndef VELUTILS_HASH_TABLES_H
#define VELUTILS_HASH_TABLES_H

#include <stdint.h>

#include <velutils++/export.h>

#ifdef __cplusplus

// The hash function of an INUInt32HashTable. There is one; every other value is taken for it.
enum HashFunctionType : int {
    HASH_LOW_BITS = 0  // the low bits of the key
};

// Keys are compared as 32 bits, whatever the width of long.
class VELUTILS_API INUInt32HashTable {
  public:
    // Makes the smallest power of two of buckets that is at least `size`, and at least 2.
    INUInt32HashTable(unsigned long size, HashFunctionType type);
    INUInt32HashTable(const INUInt32HashTable&) = delete;
    INUInt32HashTable& operator=(const INUInt32HashTable&) = delete;
    ~INUInt32HashTable();

    // Finds the oldest entry of key. Without one, returns false and leaves *value alone.
    bool getValueFromKey(unsigned long key, void** value) const;
    // False when the heap refuses.
    bool addEntry(unsigned long key, void* value);
    // Removes the oldest entry of key. False when there is none.
    bool removeEntry(unsigned long key);
    // Empties the table; the values stay the caller's.
    void removeAllEntries();

    // The following visit bucket after bucket and each chain from its oldest entry on.

    // Writes the first n values, or all if they are fewer, and returns their number.
    unsigned long getFirstNPointers(unsigned long n, void** out) const;
    // Calls fn with each value. fn may dispose of what the value points to, but must not add or
    // remove entries of this table.
    void passAllPointers(void (*fn)(void*)) const;
    // Counts the entries, each time anew.
    unsigned long getNumberOfKeys() const;
    // The length of the longest chain: 1 is ideal, 0 means empty.
    unsigned long getLongestChain() const;

    // The bucket of key: its low bits.
    unsigned long calculateHash(unsigned long key) const;

  private:
    struct Entry {
        uint32_t key;
        void* value;
        Entry* next;
    };

    Entry** buckets;
    uint32_t numberOfBuckets;
    uint32_t hashMask;
};

// The same with texts as keys, compared with strcmp(3). The table copies a key that it stores.
// REQUIRES: every key is a NUL-terminated text.
class VELUTILS_API INStringHashTable {
  public:
    // As INUInt32HashTable.
    explicit INStringHashTable(unsigned long size);
    INStringHashTable(const INStringHashTable&) = delete;
    INStringHashTable& operator=(const INStringHashTable&) = delete;
    ~INStringHashTable();

    // All as in INUInt32HashTable.
    bool getValueFromKey(const char* key, void** value) const;
    bool addEntry(const char* key, void* value);
    bool removeEntry(const char* key);
    void removeAllEntries();
    unsigned long getFirstNPointers(unsigned long n, void** out) const;
    void passAllPointers(void (*fn)(void*)) const;
    unsigned long getNumberOfKeys() const;
    unsigned long getLongestChain() const;

    // The bucket of key: the low bits of h, which starts at 0 and becomes h ^ (h << 5) ^ c for
    // each byte c.
    unsigned long calculateHash(const char* key) const;

  private:
    friend class ConfigReader;

    struct Entry {
        char* key;
        void* value;
        Entry* next;
    };

    // Look-up and addition with one hash and one walk: the link to the oldest entry of key, or the
    // one at the end of its chain; and a new entry at the end of the chain that goes on at link.
    VELUTILS_LOCAL Entry** linkOf(const char* key) const;
    VELUTILS_LOCAL static bool addBehind(Entry** link, const char* key, void* value);

    Entry** buckets;
    uint32_t numberOfBuckets;
    uint32_t hashMask;
};

static_assert(sizeof(INUInt32HashTable) == sizeof(void*) + 8, "a pointer and two 32-bit numbers");
static_assert(sizeof(INStringHashTable) == sizeof(void*) + 8, "a pointer and two 32-bit numbers");

#endif

#endif
