// SPDX-License-Identifier: MIT
//
// velutils: the library for shell scripts and people.

#include <string.h>
#include <syslog.h>

#include "command.h"
#include "escape.h"
#include "report.h"

namespace {

const Family* const FAMILIES[] = {&STATUS_FAMILY, &CONFIG_FAMILY, &LOCK_FAMILY, &EVENTS_FAMILY};

void showHelp() {
    put(
        {"Usage: velutils FAMILY COMMAND ...\n\nStatus values, configuration files, locks and "
         "events "
         "of the router's daemons.\n\n"});
    for (const Family* const family : FAMILIES) put({"  ", family->name, "\t", family->summary});
    put({"\nMore: velutils FAMILY --help, velutils(1). Version: velutils --version\n"});
}

int wrong(Pieces what) {
    say({joined(what), "; see velutils --help"});
    return FAILED;
}

int dispatch(int argc, char** argv) {
    if (argc > 1 && strcmp(argv[1], "--") == 0) {
        --argc;
        ++argv;
    } else if (argc > 1 && strcmp(argv[1], "--help") == 0) {
        showHelp();
        return DONE;
    } else if (argc > 1 && strcmp(argv[1], "--version") == 0) {
        put({"velutils " VELUTILS_VERSION "\n"});
        return DONE;
    }
    if (argc < 2) return wrong({"missing family of commands"});
    for (const Family* const family : FAMILIES)
        if (strcmp(argv[1], family->name) == 0) return runFamily(*family, argc - 1, argv + 1);
    return wrong({"unknown family '", escaped(argv[1]), "'"});
}

}  // namespace

int main(int argc, char** argv) {
    beginReport();
    // The library logs why it cannot use a lock. LOG_PERROR prints that for the caller, too.
    openlog("velutils", LOG_PERROR, LOG_USER);
    setlogmask(LOG_UPTO(LOG_ERR));
    const int status = dispatch(argc, argv);
    endOutput();
    return status;
}
