// SPDX-License-Identifier: MIT

#ifndef VELUTILS_COMMANDS_LOCK_RUN_H
#define VELUTILS_COMMANDS_LOCK_RUN_H

#include "command.h"

int lockRun(const Request& request);

#endif
