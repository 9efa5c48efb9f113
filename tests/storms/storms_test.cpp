// A sample of each storm; all of it is played by script/storms.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <random>

#include "tests/storms/storm.h"

void PrintTo(const storm &each, std::ostream *stream); // found by GoogleTest beside the type

void PrintTo(const storm &each, std::ostream *stream)
{
    *stream << each.name;
}

namespace {

class Storms : public testing::TestWithParam<storm> {};

TEST_P(Storms, LeaveTheServiceAsItShouldBe)
{
    storm_options options;
    options.seed = std::random_device()();
    options.count = GetParam().sample;
    options.jobs = 2;
    storm_report report;
    GetParam().play(options, report);
    EXPECT_THAT(report.failures(), testing::IsEmpty());
    EXPECT_NE(report.figures(), "") << "something has been played";
}

std::string name_of(const testing::TestParamInfo<storm> &info)
{
    std::string name;
    for (const char *at = info.param.name; *at != '\0'; at++) {
        name += *at == '-' ? '_' : *at;
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(OfThe, Storms, testing::ValuesIn(k_storms), name_of);

} // namespace
