#include "amt/identity/identity-files.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/temp_folder.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/core_fakes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST(MakeFolder, MakesItForTheServiceAndTheRadioGroup)
{
    in_child([] {
        const temp_folder folder;
        const test_log log;
        (void)umask(0);
        const std::string path = folder.path("amt");
        EXPECT_EQ(amt_make_folder(path.c_str()), ERR_NONE);
        struct stat info = {};
        ASSERT_EQ(stat(path.c_str(), &info), 0);
        EXPECT_TRUE(S_ISDIR(info.st_mode));
        EXPECT_EQ(info.st_mode & 07777, 0777U);
        EXPECT_THAT(g_fake.commands, ElementsAre("chgrp -R radio " + path, "chmod 766 " + path));
        EXPECT_THAT(log.records(), ElementsAre("func | ", "info | amt_make_folder: " + path + " does not exist.\r",
                                               "info | amt_make_folder mkdir(" + path + ") successfully"));
        EXPECT_THAT(log.text(), HasSubstr(" does not exist.\r\n\n")) << "the text has a line end of its own";
    });
}

TEST(MakeFolder, LeavesWhatIsThereAsItIs)
{
    in_child([] {
        const temp_folder folder;
        const std::string path = folder.path("amt");
        ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
        const std::string file = folder.with_file("file", "kept");
        const test_log log;
        EXPECT_EQ(amt_make_folder(path.c_str()), ERR_NONE);
        EXPECT_EQ(amt_make_folder(file.c_str()), ERR_NONE);
        EXPECT_EQ(read_whole_file(file), "kept");
        struct stat info = {};
        ASSERT_EQ(stat(path.c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 07777, 0700U);
        EXPECT_THAT(g_fake.commands, IsEmpty());
        EXPECT_THAT(log.records(), ElementsAre("func | ", "info | amt_make_folder: " + path + " exist.\r", "func | ",
                                               "info | amt_make_folder: " + file + " exist.\r"));
    });
}

TEST(MakeFolder, LeavesAFolderAloneThatItMayNotWrite)
{
    in_child([] {
        (void)setuid(65534); // for whom the root folder is only to be read
        EXPECT_EQ(amt_make_folder("/"), ERR_NONE);
        EXPECT_THAT(g_fake.commands, IsEmpty());
    });
}

TEST(MakeFolder, TellsWhyItCannot)
{
    in_child([] {
        const temp_folder folder;
        const std::string path = folder.path("missing/amt");
        const test_log log;
        EXPECT_EQ(amt_make_folder(path.c_str()), ERR_C_FUNCTION);
        EXPECT_THAT(g_fake.commands, IsEmpty());
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "info | amt_make_folder: " + path + " does not exist.\r",
                                "error | -118 - Call C function unsuccessfully | amt_make_folder mkdir(" + path +
                                    ") faild errno[2] strerror[No such file or directory]"));
    });
}

TEST(MakeFolder, DoesNotCareWhatBecomesOfItsCommands)
{
    in_child([] {
        const temp_folder folder;
        const std::string path = folder.path("amt");
        const test_log log;
        g_fake.command_status = 256;
        EXPECT_EQ(amt_make_folder(path.c_str()), ERR_NONE);
        EXPECT_THAT(g_fake.commands, ElementsAre("chgrp -R radio " + path, "chmod 766 " + path));
        EXPECT_EQ(log.records().back(), "info | amt_make_folder mkdir(" + path + ") successfully");
    });
}

TEST(MakeFolder, CutsItsCommandsTo99Characters)
{
    in_child([] {
        const temp_folder folder;
        const std::string path = folder.path(std::string(100, 'x'));
        EXPECT_EQ(amt_make_folder(path.c_str()), ERR_NONE);
        EXPECT_THAT(g_fake.commands,
                    ElementsAre(("chgrp -R radio " + path).substr(0, 99), ("chmod 766 " + path).substr(0, 99)));
        struct stat info = {};
        EXPECT_EQ(stat(path.c_str(), &info), 0) << "the folder itself has its whole name";
    });
}

// --- the content of a file

struct line_row {
    const char *name;
    std::string content;
    std::string text;
};

TEST(ReadDataFromFile, IsTheFirstLineWithItsEnd)
{
    const line_row rows[] = {
        {"without an end", "1", "1"},
        {"with one", "1\n", "1\n"},
        {"two lines", "1\n2\n", "1\n"},
        {"an empty line", "\n1\n", "\n"},
        {"98 characters", std::string(98, 'x'), std::string(98, 'x')},
        {"97 and an end", std::string(97, 'x') + "\n", std::string(97, 'x') + "\n"},
        {"98 and an end", std::string(98, 'x') + "\n", std::string(98, 'x')},
        {"more", std::string(200, 'x'), std::string(98, 'x')},
        {"a zero byte",
         std::string("1\0"
                     "2\n",
                     4),
         "1"},
    };
    for (const line_row &row : rows) {
        in_child([&row] {
            const temp_folder folder;
            const std::string path = folder.with_file("file", row.content);
            const test_log log;
            char text[AMT_FILE_TEXT_SIZE] = "before";
            EXPECT_EQ(amt_read_data_from_file(text, path.c_str()), ERR_NONE) << row.name;
            EXPECT_EQ(std::string(text), row.text) << row.name;
            EXPECT_THAT(log.text(), HasSubstr("| read content: " + row.text + "\n")) << row.name;
        });
    }
}

TEST(ReadDataFromFile, OfNothingFails)
{
    in_child([] {
        const temp_folder folder;
        const std::string empty = folder.with_file("file", "");
        const std::string missing = folder.path("missing");
        const test_log log;
        char text[AMT_FILE_TEXT_SIZE] = "before";
        EXPECT_EQ(amt_read_data_from_file(text, empty.c_str()), ERR_C_FUNCTION);
        EXPECT_STREQ(text, "");
        (void)strcpy(text, "before");
        EXPECT_EQ(amt_read_data_from_file(text, missing.c_str()), ERR_C_FUNCTION);
        EXPECT_STREQ(text, "") << "also of a file that is not there";
        EXPECT_EQ(amt_read_data_from_file(text, folder.path().c_str()), ERR_C_FUNCTION);
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", k_failed_call + "read fail: 0 - No error", "func | ",
                                k_failed_call + "open(\"" + missing + "\") fail: 2 - No such file or directory",
                                "func | ", k_failed_call + "read fail: 21 - Is a directory"));
    });
}

TEST(ReadLine, SaysWhetherThereIsOne)
{
    in_child([] {
        const temp_folder folder;
        const test_log log;
        char line[AMT_FILE_TEXT_SIZE] = "before";
        errno = EIO; // of an earlier call
        EXPECT_EQ(amt_read_line(folder.with_file("file", "one\ntwo\n").c_str(), line), file_reading::done);
        EXPECT_STREQ(line, "one\n");
        errno = EIO;
        EXPECT_EQ(amt_read_line(folder.with_file("file", "").c_str(), line), file_reading::nothing_read);
        EXPECT_EQ(errno, 0) << "the file holds nothing";
        EXPECT_STREQ(line, "");
        (void)strcpy(line, "before");
        EXPECT_EQ(amt_read_line(folder.path().c_str(), line), file_reading::nothing_read);
        EXPECT_EQ(errno, EISDIR);
        EXPECT_STREQ(line, "");
        (void)strcpy(line, "before");
        EXPECT_EQ(amt_read_line(folder.path("missing").c_str(), line), file_reading::not_opened);
        EXPECT_EQ(errno, ENOENT);
        EXPECT_STREQ(line, "");
        EXPECT_THAT(log.records(), IsEmpty()) << "what it means is its caller's to tell";
    });
}

TEST(ReadWord, IsTheFirstOfUpTo99Characters)
{
    const line_row rows[] = {
        {"alone", "00:11", "00:11"},
        {"with a line end", "00:11\n", "00:11"},
        {"two words", "00:11 22", "00:11"},
        {"two lines", "00:11\n22\n", "00:11"},
        {"behind blanks and empty lines", " \t\r\n\n 00:11\n", "00:11"},
        {"98 characters", std::string(98, 'x'), std::string(98, 'x')},
        {"99 characters", std::string(99, 'x'), std::string(99, 'x')},
        {"100 characters", std::string(100, 'x'), std::string(99, 'x')},
        {"5000 characters", std::string(5000, 'x'), std::string(99, 'x')},
    };
    for (const line_row &row : rows) {
        in_child([&row] {
            const temp_folder folder;
            const test_log log;
            char word[AMT_FILE_TEXT_SIZE] = "before";
            EXPECT_EQ(amt_read_word(folder.with_file("file", row.content).c_str(), word), file_reading::done)
                << row.name;
            EXPECT_EQ(std::string(word), row.text) << row.name;
            EXPECT_THAT(log.records(), IsEmpty()) << row.name;
        });
    }
}

TEST(ReadWord, SaysWhetherThereIsOne)
{
    in_child([] {
        const temp_folder folder;
        char word[AMT_FILE_TEXT_SIZE] = "before";
        for (const char *content : {"", " ", "\n\n \t"}) {
            (void)strcpy(word, "before");
            errno = EIO; // of an earlier call
            EXPECT_EQ(amt_read_word(folder.with_file("file", content).c_str(), word), file_reading::nothing_read);
            EXPECT_EQ(errno, 0);
            EXPECT_STREQ(word, "");
        }
        EXPECT_EQ(amt_read_word(folder.path().c_str(), word), file_reading::nothing_read);
        EXPECT_EQ(errno, EISDIR);
        (void)strcpy(word, "before");
        EXPECT_EQ(amt_read_word(folder.path("missing").c_str(), word), file_reading::not_opened);
        EXPECT_EQ(errno, ENOENT);
        EXPECT_STREQ(word, "");
    });
}

// An operation that reads a line.
int32_t amt_test_reading(const std::string &path, char (&line)[AMT_FILE_TEXT_SIZE])
{
    return amt_read_line_or_tell(path.c_str(), line, LOG_HERE);
}

TEST(ReadLineOrTell, TellsItsFailuresInTheNameOfItsCaller)
{
    in_child([] {
        const temp_folder folder;
        const std::string missing = folder.path("missing");
        const test_log log;
        char line[AMT_FILE_TEXT_SIZE] = "before";
        EXPECT_EQ(amt_test_reading(folder.with_file("file", "one\n"), line), ERR_NONE);
        EXPECT_STREQ(line, "one\n");
        EXPECT_THAT(log.records(), IsEmpty()) << "what it read is its caller's to tell";
        EXPECT_EQ(amt_test_reading(folder.with_file("file", ""), line), ERR_C_FUNCTION);
        EXPECT_STREQ(line, "");
        EXPECT_EQ(amt_test_reading(missing, line), ERR_C_FUNCTION);
        EXPECT_THAT(log.records(),
                    ElementsAre(k_failed_call + "read fail: 0 - No error",
                                k_failed_call + "open(\"" + missing + "\") fail: 2 - No such file or directory"));
        EXPECT_THAT(log.functions(), ElementsAre("amt_test_reading", "amt_test_reading"));
    });
}

TEST(Reading, LeavesNothingOpen)
{
    in_child([] {
        const temp_folder folder;
        const int next = dup(STDIN_FILENO);
        (void)close(next);
        char text[AMT_FILE_TEXT_SIZE];
        for (const std::string &path : {folder.with_file("file", "one\n"), folder.with_file("empty", ""), folder.path(),
                                        folder.path("missing")}) {
            (void)amt_read_line(path.c_str(), text);
            (void)amt_read_word(path.c_str(), text);
            (void)amt_read_line_or_tell(path.c_str(), text, LOG_HERE);
            (void)amt_read_data_from_file(text, path.c_str());
            EXPECT_EQ(dup(STDIN_FILENO), next) << path;
            (void)close(next);
        }
    });
}

TEST(ProtectFolder, LeavesItToBeReadByEverybody)
{
    in_child([] {
        const test_log log;
        amt_protect_folder("/amt/BT");
        EXPECT_THAT(g_fake.commands, ElementsAre("chmod -R 555 /amt/BT"));
        EXPECT_THAT(log.records(), ElementsAre("info | path = /amt/BT change to chmod -R 555"));
    });
}

TEST(SyncFiles, PausesBeforeEachOfTwoRounds)
{
    in_child([] {
        std::vector<std::string> steps;
        g_fake.on_pause = [&steps] { steps.push_back("after " + std::to_string(g_fake.commands.size())); };
        amt_sync_files();
        EXPECT_THAT(g_fake.pauses, ElementsAre(50U, 50U));
        EXPECT_THAT(g_fake.commands, ElementsAre("/system/bin/sync", "/system/bin/sync"));
        EXPECT_THAT(steps, ElementsAre("after 0", "after 1"));
    });
}

TEST(SyncFiles, TakesBothRoundsThoughTheFirstFails)
{
    in_child([] {
        const test_log log;
        g_fake.command_status = 256;
        amt_sync_files();
        EXPECT_THAT(g_fake.pauses, ElementsAre(50U, 50U));
        EXPECT_THAT(g_fake.commands, ElementsAre("/system/bin/sync", "/system/bin/sync"));
        EXPECT_THAT(log.records(), IsEmpty());
    });
}

} // namespace
