// SPDX-License-Identifier: MIT
//
// The daemon's settings, from a configuration file; link-monitor.conf shows them all.

#ifndef LINK_MONITOR_SETTINGS_H
#define LINK_MONITOR_SETTINGS_H

#include <velutils++/ip_address.h>
#include <velutils++/text.h>

#include <vector>

// Whether the text can name a directory or a setting: letters, digits and "-".
bool isName(const String& text);

struct LinkSettings {
    String interface;
    IpAddress target;  // to ping; empty: none
    String kind;       // of the events: "wan" stands for wan-up and wan-down
    long answerTime;   // ms to wait for the answer of the target
};

struct Settings {
    String name = "link-monitor";  // of the status directory
    String key;                    // of the authentic commands; empty: all are refused
    long interval = 5000;          // ms between two checks of the links
    std::vector<LinkSettings> links;

    // Takes what the file has and defaults for the rest; complains of values that cannot be used.
    // False when the file cannot be read.
    bool load(const String& path);
};

#endif
