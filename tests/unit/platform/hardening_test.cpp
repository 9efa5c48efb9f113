// What a release build does so that a mistake nobody found yet ends the process at once instead of writing where it
// should not. Read off the executable itself: flags that a compiler quietly drops would not be missed otherwise.
#include <cstdio>
#include <gmock/gmock.h>
#include <memory>
#include <string>

using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

// What readelf tells of the service.
std::string told_by(const std::string &option)
{
    const std::string command = std::string(READELF_PROGRAM " -W ") + option + " '" SERVICE "'";
    const std::unique_ptr<FILE, int (*)(FILE *)> pipe(popen(command.c_str(), "r"), pclose);
    EXPECT_NE(pipe, nullptr) << command;
    std::string text;
    char part[4096];
    for (size_t count = 1; pipe != nullptr && count > 0; text.append(part, count)) {
        count = fread(part, 1, sizeof(part), pipe.get());
    }
    return text;
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
