// The program that makes the source: what it tells, and that nothing is lost when it cannot do its work.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/support/temp_folder.h"

namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

std::string content(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

struct run_result {
    int status = 0;
    std::string told; // on standard error
};

run_result run(const temp_folder &folder, const std::string &arguments)
{
    const std::string told = folder.path("told");
    const int status = std::system((PICTURE_PROGRAM " " + arguments + " 2>" + told).c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, content(told)};
}

TEST(PictureProgram, MakesTheSourceOfTheImage)
{
    const temp_folder folder;
    const run_result made = run(folder, PICTURE_IMAGE " " + folder.path("made.cpp"));
    EXPECT_EQ(made.status, 0);
    EXPECT_EQ(made.told, "");
    EXPECT_EQ(content(folder.path("made.cpp")), content(PICTURE_SOURCE));
}

TEST(PictureProgram, AsksForWhatItNeeds)
{
    const temp_folder folder;
    for (const char *arguments : {"", PICTURE_IMAGE, "one two three"}) {
        const run_result made = run(folder, arguments);
        EXPECT_EQ(made.status, 2) << arguments;
        EXPECT_EQ(made.told,
                  "amt-mode-picture: an image and a source are needed: amt-mode-picture IMAGE.png SOURCE.cpp\n")
            << arguments;
    }
}

TEST(PictureProgram, LeavesTheSourceAloneWithoutAnImage)
{
    const temp_folder folder;
    const std::string source = folder.with_file("source.cpp", "as it was");
    const run_result made = run(folder, folder.path("missing.png") + " " + source);
    EXPECT_EQ(made.status, 1);
    EXPECT_THAT(made.told, StartsWith("amt-mode-picture: " + folder.path("missing.png") + ": "));
    EXPECT_EQ(content(source), "as it was");
}

TEST(PictureProgram, TellsWhatItCannotWrite)
{
    const temp_folder folder;
    const run_result made = run(folder, PICTURE_IMAGE " " + folder.path("missing/source.cpp"));
    EXPECT_EQ(made.status, 1);
    EXPECT_THAT(made.told, HasSubstr("cannot write " + folder.path("missing/source.cpp")));
}

} // namespace
