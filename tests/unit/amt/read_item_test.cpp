// Reading a verdict back from its file; the writing is tested in test_result_files_test.cpp.
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdint.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "amt/results/amt-test-result.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/amt_folder.h"
#include "tests/unit/amt/port_fakes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const std::string k_missing = "warning | access file(/amt/product.txt) failure. errorr: 2 - No such file or directory";
const std::string k_init = "info | initTestFile . path:/amt/product.txt; count: 36";

// In a process and a folder of its own.
template <typename body_type>
void with_folder(const body_type &body)
{
    in_child([&body] {
        const amt_folder folder;
        const test_log log;
        body(folder, log);
        EXPECT_THAT(g_fake.files, IsEmpty()) << "closed";
    });
}

struct item_row {
    const char *name;
    std::string content;
    int32_t index;
    int32_t value;
    const char *character;
};

const item_row k_items_a[] = {
    {"0", "0\n1\n2\n", 0, 0, "0"},
    {"1", "0\n1\n2\n", 1, 1, "1"},
    {"2", "0\n1\n2\n", 2, 2, "2"},
    {"3", "3\n", 0, 3, "3"},
    {"9", "9\n", 0, 9, "9"},
    {"a letter", "x\n", 0, 0, "x"},
    {"in front of the digits", "/\n", 0, 0, "/"},
    {"behind the digits", ":\n", 0, 0, ":"},
    {"a sign", "-1", 0, 0, "-"},
    {"a zero byte", std::string("\0\n", 2), 0, 0, ""},
    {"a byte above ASCII", "\xb2\n", 0, 0, "\xb2"},
    {"one character of several", "12", 0, 1, "1"},
    {"the last item", untested_but(36, 70, '2'), 35, 2, "2"},
    {"the last item but one", untested_but(36, 68, '2'), 34, 2, "2"},
};

TEST(ReadItem, GivesTheDigitThatStandsThere)
{
    for (const item_row &row : k_items_a) {
        with_folder([&row](const amt_folder &folder, const test_log &log) {
            folder.put(k_product, row.content);
            EXPECT_EQ(output_of([&row] { EXPECT_EQ(read_item(row.index), row.value) << row.name; }), "");
            EXPECT_EQ(folder.content(k_product), row.content) << row.name;
            const std::string told = "itemIndex = " + std::to_string(row.index) + ", buf= " + row.character;
            EXPECT_THAT(without_entries(log), ElementsAre("info | " + told)) << row.name;
            EXPECT_THAT(log.text(), HasSubstr(told + "\n\n")) << row.name;
        });
    }
}

TEST(ReadItem, BehindTheEndOfTheFileIs0)
{
    for (const std::string &content : {std::string(), std::string("1\n1"), std::string("1\n1\n")}) {
        with_folder([&content](const amt_folder &folder, const test_log &log) {
            folder.put(k_product, content);
            EXPECT_EQ(read_item(2), 0) << content.size();
            EXPECT_EQ(folder.content(k_product), content) << "an existing file is not made again";
            EXPECT_THAT(without_entries(log), IsEmpty());
        });
    }
}

TEST(ReadItem, KeepsAFileThatCannotBeLookedAt)
{
    with_folder([](const amt_folder &folder, const test_log &log) {
        folder.put(k_product, untested_but(36, 6, '2'));
        amt_folder::fail_looks(EIO);
        EXPECT_EQ(read_item(3), 2);
        EXPECT_EQ(folder.content(k_product), untested_but(36, 6, '2'));
        EXPECT_THAT(without_entries(log), ElementsAre("warning | access file(/amt/product.txt) failure. errorr: 5 - "
                                                      "Input/output error",
                                                      "info | itemIndex = 3, buf= 2"));
    });
}

TEST(ReadItem, MakesAMissingFile)
{
    with_folder([](const amt_folder &folder, const test_log &log) {
        EXPECT_EQ(read_item(35), 0);
        EXPECT_EQ(folder.content(k_product), untested(36));
        EXPECT_FALSE(folder.has(k_modem_copy));
        EXPECT_THAT(without_entries(log), ElementsAre(k_missing, k_init, "info | itemIndex = 35, buf= 0"));
    });
}

TEST(ReadItem, RefusesAnIndexBehindTheLast)
{
    for (const int32_t index : {36, 37, INT32_MAX}) {
        with_folder([index](const amt_folder &folder, const test_log &log) {
            EXPECT_EQ(read_item(index), -3) << index;
            EXPECT_FALSE(folder.has(k_product)) << "nothing is made for it";
            amt_folder::remove();
            EXPECT_EQ(read_item(index), -3) << "the index comes first";
            const std::string told = k_not_saved + "item index error: " + std::to_string(index);
            EXPECT_THAT(without_entries(log), ElementsAre(told, told));
            EXPECT_THAT(log.text(), HasSubstr("item index error: " + std::to_string(index) + "\n\n"));
        });
    }
}

TEST(ReadItem, FailsBelowTheFirst)
{
    for (const int32_t index : {-1, INT32_MIN}) {
        with_folder([index](const amt_folder &folder, const test_log &log) {
            folder.put(k_product, "2\n");
            EXPECT_EQ(read_item(index), -1) << index;
            EXPECT_THAT(without_entries(log),
                        ElementsAre(k_no_access + "call fseek failure. errorr: 22 - Invalid argument"));
        });
    }
}

TEST(ReadItem, NeedsAFolderThatItCanRead)
{
    with_folder([](const amt_folder &folder, const test_log &log) {
        folder.put(k_product, "2\n");
        amt_folder::deny(R_OK);
        EXPECT_EQ(read_item(0), -1);
        amt_folder::deny(W_OK);
        EXPECT_EQ(read_item(0), 2) << "it need not write there";
        amt_folder::remove();
        EXPECT_EQ(read_item(0), -1);
        EXPECT_THAT(without_entries(log),
                    ElementsAre(k_no_access + "access folder(/amt) failure. errorr: 13 - Permission denied",
                                "info | itemIndex = 0, buf= 2",
                                k_no_access + "access folder(/amt) failure. errorr: 2 - No such file or directory"));
    });
}

TEST(ReadItem, FailsWhenAMissingFileCannotBeMade)
{
    const std::string failed = k_not_made + "initTestFile fail: init result file error";
    with_folder([&failed](const amt_folder &folder, const test_log &log) {
        EXPECT_EQ(symlink("missing/file", folder.path(k_product).c_str()), 0);
        EXPECT_EQ(read_item(0), -2);
        EXPECT_THAT(
            without_entries(log),
            ElementsAre(k_missing, k_init,
                        k_no_access + "open file(/amt/product.txt) failure. errorr: 2 - No such file or directory",
                        failed));
        EXPECT_THAT(log.text(), HasSubstr("init result file error\n\n"));
    });
    with_folder([&failed](const amt_folder &, const test_log &log) {
        g_fake.file_writings = {{0, ENOSPC}};
        EXPECT_EQ(read_item(0), -2);
        EXPECT_THAT(without_entries(log),
                    ElementsAre(k_missing, k_init, "sys error | write: 28 - No space left on device", failed));
    });
}

TEST(ReadItem, FailsOnWhatIsNoFile)
{
    with_folder([](const amt_folder &folder, const test_log &log) {
        EXPECT_EQ(mkdir(folder.path(k_product).c_str(), 0777), 0);
        EXPECT_EQ(read_item(0), -1);
        EXPECT_THAT(without_entries(log), ElementsAre(k_no_access + "call fgets error. errorr: 21 - Is a directory"));
    });
    with_folder([](const amt_folder &folder, const test_log &log) {
        EXPECT_EQ(mkfifo(folder.path(k_product).c_str(), 0666), 0);
        EXPECT_EQ(read_item(0), -1) << "and does not wait for who writes into the pipe";
        EXPECT_THAT(without_entries(log),
                    ElementsAre(k_no_access + "open file(/amt/product.txt) failure. errorr: 22 - Invalid argument"));
    });
}

} // namespace
