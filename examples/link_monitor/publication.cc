// SPDX-License-Identifier: MIT

#include "publication.h"

#include <stdio.h>

#include <algorithm>

void Publication::set(const String& name, const String& value) {
    if (!publish(name, value)) {
        fprintf(stderr, "link-monitor: cannot publish %s\n", name.buffer());
        return;
    }
    if (std::find(names_.begin(), names_.end(), name) == names_.end()) names_.push_back(name);
}

void Publication::set(const String& name, unsigned long value) {
    set(name, String::stringOf(value));
}

void Publication::print() const {
    for (const String& name : names_) {
        String value;
        getStatus(name, value);
        printf("%s = %s\n", name.buffer(), value.buffer());
    }
    fflush(stdout);
}
