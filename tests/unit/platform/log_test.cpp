// The platform's log of a workstation: one line per record on standard error, in one write.
#include "tests/unit/platform/handset_root.h"

#include <algorithm>
#include <android/log.h>
#include <cerrno>
#include <gmock/gmock.h>
#include <map>
#include <thread>
#include <unistd.h>

using ::testing::ElementsAre;

namespace {

TEST(PlatformLog, EachPriorityHasItsLetter)
{
    captured_stderr output;
    (void)__android_log_print(ANDROID_LOG_DEBUG, "amt", "text");
    (void)__android_log_print(ANDROID_LOG_INFO, "amt", "text");
    (void)__android_log_print(ANDROID_LOG_WARN, "amt", "text");
    (void)__android_log_print(ANDROID_LOG_ERROR, "amt", "text");
    (void)__android_log_print(99, "amt", "text");
    EXPECT_THAT(output.writes(),
                ElementsAre("D amt: text\n", "I amt: text\n", "W amt: text\n", "E amt: text\n", "? amt: text\n"));
}

TEST(PlatformLog, TheTextIsFormatted)
{
    captured_stderr output;
    const int length = __android_log_print(ANDROID_LOG_INFO, "amt", "%s[%d] %02x", "pid", 17, 10U);
    EXPECT_THAT(output.writes(), ElementsAre("I amt: pid[17] 0a\n"));
    EXPECT_EQ(length, static_cast<int>(sizeof("I amt: pid[17] 0a\n") - 1));
}

TEST(PlatformLog, ARecordEndsInOneLineFeedHoweverManyItBrings)
{
    captured_stderr output;
    (void)__android_log_print(ANDROID_LOG_INFO, "amt", "one\n");
    (void)__android_log_print(ANDROID_LOG_INFO, "amt", "two\n\n");
    (void)__android_log_print(ANDROID_LOG_INFO, "amt", "%s", "");
    (void)__android_log_print(ANDROID_LOG_INFO, "amt", "\n");
    EXPECT_THAT(output.writes(), ElementsAre("I amt: one\n", "I amt: two\n", "I amt: \n", "I amt: \n"));
}

TEST(PlatformLog, WithoutATagTheNameIsEmpty)
{
    captured_stderr output;
    (void)__android_log_print(ANDROID_LOG_ERROR, nullptr, "text");
    EXPECT_THAT(output.writes(), ElementsAre("E : text\n"));
}

TEST(PlatformLog, ATextTooLongIsCutAndStillEndsItsLine)
{
    captured_stderr output;
    const std::string text(10000, 'x');
    (void)__android_log_print(ANDROID_LOG_INFO, "amt", "%s", text.c_str());
    (void)__android_log_print(ANDROID_LOG_INFO, text.c_str(), "behind a tag too long");
    EXPECT_THAT(output.writes(), ElementsAre("I amt: " + std::string(4096 - 7 - 1, 'x') + "\n",
                                             "I " + std::string(4096 - 2 - 1, 'x') + "\n"));
}

TEST(PlatformLog, LinesOfSeveralThreadsDoNotMix)
{
    constexpr int k_records = 40; // all that is written fits the socket, nobody reads meanwhile
    captured_stderr output;
    std::vector<std::thread> writers;
    for (const std::string &text : {std::string(50, 'a'), std::string(70, 'b')}) {
        writers.emplace_back([text] {
            for (int i = 0; i < k_records; ++i) {
                (void)__android_log_print(ANDROID_LOG_INFO, "amt", "%s", text.c_str());
            }
        });
    }
    std::for_each(writers.begin(), writers.end(), [](std::thread &writer) { writer.join(); });

    std::map<std::string, int> seen;
    for (const std::string &line : output.writes()) {
        ++seen[line];
    }
    const std::map<std::string, int> expected = {{"I amt: " + std::string(50, 'a') + "\n", k_records},
                                                 {"I amt: " + std::string(70, 'b') + "\n", k_records}};
    EXPECT_EQ(seen, expected);
}

TEST(PlatformLog, ALogThatCannotBeWrittenIsReported)
{
    int result = 0;
    {
        captured_stderr output; // puts standard error back at the end
        close(STDERR_FILENO);
        result = __android_log_print(ANDROID_LOG_INFO, "amt", "text");
    }
    EXPECT_EQ(result, -EBADF);
}

} // namespace
