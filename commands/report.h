// SPDX-License-Identifier: MIT
//
// How commands report: results on standard output, messages on standard error, and an exit status.

#ifndef VELUTILS_COMMANDS_REPORT_H
#define VELUTILS_COMMANDS_REPORT_H

#include <string_view>

#include "pieces.h"

// Exit statuses. `lock run` uses LOCK_RUN_FAILED instead of FAILED, because it passes on the status
// of the program that it runs.
const int DONE = 0;
const int NO = 1;
const int FAILED = 2;
const int LOCK_RUN_FAILED = 125;

// Call this first. It fills closed descriptors 0 to 2 with one that cannot be read or written, so
// that no file opened later takes the place of a standard stream.
void beginReport();

// Sets the exit status of failures, FAILED by default. Out of memory, the program prints a message
// and exits with it at once.
void setFailureStatus(int status);

// Prints "velutils: TEXT" on standard error, unescaped.
void say(Pieces text);

// Prints "SUBJECT: reason" with the subject escaped, and returns the failure status.
int failed(std::string_view subject, const char* reason);
int failed(std::string_view subject, int errorNumber);

// Prints the same and returns NO.
int refused(std::string_view subject, const char* reason);
int refused(std::string_view subject, int errorNumber);

// Write to standard output, through a buffer. If that fails, the program prints a message and exits
// with the failure status.
void put(Pieces text);
void flushOutput();
void endOutput();  // flushes, and closes it to see errors that only show then

[[noreturn]] void endOutOfMemory();

#endif
