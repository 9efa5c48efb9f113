// A disk that fills up takes half a record and no more. No half may stay: who collects logs reads whole lines.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>

#include <string>

#include "tests/support/in_child.h"
#include "tests/support/test_log.h"

#define LOG_MODULE "test"
#include "pub/log/log.h"

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

const std::string k_long(100, 'x');

void limit_files(rlim_t size)
{
    const rlimit limit = {size, RLIM_INFINITY};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

void fill_disk(const test_log &log)
{
    (void)signal(SIGXFSZ, SIG_IGN);
    log_info("before");
    limit_files(log.text().size() + 90); // so much of the next record
    log_info("cut off %s", k_long.c_str());
    log_info("not written");
    limit_files(RLIM_INFINITY);
}

TEST(LogOnAFullDisk, TakesALongerRecordOnceThereIsRoom)
{
    in_child([] {
        const test_log log;
        fill_disk(log);
        log_info("behind %s %s", k_long.c_str(), k_long.c_str());
        EXPECT_THAT(log.records(), ElementsAre("info | before", "info | behind " + k_long + " " + k_long));
        EXPECT_THAT(log.text(), Not(HasSubstr("cut off")));
    });
}

TEST(LogOnAFullDisk, LeavesNothingBehindAShorterRecord)
{
    in_child([] {
        const test_log log;
        fill_disk(log);
        log_info("behind");
        EXPECT_THAT(log.records(), ElementsAre("info | before", "info | behind"));
        EXPECT_THAT(log.text(), EndsWith("behind\n"));
    });
}

TEST(LogOnAFullDisk, KeepsTheOlderRecordsOfARing)
{
    in_child([] {
        (void)signal(SIGXFSZ, SIG_IGN);
        const test_log log;
        sfw_log_set_size_limit(8000);
        for (int i = 0; i < 200; i++) {
            log_info("older %s", k_long.c_str());
        }
        const size_t size = log.text().size();
        limit_files(size / 2);
        for (int i = 0; i < 200; i++) {
            log_info("newer %d", i);
        }
        limit_files(RLIM_INFINITY);
        EXPECT_EQ(log.text().size(), size);
        EXPECT_THAT(log.text(), EndsWith("older " + k_long + "\n"));
    });
}

} // namespace
