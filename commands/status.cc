// SPDX-License-Identifier: MIT
//
// velutils status: values, links and FIFOs of the status tree.

#include "report.h"
#include "status_commands.h"

namespace {

const char BASE[] = {OPTION_BASE, '\0'};
const char GET[] = {OPTION_BASE, OPTION_PROC, '\0'};
const char SET[] = {OPTION_BASE, OPTION_PROC, OPTION_IN_PLACE, '\0'};
const char SEND[] = {OPTION_BASE, OPTION_TIMEOUT, '\0'};
const char LIST[] = {OPTION_BASE, OPTION_PROC, OPTION_JSON, OPTION_PROMETHEUS, '\0'};
const char WATCH[] = {OPTION_BASE, OPTION_JSON, OPTION_COUNT, '\0'};
const char WAIT[] = {OPTION_BASE, OPTION_TIMEOUT, '\0'};

const Command COMMANDS[] = {
    {"status get", GET, 1, 1, FAILED, "[-b BASE] NAME",
     "Prints the value as it is, and a newline. Follows links.\n"
     "\n"
     "Exit status: 0 done, 1 no such value, 2 failed, or not a value.\n",
     statusGet},
    {"status set", SET, 2, 2, FAILED, "[-b BASE] [--in-place] NAME VALUE",
     "Sets a value. Readers see the old or the new value, never a part. A link is replaced.\n"
     "Missing directories are made.\n"
     "\n"
     "  --in-place  write into the file that is there, as daemons without a publisher do;\n"
     "              always so with -b proc\n"
     "\n"
     "Exit status: 0 done, 2 failed.\n",
     statusSet},
    {"status link", BASE, 2, 2, FAILED, "[-b BASE] NAME TARGET",
     "Makes a symbolic link, in place of a value or link. A relative TARGET begins at the link's\n"
     "own directory. Missing directories are made.\n"
     "\n"
     "Exit status: 0 done, 2 failed.\n",
     statusLink},
    {"status remove", BASE, 1, ANY_NUMBER, FAILED, "[-b BASE] NAME...",
     "Removes values, links and FIFOs, but no directories.\n"
     "\n"
     "Exit status, the worst of all: 0 done, 1 not there, 2 failed.\n",
     statusRemove},
    {"status send", SEND, 1, 2, FAILED, "[-b BASE] [--timeout S] NAME [TEXT]",
     "Writes one line, or standard input, to a FIFO that somebody reads. Makes nothing.\n"
     "\n"
     "  --timeout S  how long the FIFO may stay full, in seconds; 5 unless given\n"
     "\n"
     "Exit status: 0 done, 1 nobody reads it or it stayed full, 2 failed, or not a FIFO.\n",
     statusSend},
    {"status list", LIST, 0, 1, FAILED, "[-b BASE] [--json | --prometheus] [NAME]",
     "Prints everything below NAME, or all: NAME<TAB>VALUE, NAME -> TARGET for links, NAME | for\n"
     "FIFOs.\n"
     "\n"
     "  --json        one object\n"
     "  --prometheus  the text format of the Prometheus node exporter's textfile collector\n"
     "\n"
     "Exit status: 0 done, 1 NAME is not there, 2 something could not be read.\n",
     statusList},
    {"status watch", WATCH, 0, ANY_NUMBER, FAILED, "[-b BASE] [--json] [--count N] [NAME...]",
     "Prints what is at and below the names, or all, and then every change. A removed one is its\n"
     "name alone.\n"
     "\n"
     "  --json     one object a line; a removed one is null\n"
     "  --count N  end after N lines\n"
     "\n"
     "Exit status: 0 done, 2 failed, or something could not be read.\n",
     statusWatch},
    {"status wait", WAIT, 1, 2, FAILED, "[-b BASE] [--timeout S] NAME [VALUE]",
     "Waits until NAME exists, or holds exactly VALUE. Follows links.\n"
     "\n"
     "  --timeout S  no longer than this, in seconds; 0 looks once\n"
     "\n"
     "Exit status: 0 done, 1 time is up, 2 failed.\n",
     statusWait},
};

}  // namespace

const Family STATUS_FAMILY = {
    "status", BASE,
    "values, links and FIFOs below /tmp/status, or with -b nv /nvstatus, -b proc /proc\n", COMMANDS,
    sizeof COMMANDS / sizeof *COMMANDS};
