// SPDX-License-Identifier: MIT
//
// Checks whether a text is authentic: whether the code that comes with it is its HMAC-SHA1 (RFC
// 2104) under the daemon's key, in 40 lower-case hexadecimal digits. Anyone who has seen a text and
// its code can send them again.

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
