// SPDX-License-Identifier: MIT
//
// The families of commands, and how a command line becomes a request to one of them.
//
// A command line is: velutils FAMILY [family's options] COMMAND [options] OPERANDS. Options end at
// the first operand, or at "--".

#ifndef VELUTILS_COMMANDS_COMMAND_H
#define VELUTILS_COMMANDS_COMMAND_H

#include <stdint.h>

#include <velutils++/status.h>

#include "pieces.h"

// Options, as letters for Command::options and Family::options.
const char OPTION_BASE = 'b';        // -b BASE
const char OPTION_COUNT = 'c';       // --count N
const char OPTION_IN_PLACE = 'i';    // --in-place
const char OPTION_JSON = 'j';        // --json
const char OPTION_PROC = 'P';        // BASE may be proc
const char OPTION_PROMETHEUS = 'p';  // --prometheus
const char OPTION_TIMEOUT = 't';     // --timeout S
const char OPTION_TRY = 'y';         // --try

struct Command;

struct Request {
    const Command* command;
    BasePath base = STATUS_BASE_TMP;
    bool inPlace = false;
    bool json = false;
    bool prometheus = false;
    bool tryOnce = false;
    bool isCounted = false;
    uint64_t count = 0;
    bool isTimed = false;
    int64_t timeout = 0;  // ns
    char** operands = nullptr;
    int operandCount = 0;
};

const int ANY_NUMBER = -1;

struct Command {
    const char* name;     // with its family's, as "status get"
    const char* options;  // letters
    int fewestOperands;
    int mostOperands;  // or ANY_NUMBER
    int failureStatus;
    const char* usage;  // what follows the name
    const char* help;   // lines, each with its newline
    int (*run)(const Request&);
};

struct Family {
    const char* name;
    const char* options;
    const char* summary;
    const Command* commands;  // one without a name of its own stands for the family
    int commandCount;
};

extern const Family STATUS_FAMILY;
extern const Family CONFIG_FAMILY;
extern const Family LOCK_FAMILY;
extern const Family EVENTS_FAMILY;

// Reads the command line from the family's name on, runs what it asks for and returns the exit
// status.
int runFamily(const Family& family, int argc, char** argv);

// Says what is wrong with a request, and where help is. Returns the failure status.
int wrongUsage(const Request& request, std::string_view what);

#endif
