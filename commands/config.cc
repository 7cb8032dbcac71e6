// SPDX-License-Identifier: MIT
//
// velutils config: configuration files as ConfigReader reads them.

#include "config_check.h"
#include "config_file.h"

#include <algorithm>

#include "command.h"
#include "escape.h"
#include "report.h"

namespace {

int checkFile(const char* path) {
    std::string file;
    const int error = readFile(path, &file);
    if (error != 0) return failed(path, error);
    const std::list<Finding> findings = findingsIn(file);
    for (const Finding& finding : findings)
        put({escaped(path), ":", numberOf(finding.line), ": ", finding.message, "\n"});
    return findings.empty() ? DONE : NO;
}

int check(const Request& request) {
    int worst = DONE;
    for (int i = 0; i < request.operandCount; ++i)
        worst = std::max(worst, checkFile(request.operands[i]));
    return worst;
}

int get(const Request& request) {
    std::string file;
    const int error = readFile(request.operands[0], &file);
    if (error != 0) return failed(request.operands[0], error);
    const std::map<std::string, std::string> entries = entriesOf(file);
    const auto entry = entries.find(request.operands[1]);
    if (entry != entries.end())
        put({entry->second, "\n"});
    else if (request.operandCount > 2)
        put({request.operands[2], "\n"});
    else
        return refused(request.operands[1], "no such key");
    return DONE;
}

int list(const Request& request) {
    std::string file;
    const int error = readFile(request.operands[0], &file);
    if (error != 0) return failed(request.operands[0], error);
    for (const auto& entry : entriesOf(file))
        put({escaped(entry.first), "=", escaped(entry.second), "\n"});
    return DONE;
}

const Command COMMANDS[] = {
    {"config check", "", 1, ANY_NUMBER, FAILED, "FILE...",
     "Prints the lines that the library's reader reads differently from what was meant, as\n"
     "FILE:LINE: MESSAGE.\n"
     "\n"
     "Exit status: 0 nothing found, 1 something found, 2 a file could not be read.\n",
     check},
    {"config get", "", 2, 3, FAILED, "FILE KEY [DEFAULT]",
     "Prints the value of the key as it is, or DEFAULT, and a newline.\n"
     "\n"
     "Exit status: 0 done, 1 no such key and no DEFAULT, 2 FILE could not be read.\n",
     get},
    {"config list", "", 1, 1, FAILED, "FILE",
     "Prints the entries as KEY=VALUE, sorted.\n"
     "\n"
     "Exit status: 0 done, 2 FILE could not be read.\n",
     list},
};

}  // namespace

const Family CONFIG_FAMILY = {"config", "", "configuration files of \"key = value\" lines\n",
                              COMMANDS, sizeof COMMANDS / sizeof *COMMANDS};
