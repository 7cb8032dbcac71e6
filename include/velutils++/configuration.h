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

// The entries of a configuration file, which is read once into memory.
//
//     # comment: "#" in the very first column
//     name = gate 7
//     link0.name=eth0
//     link0.watch = on
//
// A line is cut at its first "=". All bytes from 0 to 32 are removed from the key, wherever they
// are, and from both ends of the value. Lines without "=" are skipped. There is no quoting,
// escaping or continuation. Keys are compared byte for byte. If several lines have the same key,
// the first one is used, and the others are reported on standard output.
//
// The file is read in pieces of at most 1022 bytes. A piece ends after a newline at the latest.
// Each piece is processed as a line, so a longer line becomes several. A NUL hides the rest of its
// piece. The file is opened close-on-exec and read with fgets_unlocked: no other thread can use the
// stream.
//
// Indexed keys: the template is a printf format with one conversion for an unsigned long, for
// instance "link%lu.name". It must be a literal of the program.
//
// Failures: a file that cannot be opened is reported on standard output. If an ordinary allocation
// fails, std::bad_alloc is thrown, and what was loaded by then stays. If an entry or the text of
// its value cannot be allocated, the value is not stored. If the text of an indexed key cannot be
// allocated, the lookup returns the default. So does every lookup in a reader without a table.
//
// Threads: a reader belongs to one thread at a time. Several threads may look values up at once
// while no thread changes the reader.
class VELUTILS_API ConfigReader {
  public:
    ConfigReader();
    ConfigReader(const ConfigReader&) = delete;
    ConfigReader& operator=(const ConfigReader&) = delete;
    virtual ~ConfigReader();

    // Calls cleanup(), then loads the file into a new table. size is the number of buckets, which
    // is rounded up to a power of two; the number of keys is a good choice. Returns false if the
    // file cannot be opened or cannot be read to its end. The entries that were read stay, and
    // lookups work. Throws std::bad_array_new_length for a size above 2^28 and leaves no table.
    virtual bool initialize(const String& path, unsigned long size);

    // Removes all entries and the table.
    virtual void cleanup();

    // Returns the stored value, or defaultValue itself if there is none. The stored value is valid
    // until the next initialize() or cleanup(). The key is not stripped: a key that contains a
    // blank is never found.
    virtual const String& getValue(const String& key, const String& defaultValue) const;

    // Returns 1 for "on" and 0 for "off", in upper or lower case. Any other text is converted by
    // valueOf32(), which does not check it. Returns defaultValue if there is no value.
    virtual long getValueAsInt(const String& key, long defaultValue) const;

    // As getValue() with the key that the template and the index make.
    virtual const String& getIndexedValue(const String& keyTemplate, unsigned long index,
                                          const String& defaultValue) const;
    // As getValueAsInt() with the key that the template and the index make.
    virtual long getIndexedValueAsInt(const String& keyTemplate, unsigned long index,
                                      long defaultValue) const;

    // Adds an entry, as initialize() does for a line, but does not strip key and value. Returns
    // false if the key exists, which is reported on standard output, or if the entry cannot be
    // stored.
    bool add(const String& key, const String& value);

    // Skips the leading spaces of source, takes count characters, and copies them without their
    // trailing spaces and with a NUL to destination. Returns false and copies nothing if count is
    // negative, not below destinationSize, or more than there are. The source is not changed.
    bool strcpystrip(char* destination, int destinationSize, char* source, int count);

    // Returns the index of the first such character in text, or -1. NUL is never found. The text is
    // not changed.
    int indexof(char* text, char character);

  private:
    VELUTILS_LOCAL const String* find(const char* key) const;
    VELUTILS_LOCAL bool store(const char* key, uint32_t hash, const String& value);
    VELUTILS_LOCAL void addLine(char* line);

    INStringHashTable* table;  // null until initialize
};

// A connection to the system's configuration daemon. It uses the daemon's client library, which the
// program must bring:
//
//     void* configd_open(void);                        null: no connection
//     int configd_get(void* connection, void* request);  0: done
//     int configd_set(void* connection, void* request);  0: done
//     void configd_close(void* connection);
//
// A request has 2576 bytes: the key at offset 8 (256 bytes), the value at offset 264 (1024 bytes),
// both NUL-terminated, and zeros elsewhere. The library refers to the four functions weakly. In a
// program without them, clients have no connection.
//
// To link the client library, include <velutils++/use_configd.h> in one source file of the program.
// Otherwise the linker may leave the client library out, and no error says so.
// docs/configuration-daemon.md explains why and shows other ways.
//
// Failures: a set returns false, and a get leaves its value argument alone. This happens without a
// connection, for a key longer than 255 bytes or a value longer than 1023, if the daemon refuses,
// and if the text of an indexed key cannot be allocated. The client never reconnects. Nothing is
// logged.
//
// Threads: a client belongs to one thread at a time.
class VELUTILS_API ConfigDaemonClient {
  public:
    ConfigDaemonClient();
    ConfigDaemonClient(const ConfigDaemonClient&) = delete;
    ConfigDaemonClient& operator=(const ConfigDaemonClient&) = delete;
    virtual ~ConfigDaemonClient();

    // Sets the value of a key. An integer is sent in decimal. An indexed key is made from the
    // template and the index, as ConfigReader does it.
    virtual bool setValue(const String& key, const String& value) const;
    virtual bool setValueAsInt(const String& key, long value) const;
    virtual bool setIndexedValue(const String& keyTemplate, unsigned long index,
                                 const String& value) const;
    virtual bool setIndexedValueAsInt(const String& keyTemplate, unsigned long index,
                                      long value) const;

    // Gets the value of a key into the value argument and returns that argument. If the call fails,
    // the argument keeps what the caller stored there, which makes it the default. An integer is
    // read as atoi(3) does. An indexed key is made from the template and the index.
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
