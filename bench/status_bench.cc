// SPDX-License-Identifier: MIT
//
// Status values, and the bare system calls on the same path, in the sandbox's memory file system.

#include "side_by_side.h"

#include <velutils++/status.h>

#include <fcntl.h>
#include <unistd.h>

#include <memory>

namespace {

const char FILE_PATH[] = "/tmp/status/bench/state";

std::shared_ptr<StatusInterface> statusTree() {
    auto status = std::make_shared<StatusInterface>();
    status->setup(STATUS_BASE_TMP, "/bench");
    status->setStatus("/state", "connected");
    return status;
}

String textOf(long n) {
    return String(std::string(static_cast<size_t>(n), 'x').c_str());
}

void bareSet(const char* text, size_t n) {
    const int fd = open(FILE_PATH, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    benchmark::DoNotOptimize(write(fd, text, n));
    close(fd);
}

void bareGet() {
    char text[128];
    const int fd = open(FILE_PATH, O_RDONLY | O_CLOEXEC);
    benchmark::DoNotOptimize(read(fd, text, sizeof text - 1));
    close(fd);
}

}  // namespace

void registerStatus() {
    sideBySide(
        "status value, set", "setStatus",
        repeat([status = statusTree(), name = String("/state"), value = String("connected")] {
            benchmark::DoNotOptimize(status->setStatus(name, value));
        }),
        {{"open, write, close", "1.05", repeat([] { bareSet("connected", 9); })}});
    sideBySide("status value, get", "getStatus",
               repeat([status = statusTree(), name = String("/state"), out = String()]() mutable {
                   benchmark::DoNotOptimize(status->getStatus(name, out));
               }),
               {{"open, read, close", "1.05", repeat(bareGet)}});
    scaling("setStatus, chars", "linear", 100, [](long n) {
        return repeat([status = statusTree(), name = String("/long"), value = textOf(n)] {
            benchmark::DoNotOptimize(status->setStatus(name, value));
        });
    });
    scaling("getStatus, chars", "linear", 40000, [](long n) {
        const auto status = statusTree();
        const String name("/" + String::stringOf(n));
        status->setStatus(name, textOf(n));
        return repeat([status, name, out = String()]() mutable {
            benchmark::DoNotOptimize(status->getStatus(name, out));
        });
    });
}
