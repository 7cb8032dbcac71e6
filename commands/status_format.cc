// SPDX-License-Identifier: MIT

#include "status_format.h"

#include <math.h>
#include <stdlib.h>

#include "escape.h"
#include "pieces.h"

namespace {

bool isDigit(char ch) {
    return ch >= '0' && ch <= '9';
}

// Skips digits; null if there is none.
const char* passDigits(const char* p) {
    if (p == nullptr || !isDigit(*p)) return nullptr;
    while (isDigit(*p)) ++p;
    return p;
}

const char* passSign(const char* p) {
    return *p == '+' || *p == '-' ? p + 1 : p;
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

const char NUMBERS_HEAD[] =
    "# HELP velutils_status Status values that are numbers.\n"
    "# TYPE velutils_status gauge\n";
const char OTHERS_HEAD[] =
    "# HELP velutils_status_info Other status values, and targets of links; always 1.\n"
    "# TYPE velutils_status_info gauge\n";

}  // namespace

std::string lineOf(const std::string& name, const Entry& entry) {
    std::string text = escaped(name);
    switch (entry.kind) {
        case Entry::VALUE:
            return joined({text, "\t", escaped(entry.text)});
        case Entry::LINK:
            return joined({text, " -> ", escaped(entry.text)});
        case Entry::FIFO:
            return joined({text, " |"});
        default:
            return text;
    }
}

std::string jsonMemberOf(const std::string& name, const Entry& entry) {
    const std::string text = jsonString(name);
    switch (entry.kind) {
        case Entry::VALUE:
            return joined({text, ":", jsonString(entry.text)});
        case Entry::LINK:
            return joined({text, ":{\"link\":", jsonString(entry.text), "}"});
        case Entry::FIFO:
            return joined({text, ":{\"fifo\":true}"});
        default:
            return joined({text, ":null"});
    }
}

bool isNumber(const std::string& value) {
    const char* p = passDigits(passSign(value.c_str()));
    if (p != nullptr && *p == '.') p = passDigits(p + 1);
    if (p != nullptr && (*p == 'e' || *p == 'E')) p = passDigits(passSign(p + 1));
    if (p != nullptr && *p == '\n') ++p;
    return p == value.c_str() + value.size();
}

std::string sampleOf(const std::string& number) {
    const double value = strtod(number.c_str(), nullptr);
    if (isinf(value)) return value > 0 ? "+Inf" : "-Inf";
    return number.substr(0, number.find('\n'));
}

bool PrometheusText::add(const std::string& name, const Entry& entry) {
    if (entry.kind != Entry::VALUE && entry.kind != Entry::LINK) return true;
    const std::string label = joined({"{name=", labelValue(name)});
    // Only names with a replacement character can collide. A value cannot look like a label,
    // because its quotes are escaped.
    if (contains(label, "\xEF\xBF\xBD") && (contains(numbers_, label) || contains(others_, label)))
        return false;
    if (entry.kind == Entry::VALUE && isNumber(entry.text))
        append(&numbers_, {"velutils_status", label, "} ", sampleOf(entry.text), "\n"});
    else
        append(&others_,
               {"velutils_status_info", label, ",value=", labelValue(entry.text), "} 1\n"});
    return true;
}

std::string PrometheusText::text() const {
    return joined({numbers_.empty() ? "" : NUMBERS_HEAD, numbers_,
                   others_.empty() ? "" : OTHERS_HEAD, others_});
}
