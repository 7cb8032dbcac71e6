/* SPDX-License-Identifier: MIT
 *
 * Configuration access: ConfigReader for files of "key = value" lines, ConfigDaemonClient for the
 * values that the system's configuration daemon holds. C++ only.
 */
#ifndef VELUTILS_CONFIGURATION_H
#define VELUTILS_CONFIGURATION_H

#include <velutils++/export.h>

#ifdef __cplusplus
#include <velutils++/text.h>

class INStringHashTable;

// A configuration file, read once into memory and then asked.
//
//     # comment: "#" in the very first column
//     name = gate 7
//     link0.name=eth0
//     link0.watch = on
//
// A line is cut at its first "=". All bytes of code 0 to 32 are removed from the key, wherever
// they stand, and from both ends of the value. Lines without "=" are skipped. There is no quoting,
// escaping or continuation. Keys are compared byte for byte; of several lines with one key the
// first wins, the others are reported on standard output. The file is read in pieces of at most
// 1022 bytes, each ending behind a newline at the latest: a longer line counts as several. A NUL
// ends the text of its piece. The file is opened close-on-exec and read without stdio's lock
// (fgets_unlocked): no other thread can have the stream.
//
// Indexed keys: the template is a printf format with one conversion for an unsigned long, for
// instance "link%lu.name". It must be a literal of the program.
//
// Failures: a missing file is reported on standard output; a refused ordinary allocation throws
// std::bad_alloc, and what was loaded until then stays. A value whose text finds no memory is not
// stored. An indexed key whose text finds no memory is not looked up: the default is returned.
// Lookups in a reader without a table give the default.
//
// Threads: one at a time, but lookups may run side by side while nothing changes the reader.
class VELUTILS_API ConfigReader {
  public:
    ConfigReader();
    ConfigReader(const ConfigReader&) = delete;
    ConfigReader& operator=(const ConfigReader&) = delete;
    virtual ~ConfigReader();

    // Forgets everything (through cleanup) and loads the file into a table of `size` buckets,
    // rounded up to a power of two; about the number of keys is a good size. False when the file
    // cannot be opened or not be read to its end; the entries read so far stay. A size above 2^28
    // throws std::bad_array_new_length and leaves no table.
    virtual bool initialize(const String& path, unsigned long size);

    // Forgets everything; there is no table until the next initialize.
    virtual void cleanup();

    // The stored value, valid until the next initialize or cleanup, or defaultValue itself. The
    // key is used as it is, unstripped.
    virtual const String& getValue(const String& key, const String& defaultValue) const;

    // 1 for "on" and 0 for "off", in upper or lower case; any other value as valueOf32 reads it.
    virtual long getValueAsInt(const String& key, long defaultValue) const;

    // The same with the key that the template and the index make.
    virtual const String& getIndexedValue(const String& keyTemplate, unsigned long index,
                                          const String& defaultValue) const;
    virtual long getIndexedValueAsInt(const String& keyTemplate, unsigned long index,
                                      long defaultValue) const;

    // Adds an entry as if read from a file, but unstripped. False when the key is there already,
    // which is reported on standard output, or when it could not be stored.
    bool add(const String& key, const String& value);

    // Copies `count` characters of source, after its leading spaces and without trailing ones, to
    // the destination and terminates them. False, with nothing copied, when count is negative,
    // not below destinationSize, or more than there are. The source is not changed.
    bool strcpystrip(char* destination, int destinationSize, char* source, int count);

    // The index of the first such character in the text, or -1; NUL is never found. The text is not
    // changed.
    int indexof(char* text, char character);

  private:
    VELUTILS_LOCAL const String* find(const char* key) const;
    VELUTILS_LOCAL bool store(const char* key, const String& value);
    VELUTILS_LOCAL void addLine(char* line);

    INStringHashTable* table;  // null until initialize
};

// A connection to the system's configuration daemon, through the daemon's client library, which
// the program brings:
//
//     void* configd_open(void);                        null: no connection
//     int configd_get(void* connection, void* request);  0: done
//     int configd_set(void* connection, void* request);  0: done
//     void configd_close(void* connection);
//
// A request is 2576 bytes: the key at offset 8 (256 bytes), the value at 264 (1024 bytes), both
// NUL-terminated; the rest is zero. The four are looked up weakly: in a program without them
// clients have no connection.
//
// A weak reference alone takes nothing out of an archive and does not keep a shared library that
// the linker finds unused: the client would have no connection, without an error. To link the
// client library in any form, include <velutils++/use_configd.h> in one source file of the program;
// docs/configuration-daemon.md shows other ways.
//
// Failures: without a connection, or when a key is longer than 255 or a value longer than 1023
// bytes, or when the daemon refuses, a set gives false and a get leaves its value argument alone.
// An indexed key whose text finds no memory is not sent and fails alike. There is no reconnection.
// Nothing is logged.
//
// Threads: one at a time for each client.
class VELUTILS_API ConfigDaemonClient {
  public:
    ConfigDaemonClient();
    ConfigDaemonClient(const ConfigDaemonClient&) = delete;
    ConfigDaemonClient& operator=(const ConfigDaemonClient&) = delete;
    virtual ~ConfigDaemonClient();

    // An integer is sent in decimal.
    virtual bool setValue(const String& key, const String& value) const;
    virtual bool setValueAsInt(const String& key, long value) const;
    virtual bool setIndexedValue(const String& keyTemplate, unsigned long index,
                                 const String& value) const;
    virtual bool setIndexedValueAsInt(const String& keyTemplate, unsigned long index,
                                      long value) const;

    // The value argument brings the default, receives the daemon's value, and is the result. As an
    // integer the daemon's text is read as atoi(3) reads it.
    virtual String& getValue(const String& key, String& value) const;
    virtual long getValueAsInt(const String& key, long& value) const;
    virtual String& getIndexedValue(const String& keyTemplate, unsigned long index,
                                    String& value) const;
    virtual long getIndexedValueAsInt(const String& keyTemplate, unsigned long index,
                                      long& value) const;

  private:
    void* connection;  // null: none
};
#endif

#endif
