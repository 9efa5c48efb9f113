#include "amt/identity/identity-files.h"

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

#include "amt/core/context.h"
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

// --- writing

// A file to be written to, and its descriptor.
class written_file {
  public:
    written_file()
        : m_fd(open(m_folder.path("file").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600))
    {
    }
    ~written_file() { (void)close(m_fd); }
    written_file(const written_file &) = delete;
    written_file &operator=(const written_file &) = delete;

    [[nodiscard]] int fd() const { return m_fd; }
    [[nodiscard]] std::string content() const { return read_whole_file(m_folder.path("file")); }

  private:
    temp_folder m_folder;
    int m_fd;
};

TEST(WriteText, WritesAllOfItAndNothingElse)
{
    in_child([] {
        const written_file file;
        EXPECT_TRUE(amt_write_text(file.fd(), "490154203237518"));
        EXPECT_EQ(file.content(), "490154203237518");
        EXPECT_TRUE(amt_write_text(file.fd(), "")) << "nothing is all of it";
        EXPECT_TRUE(amt_write_text(file.fd(), std::string(5000, 'x').c_str()));
        EXPECT_EQ(file.content(), "490154203237518" + std::string(5000, 'x')) << "where the last ended";
    });
}

TEST(WriteLine, AddsALineFeedToUpTo98Characters)
{
    const std::pair<const char *, std::string> rows[] = {
        {"usual", "00:11:22:33:44:55"},
        {"empty", ""},
        {"98 characters", std::string(98, 'x')},
    };
    for (const auto &[name, line] : rows) {
        in_child([name = name, &line = line] {
            const written_file file;
            EXPECT_TRUE(amt_write_line(file.fd(), line.c_str())) << name;
            EXPECT_EQ(file.content(), line + "\n") << name;
        });
    }
}

using write_function = bool (*)(int fd, const char *text);

TEST(WriteTextAndLine, SayByErrnoWhyTheyFail)
{
    for (const write_function function : {amt_write_text, amt_write_line}) {
        in_child([function] {
            errno = EIO; // of an earlier call
            EXPECT_FALSE(function(-1, "0123456789"));
            EXPECT_EQ(errno, EBADF);
        });
    }
}

TEST(WriteTextAndLine, FailWithoutAnErrnoWhenTheFileTakesOnlyAPart)
{
    for (const write_function function : {amt_write_text, amt_write_line}) {
        for (const size_t taken : {0, 1, 9}) {
            in_child([function, taken] {
                const written_file file;
                handle_context_st.m_fd_pc = file.fd(); // whose writes can be cut
                g_fake.write_fails_at = 1;
                g_fake.write_count = taken;
                errno = EIO; // of an earlier call
                EXPECT_FALSE(function(file.fd(), "0123456789")) << taken;
                EXPECT_EQ(errno, 0) << taken;
                EXPECT_EQ(file.content(), std::string("0123456789").substr(0, taken)) << "one write, not repeated";
                handle_context_st.m_fd_pc = 0;
            });
        }
    }
}

TEST(WriteLine, FailsWhenTheLineFeedAloneIsMissing)
{
    in_child([] {
        const written_file file;
        handle_context_st.m_fd_pc = file.fd(); // whose writes can be cut
        g_fake.write_fails_at = 1;
        g_fake.write_count = 10;
        EXPECT_FALSE(amt_write_line(file.fd(), "0123456789"));
        handle_context_st.m_fd_pc = 0;
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
