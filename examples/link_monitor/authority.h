// SPDX-License-Identifier: MIT
//
// Tells authentic texts: those that come with their HMAC-SHA1 (RFC 2104) under the daemon's key,
// in 40 lower-case hexadecimal digits. A text seen once can be sent again by anyone.

#ifndef LINK_MONITOR_AUTHORITY_H
#define LINK_MONITOR_AUTHORITY_H

#include <velutils++/text.h>

class Authority {
  public:
    // An empty key accepts nothing.
    explicit Authority(const String& key) : key_(key) {}

    bool accepts(const String& text, const String& code) const;

  private:
    const String key_;
};

#endif
