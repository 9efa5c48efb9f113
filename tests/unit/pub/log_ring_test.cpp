// The log as a ring, and under several threads and processes.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "pub/log/log_client.h"

#define LOG_MODULE "amt/test"
#include "pub/log/log.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"

namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

// Fills the log, each record with a number of its own, until it has begun again `rounds` times.
void write_records(int from, int to)
{
    for (int i = from; i < to; i++) {
        log_info("%06d %s", i, std::string(100, 'x').c_str());
    }
}

constexpr size_t k_record_length = 87 + 7 + 100 + 1;

TEST(LogRing, BeginsAgainBehindItsHeaderOnceThePositionHasPassedTheLimit)
{
    in_child([] {
        const test_log log;
        const size_t header = test_log::header_length(log.text());
        const int until_passed = static_cast<int>((102400U - header) / k_record_length) + 1;
        write_records(0, until_passed);
        EXPECT_GT(log.text().size(), 102400U);
        EXPECT_LT(log.text().size(), 102400U + k_record_length + 1);
        EXPECT_THAT(log.text().substr(header), HasSubstr(" | 000000 "));
        write_records(until_passed, until_passed + 1);
        const std::string text = log.text();
        EXPECT_EQ(test_log::header_length(text), header) << "the header stays";
        EXPECT_THAT(text.substr(header, k_record_length),
                    HasSubstr(" | " + std::string(6 - 3, '0') + std::to_string(until_passed)));
        EXPECT_THAT(text.substr(header + k_record_length), HasSubstr(" | 000001 ")) << "the next oldest is still there";
        EXPECT_THAT(text, Not(HasSubstr(" | 000000 ")));
    });
}

TEST(LogRing, NeverGrows)
{
    in_child([] {
        const test_log log;
        write_records(0, 3000);
        EXPECT_LT(log.text().size(), 102400U + k_record_length + 1);
        EXPECT_THAT(log.text(), HasSubstr(" | 002999 "));
    });
}

TEST(LogRing, APositionOfExactlyTheLimitHasNotPassedIt)
{
    in_child([] {
        const test_log log;
        log_info("first");
        sfw_log_set_size_limit(static_cast<uint32_t>(log.text().size()));
        log_info("second");
        log_info("third");
        const std::string text = log.text();
        EXPECT_THAT(text, Not(HasSubstr("first")));
        EXPECT_THAT(text, HasSubstr("third"));
        EXPECT_LT(text.find("third"), text.find("second"));
    });
}

TEST(LogRing, KeepsWhatStandsBeforeTheMarkedPosition)
{
    in_child([] {
        const test_log log;
        log_info("start-up");
        sfw_log_mark_position();
        const std::string start = log.text();
        write_records(0, 3000);
        EXPECT_THAT(log.text(), StartsWith(start));
        EXPECT_EQ(log.text().substr(start.size() + 84, 3), " | ") << "the ring begins again right behind it";
    });
}

// --- several threads, and children

TEST(LogThreads, WriteWholeRecords)
{
    in_child([] {
        const test_log log;
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; i++) {
            threads.emplace_back([i] {
                for (int n = 0; n < 50; n++) {
                    log_info("thread %d record %02d.", i, n);
                }
            });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
        const std::vector<std::string> records = log.records();
        EXPECT_EQ(records.size(), 200U);
        for (const std::string &record : records) {
            EXPECT_THAT(record, MatchesRegex("info \\| thread [0-9] record [0-9][0-9]\\."));
        }
    });
}

TEST(LogThreads, MayLogWhileTheLogIsBeingStopped)
{
    in_child([] {
        const test_log log;
        std::atomic<bool> is_over{false};
        std::atomic<int> count{0};
        std::thread thread([&] {
            while (!is_over) {
                log_info("still here");
                count++;
            }
        });
        while (count < 10) {
            std::this_thread::yield();
        }
        sfw_log_stop(nullptr);
        const int stopped_at = count;
        while (count < stopped_at + 10) {
            std::this_thread::yield();
        }
        is_over = true;
        thread.join();
        EXPECT_NE(log.text().find("= log  end ="), std::string::npos);
    });
}

TEST(LogThreads, AChildOfTheProcessLogsUnderItsOwnNumber)
{
    in_child([] {
        const test_log log;
        log_info("parent");
        pid_t child = 0;
        EXPECT_EQ(wait_status_of_child([] { log_info("child of %d", getppid()); }, &child), 0);
        char number[16];
        (void)snprintf(number, sizeof(number), "% 8ld | ", static_cast<long>(child));
        EXPECT_THAT(log.text(), HasSubstr(number));
    });
}

TEST(LogRing, DoesNotGrowWhenAChildOfTheProcessLogsToo)
{
    in_child([] {
        const test_log log;
        for (int round = 0; round < 5; round++) {
            EXPECT_EQ(wait_status_of_child([] { write_records(0, 400); }), 0);
            write_records(0, 100);
        }
        EXPECT_LT(log.text().size(), 102400U + 2 * k_record_length);
        EXPECT_THAT(log.text(), HasSubstr(" | 000099 "));
    });
}

TEST(LogRing, KeepsAQuarterOfItsSizeForTheTimeBehindTheStart)
{
    in_child([] {
        const test_log log;
        write_records(0, 102400 * 3 / 4 / static_cast<int>(k_record_length) + 1);
        sfw_log_mark_position();
        write_records(1000, 1600);
        EXPECT_THAT(log.text(), Not(HasSubstr(" | 000000 "))) << "the ring begins behind the header as before";
        EXPECT_THAT(log.text(), HasSubstr(" | 001100 "));
    });
}

TEST(LogThreads, AChildOfTheProcessCanLogWhateverItsParentIsDoing)
{
    in_child([] {
        const test_log log;
        std::atomic<bool> is_over{false};
        std::thread thread([&] {
            while (!is_over) {
                log_info("parent");
            }
        });
        for (int i = 0; i < 50; i++) {
            EXPECT_EQ(wait_status_of_child([] { log_info("child"); }), 0);
        }
        is_over = true;
        thread.join();
        EXPECT_EQ(wait_status_of_child([] { log_info("last child"); }), 0);
        EXPECT_THAT(log.text(), HasSubstr(" | last child\n"));
    });
}

// Whether a process waits for a lock of a file.
bool waits_for_a_file(pid_t pid)
{
    return read_whole_file("/proc/locks").find("-> POSIX  ADVISORY  WRITE " + std::to_string(pid) + " ") !=
           std::string::npos;
}

// A copy of the service in the midst of a record: tells that it is, waits until its parent waits for it, tells that,
// and is killed.
[[noreturn]] void be_held_up(const std::string &file, int told)
{
    struct flock turn = {};
    turn.l_type = F_WRLCK;
    const int fd = open(file.c_str(), O_RDWR | O_CLOEXEC);
    if (fcntl(fd, F_SETLK, &turn) == 0 && write(told, "h", 1) == 1) {
        while (!waits_for_a_file(getppid())) {
            (void)usleep(1000); // the test's own time limit ends it
        }
        (void)!write(told, "w", 1);
    }
    (void)kill(getpid(), SIGKILL);
    abort();
}

TEST(LogRing, IsNotWrittenByTwoProcessesAtOnceAndNotHeldUpByOneThatDies)
{
    in_child([] {
        const test_log log;
        int told[2] = {-1, -1};
        ASSERT_EQ(pipe2(told, O_CLOEXEC), 0);
        const std::string file = log.folder() + "/test.log";
        const pid_t child = fork();
        if (child == 0) {
            be_held_up(file, told[1]);
        }
        char said[2] = "";
        EXPECT_EQ(read(told[0], said, 1), 1);
        log_info("behind it");
        EXPECT_EQ(fcntl(told[0], F_SETFL, O_NONBLOCK), 0);
        EXPECT_EQ(read(told[0], said, 1), 1) << "the record has not waited";
        EXPECT_STREQ(said, "w");
        (void)kill(child, SIGKILL);
        EXPECT_EQ(waitpid(child, nullptr, 0), child);
        EXPECT_THAT(log.text(), HasSubstr(" | behind it\n"));
    });
}

} // namespace
