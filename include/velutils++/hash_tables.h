/* SPDX-License-Identifier: MIT
 *
 * Hash tables from 32-bit integers and from texts to untyped pointers. C++ only.
 *
 * A table is an array of chains. It never grows. Give it about as many buckets as you expect
 * entries; with more entries the chains become longer and operations slower.
 *
 *     buckets | 0 | -> entry -> entry -> entry      one key's entries share a chain; each chain is
 *             | 1 |                                 in the order of insertion, oldest first
 *             | 2 | -> entry
 *             | 3 |
 *
 * Keys need not be unique: addEntry always adds an entry, and lookup and removal use the oldest
 * entry of a key. To keep a key unique, look it up before you add it.
 *
 * The table owns its entries and its copies of text keys. The caller owns the values: the table
 * neither dereferences nor frees them. getFirstNPointers returns all of them.
 *
 * Failures: addEntry returns false when out of memory, and the table is unchanged. Only
 * constructors throw: std::bad_array_new_length for a size above 268435456 (2^28), std::bad_alloc
 * when out of memory.
 *
 * Threads: a table belongs to one thread at a time, even for reading.
 */
#ifndef VELUTILS_HASH_TABLES_H
#define VELUTILS_HASH_TABLES_H

#include <velutils++/export.h>

#ifdef __cplusplus

#include <stddef.h>
#include <stdint.h>

// The hash function of an INUInt32HashTable. There is only one, and any other value selects it too.
enum HashFunctionType : int {
    HASH_LOW_BITS = 0  // the low bits of the key
};

// Keys are compared as 32 bits, whatever the width of long.
class VELUTILS_API INUInt32HashTable {
  public:
    // The number of buckets is the smallest power of two that is at least size, and at least 2.
    INUInt32HashTable(unsigned long size, HashFunctionType type);
    INUInt32HashTable(const INUInt32HashTable&) = delete;
    INUInt32HashTable& operator=(const INUInt32HashTable&) = delete;
    ~INUInt32HashTable();

    // Stores the value of the oldest entry of key in *value. If there is none, returns false and
    // leaves *value alone.
    bool getValueFromKey(unsigned long key, void** value) const;
    // Adds an entry. Returns false when out of memory.
    bool addEntry(unsigned long key, void* value);
    // Removes the oldest entry of key. Returns false if there is none.
    bool removeEntry(unsigned long key);
    // Removes all entries. The values are not freed.
    void removeAllEntries();

    // Writes the first n values, or all if there are fewer, to out and returns their number. The
    // order is bucket after bucket, and the oldest entry first within a chain.
    unsigned long getFirstNPointers(unsigned long n, void** out) const;
    // Calls fn with each value, in the order of getFirstNPointers(). fn may free what the value
    // points to. It must not add entries to this table or remove any.
    void passAllPointers(void (*fn)(void*)) const;
    // Returns the number of entries. It visits all of them each time.
    unsigned long getNumberOfKeys() const;
    // Returns the number of entries in the longest chain: 1 is ideal, 0 means an empty table.
    unsigned long getLongestChain() const;

    // Returns the bucket of key: its low bits.
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

// As INUInt32HashTable, with texts as keys. They are compared with strcmp(3). The table stores a
// copy of each key. REQUIRES: every key is a NUL-terminated text.
class VELUTILS_API INStringHashTable {
  public:
    // As the constructor of INUInt32HashTable.
    explicit INStringHashTable(unsigned long size);
    INStringHashTable(const INStringHashTable&) = delete;
    INStringHashTable& operator=(const INStringHashTable&) = delete;
    ~INStringHashTable();

    // As the operation of the same name in INUInt32HashTable.
    bool getValueFromKey(const char* key, void** value) const;
    bool addEntry(const char* key, void* value);
    bool removeEntry(const char* key);
    void removeAllEntries();
    unsigned long getFirstNPointers(unsigned long n, void** out) const;
    void passAllPointers(void (*fn)(void*)) const;
    unsigned long getNumberOfKeys() const;
    unsigned long getLongestChain() const;

    // Returns the bucket of key: the low bits of a hash h, which starts at 0 and becomes
    // h ^ (h << 5) ^ c for each byte c.
    unsigned long calculateHash(const char* key) const;

  private:
    struct Entry;

    // ConfigReader finds the link of a key, which holds null if the table has no such key, and
    // stores a new entry there. The entry has room for the value, whose address it gets.
    friend class ConfigReader;
    VELUTILS_LOCAL Entry** findLink(const char* key, uint32_t hash) const;
    VELUTILS_LOCAL static void* appendAt(Entry** link, const char* key, uint32_t hash, size_t room);

    Entry** buckets;
    uint32_t numberOfBuckets;
    uint32_t hashMask;
};

static_assert(sizeof(INUInt32HashTable) == sizeof(void*) + 8, "a pointer and two 32-bit numbers");
static_assert(sizeof(INStringHashTable) == sizeof(void*) + 8, "a pointer and two 32-bit numbers");

#endif

#endif
