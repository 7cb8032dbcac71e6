// SPDX-License-Identifier: MIT
//
// Files and descriptors.

#ifndef VELUTILS_TESTS_FILES_H
#define VELUTILS_TESTS_FILES_H

#include <sys/resource.h>

#include <string>

// Returns the whole content, or "(unreadable)" if the file cannot be opened.
std::string contentOf(const std::string& path);
void writeFile(const std::string& path, const std::string& content);
bool exists(const std::string& path);

// Returns how many descriptors this process has open.
int openDescriptors();

// While it lives, opening a descriptor fails. A limit of 0 does not affect the open ones.
class DescriptorsExhausted {
  public:
    DescriptorsExhausted() {
        getrlimit(RLIMIT_NOFILE, &old_);
        const struct rlimit none = {0, old_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }
    ~DescriptorsExhausted() { setrlimit(RLIMIT_NOFILE, &old_); }

  private:
    struct rlimit old_;
};

#endif
