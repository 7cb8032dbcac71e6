// SPDX-License-Identifier: MIT
//
// velutils events: the catalogue of the router's events.

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>

#include "command.h"
#include "escape.h"
#include "report.h"

namespace {

std::string idOf(const EventCatalogueEntry& event) {
    char text[16];
    snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(event.id));
    return text;
}

std::string jsonOf(const EventCatalogueEntry& event) {
    return joined({"{\"id\":\"", idOf(event), "\",\"name\":", jsonString(event.name),
                   ",\"description\":", jsonString(event.description), "}"});
}

std::string lineOf(const EventCatalogueEntry& event) {
    return joined({idOf(event), "\t", escaped(event.name), "\t", escaped(event.description)});
}

const EventCatalogueEntry* find(const char* text) {
    char* end;
    errno = 0;
    const unsigned long long id = strtoull(text, &end, 0);
    const bool isId = end != text && *end == '\0';
    if (!isId) return findEventByName(text);
    return errno == 0 && id <= UINT32_MAX ? findEventById(static_cast<int32_t>(id)) : nullptr;
}

std::string textOf(const EventCatalogueEntry& event, bool json) {
    return json ? jsonOf(event) : lineOf(event);
}

void showAll(bool json) {
    const char* before = json ? "[" : "";
    for (const EventCatalogueEntry& event : EVENT_CATALOGUE) {
        put({before, textOf(event, json)});
        before = json ? ",\n" : "\n";
    }
    put({json ? "]\n" : "\n"});
}

int events(const Request& request) {
    if (request.operandCount == 0) {
        showAll(request.json);
        return DONE;
    }
    const EventCatalogueEntry* const event = find(request.operands[0]);
    if (event == nullptr) return refused(request.operands[0], "no such event");
    put({textOf(*event, request.json), "\n"});
    return DONE;
}

const char OPTIONS[] = {OPTION_JSON, '\0'};

const Command COMMANDS[] = {
    {"events", OPTIONS, 0, 1, FAILED, "[--json] [ID | NAME]",
     "Prints the event catalogue, or the one entry of that id or name, as\n"
     "ID<TAB>NAME<TAB>DESCRIPTION. An ID may be decimal, 0x hexadecimal or 0 octal.\n"
     "\n"
     "  --json  an array of objects, or the one object\n"
     "\n"
     "Exit status: 0 done, 1 no such event, 2 failed.\n",
     events},
};

}  // namespace

const Family EVENTS_FAMILY = {"events", "", "the event catalogue\n", COMMANDS, 1};
