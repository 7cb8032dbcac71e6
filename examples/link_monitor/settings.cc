// SPDX-License-Identifier: MIT

#include "settings.h"

#include <velutils++/configuration.h>
#include <velutils++/conversions.h>
#include <velutils++/status.h>

#include <stdio.h>
#include <string.h>

namespace {

void complain(const char* what, const String& value) {
    fprintf(stderr, "link-monitor: %s: %s\n", what, value.buffer());
}

// Reads a time. Unlike getValueAsInt, which returns a number for any text, it reports a text that
// is not a number.
long milliseconds(const ConfigReader& file, const char* key, long defaultValue) {
    const String text(file.getValue(key, String::EMPTY()));
    if (text.length() == 0) return defaultValue;
    int32_t error = 0;
    const long value = validRangeValueOf32(&error, text.buffer(), 10, 3600 * 1000);
    if (error == 0) return value;
    complain("no usable time", key);
    return defaultValue;
}

bool haveEvent(const String& name) {
    return findEventByName(name.buffer()) != nullptr;
}

LinkSettings readLink(const ConfigReader& file, unsigned long index) {
    LinkSettings link;
    link.interface = file.getIndexedValue("link%lu.name", index, "");
    link.kind = file.getIndexedValue("link%lu.kind", index, "wan");
    link.answerTime = milliseconds(file, "answer-time", 1000);
    // A target must be an address: resolving a name would block the event loop.
    const String target(file.getIndexedValue("link%lu.target", index, ""));
    link.target = IpAddress(target);
    if (target.length() > 0 && link.target.isEmpty()) complain("no address to ping", target);
    if (!haveEvent(link.kind + "-up") || !haveEvent(link.kind + "-down")) {
        complain("no events of this kind", link.kind);
        link.kind = "wan";
    }
    return link;
}

}  // namespace

bool isName(const String& text) {
    const char* const allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-";
    return text.length() > 0 && strspn(text.buffer(), allowed) == strlen(text.buffer());
}

bool Settings::load(const String& path) {
    ConfigReader file;
    if (!file.initialize(path, 64)) return false;

    const String chosen(file.getValue("name", name));
    if (isName(chosen))
        name = chosen;
    else
        complain("no usable name", chosen);
    key = file.getValue("key", "");
    interval = milliseconds(file, "interval", interval);
    for (unsigned long i = 0; file.getIndexedValue("link%lu.name", i, "").length() > 0; ++i) {
        if (file.getIndexedValueAsInt("link%lu.watch", i, 1) == 0) continue;
        const LinkSettings link = readLink(file, i);
        if (link.interface.indexOf('/') < 0)
            links.push_back(link);
        else
            complain("no name of an interface", link.interface);
    }
    return true;
}
