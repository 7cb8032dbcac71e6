// SPDX-License-Identifier: MIT
//
// Files and descriptors.

#ifndef VELUTILS_TESTS_FILES_H
#define VELUTILS_TESTS_FILES_H

#include <string>

// Returns the whole content, or "(unreadable)" if the file cannot be opened.
std::string contentOf(const std::string& path);
void writeFile(const std::string& path, const std::string& content);
bool exists(const std::string& path);

// Returns how many descriptors this process has open.
int openDescriptors();

// Fills the descriptor table for as long as it lives: every open, socket and the like fails.
class DescriptorsExhausted {
  public:
    DescriptorsExhausted();
    ~DescriptorsExhausted();

  private:
    unsigned long oldLimit_;
};

#endif
