// SPDX-License-Identifier: MIT
//
// Looking up the catalogue of events.

#ifndef LINK_MONITOR_EVENTS_H
#define LINK_MONITOR_EVENTS_H

#include <velutils++/status.h>
#include <velutils++/text.h>

// Null when no event has the name.
inline const EventCatalogueEntry* findEvent(const String& name) {
    for (const EventCatalogueEntry& entry : EVENT_CATALOGUE)
        if (name == entry.name) return &entry;
    return nullptr;
}

#endif
