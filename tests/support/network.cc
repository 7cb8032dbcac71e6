// SPDX-License-Identifier: MIT

#include "tests/support/network.h"

#include <linux/capability.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

std::string outputOf(const std::string& command) {
    std::string output;
    FILE* const pipe = popen((command + " 2>&1").c_str(), "re");
    if (pipe == nullptr) return "(no shell)";
    for (int c; (c = fgetc(pipe)) != EOF;) output += static_cast<char>(c);
    pclose(pipe);
    return output;
}

static bool drop(int capability) {
    struct __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    struct __user_cap_data_struct sets[2] = {};
    if (syscall(SYS_capget, &header, sets) != 0) return false;
    const uint32_t bit = 1u << (capability % 32);
    sets[capability / 32].effective &= ~bit;
    sets[capability / 32].permitted &= ~bit;
    sets[capability / 32].inheritable &= ~bit;
    return syscall(SYS_capset, &header, sets) == 0;
}

bool holdsWithout(int capability, bool (*step)()) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        _exit(drop(capability) && step() ? 0 : 1);
    }
    int status;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
