// SPDX-License-Identifier: MIT
//
// The command families, and how a command line becomes a request to one of their commands.
//
//     velutils FAMILY [FAMILY'S OPTIONS] COMMAND [OPTIONS] OPERANDS
//
// At each level, options end at the first word that is not an option, or at "--".

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
    const char* name;     // includes the family's, as in "status get"
    const char* options;  // the letters of the options that it accepts
    int fewestOperands;
    int mostOperands;  // or ANY_NUMBER
    int failureStatus;
    const char* usage;  // the rest of the command line
    const char* help;   // whole lines
    int (*run)(const Request&);
};

struct Family {
    const char* name;
    const char* options;
    const char* summary;
    const Command* commands;  // if there is only one, it has the family's name
    int commandCount;
};

extern const Family STATUS_FAMILY;
extern const Family CONFIG_FAMILY;
extern const Family LOCK_FAMILY;
extern const Family EVENTS_FAMILY;

// Runs the command that argv, which begins with the family's name, asks for. Returns the exit
// status.
int runFamily(const Family& family, int argc, char** argv);

// Prints what is wrong with a request, and how to get help. Returns the failure status.
int wrongUsage(const Request& request, std::string_view what);

#endif
