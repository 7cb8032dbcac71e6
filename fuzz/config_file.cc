// SPDX-License-Identifier: MIT
//
// Reads a configuration file of any bytes: ConfigReader has the entries that `velutils config list`
// prints, and ignores as many duplicates as `velutils config check` finds. If the check finds
// nothing, ConfigReader has what a person would read in the file.

#include <fcntl.h>
#include <unistd.h>

#include <velutils++/configuration.h>
#include <velutils++/hash_tables.h>

#include <fstream>

#include "commands/config_check.h"
#include "fuzz/input.h"

namespace {

typedef std::map<std::string, std::string> Entries;

const char FILE_NAME[] = "/tmp/velutils-fuzz.conf";
const char MESSAGES[] = "/tmp/velutils-fuzz.messages";

// The reader's only field follows its virtual table pointer.
unsigned long countOf(const ConfigReader& reader) {
    const void* fields[2];
    static_assert(sizeof fields == sizeof reader, "");
    memcpy(fields, static_cast<const void*>(&reader), sizeof fields);
    return static_cast<const INStringHashTable*>(fields[1])->getNumberOfKeys();
}

// Loads the file. Returns how many duplicates the reader reported.
size_t load(ConfigReader* reader, unsigned long size) {
    const int output = dup(STDOUT_FILENO);
    const int messages = open(MESSAGES, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(messages, STDOUT_FILENO);
    const bool loaded = reader->initialize(FILE_NAME, size);
    fflush(stdout);
    dup2(output, STDOUT_FILENO);
    close(messages);
    close(output);
    REQUIRE(loaded);
    size_t count = 0;
    std::ifstream lines(MESSAGES, std::ios::binary);
    for (std::string line; std::getline(lines, line);)
        if (line.compare(0, 28, "cfg: Ignoring duplicate tag:") == 0) ++count;
    return count;
}

// What a person reads: lines of any length, and comments and blanks anywhere.
Entries meantBy(const std::string& bytes) {
    Entries entries;
    for (size_t at = 0; at < bytes.size();) {
        const size_t end = std::min(bytes.find('\n', at), bytes.size());
        const std::string line = withoutBlankEnds(bytes.substr(at, end - at));
        const size_t equals = line.find('=');
        if (line[0] != '#' && equals != std::string::npos)
            entries[withoutBlankEnds(line.substr(0, equals))] =
                withoutBlankEnds(line.substr(equals + 1));
        at = end + 1;
    }
    return entries;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes = Input(data, size).rest();
    std::ofstream(FILE_NAME, std::ios::binary) << bytes;
    ConfigReader reader;
    const size_t ignored = load(&reader, size % 50);

    const Entries entries = entriesOf(bytes);
    const String none("\1");  // no value can be equal to this
    for (const auto& entry : entries)
        REQUIRE(reader.getValue(entry.first.c_str(), none) == entry.second.c_str());
    REQUIRE(countOf(reader) == entries.size());

    const std::list<Finding> findings = findingsIn(bytes);
    size_t givenBefore = 0;
    for (const Finding& finding : findings)
        if (finding.message.compare(0, 5, "key \"") == 0) ++givenBefore;
    REQUIRE(givenBefore == ignored);
    if (findings.empty()) REQUIRE(entries == meantBy(bytes));
    return 0;
}
