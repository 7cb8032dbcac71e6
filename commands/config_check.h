// SPDX-License-Identifier: MIT
//
// What in a configuration file ConfigReader will not take as its author meant it.

#ifndef VELUTILS_COMMANDS_CONFIG_CHECK_H
#define VELUTILS_COMMANDS_CONFIG_CHECK_H

#include <list>
#include <string>

#include "config_file.h"

struct Finding {
    size_t line;
    std::string message;  // what it quotes is escaped
};

// In the order of the lines.
std::list<Finding> findingsIn(const std::string& file);

#endif
