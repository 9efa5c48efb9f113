#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdint.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "amt/results/amt-test-result.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/amt_folder.h"
#include "tests/unit/amt/port_fakes.h"

namespace {

using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char k_product_path[] = "/amt/product.txt";

const std::string k_no_space = "sys error | write: 28 - No space left on device";

std::string cannot_open(const std::string &file, const std::string &reason)
{
    return k_no_access + "open file(/amt/" + file + ") failure. errorr: " + reason;
}

// What can stand in a file's place, and why it is then not opened.
struct obstacle {
    const char *name;
    void (*put)(const std::string &path);
    const char *reason;
};

const obstacle k_folder_there = {"a folder", [](const std::string &path) { EXPECT_EQ(mkdir(path.c_str(), 0777), 0); },
                                 "21 - Is a directory"};
const obstacle k_pipe_there = {"a pipe", [](const std::string &path) { EXPECT_EQ(mkfifo(path.c_str(), 0666), 0); },
                               "22 - Invalid argument"};
const obstacle k_device_there = {"a device",
                                 [](const std::string &path) { EXPECT_EQ(symlink("/dev/null", path.c_str()), 0); },
                                 "22 - Invalid argument"};

// A file that is not there and cannot be made.
void put_broken_link(const std::string &path)
{
    EXPECT_EQ(symlink("missing/file", path.c_str()), 0);
}

// --- initTestFile

TEST(InitTestFile, MakesAFileOfItemsThatAreNotTested)
{
    for (const int32_t count : {INT32_MIN, -1, 0, 1, 20, 36}) {
        in_child([count] {
            SCOPED_TRACE(count);
            const amt_folder folder;
            const test_log log;
            (void)umask(0);
            EXPECT_EQ(initTestFile(k_product_path, count), 0);
            EXPECT_TRUE(folder.has(k_product));
            EXPECT_EQ(folder.content(k_product), untested(count));
            struct stat info = {};
            EXPECT_EQ(stat(folder.path(k_product).c_str(), &info), 0);
            EXPECT_EQ(info.st_mode & 07777, 0666U);
            EXPECT_THAT(g_fake.files, IsEmpty()) << "closed";
            const std::string told = "initTestFile . path:/amt/product.txt; count: " + std::to_string(count);
            EXPECT_THAT(without_entries(log), ElementsAre("info | " + told));
            EXPECT_THAT(log.text(), HasSubstr(told + "\n\n")) << "the text has a line end of its own";
        });
    }
}

TEST(InitTestFile, OverwritesAFileThatExists)
{
    in_child([] {
        const amt_folder folder;
        folder.put(k_product, std::string(100, 'x'));
        EXPECT_EQ(initTestFile(k_product_path, 2), 0);
        EXPECT_EQ(folder.content(k_product), "0\n0\n");
    });
}

TEST(InitTestFile, RefusesMoreThan36Items)
{
    for (const int32_t count : {37, INT32_MAX}) {
        in_child([count] {
            const amt_folder folder;
            const test_log log;
            EXPECT_EQ(initTestFile(k_product_path, count), -1) << count;
            EXPECT_FALSE(folder.has(k_product)) << count;
            EXPECT_THAT(without_entries(log), ElementsAre(k_no_access + "test item error: " + std::to_string(count)));
            EXPECT_THAT(log.text(), HasSubstr("test item error: " + std::to_string(count) + "\n\n"));
        });
    }
}

TEST(InitTestFile, FailsWhenTheFileCannotBeOpened)
{
    const obstacle pipe = {"a pipe", k_pipe_there.put, "6 - No such device or address"};
    for (const obstacle &row : {k_folder_there, pipe, k_device_there}) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const amt_folder folder;
            row.put(folder.path(k_product));
            const test_log log;
            EXPECT_EQ(initTestFile(k_product_path, 36), -1);
            EXPECT_THAT(g_fake.files, IsEmpty()) << "closed";
            EXPECT_THAT(without_entries(log), ElementsAre("info | initTestFile . path:/amt/product.txt; count: 36",
                                                          cannot_open(k_product, row.reason)));
        });
    }
    in_child([] {
        const test_log log;
        EXPECT_EQ(initTestFile(k_product_path, 36), -1) << "no folder";
        EXPECT_THAT(without_entries(log), ElementsAre("info | initTestFile . path:/amt/product.txt; count: 36",
                                                      cannot_open(k_product, "2 - No such file or directory")));
    });
}

TEST(InitTestFile, FailsWhenTheDiskTakesNotAllOfIt)
{
    const std::string begun = "info | initTestFile . path:/amt/product.txt; count: 36";
    in_child([&begun] {
        const amt_folder folder;
        const test_log log;
        g_fake.file_writings = {{0, ENOSPC}};
        EXPECT_EQ(initTestFile(k_product_path, 36), -1);
        EXPECT_THAT(g_fake.files, IsEmpty()) << "closed";
        EXPECT_THAT(without_entries(log), ElementsAre(begun, k_no_space));
    });
    in_child([&begun] {
        const amt_folder folder;
        const test_log log;
        g_fake.file_writings = {{71, 0}};
        EXPECT_EQ(initTestFile(k_product_path, 36), -1);
        EXPECT_THAT(g_fake.files, IsEmpty()) << "closed";
        EXPECT_THAT(without_entries(log),
                    ElementsAre(begun, "warning | write not completed: to write(72) != written(71)"));
    });
}

// --- update_item

struct verdict_row {
    const char *name;
    uint32_t result;
    char digit;
    const char *shown;
};

// clang-format off
constexpr verdict_row k_verdicts_a[] = {
    {"not tested",         0,          '0', "[TEST_RESULT] update item for TEST_UNKNOWN"},
    {"passed",             1,          '1', ""},
    {"failed",             2,          '2', "[TEST_RESULT] update item for TEST_FAIL"},
    {"3",                  3,          '0', "[TEST_RESULT] update item for TEST_UNKNOWN"},
    {"4",                  4,          '0', "[TEST_RESULT] update item for TEST_UNKNOWN"},
    {"5",                  5,          '0', "[TEST_RESULT] update item for TEST_UNKNOWN"},
    {"a byte of 1",        0x00000101, '0', "[TEST_RESULT] update item for TEST_UNKNOWN"},
    {"the greatest",       0xFFFFFFFF, '0', "[TEST_RESULT] update item for TEST_UNKNOWN"},
};
// clang-format on

TEST(UpdateItem, WritesTheDigitOfAVerdictAndShowsWhatDidNotPass)
{
    for (const verdict_row &row : k_verdicts_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const amt_folder folder;
            folder.put(k_product, "7\n8\n9\n");
            const test_log log;
            const std::string shown = output_of([&row] { EXPECT_EQ(update_item(k_product_path, 1, row.result), 0); });
            EXPECT_EQ(folder.content(k_product), std::string("7\n") + row.digit + "\n9\n");
            EXPECT_EQ(shown, row.shown) << "without a line end";
            EXPECT_THAT(g_fake.files, IsEmpty()) << "closed";
            const std::string told = std::string("write item [1], result= ") + row.digit;
            EXPECT_THAT(without_entries(log), ElementsAre("info | " + told));
            EXPECT_THAT(log.text(), HasSubstr(told + "\n\n"));
        });
    }
}

struct place_row {
    const char *name;
    const char *before;
    int32_t index;
    const char *after;
};

// clang-format off
constexpr place_row k_places_a[] = {
    {"the first",                      "0\n0\n0\n", 0,         "1\n0\n0\n"},
    {"the last",                       "0\n0\n0\n", 2,         "0\n0\n1\n"},
    {"what stands around it stays",    "abcdef",    1,         "ab1def"},
    {"below the first",                "0\n2\n0\n", -1,        "1\n2\n0\n"},
    {"far below the first",            "0\n2\n0\n", INT32_MIN, "1\n2\n0\n"},
    {"a file without its end",         "0\n0\n",    2,         "0\n0\n1"},
    {"an empty file",                  "",          0,         "1"},
};
// clang-format on

TEST(UpdateItem, ChangesOneByteOfItsFile)
{
    for (const place_row &row : k_places_a) {
        in_child([&row] {
            const amt_folder folder;
            folder.put(k_product, row.before);
            EXPECT_EQ(update_item(k_product_path, row.index, 1), 0) << row.name;
            EXPECT_EQ(folder.content(k_product), row.after) << row.name;
        });
    }
}

TEST(UpdateItem, FindsAnItemBehindTwoGigabytes)
{
    in_child([] {
        const amt_folder folder;
        folder.put(k_product, "0\n");
        EXPECT_EQ(update_item(k_product_path, 0x40000000, 1), 0);
        EXPECT_EQ(std::filesystem::file_size(folder.path(k_product)), 0x80000001U);
    });
}

TEST(UpdateItem, NeedsAFileThatItCanOpen)
{
    for (const obstacle &row : {k_folder_there, k_pipe_there, k_device_there}) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const amt_folder folder;
            row.put(folder.path(k_product));
            const test_log log;
            EXPECT_EQ(output_of([] { EXPECT_EQ(update_item(k_product_path, 0, 2), -1); }), "");
            EXPECT_THAT(g_fake.files, IsEmpty()) << "closed";
            EXPECT_THAT(without_entries(log), ElementsAre(cannot_open(k_product, row.reason)));
        });
    }
    in_child([] {
        const amt_folder folder;
        const test_log log;
        EXPECT_EQ(update_item(k_product_path, 0, 1), -1);
        EXPECT_FALSE(folder.has(k_product)) << "none is made";
        EXPECT_THAT(without_entries(log), ElementsAre(cannot_open(k_product, "2 - No such file or directory")));
    });
}

TEST(UpdateItem, FailsWhenTheDiskTakesNothing)
{
    for (const writing &next : {writing{0, 0}, writing{0, ENOSPC}}) {
        in_child([&next] {
            const amt_folder folder;
            folder.put(k_product, "0\n0\n");
            const test_log log;
            g_fake.file_writings = {next};
            EXPECT_EQ(output_of([] { EXPECT_EQ(update_item(k_product_path, 1, 2), -2); }), "") << next.error;
            EXPECT_EQ(folder.content(k_product), "0\n0\n");
            EXPECT_THAT(g_fake.files, IsEmpty()) << "closed";
            EXPECT_THAT(without_entries(log),
                        ElementsAre(next.error == ENOSPC ? k_no_space
                                                         : "warning | write not completed: to write(1) != written(0)"));
        });
    }
}

// --- write_item and write_amt_item

struct writer_row {
    const char *name; // of the file
    int32_t (*write)(int32_t index, uint32_t result);
    const char *other; // the file that it leaves alone
    int32_t count;
};

// clang-format off
constexpr writer_row k_writers_a[] = {
    {k_product,    write_item,     k_modem_copy, 36},
    {k_modem_copy, write_amt_item, k_product,    20},
};
// clang-format on

std::string init_record(const writer_row &row)
{
    return std::string("info | initTestFile . path:/amt/") + row.name + "; count: " + std::to_string(row.count);
}

// In a process and a folder of its own for each of the two.
template <typename body_type>
void for_each_writer(const body_type &body)
{
    for (const writer_row &row : k_writers_a) {
        in_child([&] {
            SCOPED_TRACE(row.name);
            const amt_folder folder;
            const test_log log;
            body(row, folder, log);
            EXPECT_FALSE(folder.has(row.other));
            EXPECT_THAT(g_fake.files, IsEmpty()) << "closed";
        });
    }
}

TEST(ResultFiles, TellOfEachOfTheirFunctions)
{
    in_child([] {
        const amt_folder folder;
        const test_log log;
        EXPECT_EQ(write_item(0, 1), 0);
        EXPECT_EQ(write_amt_item(0, 1), 0);
        EXPECT_EQ(read_item(0), 1);
        for (const char *function : {"initTestFile", "update_item", "write_item", "write_amt_item", "read_item"}) {
            EXPECT_THAT(log.text(), ContainsRegex(std::string("\\| ") + function + " +\\| +[0-9]+ \\| func "))
                << function;
        }
    });
}

TEST(WriteItem, MakesItsFileOnFirstUse)
{
    for_each_writer([](const writer_row &row, const amt_folder &folder, const test_log &log) {
        EXPECT_EQ(output_of([&row] { EXPECT_EQ(row.write(2, 2), 0); }), "[TEST_RESULT] update item for TEST_FAIL");
        EXPECT_EQ(folder.content(row.name), untested_but(row.count, 4, '2'));
        EXPECT_THAT(without_entries(log), ElementsAre(init_record(row), "info | write item [2], result= 2"));
    });
}

TEST(WriteItem, ChangesOneItemOfAFileThatExists)
{
    for_each_writer([](const writer_row &row, const amt_folder &folder, const test_log &log) {
        folder.put(row.name, "1\r2\r1\r and nothing else");
        EXPECT_EQ(row.write(1, 0), 0);
        EXPECT_EQ(folder.content(row.name), "1\r0\r1\r and nothing else");
        EXPECT_THAT(without_entries(log), ElementsAre("info | write item [1], result= 0"));
    });
}

// Made anew it would lose all its verdicts.
TEST(WriteItem, KeepsAFileThatCannotBeLookedAt)
{
    for_each_writer([](const writer_row &row, const amt_folder &folder, const test_log &log) {
        folder.put(row.name, untested_but(row.count, 6, '2'));
        amt_folder::fail_looks(EIO);
        EXPECT_EQ(row.write(2, 1), 0);
        std::string expected = untested_but(row.count, 6, '2');
        expected[4] = '1';
        EXPECT_EQ(folder.content(row.name), expected);
        EXPECT_THAT(without_entries(log), ElementsAre("info | write item [2], result= 1"));
    });
}

TEST(WriteItem, KeepsEveryVerdictApart)
{
    for_each_writer([](const writer_row &row, const amt_folder &folder, const test_log &) {
        std::string expected;
        for (int32_t index = 0; index < row.count; index++) {
            const uint32_t verdict = static_cast<uint32_t>(index) % 3;
            EXPECT_EQ(row.write(index, verdict), 0) << index;
            expected += std::to_string(verdict) + "\n";
        }
        EXPECT_EQ(folder.content(row.name), expected);
    });
}

TEST(WriteItem, RefusesAnIndexBehindTheLast)
{
    for_each_writer([](const writer_row &row, const amt_folder &folder, const test_log &log) {
        EXPECT_EQ(row.write(row.count, 1), -3);
        EXPECT_EQ(row.write(INT32_MAX, 1), -3);
        EXPECT_FALSE(folder.has(row.name)) << "nothing is made for it";
        amt_folder::remove();
        EXPECT_EQ(row.write(row.count, 1), -3) << "the index comes first";
        const std::string told = k_not_saved + "item index error: ";
        EXPECT_THAT(without_entries(log),
                    ElementsAre(told + std::to_string(row.count), told + std::to_string(INT32_MAX),
                                told + std::to_string(row.count)));
        EXPECT_THAT(log.text(), HasSubstr("item index error: " + std::to_string(row.count) + "\n\n"));
    });
}

TEST(WriteItem, AcceptsTheLastIndexAndAnyBelow)
{
    for_each_writer([](const writer_row &row, const amt_folder &folder, const test_log &) {
        EXPECT_EQ(row.write(row.count - 1, 1), 0);
        const size_t last = 2 * (static_cast<size_t>(row.count) - 1);
        EXPECT_EQ(folder.content(row.name), untested_but(row.count, last, '1'));
        EXPECT_EQ(row.write(row.count - 1, 5), 0);
        EXPECT_EQ(folder.content(row.name), untested(row.count));
        for (const int32_t index : {-1, INT32_MIN}) {
            EXPECT_EQ(row.write(0, 0), 0);
            EXPECT_EQ(row.write(index, 2), 0) << index;
            EXPECT_EQ(folder.content(row.name), untested_but(row.count, 0, '2')) << "item 0, for " << index;
        }
    });
}

TEST(WriteItem, NeedsAFolderThatItCanReadAndWrite)
{
    for (const int denied : {R_OK, W_OK, R_OK | W_OK}) {
        for_each_writer([denied](const writer_row &row, const amt_folder &folder, const test_log &log) {
            amt_folder::deny(denied);
            EXPECT_EQ(row.write(0, 1), -1) << denied;
            EXPECT_FALSE(folder.has(row.name));
            EXPECT_THAT(without_entries(log), ElementsAre(k_no_access + "Save fail: Directory access deny"));
            EXPECT_THAT(log.text(), HasSubstr("Save fail: Directory access deny\n\n"));
        });
    }
    for_each_writer([](const writer_row &row, const amt_folder &, const test_log &log) {
        amt_folder::remove();
        EXPECT_EQ(row.write(0, 1), -1);
        EXPECT_FALSE(std::filesystem::exists("/missing")) << "the service makes no folder";
        EXPECT_THAT(without_entries(log), ElementsAre(k_no_access + "Save fail: Directory access deny"));
    });
}

TEST(WriteItem, FailsWhenAMissingFileCannotBeMade)
{
    for_each_writer([](const writer_row &row, const amt_folder &folder, const test_log &log) {
        put_broken_link(folder.path(row.name));
        EXPECT_EQ(row.write(0, 1), -2);
        EXPECT_THAT(without_entries(log),
                    ElementsAre(init_record(row), cannot_open(row.name, "2 - No such file or directory"),
                                k_not_made + "Save fail: init result file error"));
        EXPECT_THAT(log.text(), HasSubstr("Save fail: init result file error\n\n"));
    });
    for_each_writer([](const writer_row &row, const amt_folder &, const test_log &log) {
        g_fake.file_writings = {{0, ENOSPC}};
        EXPECT_EQ(row.write(0, 1), -2);
        EXPECT_THAT(without_entries(log),
                    ElementsAre(init_record(row), k_no_space, k_not_made + "Save fail: init result file error"));
    });
}

TEST(WriteItem, FailsWhenTheItemCannotBeChanged)
{
    for (const obstacle &obstacle : {k_folder_there, k_pipe_there, k_device_there}) {
        for_each_writer([&obstacle](const writer_row &row, const amt_folder &folder, const test_log &log) {
            obstacle.put(folder.path(row.name));
            EXPECT_EQ(row.write(0, 1), -3) << obstacle.name;
            EXPECT_THAT(without_entries(log), ElementsAre(cannot_open(row.name, obstacle.reason),
                                                          k_not_saved + "Save fail: update result error"));
            EXPECT_THAT(log.text(), HasSubstr("Save fail: update result error\n\n"));
        });
    }
    for_each_writer([](const writer_row &row, const amt_folder &folder, const test_log &log) {
        folder.put(row.name, untested(row.count));
        g_fake.file_writings = {{0, ENOSPC}};
        EXPECT_EQ(row.write(0, 1), -3) << "not the -2 of the item";
        EXPECT_EQ(folder.content(row.name), untested(row.count));
        EXPECT_THAT(without_entries(log), ElementsAre(k_no_space, k_not_saved + "Save fail: update result error"));
    });
}

} // namespace
