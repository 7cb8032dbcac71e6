// SPDX-License-Identifier: MIT
//
// What the daemon has published in its status directory, and a memory of it.

#ifndef LINK_MONITOR_PUBLICATION_H
#define LINK_MONITOR_PUBLICATION_H

#include <velutils++/status.h>
#include <velutils++/text.h>

#include <vector>

class Publication {
  public:
    explicit Publication(StatusInterface& directory) : directory_(directory) {}

    // Publishes the value if it differs from what is published; complains when it cannot.
    void set(const String& name, const String& value);
    void set(const String& name, unsigned long value);

    // One "name = value" line for each, in the order of their first publication.
    void print() const;

  private:
    struct Item {
        String name;
        String value;
    };

    StatusInterface& directory_;
    std::vector<Item> items_;
};

#endif
