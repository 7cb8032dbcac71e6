// SPDX-License-Identifier: MIT
//
// Names of status values: "/wan/state" below a base directory.

#ifndef VELUTILS_COMMANDS_STATUS_NAME_H
#define VELUTILS_COMMANDS_STATUS_NAME_H

#include <velutils++/status.h>

#include <string>
#include <string_view>

// The base directory, such as "/tmp/status", and the path of a name below it.
const char* directoryOf(BasePath base);
std::string pathOf(BasePath base, const std::string& name);

// Whether the name begins with "/" and has no component "..". Prints what is wrong.
bool isNameUsable(const std::string& name);

// The same for a name to be created: it must not end in "/" or have a component that is reserved
// for temporary files.
bool isNewNameUsable(const std::string& name);

// Moves the first component of the path to `component`. False if there is none.
bool takeComponent(std::string_view* path, std::string_view* component);

// Whether the component is the name of a publisher's temporary file, which must not be shown, and
// whether a name has such a component.
bool isTemporary(std::string_view component);
bool hasTemporary(std::string_view name);

// The name without needless slashes and "." components. The base itself is "".
std::string normalized(const std::string& name);

// Whether name is `ancestor` or is below it. Both are normalized.
bool isWithin(const std::string& name, const std::string& ancestor);

// A String with the same bytes.
String stringOf(const std::string& text);

#endif
