// SPDX-License-Identifier: MIT
//
// A configuration file of any bytes: ConfigReader has the same entries as a simple second reader.

#include <velutils++/configuration.h>
#include <velutils++/hash_tables.h>

#include <fstream>
#include <map>

#include "fuzz/input.h"

namespace {

const char FILE_NAME[] = "/tmp/velutils-fuzz.conf";
const size_t PIECE = 1022;

std::string withoutBlanks(const std::string& text) {
    std::string left;
    for (const char ch : text)
        if (static_cast<unsigned char>(ch) > 32) left += ch;
    return left;
}

std::string withoutEnds(std::string text) {
    while (!text.empty() && static_cast<unsigned char>(text.back()) <= 32) text.pop_back();
    while (!text.empty() && static_cast<unsigned char>(text.front()) <= 32) text.erase(0, 1);
    return text;
}

std::map<std::string, std::string> entriesOf(const std::string& bytes) {
    std::map<std::string, std::string> entries;
    for (size_t at = 0; at < bytes.size();) {
        size_t end = std::min(bytes.size(), at + PIECE);
        const size_t newline = bytes.find('\n', at);
        if (newline < end) end = newline + 1;
        const std::string line = std::string(bytes, at, end - at).c_str();  // up to a NUL
        const size_t equals = line.find('=');
        if (line[0] != '#' && equals != std::string::npos)
            entries.emplace(withoutBlanks(line.substr(0, equals)),
                            withoutEnds(line.substr(equals + 1)));
        at = end;
    }
    return entries;
}

// The reader's only field follows its virtual table pointer.
unsigned long countOf(const ConfigReader& reader) {
    const void* fields[2];
    static_assert(sizeof fields == sizeof reader, "");
    memcpy(fields, static_cast<const void*>(&reader), sizeof fields);
    return static_cast<const INStringHashTable*>(fields[1])->getNumberOfKeys();
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes = Input(data, size).rest();
    std::ofstream(FILE_NAME, std::ios::binary) << bytes;
    ConfigReader reader;
    REQUIRE(reader.initialize(FILE_NAME, size % 50));
    const std::map<std::string, std::string> entries = entriesOf(bytes);
    const String none("\1");  // no value can be that
    for (const auto& entry : entries)
        REQUIRE(reader.getValue(entry.first.c_str(), none) == entry.second.c_str());
    REQUIRE(countOf(reader) == entries.size());
    return 0;
}
