// SPDX-License-Identifier: MIT
//
// The reader of configuration files. It splits and strips lines in a buffer on the stack and stores
// them in a hash table, whose values are Strings that the reader owns.
//
// Tested by configuration_test.cc.

#include <velutils++/configuration.h>

#include <stdio.h>
#include <string.h>

#include <memory>

#include <velutils++/conversions.h>
#include <velutils++/hash_tables.h>

#include "indexed_key_internal.h"

namespace {

struct FileCloser {
    void operator()(FILE* file) const { fclose(file); }
};
typedef std::unique_ptr<FILE, FileCloser> File;

bool isStripped(char ch) {
    return static_cast<unsigned char>(ch) <= ' ';
}

void stripEverywhere(char* text) {
    char* end = text;
    for (; *text != '\0'; ++text)
        if (!isStripped(*text)) *end++ = *text;
    *end = '\0';
}

char* stripEnds(char* text) {
    char* end = text + strlen(text);
    while (end > text && isStripped(end[-1])) --end;
    *end = '\0';
    while (*text != '\0' && isStripped(*text)) ++text;
    return text;
}

void destroyValue(void* value) {
    delete static_cast<String*>(value);
}

long asInteger(const String& value) {
    if (value.equalsIgnoreCase("on")) return 1;
    if (value.equalsIgnoreCase("off")) return 0;
    return valueOf32(value.buffer());
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
    char* const equals = strchr(line, '=');
    if (equals == nullptr) return;
    *equals = '\0';
    stripEverywhere(line);
    const char* const text = stripEnds(equals + 1);
    String value;  // shares the empty buffer if the text is empty
    if (*text == '\0' || assignAll(value, text)) store(line, value);
}

bool ConfigReader::add(const String& key, const String& value) {
    return store(key.buffer(), value);
}

bool ConfigReader::store(const char* key, const String& value) {
    if (table == nullptr) return false;
    INStringHashTable::Entry** const link = table->findLink(key);
    if (*link != nullptr) {
        printf("cfg: Ignoring duplicate tag:%s=%s\n", key, value.buffer());
        return false;
    }
    std::unique_ptr<String> copy(new String(value));
    if (!table->appendAt(link, key, copy.get())) return false;
    (void)copy.release();
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
