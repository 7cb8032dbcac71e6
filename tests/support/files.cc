// SPDX-License-Identifier: MIT

#include "tests/support/files.h"

#include <dirent.h>
#include <stdio.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return "(unreadable)";
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

void writeFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

bool exists(const std::string& path) {
    struct stat status;
    return lstat(path.c_str(), &status) == 0;
}

int openDescriptors() {
    int count = 0;
    DIR* const directory = opendir("/proc/self/fd");
    if (directory == nullptr) return -1;
    while (readdir(directory) != nullptr) ++count;
    closedir(directory);
    return count;
}

// A limit of 0 refuses every new descriptor and leaves the open ones alone.
DescriptorsExhausted::DescriptorsExhausted() {
    struct rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    oldLimit_ = static_cast<unsigned long>(limit.rlim_cur);
    limit.rlim_cur = 0;
    setrlimit(RLIMIT_NOFILE, &limit);
}

DescriptorsExhausted::~DescriptorsExhausted() {
    struct rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = oldLimit_;
    setrlimit(RLIMIT_NOFILE, &limit);
}
