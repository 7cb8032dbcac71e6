// SPDX-License-Identifier: MIT
//
// fuzz/config_file.cc holds the entries of any file against a second reader.

#include <velutils++/configuration.h>

#include <gtest/gtest.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <new>

#include "configd/configd.h"
#include "tests/support/files.h"

namespace {

const char FILE_NAME[] = "/tmp/daemon.conf";

class ConfigFile : public ::testing::Test {
  protected:
    ConfigFile() : descriptors_(openDescriptors()) {}
    ~ConfigFile() override {
        unlink(FILE_NAME);
        EXPECT_EQ(descriptors_, openDescriptors());
    }

    // Loads the content and returns what was printed.
    std::string load(const std::string& content) {
        writeFile(FILE_NAME, content);
        ::testing::internal::CaptureStdout();
        EXPECT_TRUE(reader_.initialize(FILE_NAME, 16));
        return ::testing::internal::GetCapturedStdout();
    }

    std::string value(const char* key) {
        const String none("(none)");
        const String& found = reader_.getValue(key, none);
        return std::string(found.buffer(), static_cast<size_t>(found.length()));
    }

    const int descriptors_;
    ConfigReader reader_;
};

TEST_F(ConfigFile, LinesBecomeEntries) {
    EXPECT_EQ("",
              load("  key one  =  some \tvalue\x01\n# comment=1\n # kept=1\nnone\n=empty key\n"));
    EXPECT_EQ("some \tvalue", value("keyone"));
    EXPECT_EQ("(none)", value("#comment"));
    EXPECT_EQ("1", value("#kept"));
    EXPECT_EQ("(none)", value("none"));
    EXPECT_EQ("empty key", value(""));
    const std::string longLine = "a=" + std::string(1020, 'v');  // a whole piece of 1022 bytes
    load(longLine + "b=2\nnext=1");
    EXPECT_EQ(std::string(1020, 'v'), value("a"));
    EXPECT_EQ("2", value("b"));
    EXPECT_EQ("1", value("next"));
}

TEST_F(ConfigFile, TheFirstOfSeveralWins) {
    EXPECT_EQ("cfg: Ignoring duplicate tag:x=2\ncfg: Ignoring duplicate tag:x=\n",
              load("x=1\n x = 2 \nx=\n"));
    EXPECT_EQ("1", value("x"));
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(reader_.add("x", "3"));
    EXPECT_TRUE(reader_.add(" y ", " 3 "));  // stored as it is
    EXPECT_EQ("cfg: Ignoring duplicate tag:x=3\n", ::testing::internal::GetCapturedStdout());
    EXPECT_EQ("1", value("x"));
    EXPECT_EQ(" 3 ", value(" y "));
}

TEST_F(ConfigFile, Lookups) {
    load("port0=on\nport1=OFF\nport2=12\nport3=-7\nport4=ffh\nport5=oN \nport6=\nname=gate\n");
    const long expected[] = {1, 0, 12, -7, 255, 1, 0, 99};
    for (unsigned long i = 0; i < 8; ++i) {
        EXPECT_EQ(expected[i], reader_.getIndexedValueAsInt("port%lu", i, 99));
        String key;
        EXPECT_EQ(expected[i], reader_.getValueAsInt(key.format("port%lu", i), 99));
    }
    const String fallback("default");
    EXPECT_EQ(&fallback, &reader_.getValue("missing", fallback));
    EXPECT_EQ(&fallback, &reader_.getIndexedValue("port%lu", 7, fallback));
    EXPECT_EQ(&fallback, &reader_.getValue(" name", fallback));
    EXPECT_EQ(String("OFF"), reader_.getIndexedValue("port%lu", 1, fallback));
    EXPECT_EQ(&reader_.getValue("name", fallback), &reader_.getValue("name", fallback));
}

// What the platform makes of a template before it fails is the key, unless that is nothing.
TEST_F(ConfigFile, TemplatesThatThePlatformRefuses) {
    load("=99\nload2=7\n");
    EXPECT_EQ(7, reader_.getIndexedValueAsInt("load%lu%", 2, -1));
    EXPECT_EQ(-1, reader_.getIndexedValueAsInt("load%lu%", 3, -1));
    EXPECT_EQ(-1, reader_.getIndexedValueAsInt("%lcd", 0x110000, -1));
    EXPECT_EQ(-1, reader_.getIndexedValueAsInt("load%2147483647lu", 2, -1));
    EXPECT_EQ(99, reader_.getIndexedValueAsInt("", 2, -1));
    EXPECT_EQ(99, reader_.getIndexedValueAsInt("%", 2, -1));
}

TEST_F(ConfigFile, FilesThatCannotBeRead) {
    load("old=1\n");
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(reader_.initialize("/tmp/missing.conf", 4));
    EXPECT_EQ("cfg: Error in config file /tmp/missing.conf, line 0:\ncfg:   \n",
              ::testing::internal::GetCapturedStdout());
    EXPECT_EQ("(none)", value("old"));
    EXPECT_TRUE(reader_.add("own", "1"));         // the table is there, empty
    EXPECT_FALSE(reader_.initialize("/tmp", 4));  // opens, but cannot be read
    EXPECT_EQ("(none)", value("own"));

    // The path may be a value of the reader that is about to go.
    load("include=/tmp/daemon.conf\n");
    EXPECT_TRUE(reader_.initialize(reader_.getValue("include", ""), 4));
    EXPECT_EQ("/tmp/daemon.conf", value("include"));
    EXPECT_THROW(reader_.initialize(FILE_NAME, (1UL << 28) + 1), std::bad_array_new_length);
    EXPECT_EQ("(none)", value("include"));
    EXPECT_FALSE(reader_.add("a", "b"));
}

TEST(ConfigReader, WithoutATableGivesDefaults) {
    ConfigReader reader;
    EXPECT_EQ(5, reader.getValueAsInt("a", 5));
    EXPECT_EQ(5, reader.getIndexedValueAsInt("a%lu", 1, 5));
    EXPECT_EQ(String("d"), reader.getValue("a", "d"));
    EXPECT_EQ(String("d"), reader.getIndexedValue("a%lu", 1, "d"));
    EXPECT_FALSE(reader.add("a", "b"));
    reader.cleanup();
    reader.cleanup();
}

TEST(ConfigReader, LeavesNoTablePointerBehind) {
    alignas(ConfigReader) char area[sizeof(ConfigReader)];
    ConfigReader* const reader = new (area) ConfigReader;
    writeFile(FILE_NAME, "a=1\n");
    EXPECT_TRUE(reader->initialize(FILE_NAME, 1));
    reader->~ConfigReader();
    EXPECT_EQ(std::string(sizeof(void*), '\0'), std::string(area + sizeof(void*), sizeof(void*)));
}

TEST(ConfigReader, InitializeCleansUpThroughTheVirtualTable) {
    struct Counting : ConfigReader {
        void cleanup() override {
            ++cleanups;
            ConfigReader::cleanup();
        }
        int cleanups = 0;
    } reader;
    writeFile(FILE_NAME, "");
    EXPECT_TRUE(reader.initialize(FILE_NAME, 0));
    EXPECT_TRUE(reader.initialize(FILE_NAME, 0));
    EXPECT_EQ(2, reader.cleanups);
}

// Only spaces are stripped; not more than the rest of the text is taken.
TEST(ConfigReaderUtilities, CopyAndStrip) {
    ConfigReader reader;
    const struct {
        const char* source;
        int size, count;
        const char* copied;  // null: refused
    } rows[] = {
        {"  abc  ", 10, 5, "abc"}, {"  abc  ", 10, 6, nullptr}, {"  abc  ", 5, 5, nullptr},
        {"  abc  ", 6, 5, "abc"},  {"\tabc", 10, 2, "\ta"},     {"a  b", 10, 3, "a"},
        {"    ", 10, 0, ""},       {"abc", 10, -1, nullptr},    {"abc", 0, 0, nullptr},
    };
    for (const auto& row : rows) {
        char destination[11] = "untouched!";
        char source[8];
        strcpy(source, row.source);
        EXPECT_EQ(row.copied != nullptr,
                  reader.strcpystrip(destination, row.size, source, row.count));
        EXPECT_STREQ(row.copied != nullptr ? row.copied : "untouched!", destination)
            << row.source << row.count;
    }
    char text[] = "abcb\xff";
    EXPECT_EQ(1, reader.indexof(text, 'b'));
    EXPECT_EQ(4, reader.indexof(text, '\xff'));
    EXPECT_EQ(-1, reader.indexof(text, '\0'));
}

// The configuration daemon

std::string sent;  // the last request block
int calls;

void remember(const void* request) {
    ++calls;
    sent.assign(static_cast<const char*>(request), 2576);
}

class DaemonClient : public ::testing::Test {
  protected:
    DaemonClient() {
        unlink("/tmp/configd");
        configd_store = "/tmp/configd";
        configd_refuse = 0;
        configd_observer = remember;
        calls = 0;
    }
};

std::string block(const std::string& key, const std::string& value) {
    std::string expected(2576, '\0');
    return expected.replace(8, key.size(), key).replace(264, value.size(), value);
}

TEST_F(DaemonClient, SendsTheRequestBlock) {
    const ConfigDaemonClient client;
    String value("default");
    long number = 5;
    EXPECT_EQ(&value, &client.getValue("name", value));
    EXPECT_EQ(block("name", ""), sent);
    EXPECT_EQ(String("default"), value);
    EXPECT_EQ(5, client.getIndexedValueAsInt("port%lu", 2, number));
    EXPECT_EQ(block("port2", ""), sent);

    EXPECT_TRUE(client.setValue("name", "gate 7"));
    EXPECT_EQ(block("name", "gate 7"), sent);
    EXPECT_TRUE(client.setValueAsInt("port2", -42));
    EXPECT_EQ(block("port2", "-42"), sent);
    EXPECT_TRUE(client.setIndexedValueAsInt("port%lu", 3, 0));
    EXPECT_EQ(block("port3", "0"), sent);
    EXPECT_TRUE(client.setIndexedValue("port%lu", 4, "12abc"));
    EXPECT_EQ(block("port4", "12abc"), sent);

    EXPECT_TRUE(client.setIndexedValue("limit%lu%", 2, "5"));
    EXPECT_EQ(block("limit2", "5"), sent);

    EXPECT_EQ(-42, client.getValueAsInt("port2", number));
    EXPECT_EQ(-42, number);
    EXPECT_EQ(12, client.getIndexedValueAsInt("port%lu", 4, number));
    EXPECT_EQ(0, client.getValueAsInt("name", number));  // read, but no number
    EXPECT_EQ(String("12abc"), client.getIndexedValue("port%lu", 4, value));
    String key("name");
    EXPECT_EQ(String("gate 7"), client.getValue(key, key));
}

TEST_F(DaemonClient, LimitsAreKeptWithoutACall) {
    const ConfigDaemonClient client;
    const std::string key255(255, 'k');
    const std::string key256(256, 'k');
    String value("default");
    long number = 5;
    EXPECT_TRUE(client.setValue(key255.c_str(), "v"));
    EXPECT_EQ(String("v"), client.getValue(key255.c_str(), value));
    EXPECT_TRUE(client.setValue("k", std::string(1023, 'v').c_str()));
    EXPECT_EQ(1023, client.getValue("k", value).length());
    EXPECT_EQ(4, calls);

    value = "default";
    const std::string template255 = key255 + "%lu";
    EXPECT_FALSE(client.setValue("k", std::string(1024, 'v').c_str()));
    EXPECT_FALSE(client.setValue(key256.c_str(), "v"));
    EXPECT_FALSE(client.setValueAsInt(key256.c_str(), 1));
    EXPECT_FALSE(client.setIndexedValue(template255.c_str(), 0, "v"));
    EXPECT_FALSE(client.setIndexedValueAsInt(template255.c_str() + 1, 10, 1));
    EXPECT_EQ(String("default"), client.getValue(key256.c_str(), value));
    EXPECT_EQ(5, client.getValueAsInt(key256.c_str(), number));
    EXPECT_EQ(String("default"), client.getIndexedValue(template255.c_str(), 0, value));
    EXPECT_EQ(4, calls);
    EXPECT_TRUE(client.setIndexedValueAsInt(template255.c_str() + 1, 1, 1));
}

TEST_F(DaemonClient, RefusalsLeaveDefaults) {
    String value("default");
    long number = 5;
    const ConfigDaemonClient client;
    EXPECT_TRUE(client.setValue("k", "1"));
    configd_refuse = 1;
    const ConfigDaemonClient unconnected;
    EXPECT_FALSE(client.setValue("k", "2"));
    EXPECT_EQ(String("default"), client.getValue("k", value));
    EXPECT_EQ(5, client.getValueAsInt("k", number));
    configd_refuse = 0;
    const int callsBefore = calls;
    EXPECT_FALSE(unconnected.setValue("k", "2"));
    EXPECT_FALSE(unconnected.setValueAsInt("k", 2));
    EXPECT_FALSE(unconnected.setIndexedValue("k%lu", 1, "2"));
    EXPECT_EQ(String("default"), unconnected.getValue("k", value));
    EXPECT_EQ(5, unconnected.getIndexedValueAsInt("k%lu", 1, number));
    EXPECT_EQ(callsBefore, calls);
    EXPECT_EQ(String("1"), client.getValue("k", value));
}

}  // namespace
