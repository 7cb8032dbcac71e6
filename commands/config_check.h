// SPDX-License-Identifier: MIT
//
// Finds the lines of a configuration file that ConfigReader reads differently from what their
// author meant.

#ifndef VELUTILS_COMMANDS_CONFIG_CHECK_H
#define VELUTILS_COMMANDS_CONFIG_CHECK_H

#include <list>
#include <string>

#include "config_file.h"

struct Finding {
    size_t line;
    std::string message;  // quoted parts are escaped
};

// In line order.
std::list<Finding> findingsIn(const std::string& file);

#endif
