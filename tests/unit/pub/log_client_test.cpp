#include "pub/log/log_client.h"

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#define LOG_MODULE "amt/test"
#include "pub/base/wait.h"
#include "pub/log/log.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/pub/log_fakes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;

constexpr char k_footer[] =
    "\n========================================= log  end =========================================\n";

std::string header_pattern()
{
    const std::string line(92, '=');
    return "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}:[0-9]{3}\n\n" + line +
           "\n    TIME     \\|   TID    \\|              FUNCTION              \\|  LINE  \\|    LEVEL     \\| INFO\n" +
           line + "\n";
}

std::string internal_log(const test_log &log)
{
    return read_whole_file(log.folder() + "/log_internal.log");
}

TEST(LogClient, BeginsItsFileWithTheDateAndTheColumns)
{
    in_child([] {
        const test_log log;
        EXPECT_THAT(log.text(), MatchesRegex(header_pattern()));
    });
}

TEST(LogClient, WritesOneRecordALineWithTheCallersFunctionAndThread)
{
    in_child([] {
        const test_log log;
        log_info("pid %d of %s", 7, "it");
        const std::string text = log.text();
        const std::string record = text.substr(test_log::header_length(text));
        char tid[16];
        (void)snprintf(tid, sizeof(tid), "% 8ld", static_cast<long>(gettid()));
        EXPECT_THAT(
            record,
            MatchesRegex("[0-9][0-9]:[0-9][0-9]:[0-9][0-9]:[0-9]{3} \\| " + std::string(tid) +
                         " \\| operator\\(\\)                         \\| +[0-9]+ \\| info         \\| pid 7 of it\n"));
    });
}

TEST(LogClient, HasAShortFormForEveryKindOfRecord)
{
    in_child([] {
        const test_log log;
        log_func();
        log_warning("no CP.");
        EXPECT_EQ(log_error(-100), -100);
        EXPECT_EQ(log_error(-101, "%d, %d", true, false), -101);
        EXPECT_EQ(log_fatal_error(-118), -118);
        errno = ENOENT;
        EXPECT_EQ(log_sys_error("open"), -118);
        log_data("receive Modem data: ", "\x41\x0D", 2);
        log_at(sfw_log_dump::at_send, "AT\r", 3);
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "warning | no CP.", "error | -100 - Unknown error",
                                "error | -101 - Invalid parameter | 1, 0",
                                "fatal error | -118 - Call C function unsuccessfully",
                                "sys error | open: 2 - No such file or directory",
                                "data | receive Modem data: (data len = 2) 410D", "at cmd | send      AT<CR>"));
    });
}

TEST(LogClient, KeepsErrnoOfItsCaller)
{
    in_child([] {
        const test_log log;
        for (const bool is_open : {true, false}) {
            errno = ENXIO;
            log_info("%s", "x");
            EXPECT_EQ(errno, ENXIO) << is_open;
            (void)log_error(99999, "x");
            EXPECT_EQ(errno, ENXIO) << is_open;
            (void)log_sys_error("read");
            EXPECT_EQ(errno, ENXIO) << is_open;
            log_data("x", "y", 1);
            EXPECT_EQ(errno, ENXIO) << is_open;
            sfw_log_stop(nullptr);
        }
    });
}

int32_t log_and_return(int32_t value)
{
    log_info("inner");
    return value;
}

TEST(LogClient, TakesTheArgumentsBeforeTheLock)
{
    in_child([] {
        const test_log log;
        log_info("outer %d", log_and_return(3));
        EXPECT_THAT(log.records(), ElementsAre("info | inner", "info | outer 3"));
    });
}

TEST(LogClient, ForgetsTheTextOfARecordBehindIt)
{
    in_child([] {
        const test_log log;
        log_info("text");
        log_func();
        sfw_log_object *object = sfw_log_select_and_lock(nullptr);
        sfw_log_build_extended_info(object, "three %s", "calls");
        sfw_log_full(object,
                     {LOG_SITE, SFW_LOG_USER_MSG, 0, sfw_log_dump::none, nullptr, 0, nullptr, sfw_log_port::none, 0});
        EXPECT_THAT(log.records(), ElementsAre("info | text", "func | ", "user msg | three calls"));
    });
}

TEST(LogClient, CutsTheTextOfARecordAtItsBuffer)
{
    in_child([] {
        const test_log log;
        log_info("%s", std::string(5000, 'x').c_str());
        EXPECT_EQ(log.text().size(), test_log::header_length(log.text()) + SFW_LOG_LINE_LENGTH + 1);
    });
}

TEST(LogClient, OpensNothingBeforeItsStart)
{
    in_child([] {
        const temp_folder folder;
        EXPECT_EQ(sfw_log_set_directory(folder.path().c_str()), 0);
        log_info("too early");
        log_internal(LOG_SITE, "too early\n");
        EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    });
}

TEST(LogClient, EndsItsFileWithAFooterOnce)
{
    in_child([] {
        const test_log log;
        sfw_log_stop(nullptr);
        sfw_log_stop(nullptr);
        const std::string text = log.text();
        EXPECT_EQ(text.substr(test_log::header_length(text)), k_footer);
    });
}

TEST(LogClient, SendsWhatComesBehindItsEndToTheInternalLog)
{
    in_child([] {
        const test_log log;
        sfw_log_stop(nullptr);
        const int line = __LINE__ + 1;
        log_info("too late");
        EXPECT_THAT(log.text(), Not(HasSubstr("too late")));
        EXPECT_EQ(internal_log(log),
                  "amt/test -> operator() -> " + std::to_string(line) + " -> assert(log_obj.m_fp).\n");
    });
}

TEST(LogClient, ASecondStartOfTheDefaultObjectDoesNothing)
{
    in_child([] {
        const test_log log;
        log_info("first");
        EXPECT_EQ(sfw_log_start(SFW_LOG_DEFAULT_OBJECT, "other"), sfw_log_start(SFW_LOG_DEFAULT_OBJECT, nullptr));
        log_info("second");
        EXPECT_THAT(log.records(), ElementsAre("info | first", "info | second"));
        EXPECT_FALSE(std::filesystem::exists(log.folder() + "/other.log"));
    });
}

TEST(LogClient, CanBeStartedAgainBehindItsEnd)
{
    in_child([] {
        const test_log log;
        for (int i = 0; i < 900; i++) {
            log_info("%s", std::string(100, 'x').c_str());
        }
        sfw_log_stop(nullptr);
        EXPECT_NE(sfw_log_start(SFW_LOG_DEFAULT_OBJECT, "test"), nullptr);
        log_info("again");
        EXPECT_THAT(log.records(), ElementsAre("info | again"));
        for (int i = 0; i < 100; i++) {
            log_info("more");
        }
        EXPECT_EQ(log.records().size(), 101U) << "positions are counted anew";
    });
}

TEST(LogClient, TakesOtherStartFlagsBesideTheDefaultObjects)
{
    in_child([] {
        const test_log log;
        EXPECT_EQ(sfw_log_start(3, "other"), sfw_log_start(SFW_LOG_DEFAULT_OBJECT, nullptr));
        EXPECT_FALSE(std::filesystem::exists(log.folder() + "/other.log"));
    });
}

// "2026-01-31 23:59:59:123" of this moment, in local time.
std::string now_as_text()
{
    timespec now = {};
    (void)clock_gettime(CLOCK_REALTIME, &now);
    tm local = {};
    (void)localtime_r(&now.tv_sec, &local);
    char date[32];
    char text[48];
    (void)strftime(date, sizeof(date), "%Y-%m-%d %H:%M:%S", &local);
    (void)snprintf(text, sizeof(text), "%s:%03ld", date, now.tv_nsec / 1'000'000);
    return text;
}

TEST(LogClient, TellsTheLocalTimeToTheMillisecond)
{
    in_child([] {
        (void)setenv("TZ", "XYZ-05:30", 1);
        const std::string before = now_as_text();
        const test_log log;
        std::string text = log.text();
        const std::string started = text.substr(0, text.find('\n'));
        EXPECT_LE(before, started);
        for (int i = 0; i < 2; i++) {
            const std::string not_before = now_as_text();
            log_info("now");
            const std::string not_after = now_as_text();
            text = log.text();
            const std::string time = text.substr(text.rfind('\n', text.size() - 2) + 1, 12);
            if (not_before.substr(0, 10) == not_after.substr(0, 10)) { // not over midnight
                EXPECT_LE(not_before.substr(11), time);
                EXPECT_LE(time, not_after.substr(11));
            }
            pub_util_sleep_ms(1001); // the next one is of another second
        }
        EXPECT_LE(started, now_as_text());
    });
}

TEST(LogClient, GivesOtherObjectsFilesOfTheirOwn)
{
    in_child([] {
        const test_log log;
        sfw_log_object *other = sfw_log_start(0, "/elsewhere/other.log");
        ASSERT_NE(other, nullptr);
        sfw_log_object *selected = sfw_log_select_and_lock(other);
        EXPECT_EQ(selected, other);
        sfw_log_build_extended_info(selected, "mine");
        sfw_log_full(selected,
                     {LOG_SITE, SFW_LOG_INFO, 0, sfw_log_dump::none, nullptr, 0, nullptr, sfw_log_port::none, 0});
        log_info("default");
        sfw_log_stop(other);
        const std::string text = read_whole_file(log.folder() + "/other.log");
        EXPECT_EQ(test_log::header_length(text) == 0, false);
        EXPECT_THAT(text, HasSubstr(" | info         | mine\n"));
        EXPECT_THAT(text, EndsWith(k_footer));
        EXPECT_THAT(log.records(), ElementsAre("info | default"));
    });
}

TEST(LogClient, TellsInTheInternalLogWhyAnObjectCouldNotBeHad)
{
    in_child([] {
        const test_log log;
        g_fake.calloc_fails = true;
        EXPECT_EQ(sfw_log_start(0, "other"), nullptr);
        g_fake = {};
        g_fake.mutex_init_result = EAGAIN;
        EXPECT_EQ(sfw_log_start(0, "other"), nullptr);
        g_fake = {};
        const std::string text = internal_log(log);
        EXPECT_THAT(
            text, MatchesRegex(
                      "log/log_client -> new_object -> [0-9]+ -> call malloc\\(\\) fail: 12 - Cannot allocate memory.\n"
                      "log/log_client -> new_object -> [0-9]+ -> call pthread_mutex_init\\(\\) fail: 11 - "
                      "Resource temporarily unavailable.\n"));
    });
}

TEST(LogClient, SwallowsItsRecordsWhenItsFileCannotBeOpened)
{
    in_child([] {
        g_fake.open_fails_for = "test.log";
        const test_log log;
        g_fake = {};
        log_info("lost");
        EXPECT_FALSE(std::filesystem::exists(log.folder() + "/test.log"));
        EXPECT_THAT(internal_log(log), HasSubstr(" -> call client_open_file() fail.\n"));
        EXPECT_THAT(internal_log(log), EndsWith(" -> assert(log_obj.m_fp).\n"));
        sfw_log_stop(nullptr);
    });
}

TEST(LogClient, StopsTheInternalLogFromGrowing)
{
    in_child([] {
        const test_log log;
        sfw_log_stop(nullptr);
        for (int i = 0; i < 5000; i++) {
            log_info("lost");
        }
        EXPECT_GT(internal_log(log).size(), 102400U);
        EXPECT_LT(internal_log(log).size(), 102400U + 640U);
    });
}

} // namespace
