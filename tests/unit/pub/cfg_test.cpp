#include "pub/cfg/cfg.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "pub/base/scoped.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/temp_folder.h"
#include "tests/support/test_log.h"

namespace {

using ::testing::ElementsAre;

std::vector<std::string> lines_of(const std::string &content, uint32_t size)
{
    const temp_folder folder;
    const scoped_file file(pub_cfg_open(folder.with_file("file", content).c_str()));
    std::vector<std::string> lines;
    std::vector<char> line(size, '#');
    uint32_t length = 99;
    int32_t end_of_file = 99;
    while (pub_cfg_get_line(file.get(), line.data(), size, &length, &end_of_file) == ERR_NONE && end_of_file == 0) {
        EXPECT_EQ(strlen(line.data()), length);
        lines.emplace_back(line.data());
    }
    EXPECT_EQ(end_of_file, 1);
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(line[0], '\0');
    return lines;
}

TEST(ConfigLine, KeepsItsLineFeed)
{
    EXPECT_THAT(lines_of("a\n\nb = c\r\n", 100), ElementsAre("a\n", "\n", "b = c\r\n"));
}

TEST(ConfigLine, NeedsNoLineFeedAtTheEndOfTheFile)
{
    EXPECT_THAT(lines_of("a\nlast", 100), ElementsAre("a\n", "last"));
    EXPECT_THAT(lines_of("", 100), ElementsAre());
}

TEST(ConfigLine, ComesInPiecesTwoShorterThanTheBuffer)
{
    const std::string x98(98, 'x');
    EXPECT_THAT(lines_of(x98 + "yz\n", 100), ElementsAre(x98, "yz\n"));
    EXPECT_THAT(lines_of(std::string(97, 'x') + "\n", 100), ElementsAre(std::string(97, 'x') + "\n"));
    EXPECT_THAT(lines_of(x98 + "\n", 100), ElementsAre(x98, "\n"));
    EXPECT_THAT(lines_of("abc\n", 3), ElementsAre("a", "b", "c", "\n"));
}

TEST(ConfigLine, EndsAtItsFirstNul)
{
    EXPECT_THAT(lines_of(std::string("a\0b\nc\n", 6), 100), ElementsAre("a", "c\n"));
    EXPECT_THAT(lines_of(std::string("\0\n", 2), 100), ElementsAre(""));
}

TEST(ConfigLine, ClearsTheWholeBuffer)
{
    const temp_folder folder;
    const scoped_file file(pub_cfg_open(folder.with_file("file", "ab\n").c_str()));
    char line[10] = {'#', '#', '#', '#', '#', '#', '#', '#', '#', '#'};
    uint32_t length = 0;
    int32_t end_of_file = 0;
    EXPECT_EQ(pub_cfg_get_line(file.get(), line, sizeof(line), &length, &end_of_file), ERR_NONE);
    EXPECT_EQ(std::string(line, sizeof(line)), std::string("ab\n\0\0\0\0\0\0\0", 10));
}

TEST(ConfigLine, AFolderReadsAsAnEmptyFile)
{
    const temp_folder folder;
    const scoped_file file(pub_cfg_open(folder.path().c_str()));
    ASSERT_TRUE(file.is_open());
    char line[100];
    uint32_t length = 99;
    int32_t end_of_file = 0;
    EXPECT_EQ(pub_cfg_get_line(file.get(), line, sizeof(line), &length, &end_of_file), ERR_NONE);
    EXPECT_EQ(end_of_file, 1);
}

TEST(ConfigLine, RefusesNullArgumentsAndTellsWhich)
{
    in_child([] {
        const test_log log;
        const temp_folder folder;
        const scoped_file file(pub_cfg_open(folder.with_file("file", "ab\n").c_str()));
        char line[10] = "old";
        uint32_t length = 7;
        int32_t end = 7;
        EXPECT_EQ(pub_cfg_get_line(nullptr, line, 10, &length, &end), ERR_INVALID_PARAM);
        EXPECT_EQ(pub_cfg_get_line(file.get(), nullptr, 10, &length, &end), ERR_INVALID_PARAM);
        EXPECT_EQ(pub_cfg_get_line(file.get(), line, 2, &length, &end), ERR_INVALID_PARAM);
        EXPECT_EQ(pub_cfg_get_line(file.get(), line, 10, nullptr, &end), ERR_INVALID_PARAM);
        EXPECT_EQ(pub_cfg_get_line(file.get(), line, 10, &length, nullptr), ERR_INVALID_PARAM);
        EXPECT_STREQ(line, "old");
        const std::string error = "error | -101 - Invalid parameter | ";
        EXPECT_THAT(log.records(),
                    ElementsAre(error + "1, 0, 0, 0, 0", error + "0, 1, 0, 0, 0", error + "0, 0, 1, 0, 0",
                                error + "0, 0, 0, 1, 0", error + "0, 0, 0, 0, 1"));
    });
}

TEST(ConfigFile, NeverWaitsForSomebodyToWrite)
{
    const temp_folder folder;
    ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
    for (const std::string &path : {folder.path("pipe"), std::string("/dev/zero")}) {
        errno = 0;
        EXPECT_EQ(pub_cfg_open(path.c_str()), nullptr) << path;
        EXPECT_EQ(errno, EINVAL) << path;
    }
    EXPECT_EQ(pub_cfg_open(folder.path("missing").c_str()), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

struct split_row {
    std::string line;
    const char *name;
    const char *value;
};

TEST(ConfigSplit, CutsNameAndValueOutOfALine)
{
    const split_row k_rows_a[] = {
        {"a=b", "a", "b"},
        {"   kv.tty.pc   =   /dev/ttyGS0  \r\n", "kv.tty.pc", "/dev/ttyGS0"},
        {"a b = c d\n", "a b", "c d"},
        {"a = b = c", "a", "b = c"},
        {"a==b", "a", "=b"},
        {"=b", "", "b"},
        {"   = b", "", "b"},
        {"a=", "a", ""},
        {"a =  \r\n \n", "a", ""},
        {"a = # b", "a", "# b"},
        {"\ta\t=\tb\t", "\ta\t", "\tb\t"},
        {"a = \rb\r", "a", "\rb"},
    };
    for (const split_row &row : k_rows_a) {
        std::string line = row.line;
        char *name = nullptr;
        char *value = nullptr;
        EXPECT_EQ(pub_cfg_get_param_and_value(line.data(), &name, &value), ERR_NONE) << row.line;
        EXPECT_STREQ(name, row.name) << row.line;
        EXPECT_STREQ(value, row.value) << row.line;
    }
}

TEST(ConfigSplit, FindsNothingInACommentOrALineWithoutEquals)
{
    for (std::string line : {"# a = b", "   # a = b", "#", "a b", "", "   ", "\n"}) {
        char *name = nullptr;
        char *value = nullptr;
        EXPECT_EQ(pub_cfg_get_param_and_value(line.data(), &name, &value), ERR_NOT_FOUND) << line;
        EXPECT_EQ(name, nullptr);
        EXPECT_EQ(value, nullptr);
    }
}

TEST(ConfigSplit, RefusesNullArgumentsAndTellsWhich)
{
    in_child([] {
        const test_log log;
        char line[] = "a=b";
        char *result = nullptr;
        EXPECT_EQ(pub_cfg_get_param_and_value(nullptr, &result, &result), ERR_INVALID_PARAM);
        EXPECT_EQ(pub_cfg_get_param_and_value(line, nullptr, &result), ERR_INVALID_PARAM);
        EXPECT_EQ(pub_cfg_get_param_and_value(line, &result, nullptr), ERR_INVALID_PARAM);
        EXPECT_STREQ(line, "a=b");
        const std::string error = "error | -101 - Invalid parameter | ";
        EXPECT_THAT(log.records(), ElementsAre(error + "1, 0, 0", error + "0, 1, 0", error + "0, 0, 1"));
    });
}

} // namespace
