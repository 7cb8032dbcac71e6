// SPDX-License-Identifier: MIT
//
// The sandbox's system log: while a reader lives it is /dev/log, and what the process and its
// children send to syslog(3) can be read back.

#ifndef VELUTILS_TESTS_SYSLOG_READER_H
#define VELUTILS_TESTS_SYSLOG_READER_H

#include <string>
#include <vector>

class SyslogReader {
  public:
    SyslogReader();
    ~SyslogReader();

    // Everything logged since the last call, each message as "<priority>text", for instance
    // "3CSemaphore::lock() - invalid semId!" at LOG_ERR.
    std::vector<std::string> messages();

  private:
    int fd_;
};

#endif
