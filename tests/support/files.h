// SPDX-License-Identifier: MIT
//
// Files and descriptors as tests speak of them.

#ifndef VELUTILS_TESTS_FILES_H
#define VELUTILS_TESTS_FILES_H

#include <string>

// The whole content; "(unreadable)" when the file cannot be opened.
std::string contentOf(const std::string& path);
void writeFile(const std::string& path, const std::string& content);
bool exists(const std::string& path);

// How many descriptors this process has open.
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
