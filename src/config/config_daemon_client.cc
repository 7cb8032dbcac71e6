// SPDX-License-Identifier: MIT
//
// The client of the configuration daemon. Each call uses a zeroed request block on the stack.
//
// Tested by configuration_test.cc.

#include <velutils++/configuration.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "indexed_key_internal.h"

// The daemon's client library. The references are weak because a program may do without it.
extern "C" {
__attribute__((weak, visibility("default"))) void* configd_open(void);
__attribute__((weak, visibility("default"))) int configd_get(void* connection, void* request);
__attribute__((weak, visibility("default"))) int configd_set(void* connection, void* request);
__attribute__((weak, visibility("default"))) void configd_close(void* connection);
}

namespace {

struct Request {
    char unusedBefore[8];
    char key[256];
    char value[1024];
    char unusedAfter[1288];
};
static_assert(sizeof(Request) == 2576, "the size that the daemon's library expects");

bool haveClientLibrary() {
    return configd_open != nullptr && configd_get != nullptr && configd_set != nullptr &&
           configd_close != nullptr;
}

// Copies the text into a zeroed field if it fits there with its NUL.
template <size_t size>
bool fill(char (&field)[size], const String& text) {
    if (text.length() >= static_cast<long>(size)) return false;
    memcpy(field, text.buffer(), strlen(text.buffer()));
    return true;
}

bool startRequest(Request* request, const String& key) {
    memset(request, 0, sizeof *request);
    return fill(request->key, key);
}

// Gets the daemon's text for the key in request->value. Returns false if it has none.
bool get(void* connection, const String& key, Request* request) {
    if (connection == nullptr || !startRequest(request, key)) return false;
    if (configd_get(connection, request) != 0) return false;
    request->value[sizeof request->value - 1] = '\0';
    return true;
}

}  // namespace

ConfigDaemonClient::ConfigDaemonClient() : connection(nullptr) {
    if (haveClientLibrary()) connection = configd_open();
}

ConfigDaemonClient::~ConfigDaemonClient() {
    if (connection == nullptr) return;
    configd_close(connection);
    // Volatile, because the compiler removes plain stores to an object whose lifetime ends.
    *const_cast<void* volatile*>(&connection) = nullptr;
}

bool ConfigDaemonClient::setValue(const String& key, const String& value) const {
    Request request;
    if (connection == nullptr || !startRequest(&request, key)) return false;
    return fill(request.value, value) && configd_set(connection, &request) == 0;
}

bool ConfigDaemonClient::setValueAsInt(const String& key, long value) const {
    Request request;
    if (connection == nullptr || !startRequest(&request, key)) return false;
    snprintf(request.value, sizeof request.value, "%ld", value);
    return configd_set(connection, &request) == 0;
}

bool ConfigDaemonClient::setIndexedValue(const String& keyTemplate, unsigned long index,
                                         const String& value) const {
    String key;
    return formIndexedKey(keyTemplate, index, &key) && ConfigDaemonClient::setValue(key, value);
}

bool ConfigDaemonClient::setIndexedValueAsInt(const String& keyTemplate, unsigned long index,
                                              long value) const {
    String key;
    return formIndexedKey(keyTemplate, index, &key) &&
           ConfigDaemonClient::setValueAsInt(key, value);
}

String& ConfigDaemonClient::getValue(const String& key, String& value) const {
    Request request;
    if (get(connection, key, &request)) value = request.value;
    return value;
}

long ConfigDaemonClient::getValueAsInt(const String& key, long& value) const {
    Request request;
    if (get(connection, key, &request)) value = atoi(request.value);
    return value;
}

String& ConfigDaemonClient::getIndexedValue(const String& keyTemplate, unsigned long index,
                                            String& value) const {
    String key;
    if (!formIndexedKey(keyTemplate, index, &key)) return value;
    return ConfigDaemonClient::getValue(key, value);
}

long ConfigDaemonClient::getIndexedValueAsInt(const String& keyTemplate, unsigned long index,
                                              long& value) const {
    String key;
    if (!formIndexedKey(keyTemplate, index, &key)) return value;
    return ConfigDaemonClient::getValueAsInt(key, value);
}
