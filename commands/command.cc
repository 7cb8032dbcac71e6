// SPDX-License-Identifier: MIT
//
// getopt_long(3) reads each level of the command line. All commands share one table of options;
// each command accepts those that its row lists.

#include "command.h"

#include <getopt.h>
#include <stdlib.h>
#include <string.h>

#include "duration.h"
#include "escape.h"
#include "report.h"

namespace {

const char OPTION_HELP = 'h';  // --help only
const char SHORT_OPTIONS[] = "+:b:";

const struct option LONG_OPTIONS[] = {
    {"count", required_argument, nullptr, OPTION_COUNT},
    {"help", no_argument, nullptr, OPTION_HELP},
    {"in-place", no_argument, nullptr, OPTION_IN_PLACE},
    {"json", no_argument, nullptr, OPTION_JSON},
    {"prometheus", no_argument, nullptr, OPTION_PROMETHEUS},
    {"timeout", required_argument, nullptr, OPTION_TIMEOUT},
    {"try", no_argument, nullptr, OPTION_TRY},
    {nullptr, 0, nullptr, 0},
};

// Prints what is wrong, and quotes the wrong word if there is one.
void complain(const char* command, std::string_view what, const char* word = nullptr) {
    const std::string quoted = word == nullptr ? "" : joined({" '", escaped(word), "'"});
    say({command, ": ", what, quoted, "; see velutils ", command, " --help"});
}

bool readBase(const char* text, BasePath* base) {
    const char* const names[] = {"tmp", "nv", "proc"};  // by the value of BasePath
    for (int i = STATUS_BASE_TMP; i <= STATUS_BASE_PROC; ++i) {
        if (strcmp(text, names[i]) != 0) continue;
        *base = static_cast<BasePath>(i);
        return true;
    }
    return false;
}

bool readCount(const char* text, uint64_t* count) {
    if (*text == '\0' || text[strspn(text, "0123456789")] != '\0') return false;
    *count = strtoull(text, nullptr, 10);
    return true;
}

// False if the option cannot have this value.
bool apply(int letter, const char* value, Request* request) {
    switch (letter) {
        case OPTION_BASE:
            return readBase(value, &request->base);
        case OPTION_COUNT:
            request->isCounted = true;
            return readCount(value, &request->count);
        case OPTION_TIMEOUT:
            request->isTimed = true;
            return parseSeconds(value, &request->timeout);
        case OPTION_IN_PLACE:
            request->inPlace = true;
            return true;
        case OPTION_JSON:
            request->json = true;
            return true;
        case OPTION_PROMETHEUS:
            request->prometheus = true;
            return true;
        default:
            request->tryOnce = true;
            return true;
    }
}

enum class Outcome { OPERANDS, HELP, WRONG };

// Reads the options after argv[0]. Afterwards optind is the index of the first operand.
Outcome readOptions(const char* command, const char* accepted, int argc, char** argv,
                    Request* request) {
    opterr = 0;
    optind = 0;  // makes glibc start over
    for (;;) {
        const int at = optind > 0 ? optind : 1;
        const int letter = getopt_long(argc, argv, SHORT_OPTIONS, LONG_OPTIONS, nullptr);
        if (letter == -1) return Outcome::OPERANDS;
        if (letter == OPTION_HELP) return Outcome::HELP;
        const char* const text = argv[at];
        if (letter == ':') {
            complain(command, "no value for option", text);
            return Outcome::WRONG;
        }
        if (letter == '?' || strchr(accepted, letter) == nullptr) {
            complain(command, "unknown option", text);
            return Outcome::WRONG;
        }
        if (!apply(letter, optarg, request)) {
            complain(command, "invalid value", optarg);
            return Outcome::WRONG;
        }
    }
}

void putUsage(const char* before, const Command& command) {
    put({before, command.name, *command.usage != '\0' ? " " : "", command.usage, "\n"});
}

int showHelp(const Command& command) {
    putUsage("Usage: velutils ", command);
    put({"\n", command.help});
    return DONE;
}

int showHelp(const Family& family) {
    put({"Usage: velutils ", family.name, " COMMAND ...\n\n", family.summary, "\n"});
    for (int i = 0; i < family.commandCount; ++i) putUsage("  ", family.commands[i]);
    put({"\nMore: velutils ", family.name, " COMMAND --help\n"});
    return DONE;
}

int runCommand(const Command& command, int argc, char** argv, Request* request) {
    setFailureStatus(command.failureStatus);
    request->command = &command;
    switch (readOptions(command.name, command.options, argc, argv, request)) {
        case Outcome::WRONG:
            return command.failureStatus;
        case Outcome::HELP:
            return showHelp(command);
        case Outcome::OPERANDS:
            break;
    }
    request->operands = argv + optind;
    request->operandCount = argc - optind;
    if (request->base == STATUS_BASE_PROC && strchr(command.options, OPTION_PROC) == nullptr)
        return wrongUsage(*request, "not with -b proc");
    if (request->operandCount < command.fewestOperands)
        return wrongUsage(*request, "missing operand");
    if (command.mostOperands == ANY_NUMBER || request->operandCount <= command.mostOperands)
        return command.run(*request);
    complain(command.name, "extra operand", request->operands[command.mostOperands]);
    return command.failureStatus;
}

}  // namespace

int wrongUsage(const Request& request, std::string_view what) {
    complain(request.command->name, what);
    return request.command->failureStatus;
}

int runFamily(const Family& family, int argc, char** argv) {
    Request request;
    if (family.commandCount == 1) return runCommand(family.commands[0], argc, argv, &request);
    switch (readOptions(family.name, family.options, argc, argv, &request)) {
        case Outcome::WRONG:
            return FAILED;
        case Outcome::HELP:
            return showHelp(family);
        case Outcome::OPERANDS:
            break;
    }
    if (optind == argc) {
        complain(family.name, "missing command");
        return FAILED;
    }
    const std::string name = joined({family.name, " ", argv[optind]});
    for (int i = 0; i < family.commandCount; ++i)
        if (name == family.commands[i].name)
            return runCommand(family.commands[i], argc - optind, argv + optind, &request);
    complain(family.name, "unknown command", argv[optind]);
    return FAILED;
}
