// SPDX-License-Identifier: MIT
//
// fuzz/config_file.cc compares the entries of any file with those of a second reader.

#include <velutils++/configuration.h>

#include <gtest/gtest.h>
#include <string.h>
#include <unistd.h>

#include <new>

#include "configd/configd.h"
#include "tests/support/descriptor_check.h"
#include "tests/support/files.h"
#include "tests/support/strings.h"

namespace {

const char FILE_NAME[] = "/tmp/daemon.conf";

class ConfigFile : public ::testing::Test {
  protected:
    ~ConfigFile() override { unlink(FILE_NAME); }

    // Loads the content and returns what was printed.
    std::string load(const std::string& content) {
        writeFile(FILE_NAME, content);
        ::testing::internal::CaptureStdout();
        EXPECT_TRUE(reader_.initialize(FILE_NAME, 16));
        return ::testing::internal::GetCapturedStdout();
    }

    std::string value(const char* key) { return bytesOf(reader_.getValue(key, "(none)")); }

    DescriptorCheck descriptors_;
    ConfigReader reader_;
};

TEST_F(ConfigFile, TheFirstOfSeveralWins) {
    EXPECT_EQ("cfg: Ignoring duplicate tag:x=2\n", load("x=1\n x = 2 \n"));
    EXPECT_EQ("1", value("x"));
    EXPECT_FALSE(reader_.add("x", "3"));
    EXPECT_EQ("1", value("x"));
    EXPECT_TRUE(reader_.add(" y ", " 3 "));  // stored unchanged
    EXPECT_EQ(" 3 ", value(" y "));
}

TEST_F(ConfigFile, Lookups) {
    const struct {
        const char* text;
        long value;
    } rows[] = {{"on", 1}, {"OFF", 0}, {"oN ", 1}, {"-7", -7}, {"ffh", 255}};
    for (const auto& row : rows) {
        load(std::string("port7=") + row.text);
        EXPECT_EQ(row.value, reader_.getValueAsInt("port7", 99)) << row.text;
        EXPECT_EQ(row.value, reader_.getIndexedValueAsInt("port%lu", 7, 99)) << row.text;
    }
    EXPECT_EQ(99, reader_.getValueAsInt("port8", 99));
    EXPECT_EQ(99, reader_.getIndexedValueAsInt("port%lu", 8, 99));
    const String fallback("default");
    EXPECT_EQ(&fallback, &reader_.getValue(" port7", fallback));
    EXPECT_EQ(&fallback, &reader_.getIndexedValue("port%lu", 8, fallback));
    EXPECT_EQ(String("ffh"), reader_.getIndexedValue("port%lu", 7, fallback));
    EXPECT_EQ(&reader_.getValue("port7", ""), &reader_.getValue("port7", fallback));  // no copy
}

// What the platform writes before it fails is the key, unless that is nothing.
TEST_F(ConfigFile, TemplatesThatThePlatformCannotFormat) {
    load("=99\nload2=7\n");
    EXPECT_EQ(7, reader_.getIndexedValueAsInt("load%lu%", 2, -1));
    EXPECT_EQ(-1, reader_.getIndexedValueAsInt("%lcd", 0x110000, -1));
    EXPECT_EQ(99, reader_.getIndexedValueAsInt("", 2, -1));
    EXPECT_EQ(99, reader_.getIndexedValueAsInt("%", 2, -1));
    EXPECT_EQ(99, reader_.getIndexedValueAsInt("%.0lu", 0, -1));  // formats it as nothing
}

TEST_F(ConfigFile, FilesThatCannotBeRead) {
    load("old=1\n");
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(reader_.initialize("/tmp/missing.conf", 4));
    EXPECT_EQ("cfg: Error in config file /tmp/missing.conf, line 0:\ncfg:   \n",
              ::testing::internal::GetCapturedStdout());
    EXPECT_EQ("(none)", value("old"));
    EXPECT_TRUE(reader_.add("own", "1"));         // there is a table, and it is empty
    EXPECT_FALSE(reader_.initialize("/tmp", 4));  // can be opened, but not read

    // The path may be a value that initialize() destroys.
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
    EXPECT_EQ(String("d"), reader.getIndexedValue("a%lu", 1, "d"));
    EXPECT_FALSE(reader.add("a", "b"));
    reader.cleanup();
}

TEST(ConfigReader, TheDestructorSetsTheTableToNull) {
    alignas(ConfigReader) char area[sizeof(ConfigReader)];
    ConfigReader* const reader = new (area) ConfigReader;
    writeFile(FILE_NAME, "a=1\n");
    EXPECT_TRUE(reader->initialize(FILE_NAME, 1));
    reader->~ConfigReader();
    EXPECT_EQ(std::string(sizeof(void*), '\0'), std::string(area + sizeof(void*), sizeof(void*)));
}

TEST(ConfigReader, InitializeCallsAnOverriddenCleanup) {
    struct Counting : ConfigReader {
        void cleanup() override {
            ++cleanups;
            ConfigReader::cleanup();
        }
        int cleanups = 0;
    } reader;
    writeFile(FILE_NAME, "");
    EXPECT_TRUE(reader.initialize(FILE_NAME, 0));
    EXPECT_EQ(1, reader.cleanups);
}

// It strips spaces only, and takes no more than the rest of the text.
TEST(ConfigReaderUtilities, CopyAndStrip) {
    ConfigReader reader;
    const struct {
        const char* source;
        int size;
        int count;
        const char* copied;  // null if nothing is copied
    } rows[] = {
        {"  abc  ", 6, 5, "abc"},     // fits with its NUL
        {"  abc  ", 5, 5, nullptr},   // does not
        {"  abc  ", 10, 6, nullptr},  // longer than the rest of the text
        {"\tabc", 10, 2, "\ta"},      // a tab is no space
        {"    ", 10, 0, ""},          // nothing is left
        {"abc", 10, -1, nullptr},
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

// The configuration daemon's client

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

    EXPECT_EQ(-42, client.getValueAsInt("port2", number));
    EXPECT_EQ(-42, number);
    EXPECT_EQ(12, client.getIndexedValueAsInt("port%lu", 4, number));
    EXPECT_EQ(0, client.getValueAsInt("name", number));  // the daemon's text is not a number
    EXPECT_EQ(String("12abc"), client.getIndexedValue("port%lu", 4, value));
    String key("name");
    EXPECT_EQ(String("gate 7"), client.getValue(key, key));
}

TEST_F(DaemonClient, TheLongestKeyAndValueAreSent) {
    const ConfigDaemonClient client;
    const std::string key(255, 'k');
    const std::string longest(1023, 'v');
    String value;
    EXPECT_TRUE(client.setValue(key.c_str(), longest.c_str()));
    EXPECT_EQ(block(key, longest), sent);
    EXPECT_EQ(longest, client.getValue(key.c_str(), value).buffer());
}

TEST_F(DaemonClient, LongerKeysAndValuesAreNotSent) {
    const ConfigDaemonClient client;
    const std::string longer(1024, 'v');
    const std::string key256(256, 'k');
    const std::string template255 = key256.substr(4) + "%lu";
    const String key(key256.c_str());
    const String keyTemplate(template255.c_str());
    String value("default");
    long number = 5;
    EXPECT_FALSE(client.setValue("k", longer.c_str()));
    EXPECT_FALSE(client.setValue(key, "v"));
    EXPECT_FALSE(client.setValueAsInt(key, 1));
    EXPECT_FALSE(client.setIndexedValue(keyTemplate, 1000, "v"));
    EXPECT_FALSE(client.setIndexedValueAsInt(keyTemplate, 1000, 1));
    EXPECT_EQ(String("default"), client.getValue(key, value));
    EXPECT_EQ(5, client.getValueAsInt(key, number));
    EXPECT_EQ(0, calls);
}

TEST_F(DaemonClient, FailuresLeaveDefaults) {
    String value("default");
    long number = 5;
    const ConfigDaemonClient client;
    EXPECT_TRUE(client.setValue("k", "1"));
    configd_refuse = 1;
    EXPECT_FALSE(client.setValue("k", "2"));
    EXPECT_FALSE(client.setValueAsInt("k", 2));
    EXPECT_EQ(String("default"), client.getValue("k", value));
    EXPECT_EQ(5, client.getValueAsInt("k", number));
    EXPECT_EQ(5, calls);
}

TEST_F(DaemonClient, WithoutAConnectionNothingIsSent) {
    String value("default");
    configd_refuse = 1;
    const ConfigDaemonClient client;
    configd_refuse = 0;
    EXPECT_FALSE(client.setValue("k", "2"));
    EXPECT_FALSE(client.setValueAsInt("k", 2));
    EXPECT_EQ(String("default"), client.getValue("k", value));
    EXPECT_EQ(0, calls);
}

}  // namespace
