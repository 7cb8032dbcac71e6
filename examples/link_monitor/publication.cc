// SPDX-License-Identifier: MIT

#include "publication.h"

#include <stdio.h>

void Publication::set(const String& name, const String& value) {
    Item* item = nullptr;
    for (Item& known : items_)
        if (known.name == name) item = &known;
    if (item != nullptr && item->value.equals(value)) return;
    if (!directory_.setStatus(name, value)) {
        fprintf(stderr, "link-monitor: cannot publish %s\n", name.buffer());
        return;
    }
    if (item != nullptr)
        item->value = value;
    else
        items_.push_back({name, value});
}

void Publication::set(const String& name, unsigned long value) {
    set(name, String::stringOf(value));
}

void Publication::print() const {
    for (const Item& item : items_) printf("%s = %s\n", item.name.buffer(), item.value.buffer());
    fflush(stdout);
}
