// SPDX-License-Identifier: MIT

#include "tests/support/files.h"

#include <filesystem>
#include <fstream>
#include <iterator>
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
    return std::filesystem::exists(std::filesystem::symlink_status(path));
}

int openDescriptors() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return static_cast<int>(std::distance(begin(descriptors), end(descriptors)));
}
