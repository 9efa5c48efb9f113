// The property store of a workstation behaves as the platform's does, and keeps whole values whoever writes and reads.
#include "tests/unit/platform/handset_root.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cutils/properties.h>
#include <filesystem>
#include <future>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <thread>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class PropertyStore : public handset_root {};

struct reading {
    int m_length;
    std::string m_value;
};

// The bytes behind the value's array are watched, and the array is dirty beforehand.
reading get(const char *key, const char *default_value)
{
    char value[PROPERTY_VALUE_MAX + 1];
    std::fill(std::begin(value), std::end(value), '#');
    const int length = property_get(key, value, default_value);
    EXPECT_EQ(value[PROPERTY_VALUE_MAX], '#') << "written behind the value";
    return {length, value};
}

void expect_value(const char *key, const char *default_value, const std::string &expected)
{
    const reading found = get(key, default_value);
    EXPECT_EQ(found.m_value, expected);
    EXPECT_EQ(found.m_length, static_cast<int>(expected.size()));
}

TEST_F(PropertyStore, WhatIsSetIsRead)
{
    EXPECT_EQ(property_set("sys.usb.config", "amt1,adb"), 0);
    expect_value("sys.usb.config", "unused", "amt1,adb");
}

TEST_F(PropertyStore, ALaterValueReplacesALongerOne)
{
    EXPECT_EQ(property_set("sys.usb.config", "mass_storage,adb"), 0);
    EXPECT_EQ(property_set("sys.usb.config", "amt"), 0);
    expect_value("sys.usb.config", nullptr, "amt");
}

TEST_F(PropertyStore, APropertyIsAFileThatHoldsTheValueAlone)
{
    EXPECT_EQ(property_set("ro.hardware", "kv7100"), 0);
    EXPECT_EQ(read_file("/dev/__properties__/ro.hardware"), "kv7100");
    EXPECT_THAT(names_in("/dev/__properties__"), ElementsAre("ro.hardware"));
}

TEST_F(PropertyStore, APropertyIsReadableByAll)
{
    EXPECT_EQ(property_set("ro.hardware", "kv7100"), 0);
    const auto permissions = std::filesystem::status(host_path("/dev/__properties__/ro.hardware")).permissions();
    EXPECT_EQ(permissions, static_cast<std::filesystem::perms>(0644));
}

TEST_F(PropertyStore, AFileWrittenByHandIsAProperty)
{
    write_file("/dev/__properties__/ro.hardware", "kv7100");
    expect_value("ro.hardware", nullptr, "kv7100");
}

TEST_F(PropertyStore, AFileTooLongForAValueIsCut)
{
    write_file("/dev/__properties__/ro.hardware", std::string(5000, 'k'));
    expect_value("ro.hardware", nullptr, std::string(PROPERTY_VALUE_MAX - 1, 'k'));
}

TEST_F(PropertyStore, AnUnsetPropertyReadsAsTheDefault)
{
    expect_value("no.such.property", "usual", "usual");
    expect_value("no.such.property", "", "");
    expect_value("no.such.property", nullptr, "");
}

TEST_F(PropertyStore, ADefaultTooLongForAValueIsCut)
{
    expect_value("no.such.property", std::string(300, 'd').c_str(), std::string(PROPERTY_VALUE_MAX - 1, 'd'));
}

TEST_F(PropertyStore, AnEmptyPropertyReadsAsTheDefault)
{
    EXPECT_EQ(property_set("persist.note", ""), 0);
    EXPECT_EQ(read_file("/dev/__properties__/persist.note"), "");
    expect_value("persist.note", "usual", "usual");
    expect_value("persist.note", nullptr, "");
}

TEST_F(PropertyStore, ANullValueEmptiesTheProperty)
{
    EXPECT_EQ(property_set("persist.note", "old"), 0);
    EXPECT_EQ(property_set("persist.note", nullptr), 0);
    EXPECT_EQ(read_file("/dev/__properties__/persist.note"), "");
}

TEST_F(PropertyStore, TheLongestKeyAndValueFit)
{
    const std::string key(PROPERTY_KEY_MAX - 1, 'k');
    const std::string value(PROPERTY_VALUE_MAX - 1, 'v');
    EXPECT_EQ(property_set(key.c_str(), value.c_str()), 0);
    expect_value(key.c_str(), nullptr, value);
}

TEST_F(PropertyStore, AValueTooLongIsRefusedAndTheOldOneStays)
{
    EXPECT_EQ(property_set("persist.note", "old"), 0);
    EXPECT_LT(property_set("persist.note", std::string(PROPERTY_VALUE_MAX, 'v').c_str()), 0);
    expect_value("persist.note", nullptr, "old");
}

TEST_F(PropertyStore, KeysThatAreNoneAreRefusedAndReadAsTheDefault)
{
    const std::string too_long(PROPERTY_KEY_MAX, 'k');
    // A file in the way of each, to see that it is neither read nor written.
    write_file("/dev/__properties__/" + too_long, "old");
    write_file("/dev/__properties__/.hidden", "old");
    std::filesystem::create_directories(host_path("/dev/__properties__/sub"));
    write_file("/dev/__properties__/sub/file", "old");

    const char *const keys[] = {too_long.c_str(), "", ".hidden", "sub/file", "../outside", "/", ".", "..", nullptr};
    for (const char *key : keys) {
        SCOPED_TRACE(key == nullptr ? "(null)" : key);
        EXPECT_LT(property_set(key, "new"), 0);
        expect_value(key, "usual", "usual");
    }
    EXPECT_EQ(read_file("/dev/__properties__/" + too_long), "old");
    EXPECT_EQ(read_file("/dev/__properties__/.hidden"), "old");
    EXPECT_EQ(read_file("/dev/__properties__/sub/file"), "old");
    EXPECT_EQ(read_file("/dev/outside"), "(missing)");
}

TEST_F(PropertyStore, WithoutItsFolderNothingIsSetAndDefaultsAreRead)
{
    std::filesystem::remove_all(host_path("/dev"));
    EXPECT_LT(property_set("persist.note", "new"), 0);
    expect_value("persist.note", "usual", "usual");
}

TEST_F(PropertyStore, APlaceThatCannotBeReplacedLeavesNoTemporaryFile)
{
    std::filesystem::create_directories(host_path("/dev/__properties__/persist.note"));
    EXPECT_LT(property_set("persist.note", "new"), 0);
    expect_value("persist.note", "usual", "usual");
    EXPECT_THAT(names_in("/dev/__properties__"), ElementsAre("persist.note"));
}

TEST_F(PropertyStore, AValueThatCannotBeWrittenLeavesTheOldOne)
{
    EXPECT_EQ(property_set("persist.note", "old"), 0);
    const auto previous_handler = signal(SIGXFSZ, SIG_IGN);
    rlimit previous = {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &previous), 0);
    const rlimit no_byte = {0, previous.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &no_byte), 0);
    const int result = property_set("persist.note", "new");
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &previous), 0);
    (void)signal(SIGXFSZ, previous_handler);

    EXPECT_LT(result, 0);
    expect_value("persist.note", nullptr, "old");
    EXPECT_THAT(names_in("/dev/__properties__"), ElementsAre("persist.note"));
}

TEST_F(PropertyStore, EverySetIsRecordedInOrderAlsoOnesRefused)
{
    (void)property_set("sys.usb.config", "amt1");
    (void)property_set("persist.note", nullptr);
    (void)property_set("a/b", "refused");
    (void)property_set(nullptr, "refused");
    (void)get("sys.usb.config", nullptr);
    EXPECT_EQ(calls(), "property_set(sys.usb.config, amt1)\nproperty_set(persist.note, )\n"
                       "property_set(a/b, refused)\nproperty_set(, refused)\n");
}

TEST_F(PropertyStore, ARecordIsOneLineWhateverTheValueHolds)
{
    const char *const value = "one\ntwo\r\t\x1f\x7f back\\slash";
    EXPECT_EQ(property_set("persist.note", value), 0);
    EXPECT_EQ(calls(), "property_set(persist.note, one\\ntwo\\r\\t\\x1f\\x7f back\\\\slash)\n");
    expect_value("persist.note", nullptr, value);
}

TEST_F(PropertyStore, ARecordTooLongForItsLineIsCutButStillALine)
{
    EXPECT_LT(property_set("persist.note", std::string(5000, '\n').c_str()), 0);
    EXPECT_EQ(property_set("persist.note", "new"), 0);
    const std::string record = calls();
    EXPECT_EQ(std::count(record.begin(), record.end(), '\n'), 2);
    EXPECT_EQ(record.rfind("property_set(persist.note, \\n\\n", 0), 0U);
}

// Each value is of one letter only, of a length that belongs to the letter.
std::string uniform_value(size_t writer, size_t turn)
{
    const size_t kind = writer * 2 + turn % 2;
    return std::string(1 + kind * 30, static_cast<char>('a' + kind));
}

bool is_whole(const std::string &value)
{
    const auto kind = static_cast<size_t>(value.empty() ? 0 : value[0] - 'a');
    return kind < 4 && value == uniform_value(kind / 2, kind % 2);
}

TEST_F(PropertyStore, ReadersNeverSeePartOfAValue)
{
    constexpr size_t k_turns = 200;
    ASSERT_EQ(property_set("shared", uniform_value(0, 0).c_str()), 0);
    std::atomic<int> writers_left = 2;
    std::atomic<int> failed_sets = 0;
    std::vector<std::thread> writers;
    for (size_t writer = 0; writer < 2; ++writer) {
        writers.emplace_back([&, writer] {
            for (size_t turn = 0; turn < k_turns; ++turn) {
                failed_sets += property_set("shared", uniform_value(writer, turn).c_str()) != 0;
            }
            --writers_left;
        });
    }
    const auto read_until_written = [&writers_left] {
        std::vector<std::string> torn;
        do {
            const std::string value = get("shared", nullptr).m_value;
            if (!is_whole(value)) {
                torn.push_back(value);
            }
        } while (writers_left > 0);
        return torn;
    };
    auto other_reader = std::async(std::launch::async, read_until_written);
    EXPECT_THAT(read_until_written(), IsEmpty());
    EXPECT_THAT(other_reader.get(), IsEmpty());
    std::for_each(writers.begin(), writers.end(), [](std::thread &writer) { writer.join(); });

    EXPECT_EQ(failed_sets, 0);
    EXPECT_THAT(names_in("/dev/__properties__"), ElementsAre("shared"));
    const std::string record = calls();
    EXPECT_EQ(std::count(record.begin(), record.end(), '\n'), 2 * static_cast<long>(k_turns) + 1);
}

} // namespace
