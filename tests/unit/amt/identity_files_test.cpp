#include "amt/identity/identity-files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

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

} // namespace
