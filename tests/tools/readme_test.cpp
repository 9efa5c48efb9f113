// What the README shows is what its reader gets: its transcript is typed, line by line, at a terminal.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "tests/tools/tool_runner.h"
#include "tests/tools/transcript.h"

namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

std::string content_of(const std::string &path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The programs are those of this build, wherever the README has them; colours are the reader's own.
bool is_about_the_build(const std::string &command)
{
    return command.find("build/release/bin:$PATH") != std::string::npos;
}

TEST(Readme, ShowsWhatItsReaderGets)
{
    tool_runner tools;
    tools.set("NO_COLOR", "1");
    const std::vector<typed_command> transcript = transcript_of(content_of(README_FILE));
    ASSERT_THAT(transcript, SizeIs(testing::Gt(10U)));
    for (const typed_command &typed : transcript) {
        if (is_about_the_build(typed.command)) {
            continue;
        }
        running_tool shell =
            tools.start_at_terminal({"bash", "--norc", "-c", "cd \"$0\"; " + typed.command, tools.folder()});
        const std::vector<std::string> came = lines_of(shell.wait().out);
        EXPECT_TRUE(is_as_told(typed.expected, came)) << "$ " << typed.command << "\nis to bring\n"
                                                      << testing::PrintToString(typed.expected) << "\nand brings\n"
                                                      << testing::PrintToString(came);
    }
}

struct match_row {
    const char *name;
    std::vector<std::string> expected;
    std::vector<std::string> came;
    bool fits;
};

TEST(Transcript, IsCompared)
{
    const match_row rows[] = {
        {"the same lines", {"a", "b"}, {"a", "b"}, true},
        {"another line", {"a", "b"}, {"a", "c"}, false},
        {"one too few", {"a", "b"}, {"a"}, false},
        {"one too many", {"a"}, {"a", "b"}, false},
        {"nothing", {}, {}, true},
        {"any text inside", {"a...z"}, {"abcz"}, true},
        {"any text at the beginning", {"...z"}, {"abcz"}, true},
        {"any text at the end", {"a..."}, {"abcz"}, true},
        {"any text twice", {"a...c...z"}, {"abcdz"}, true},
        {"another end", {"a...z"}, {"abcd"}, false},
        {"an end that is there twice", {"a...z"}, {"azbz"}, true},
        {"too short for both ends", {"ab...bc"}, {"abc"}, false},
        {"any lines", {"a", "  ...", "z"}, {"a", "b", "c", "z"}, true},
        {"any lines, none", {"a", "...", "z"}, {"a", "z"}, true},
        {"any lines at the end", {"a", "..."}, {"a", "b", "c"}, true},
        {"not without the line behind", {"a", "...", "z"}, {"a", "b", "c"}, false},
    };
    for (const match_row &row : rows) {
        EXPECT_EQ(is_as_told(row.expected, row.came), row.fits) << row.name;
    }
}

TEST(Transcript, IsReadFromItsBlocks)
{
    const std::vector<typed_command> all =
        transcript_of("$ not this\n```console\n$ one\nout\n\n$ two | three\n```\n```sh\n$ nor this\n```\n"
                      "```console\n$ four\nmore\n```\n");
    ASSERT_THAT(all, SizeIs(3));
    EXPECT_EQ(all[0].command, "one");
    EXPECT_THAT(all[0].expected, ElementsAre("out", ""));
    EXPECT_EQ(all[1].command, "two | three");
    EXPECT_THAT(all[1].expected, ElementsAre());
    EXPECT_EQ(all[2].command, "four");
    EXPECT_THAT(all[2].expected, ElementsAre("more"));
}

} // namespace
