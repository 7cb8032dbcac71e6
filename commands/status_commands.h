// SPDX-License-Identifier: MIT
//
// The commands of the status family.

#ifndef VELUTILS_COMMANDS_STATUS_COMMANDS_H
#define VELUTILS_COMMANDS_STATUS_COMMANDS_H

#include "command.h"

int statusGet(const Request& request);
int statusSet(const Request& request);
int statusLink(const Request& request);
int statusRemove(const Request& request);
int statusSend(const Request& request);
int statusList(const Request& request);
int statusWatch(const Request& request);
int statusWait(const Request& request);

#endif
