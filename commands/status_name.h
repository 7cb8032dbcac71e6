// SPDX-License-Identifier: MIT
//
// Names of status values: "/wan/state" below a base directory.

#ifndef VELUTILS_COMMANDS_STATUS_NAME_H
#define VELUTILS_COMMANDS_STATUS_NAME_H

#include <velutils++/status.h>

#include <string>
#include <string_view>

// "/tmp/status" and its siblings, and the path of a name below one.
const char* directoryOf(BasePath base);
std::string pathOf(BasePath base, const std::string& name);

// Whether a name may be used: it begins with "/" and has no component "..". Says why not.
bool isNameUsable(const std::string& name);

// The same for a name under which something is to be made: it ends in a component of its own, and
// none is the name of a publisher's temporary file.
bool isNewNameUsable(const std::string& name);

// Takes the first component off a path. False when there is none.
bool takeComponent(std::string_view* path, std::string_view* component);

// Whether a component is the name of a temporary file, which readers do not see; whether a name has
// one.
bool isTemporary(std::string_view component);
bool hasTemporary(std::string_view name);

// Without doubled and trailing slashes and "." components: "" for the base itself.
std::string normalized(const std::string& name);

// Whether name is `ancestor` or lies below it. Both are normalized.
bool isWithin(const std::string& name, const std::string& ancestor);

// A String of the same bytes.
String stringOf(const std::string& text);

#endif
