// SPDX-License-Identifier: MIT

#include "tests/support/syslog_reader.h"

#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

static const std::string IDENT = "velutils-test";

SyslogReader::SyslogReader() : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strcpy(address.sun_path, "/dev/log");
    unlink(address.sun_path);
    if (bind(fd_, reinterpret_cast<struct sockaddr*>(&address), sizeof address) != 0) abort();
    openlog(IDENT.c_str(), LOG_NDELAY, LOG_USER);
}

SyslogReader::~SyslogReader() {
    closelog();
    close(fd_);
    unlink("/dev/log");
}

std::vector<std::string> SyslogReader::messages() {
    std::vector<std::string> found;
    char packet[4096];
    for (;;) {
        const ssize_t n = recv(fd_, packet, sizeof packet, MSG_DONTWAIT);
        if (n <= 0) return found;
        // "<facility and priority>date ident: text"
        const std::string whole(packet, static_cast<size_t>(n));
        const int priority = atoi(whole.c_str() + 1) & LOG_PRIMASK;
        std::string text = whole.substr(whole.find(IDENT) + IDENT.size() + 2);
        while (!text.empty() && (text.back() == '\0' || text.back() == '\n')) text.pop_back();
        found.push_back(std::to_string(priority) + text);
    }
}
