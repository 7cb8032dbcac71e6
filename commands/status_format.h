// SPDX-License-Identifier: MIT
//
// Entries of the status tree as text.

#ifndef VELUTILS_COMMANDS_STATUS_FORMAT_H
#define VELUTILS_COMMANDS_STATUS_FORMAT_H

#include <string>

#include "status_entry.h"

// Without a newline. For a removed entry (NONE) the name alone, or null in JSON.
std::string lineOf(const std::string& name, const Entry& entry);
std::string jsonMemberOf(const std::string& name, const Entry& entry);

// Whether a value is a number: an optional sign, digits, an optional fraction, an optional exponent
// and an optional newline.
bool isNumber(const std::string& value);

// The number as a Prometheus sample: without its newline, and infinite if it is too large.
std::string sampleOf(const std::string& number);

// Prometheus' text format. Numbers and other values are two metrics, and the lines of each must be
// together, so the text is complete only when everything is added.
class PrometheusText {
  public:
    // False if, as UTF-8, the name is the same as an earlier one: two samples with one name would
    // make the whole text invalid.
    bool add(const std::string& name, const Entry& entry);
    std::string text() const;

  private:
    std::string numbers_;
    std::string others_;
};

#endif
