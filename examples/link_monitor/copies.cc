// SPDX-License-Identifier: MIT

#include "copies.h"

#include <velutils++/process_table.h>

#include <string.h>
#include <unistd.h>

namespace {

// Whether the command line is the program's path, alone or followed by a space.
bool runs(const ProcessEntry& process, const char* program) {
    const size_t n = strlen(program);
    const char* const name = process.getName();
    return strncmp(name, program, n) == 0 && (name[n] == '\0' || name[n] == ' ');
}

}  // namespace

int countOtherCopies(const char* program) {
    ProcessControl processes;
    processes.refresh(false);
    int count = 0;
    const ProcessEntry* process = nullptr;
    while ((process = processes.getNextProcessEntryByName(program, process)) != nullptr)
        if (process->getPid() != getpid() && runs(*process, program)) ++count;
    return count;
}

bool isOtherCopy(const char* program, int pid) {
    ProcessControl processes;
    processes.refresh(false);
    const ProcessEntry* const process = processes.getProcessEntryByPid(pid);
    return process != nullptr && pid != getpid() && runs(*process, program);
}
