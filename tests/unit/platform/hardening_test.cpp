// What a release build does so that a mistake nobody found yet ends the process at once instead of writing where it
// should not. Read off the executable itself: flags that a compiler quietly drops would not be missed otherwise.
#include <gmock/gmock.h>
#include <string>

#include "tests/support/command_output.h"

using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

// What readelf tells of the service.
std::string told_by(const std::string &option)
{
    return output_of(std::string(READELF_PROGRAM " -W ") + option + " '" SERVICE "'");
}

TEST(Hardening, TheServiceIsLoadedAtAnyAddress)
{
    EXPECT_THAT(told_by("--file-header"), ContainsRegex("Type: +DYN "));
    EXPECT_THAT(told_by("--dynamic"), ContainsRegex("FLAGS_1.* PIE"));
}

TEST(Hardening, NothingThatTheLoaderResolvedCanBeWritten)
{
    EXPECT_THAT(told_by("--program-headers"), HasSubstr("GNU_RELRO"));
    EXPECT_THAT(told_by("--dynamic"), ContainsRegex("FLAGS_1.* NOW")) << "what is resolved later stays writable";
    EXPECT_THAT(told_by("--dynamic"), Not(HasSubstr("TEXTREL")));
}

TEST(Hardening, TheStackAndWhatIsWritableCannotBeExecuted)
{
    EXPECT_THAT(told_by("--program-headers"), ContainsRegex("GNU_STACK .* RW +0x"));
    EXPECT_THAT(told_by("--program-headers"), Not(HasSubstr("RWE")));
}

TEST(Hardening, AnOverrunOfAStackBufferIsSeen)
{
    EXPECT_THAT(told_by("--dyn-syms"), HasSubstr("__stack_chk_fail"));
}

TEST(Hardening, AnOverrunInsideALibraryCallIsSeen)
{
    EXPECT_THAT(told_by("--dyn-syms"), HasSubstr("__vsnprintf_chk"));
    EXPECT_THAT(told_by("--dyn-syms"), ContainsRegex("UND __fdelt_chk")) << "a descriptor too large for an fd_set";
}

} // namespace
