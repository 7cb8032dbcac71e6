// SPDX-License-Identifier: MIT
//
// A status directory of the daemon. It publishes values and remembers their names.

#ifndef LINK_MONITOR_PUBLICATION_H
#define LINK_MONITOR_PUBLICATION_H

#include <velutils++/status_publisher.h>
#include <velutils++/text.h>

#include <vector>

class Publication : public StatusPublisher {
  public:
    // Publishes the value. A failure is reported on standard error.
    void set(const String& name, const String& value);
    void set(const String& name, unsigned long value);

    // Prints a line "name = value" for each value, in the order of first publication.
    void print() const;

  private:
    std::vector<String> names_;
};

#endif
