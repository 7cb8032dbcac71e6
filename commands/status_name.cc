// SPDX-License-Identifier: MIT

#include "status_name.h"

#include <velutils++/status_publisher.h>

#include "report.h"

namespace {

bool refuse(std::string_view name, const char* why) {
    failed(name, why);
    return false;
}

}  // namespace

const char* directoryOf(BasePath base) {
    const char* const directories[] = {"/tmp/status", "/nvstatus", "/proc"};
    return directories[base];
}

std::string pathOf(BasePath base, const std::string& name) {
    return joined({directoryOf(base), name});
}

bool isNameUsable(const std::string& name) {
    if (name.empty() || name[0] != '/') return refuse(name, "a NAME begins with /");
    std::string_view rest = name, component;
    while (takeComponent(&rest, &component))
        if (component == "..") return refuse(name, "a NAME has no component ..");
    return true;
}

bool isNewNameUsable(const std::string& name) {
    if (!isNameUsable(name)) return false;
    if (hasTemporary(name)) return refuse(name, "the name of a temporary file");
    const std::string last = name.substr(name.rfind('/') + 1);
    return (!last.empty() && last != ".") || refuse(name, "names a directory");
}

bool takeComponent(std::string_view* path, std::string_view* component) {
    while (!path->empty() && path->front() == '/') path->remove_prefix(1);
    if (path->empty()) return false;
    *component = path->substr(0, path->find('/'));
    path->remove_prefix(component->size());
    return true;
}

bool isTemporary(std::string_view component) {
    const std::string_view prefix = StatusPublisher::TEMPORARY_PREFIX();
    return component.substr(0, prefix.size()) == prefix;
}

bool hasTemporary(std::string_view name) {
    std::string_view component;
    while (takeComponent(&name, &component))
        if (isTemporary(component)) return true;
    return false;
}

std::string normalized(const std::string& name) {
    std::string result;
    std::string_view rest = name, component;
    while (takeComponent(&rest, &component))
        if (component != ".") append(&result, {"/", component});
    return result;
}

bool isWithin(const std::string& name, const std::string& ancestor) {
    return name.compare(0, ancestor.size(), ancestor) == 0 &&
           (name.size() == ancestor.size() || name[ancestor.size()] == '/');
}

String stringOf(const std::string& text) {
    String result;
    if (!text.empty()) result.concat(text.data(), static_cast<long>(text.size()));
    if (result.length() != static_cast<long>(text.size())) endOutOfMemory();
    return result;
}
