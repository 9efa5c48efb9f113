// Reading the service's log from its text: plain, turned round as a ring, torn, ended, and past midnight.

#include "emulator/log_records.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

using emulator::log_record;
using emulator::parse_log;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string header()
{
    const std::string rule(92, '=');
    return "2024-05-06 23:59:58:001\n\n" + rule +
           "\n    TIME     |   TID    |              FUNCTION              |  LINE  |    LEVEL     | INFO\n" + rule +
           "\n";
}

const std::string k_footer = "\n========================================= log  end "
                             "=========================================\n";

std::string line(const std::string &time, const std::string &text)
{
    char bytes[512];
    (void)snprintf(bytes, sizeof(bytes), "%s | % 8ld | %-34s | % 6ld | %-12s | %s\n", time.c_str(), 1234L,
                   "amt_handle_init", 56L, "info", text.c_str());
    return bytes;
}

std::vector<std::string> texts(const std::string &content, std::size_t ring_size = emulator::k_log_ring_size)
{
    std::vector<std::string> found;
    for (const log_record &record : parse_log(content, ring_size)) {
        found.push_back(record.text);
    }
    return found;
}

constexpr std::size_t k_ring_size = 4096;

// The text of a record; of many lengths, so that a new one seldom ends where an old one did.
std::string numbered(long number)
{
    return "number " + std::to_string(number) + std::string(static_cast<std::size_t>(number % 7), '.');
}

struct ring_file {
    std::string content;
    std::size_t whole_records = 0; // how many of them no newer one has touched
};

// A ring as the service leaves it: `count` records with times a fixed step apart, each written behind the one before,
// and from behind the header again once the file is past its size.
ring_file make_ring(int count, long step_ms)
{
    std::string file = header();
    std::size_t at = file.size();
    std::vector<std::pair<std::size_t, std::size_t>> whole; // begin and end of each record
    for (long i = 0; i < count; ++i) {
        const long ms = 23L * 3600 * 1000 + 3590L * 1000 + i * step_ms; // ten seconds before midnight
        char time[64];
        (void)snprintf(time, sizeof(time), "%02ld:%02ld:%02ld:%03ld", ms / 3600000 % 24, ms / 60000 % 60,
                       ms / 1000 % 60, ms % 1000);
        const std::string record = line(time, numbered(i));
        at = at > k_ring_size ? header().size() : at;
        const std::size_t end = at + record.size();
        const auto touched = [&](const auto &other) { return other.first < end && at < other.second; };
        whole.erase(std::remove_if(whole.begin(), whole.end(), touched), whole.end());
        whole.emplace_back(at, end);
        file.replace(at, std::min(record.size(), file.size() - at), record);
        at = end;
    }
    return {file, whole.size()};
}

// Whether the records are all the whole ones, in the order of their numbers up to the newest.
void expect_all_in_order(const ring_file &ring, long newest)
{
    const std::vector<log_record> records = parse_log(ring.content, k_ring_size);
    ASSERT_EQ(records.size(), ring.whole_records);
    long expected = newest - static_cast<long>(records.size()) + 1;
    for (const log_record &record : records) {
        ASSERT_EQ(record.text, numbered(expected)) << record;
        ++expected;
    }
}

} // namespace

TEST(LogRecords, HaveTheColumnsOfTheirLine)
{
    const std::vector<log_record> records =
        parse_log(header() + "10:20:30:456 |      789 | amt_handle_read_pc_loop            |    123 | sys error    | "
                             "open: 2 - No such file | or directory\n");
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].time, "10:20:30:456");
    EXPECT_EQ(records[0].thread_id, 789);
    EXPECT_EQ(records[0].function, "amt_handle_read_pc_loop");
    EXPECT_EQ(records[0].line, 123);
    EXPECT_EQ(records[0].level, "sys error");
    EXPECT_EQ(records[0].text, "open: 2 - No such file | or directory");
}

TEST(LogRecords, TakeWideColumnsTheMainThreadAndEmptyTexts)
{
    const std::vector<log_record> records = parse_log(
        "10:20:30:456 |   (main) | a_function_with_a_name_of_more_than_34_characters | 1234567 | func         | \n"
        "10:20:30:456 | 1234567890 | f                                  |      1 | fatal error  | x\n");
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].thread_id, -1);
    EXPECT_EQ(records[0].function, "a_function_with_a_name_of_more_than_34_characters");
    EXPECT_EQ(records[0].line, 1234567);
    EXPECT_EQ(records[0].text, "");
    EXPECT_EQ(records[1].thread_id, 1234567890);
    EXPECT_EQ(records[1].level, "fatal error");
}

TEST(LogRecords, AreNoneInAnEmptyFileAndInAHeaderAlone)
{
    EXPECT_THAT(parse_log(""), IsEmpty());
    EXPECT_THAT(parse_log(header()), IsEmpty());
    EXPECT_THAT(parse_log(header() + k_footer), IsEmpty());
    EXPECT_THAT(parse_log(header().substr(0, 150)), IsEmpty());
}

TEST(LogRecords, KeepTextsOfSeveralLines)
{
    const std::string content = header() + line("10:00:00:000", "one\n  two\n\nfour") + line("10:00:00:001", "next");
    EXPECT_THAT(texts(content), ElementsAre("one\n  two\n\nfour", "next"));
}

TEST(LogRecords, LeaveOutTheFooter)
{
    EXPECT_THAT(texts(header() + line("10:00:00:000", "last") + k_footer), ElementsAre("last"));
}

TEST(LogRecords, LeaveOutALineThatIsStillBeingWritten)
{
    const std::string half = line("10:00:00:001", "half").substr(0, 40);
    EXPECT_THAT(texts(header() + line("10:00:00:000", "whole") + half), ElementsAre("whole"));
}

// The texts of a ring that is full to the last record.
static std::vector<std::string> full_ring_texts(const std::string &content)
{
    return texts(content, content.size() - 1);
}

TEST(LogRecords, AreTurnedRoundTheSeamWithoutTheTornOne)
{
    const std::string content = header() + line("10:00:05:000", "newer") + line("10:00:06:000", "newest") +
                                "andle_init | 56 | info | torn\n" + line("10:00:03:000", "oldest") +
                                line("10:00:04:000", "older");
    EXPECT_THAT(full_ring_texts(content), ElementsAre("oldest", "older", "newer", "newest"));
}

TEST(LogRecords, AreTurnedRoundASeamBetweenWholeRecords)
{
    const std::string content = header() + line("10:00:06:000", "newest") + line("10:00:03:000", "oldest");
    EXPECT_THAT(full_ring_texts(content), ElementsAre("oldest", "newest"));
}

TEST(LogRecords, AreTurnedRoundTheTornOneWhereTheClockHasNotMoved)
{
    const std::string content = header() + line("10:00:00:000", "newest") + "cfg] torn\n" +
                                line("10:00:00:000", "oldest") + line("10:00:00:000", "older");
    EXPECT_THAT(full_ring_texts(content), ElementsAre("oldest", "older", "newest"));
}

TEST(LogRecords, AreTurnedRoundAFooterThatWasWrittenIntoTheRing)
{
    const std::string content =
        header() + line("10:00:06:000", "newest") + k_footer + "56 | info | torn\n" + line("10:00:06:000", "oldest");
    EXPECT_THAT(full_ring_texts(content), ElementsAre("oldest", "newest"));
}

TEST(LogRecords, LeaveOutWhatEarlierRoundsLeftBehindTheEndOfTheRing)
{
    const std::string content = header() + line("10:00:06:000", "newest") + line("10:00:03:000", "oldest");
    EXPECT_THAT(texts(content + "  | from the round before\nand before that\n", content.size() - 1),
                ElementsAre("oldest", "newest"));
}

TEST(LogRecords, LoseNoLineBeforeAFooter)
{
    const std::string content = header() + line("10:00:00:000", "first") + line("10:00:06:000", "one\ntwo") + k_footer;
    EXPECT_THAT(full_ring_texts(content), ElementsAre("first", "one\ntwo"));
}

TEST(LogRecords, StayInOrderWhenTheNewestIsTheLastInTheFile)
{
    const std::string content = header() + line("10:00:00:000", "oldest") + line("10:00:01:000", "newest");
    EXPECT_THAT(full_ring_texts(content), ElementsAre("oldest", "newest"));
}

TEST(LogRecords, OfTheStartStayInFrontOfTheRing)
{
    const std::string content = header() + line("10:00:00:000", "start") + line("10:00:00:001", "started") +
                                line("10:00:03:000", "new") + line("10:00:03:001", "newest") +
                                line("10:00:01:500", "oldest of the ring") + line("10:00:02:000", "old");
    EXPECT_THAT(full_ring_texts(content),
                ElementsAre("start", "started", "oldest of the ring", "old", "new", "newest"));
}

TEST(LogRecords, StayInOrderAcrossMidnight)
{
    const std::string content = header() + line("23:59:59:000", "before") + line("00:00:01:000", "after");
    EXPECT_THAT(texts(content), ElementsAre("before", "after"));
    EXPECT_THAT(full_ring_texts(content), ElementsAre("before", "after"));
}

TEST(LogRecords, StayInOrderWhenTwoThreadsAreAMomentOutOfStep)
{
    const std::string content = header() + line("10:00:00:000", "a") + line("10:00:00:002", "b") +
                                line("10:00:00:001", "c") + line("10:00:00:003", "d");
    EXPECT_THAT(texts(content), ElementsAre("a", "b", "c", "d"));
    EXPECT_THAT(full_ring_texts(content), ElementsAre("a", "b", "c", "d"));
}

TEST(LogRecords, StayInOrderAcrossALongPause)
{
    const std::string content = header() + line("01:00:00:000", "a") + line("09:00:00:000", "b");
    EXPECT_THAT(full_ring_texts(content), ElementsAre("a", "b"));
}

TEST(LogRecords, AreNeverTurnedRoundInAFileThatIsNotFull)
{
    const std::string content = header() + line("10:00:06:000", "first") + line("10:00:03:000", "the clock was set");
    EXPECT_THAT(texts(content), ElementsAre("first", "the clock was set"));
}

// Rings of real shape, cut at every number of records around several turns: slow ones that pass midnight and fast ones
// that are written round within a second.
TEST(LogRecords, OfARingAreAllThereInOrderWhereverItIsCut)
{
    for (const long step_ms : {1L, 7L, 400L}) {
        for (int count = 1; count < 200; ++count) {
            SCOPED_TRACE(testing::Message() << count << " records, " << step_ms << " ms apart");
            expect_all_in_order(make_ring(count, step_ms), count - 1);
        }
    }
}

TEST(LogRecords, AreFoundByTheirText)
{
    const std::vector<log_record> records = parse_log(line("10:00:00:000", "one") + line("10:00:00:001", "two"));
    EXPECT_EQ(emulator::find_record(records, "tw"), &records[1]);
    EXPECT_EQ(emulator::find_record(records, "three"), nullptr);
}
