// SPDX-License-Identifier: MIT
//
// The reader of configuration files. It splits, strips and hashes lines in a buffer on the stack
// and stores them in a hash table. The values are Strings that the reader owns. Each String is
// inside its entry of the table, so a line takes two blocks: the entry and the text of the value.
//
// Tested by configuration_test.cc.

#include <velutils++/configuration.h>

#include <stdio.h>
#include <string.h>

#include <memory>
#include <new>

#include <velutils++/conversions.h>
#include <velutils++/hash_tables.h>

#include "../containers/text_hash_internal.h"
#include "indexed_key_internal.h"

namespace {

struct FileCloser {
    void operator()(FILE* file) const { fclose(file); }
};
typedef std::unique_ptr<FILE, FileCloser> File;

bool isStripped(char ch) {
    return static_cast<unsigned char>(ch) <= ' ';
}

// Strips the key at the start of a line in place and hashes it. Returns what follows the "=", or
// null if the line has none.
const char* splitKey(char* line, uint32_t* keyHash) {
    uint32_t hash = 0;
    char* end = line;
    const char* at = line;
    for (; *at != '='; ++at) {
        if (*at == '\0') return nullptr;
        if (isStripped(*at)) continue;
        hash = addToHash(hash, *at);
        *end++ = *at;
    }
    *end = '\0';
    *keyHash = hash;
    return at + 1;
}

// Makes a value from a text and strips its ends. Returns false when out of memory.
bool stripValue(const char* text, String* value) {
    while (*text != '\0' && isStripped(*text)) ++text;
    size_t length = strlen(text);
    while (length > 0 && isStripped(text[length - 1])) --length;
    value->concat(text, static_cast<long>(length));
    return value->length() == static_cast<long>(length);
}

void destroyValue(void* value) {
    static_cast<String*>(value)->~String();
}

long asInteger(const String& value) {
    const char* const text = value.buffer();
    if (*text == 'o' || *text == 'O') {
        if (value.equalsIgnoreCase("on")) return 1;
        if (value.equalsIgnoreCase("off")) return 0;
    }
    return valueOf32(text);
}

}  // namespace

ConfigReader::ConfigReader() : table(nullptr) {}

ConfigReader::~ConfigReader() {
    cleanup();
    // Volatile, because the compiler removes plain stores to an object whose lifetime ends.
    *const_cast<INStringHashTable* volatile*>(&table) = nullptr;
}

bool ConfigReader::initialize(const String& path, unsigned long size) {
    const String name(path);  // path may be a value of this reader, which cleanup() destroys
    cleanup();
    char line[1024] = "";
    table = new INStringHashTable(size);

    const File file(fopen(name.buffer(), "re"));
    if (file == nullptr) {
        printf("cfg: Error in config file %s, line %ld:\n", name.buffer(), 0L);
        printf("cfg:   %s\n", line);
        return false;
    }
    while (fgets_unlocked(line, sizeof line - 1, file.get()) != nullptr) addLine(line);
    return feof(file.get()) != 0 && ferror(file.get()) == 0;
}

void ConfigReader::addLine(char* line) {
    if (*line == '#') return;
    uint32_t hash;
    const char* const text = splitKey(line, &hash);
    if (text == nullptr) return;
    String value;  // shares the empty buffer if the text is empty
    if (stripValue(text, &value)) store(line, hash, value);
}

bool ConfigReader::add(const String& key, const String& value) {
    return store(key.buffer(), hashOf(key.buffer()), value);
}

bool ConfigReader::store(const char* key, uint32_t hash, const String& value) {
    if (table == nullptr) return false;
    INStringHashTable::Entry** const link = table->findLink(key, hash);
    if (*link != nullptr) {
        printf("cfg: Ignoring duplicate tag:%s=%s\n", key, value.buffer());
        return false;
    }
    void* const place = INStringHashTable::appendAt(link, key, hash, sizeof value);
    if (place == nullptr) return false;
    new (place) String(value);
    return true;
}

const String* ConfigReader::find(const char* key) const {
    void* value = nullptr;
    if (table != nullptr) table->getValueFromKey(key, &value);
    return static_cast<const String*>(value);
}

const String& ConfigReader::getValue(const String& key, const String& defaultValue) const {
    const String* const value = find(key.buffer());
    return value != nullptr ? *value : defaultValue;
}

long ConfigReader::getValueAsInt(const String& key, long defaultValue) const {
    const String* const value = find(key.buffer());
    return value != nullptr ? asInteger(*value) : defaultValue;
}

const String& ConfigReader::getIndexedValue(const String& keyTemplate, unsigned long index,
                                            const String& defaultValue) const {
    String key;
    if (!formIndexedKey(keyTemplate, index, &key)) return defaultValue;
    return ConfigReader::getValue(key, defaultValue);
}

long ConfigReader::getIndexedValueAsInt(const String& keyTemplate, unsigned long index,
                                        long defaultValue) const {
    String key;
    if (!formIndexedKey(keyTemplate, index, &key)) return defaultValue;
    return ConfigReader::getValueAsInt(key, defaultValue);
}

void ConfigReader::cleanup() {
    if (table == nullptr) return;
    table->passAllPointers(destroyValue);
    delete table;
    table = nullptr;
}

bool ConfigReader::strcpystrip(char* destination, int destinationSize, char* source, int count) {
    while (*source == ' ') ++source;
    if (count < 0 || count >= destinationSize) return false;
    if (static_cast<size_t>(count) > strlen(source)) return false;
    while (count > 0 && source[count - 1] == ' ') --count;
    memcpy(destination, source, static_cast<size_t>(count));
    destination[count] = '\0';
    return true;
}

int ConfigReader::indexof(char* text, char character) {
    for (int i = 0; text[i] != '\0'; ++i)
        if (text[i] == character) return i;
    return -1;
}
