// SPDX-License-Identifier: MIT
//
// The daemon's settings, from a configuration file. link-monitor.conf shows all of them.

#ifndef LINK_MONITOR_SETTINGS_H
#define LINK_MONITOR_SETTINGS_H

#include <velutils++/ip_address.h>
#include <velutils++/text.h>

#include <vector>

// Whether the text can name a directory or a setting: letters, digits and "-".
bool isName(const String& text);

struct LinkSettings {
    String interface;
    IpAddress target;  // address to ping, or empty
    String kind;       // kind of the events: "wan" means wan-up and wan-down
    long answerTime;   // ms to wait for the target's answer
};

struct Settings {
    String name = "link-monitor";  // name of the status directory
    String key;                    // key of authenticated commands; if empty, all are refused
    long interval = 5000;          // ms between two checks of the links
    std::vector<LinkSettings> links;

    // Reads the settings from the file. Missing and unusable settings keep their defaults; unusable
    // ones are reported. Returns false if the file cannot be read.
    bool load(const String& path);
};

#endif
