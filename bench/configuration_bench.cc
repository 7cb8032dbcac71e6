// SPDX-License-Identifier: MIT
//
// Files of lines "link17.address = 10.0.0.17" or "link17.address = 2023", in the sandbox's memory
// file system.

#include "side_by_side.h"

#include <velutils++/configuration.h>

#include <glib.h>
#include <ini.h>

#include <stdio.h>
#include <stdlib.h>

#include <memory>
#include <unordered_map>
#include <vector>

namespace {

const char GROUP[] = "router";

std::string keyOf(long i) {
    return "link" + std::to_string(i) + ".address";
}

// Writes the file and returns its path. GKeyFile requires the group line.
std::string fileOf(long lines, bool withGroup) {
    const std::string path = "/tmp/" + std::to_string(lines) + (withGroup ? ".grouped" : ".config");
    FILE* const file = fopen(path.c_str(), "we");
    if (withGroup) fprintf(file, "[%s]\n", GROUP);
    for (long i = 0; i < lines; ++i)
        fprintf(file, "%s = 10.0.%ld.%ld\n", keyOf(i).c_str(), i / 256 % 256, i % 256);
    fclose(file);
    return path;
}

// Values of one to seven digits.
std::string fileOfIntegers(long lines) {
    const std::string path = "/tmp/" + std::to_string(lines) + ".integers";
    FILE* const file = fopen(path.c_str(), "we");
    for (long i = 0; i < lines; ++i) fprintf(file, "%s = %ld\n", keyOf(i).c_str(), i * i * 7);
    fclose(file);
    return path;
}

class Ours {
  public:
    explicit Ours(const std::string& path, long lines) {
        reader_.initialize(path.c_str(), static_cast<unsigned long>(lines));
    }
    bool has(const String& key) const {
        return reader_.getValue(key, String::EMPTY()).length() != 0;
    }
    long asInteger(const String& key) const { return reader_.getValueAsInt(key, -1); }

  private:
    ConfigReader reader_;
};

class Glib {
  public:
    explicit Glib(const std::string& path, long) : keys_(g_key_file_new()) {
        g_key_file_load_from_file(keys_, path.c_str(), G_KEY_FILE_NONE, nullptr);
    }
    ~Glib() { g_key_file_free(keys_); }
    bool has(const std::string& key) const {
        gchar* const value = g_key_file_get_value(keys_, GROUP, key.c_str(), nullptr);
        g_free(value);
        return value != nullptr;
    }

  private:
    GKeyFile* keys_;
};

class Inih {
  public:
    explicit Inih(const std::string& path, long) { ini_parse(path.c_str(), store, this); }
    bool has(const std::string& key) const {
        const auto found = values_.find(key);
        return found != values_.end() && !found->second.empty();
    }
    long asInteger(const std::string& key) const {
        const auto found = values_.find(key);
        return found != values_.end() ? strtol(found->second.c_str(), nullptr, 0) : -1;
    }

  private:
    static int store(void* self, const char*, const char* name, const char* value) {
        static_cast<Inih*>(self)->values_.emplace(name, value);
        return 1;
    }
    std::unordered_map<std::string, std::string> values_;
};

template <class Reader>
Body load(long lines, bool withGroup) {
    return repeat([path = fileOf(lines, withGroup), lines] {
        const Reader reader(path, lines);
        benchmark::DoNotOptimize(&reader);
    });
}

template <class Reader, class Key>
Body lookUp(long lines, bool withGroup) {
    std::vector<Key> keys;
    for (long i = 0; i < lines; ++i) keys.push_back(keyOf(i * 7 % lines).c_str());
    return repeat([reader = std::make_shared<Reader>(fileOf(lines, withGroup), lines), keys] {
        for (const Key& key : keys) benchmark::DoNotOptimize(reader->has(key));
    });
}

template <class Reader, class Key>
Body lookUpIntegers(long lines) {
    std::vector<Key> keys;
    for (long i = 0; i < lines; ++i) keys.push_back(keyOf(i * 7 % lines).c_str());
    return repeat([reader = std::make_shared<Reader>(fileOfIntegers(lines), lines), keys] {
        for (const Key& key : keys) benchmark::DoNotOptimize(reader->asInteger(key));
    });
}

}  // namespace

void registerConfiguration() {
    sideBySide("configuration of 1000 lines, load", "ConfigReader", load<Ours>(1000, false),
               {{"GKeyFile", "0.4", load<Glib>(1000, true)},
                {"inih with unordered_map", "0.4", load<Inih>(1000, false)}});
    sideBySide("configuration of 1000 lines, all looked up", "ConfigReader",
               lookUp<Ours, String>(1000, false),
               {{"GKeyFile", "0.5", lookUp<Glib, std::string>(1000, true)},
                {"inih with unordered_map", "1.0", lookUp<Inih, std::string>(1000, false)}});
    sideBySide("configuration of 1000 lines, all as integers", "ConfigReader",
               lookUpIntegers<Ours, String>(1000),
               {{"unordered_map and strtol", "0.8", lookUpIntegers<Inih, std::string>(1000)}});
    scaling("ConfigReader load, lines", "linear", 100,
            [](long lines) { return load<Ours>(lines, false); });
}
