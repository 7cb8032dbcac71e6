/* SPDX-License-Identifier: MIT */

#include "configd.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

struct request {
    char unused_before[8];
    char key[256];
    char value[1024];
    char unused_after[1288];
};

struct record {
    char key[256];
    char value[1024];
};

const char* configd_store = NULL;
int configd_refuse = 0;
void (*configd_observer)(const void* request) = NULL;

void* configd_open(void) {
    FILE* const store =
        configd_refuse || configd_store == NULL ? NULL : fopen(configd_store, "a+be");
    if (store == NULL || fclose(store) != 0) return NULL;
    return strdup(configd_store);
}

void configd_close(void* connection) {
    free(connection);
}

/* Reads records up to the key's record and seeks to its start, or to the end of the file if the key
 * has none. Returns 1 if the key has a record, 0 if not, -1 if seeking fails. */
static int find(FILE* store, const char* key, struct record* record) {
    long start = 0;
    while (fread(record, sizeof *record, 1, store) == 1) {
        if (strcmp(record->key, key) == 0) return fseek(store, start, SEEK_SET) == 0 ? 1 : -1;
        start += (long)sizeof *record;
    }
    return fseek(store, start, SEEK_SET) == 0 ? 0 : -1;
}

static FILE* serve(const char* store, const char* mode, const void* request) {
    if (configd_observer != NULL) configd_observer(request);
    return configd_refuse ? NULL : fopen(store, mode);
}

int configd_get(void* connection, void* request) {
    struct request* const wanted = request;
    struct record record;
    FILE* const store = serve(connection, "rbe", request);
    if (store == NULL) return -1;
    const int found = find(store, wanted->key, &record);
    fclose(store);
    if (found != 1) return -1;
    memcpy(wanted->value, record.value, sizeof record.value);
    return 0;
}

int configd_set(void* connection, void* request) {
    const struct request* const wanted = request;
    struct record record;
    FILE* const store = serve(connection, "r+be", request);
    if (store == NULL) return -1;
    int done = find(store, wanted->key, &record) >= 0;
    memcpy(record.key, wanted->key, sizeof record.key);
    memcpy(record.value, wanted->value, sizeof record.value);
    done = done && fwrite(&record, sizeof record, 1, store) == 1;
    return fclose(store) == 0 && done ? 0 : -1;
}
