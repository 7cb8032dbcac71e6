// SPDX-License-Identifier: MIT
//
// What a command tells its caller: facts on standard output, messages on standard error, and an
// exit status.

#ifndef VELUTILS_COMMANDS_REPORT_H
#define VELUTILS_COMMANDS_REPORT_H

#include <string_view>

#include "pieces.h"

// Exit statuses. LOCK_RUN_FAILED stands for FAILED in `lock run`, whose other statuses are those of
// the program that it runs.
const int DONE = 0;
const int NO = 1;
const int FAILED = 2;
const int LOCK_RUN_FAILED = 125;

// Before anything else: sets the ground for the functions below. Descriptors 0 to 2 that are closed
// are taken, so that no file opened later is mistaken for a standard stream; using one fails.
void beginReport();

// The status with which a command ends that fails: FAILED unless changed. Running out of memory
// ends the program with it at once, after a message.
void setFailureStatus(int status);

// Prints "velutils: TEXT" on standard error. The text is printed as it is.
void say(Pieces text);

// Says "SUBJECT: reason", the subject escaped, and returns the failure status.
int failed(std::string_view subject, const char* reason);
int failed(std::string_view subject, int errorNumber);

// Says the same and returns NO.
int refused(std::string_view subject, const char* reason);
int refused(std::string_view subject, int errorNumber);

// Standard output. What is put is kept until there is much of it, flushOutput() or endOutput().
// When it cannot be written, the program ends with a message and the failure status.
void put(Pieces text);
void flushOutput();
void endOutput();  // also what only closing the file reports

[[noreturn]] void endOutOfMemory();

#endif
