// SPDX-License-Identifier: MIT
//
// Entries of the status tree as text.

#ifndef VELUTILS_COMMANDS_STATUS_FORMAT_H
#define VELUTILS_COMMANDS_STATUS_FORMAT_H

#include <string>

#include "status_entry.h"

// Without a newline. One that is gone is its name alone, and null in JSON.
std::string lineOf(const std::string& name, const Entry& entry);
std::string jsonMemberOf(const std::string& name, const Entry& entry);

// Whether a value is a number: an optional sign, digits, an optional fraction and an optional
// exponent; a newline may follow.
bool isNumber(const std::string& value);

// A number as Prometheus reads it: without its newline; one that is too large is infinite.
std::string sampleOf(const std::string& number);

// Prometheus' text format. Numbers and other values are two metrics, each of which must stand
// together, so the text is kept until all is added.
class PrometheusText {
  public:
    // False when the name, made UTF-8, is that of an entry already added: two samples of one name
    // would make the whole text invalid.
    bool add(const std::string& name, const Entry& entry);
    std::string text() const;

  private:
    std::string numbers_;
    std::string others_;
};

#endif
