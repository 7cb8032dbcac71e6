// SPDX-License-Identifier: MIT
//
// The sandbox's system log. While a reader lives, it is /dev/log and receives what the process and
// its children send to syslog(3).

#ifndef VELUTILS_TESTS_SYSLOG_READER_H
#define VELUTILS_TESTS_SYSLOG_READER_H

#include <string>
#include <vector>

class SyslogReader {
  public:
    SyslogReader();
    ~SyslogReader();

    // Returns what was logged since the last call. A message begins with its priority: at LOG_ERR,
    // for instance, "3CSemaphore::lock() - invalid semId!".
    std::vector<std::string> messages();

  private:
    int fd_;
};

#endif
