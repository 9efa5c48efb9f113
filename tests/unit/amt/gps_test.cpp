#include "amt/device/gps.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/unit/amt/exchange.h"
#include "tests/unit/amt/handler_arguments.h"
#include "tests/unit/amt/radio_fakes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Gps : public radio_handset {};

const std::string k_done = message_of(175, int_atom(1, 0));

// --- the switch

constexpr char k_start[] = "GPS-start";
constexpr char k_stop[] = "GPS stop";
constexpr char k_check[] = "GPS connectivity check";

struct switch_row {
    const char *name;
    std::string atoms;
    const char *position;
    const char *step;
};

std::vector<switch_row> switch_rows()
{
    return {
        {"0", int_atom(140, 0), "0", k_stop},
        {"missing", "", "0", k_stop},
        {"empty", bytes_atom(140, ""), "0", k_stop},
        {"another atom", int_atom(141, 1), "0", k_stop},
        {"1", int_atom(140, 1), "1", k_start},
        {"3", int_atom(140, 3), "3", k_start},
        {"4", int_atom(140, 4), "4", k_start},
        {"256", int_atom(140, 256), "256", k_start},
        {"258", int_atom(140, 258), "258", k_start},
        {"-1", int_atom(140, 0xFFFFFFFF), "-1", k_start},
        {"65536", int_atom(140, 65536), "65536", k_start},
        {"65538", int_atom(140, 65538), "65538", k_start},
        {"2", int_atom(140, 2), "2", k_check},
        {"2 in one byte", bytes_atom(140, "\x02"), "2", k_check},
    };
}

std::string call_of(const std::string &step)
{
    return step == k_start  ? "hwt_gpsCtrl(1, 0, null, null)"
           : step == k_stop ? "hwt_gpsCtrl(0, 0, null, null)"
                            : "hwt_gpsCheck()";
}

TEST_F(Gps, SwitchStopsChecksOrElseStarts)
{
    for (const switch_row &row : switch_rows()) {
        with_bench([&row](radio_bench &bench) {
            SCOPED_TRACE(row.name);
            const std::string step = row.step;
            const std::string request = message_of(174, row.atoms);
            outcome seen = bench.ask(amt_gps_control, AMT_CHANNEL_PC, request);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.calls, ElementsAre(call_of(step)));
            EXPECT_THAT(seen.told_before, ElementsAre("info | " + step + " start"));
            EXPECT_THAT(seen.told, ElementsAre(std::string("info | amt_gps_control is_start:") + row.position,
                                               "info | " + step + " start", "info | " + step + " end. return:0."));
            EXPECT_THAT(seen.at_station, ElementsAre(enveloped(k_done)));
            EXPECT_THAT(seen.at_application, IsEmpty());
            EXPECT_THAT(seen.commands, IsEmpty());
            seen = bench.ask(amt_gps_control, AMT_CHANNEL_APP, request);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.at_application, ElementsAre(k_done)) << "bare";
            EXPECT_THAT(seen.at_station, IsEmpty());
        });
    }
}

TEST_F(Gps, SwitchIsNotAnsweredForWhenTheLibraryRefuses)
{
    control("hwt_gpsCtrl", "result=-4\n");
    control("hwt_gpsCheck", "result=-4\n");
    for (const switch_row &row : switch_rows()) {
        with_bench([&row](radio_bench &bench) {
            SCOPED_TRACE(row.name);
            const std::string step = row.step;
            const outcome seen = bench.ask(amt_gps_control, AMT_CHANNEL_PC, message_of(174, row.atoms));
            EXPECT_EQ(seen.result, ERR_UNKNOWN);
            const std::string call = call_of(step);
            EXPECT_THAT(seen.calls, ElementsAre(call));
            const std::string blamed = call.substr(0, call.find('('));
            EXPECT_THAT(seen.told, ElementsAre(std::string("info | amt_gps_control is_start:") + row.position,
                                               "info | " + step + " start", "info | " + step + " end. return:-4.",
                                               k_failed + step + " error. call " + blamed + " fail: -4"));
            EXPECT_THAT(seen.at_station, IsEmpty());
            EXPECT_THAT(seen.at_application, IsEmpty());
        });
    }
}

// --- the test

TEST_F(Gps, TestIsOnlyAcknowledgedUnderTheSwitchsId)
{
    with_bench([](radio_bench &bench) {
        outcome seen = bench.ask(amt_gps_test, AMT_CHANNEL_PC, message_of(176));
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_THAT(seen.at_station, ElementsAre(enveloped("0f00bbaf0900ee0101040000000000")));
        EXPECT_THAT(seen.at_application, IsEmpty());
        EXPECT_THAT(seen.told, IsEmpty());
        EXPECT_THAT(seen.calls, IsEmpty());
        EXPECT_THAT(seen.commands, IsEmpty());
        seen = bench.ask(amt_gps_test, AMT_CHANNEL_APP, message_of(176, int_atom(140, 1)));
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_THAT(seen.at_application, ElementsAre("0f00bbaf0900ee0101040000000000")) << "bare";
        EXPECT_THAT(seen.at_station, IsEmpty());
        EXPECT_THAT(seen.calls, IsEmpty());
    });
}

// --- a satellite

std::string satellite_answer(uint32_t strength, uint32_t number)
{
    return message_of(179, int_atom(144, strength) + int_atom(141, number) + int_atom(1, 0));
}

struct index_row {
    const char *name;
    std::string atoms;
    const char *index;
};

TEST_F(Gps, SatelliteIsReadByItsIndex)
{
    const index_row rows[] = {
        {"3", int_atom(141, 3), "3"},
        {"0", int_atom(141, 0), "0"},
        {"missing", "", "0"},
        {"another atom", int_atom(140, 5), "0"},
        {"one byte", bytes_atom(141, "\x07"), "7"},
        {"256", int_atom(141, 256), "256"},
        {"65536", int_atom(141, 65536), "65536"},
        {"-1", int_atom(141, 0xFFFFFFFF), "-1"},
    };
    control("hwt_gpsCtrl", "svid=21\ncnr=38\n");
    for (const index_row &row : rows) {
        with_bench([&row](radio_bench &bench) {
            SCOPED_TRACE(row.name);
            const std::string index = row.index;
            const std::string request = message_of(178, row.atoms);
            outcome seen = bench.ask(amt_gps_read_result, AMT_CHANNEL_PC, request);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.calls, ElementsAre("hwt_gpsCtrl(2, " + index + ", svid, cnr)"));
            EXPECT_THAT(seen.told_before, ElementsAre("info | GPS-READ-SIGNAL start. index:" + index));
            EXPECT_THAT(seen.told, ElementsAre("info | GPS-READ-SIGNAL start. index:" + index,
                                               "info | GPS-READ-SIGNAL end. return:0; svid:21; cnr:38."));
            EXPECT_THAT(seen.at_station, ElementsAre(enveloped(satellite_answer(38, 21))));
            EXPECT_THAT(seen.at_application, IsEmpty());
            EXPECT_THAT(seen.commands, IsEmpty());
            seen = bench.ask(amt_gps_read_result, AMT_CHANNEL_APP, request);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.at_application, ElementsAre(satellite_answer(38, 21))) << "bare";
            EXPECT_THAT(seen.at_station, IsEmpty());
        });
    }
}

TEST_F(Gps, SatelliteHasNumbersOf32BitsOr0)
{
    control("hwt_gpsCtrl", "svid=-2\ncnr=258\n");
    with_bench([](radio_bench &bench) {
        const std::string request = message_of(178, int_atom(141, 1));
        EXPECT_THAT(bench.ask(amt_gps_read_result, AMT_CHANNEL_APP, request).at_application,
                    ElementsAre("2100bbb31b00ee9001040002010000ee8d010400feffffffee0101040000000000"));
        g_radio.stores_nothing = true;
        const outcome seen = bench.ask(amt_gps_read_result, AMT_CHANNEL_APP, request);
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_THAT(seen.at_application, ElementsAre(satellite_answer(0, 0)));
        EXPECT_EQ(seen.told.back(), "info | GPS-READ-SIGNAL end. return:0; svid:0; cnr:0.");
    });
}

TEST_F(Gps, SatelliteGoesOutBareOnEveryChannelButTheStations)
{
    control("hwt_gpsCtrl", "svid=21\ncnr=38\n");
    for (const uint8_t channel : {uint8_t{3}, uint8_t{254}}) {
        with_bench([channel](radio_bench &bench) {
            const outcome seen = bench.ask(amt_gps_read_result, channel, message_of(178, int_atom(141, 3)));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.at_application, ElementsAre(satellite_answer(38, 21))) << static_cast<int>(channel);
            EXPECT_THAT(seen.at_station, IsEmpty());
        });
    }
}

TEST_F(Gps, SatelliteThatCannotBeReadIsNotAnswered)
{
    control("hwt_gpsCtrl", "result=5\nsvid=21\ncnr=38\n");
    with_bench([](radio_bench &bench) {
        const outcome seen = bench.ask(amt_gps_read_result, AMT_CHANNEL_PC, message_of(178, int_atom(141, 3)));
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        EXPECT_THAT(seen.told, ElementsAre("info | GPS-READ-SIGNAL start. index:3",
                                           "info | GPS-READ-SIGNAL end. return:5; svid:21; cnr:38.",
                                           k_failed + "GPS-READ-SIGNAL error. call hwt_gpsCtrl fail: 5"));
        EXPECT_THAT(seen.at_station, IsEmpty());
        EXPECT_THAT(seen.at_application, IsEmpty());
        EXPECT_THAT(seen.commands, IsEmpty());
    });
}

// --- all of them

TEST_F(Gps, SwitchAndTestGiveTheResultOfTheirAnswerAndTheSatelliteDoesNot)
{
    with_bench([](radio_bench &bench) {
        radio_bench::close_links();
        for (const uint8_t channel : {AMT_CHANNEL_PC, AMT_CHANNEL_APP}) {
            EXPECT_EQ(bench.ask(amt_gps_control, channel, message_of(174)).result, ERR_UNKNOWN);
            EXPECT_EQ(bench.ask(amt_gps_test, channel, message_of(176)).result, ERR_UNKNOWN);
            EXPECT_EQ(bench.ask(amt_gps_read_result, channel, message_of(178)).result, ERR_NONE);
        }
    });
}

TEST_F(Gps, RequestsRefuseBadArgumentsAndTellWhich)
{
    expect_bad_arguments_refused(amt_gps_control, AMT_CHANNEL_PC, message_of(174));
    expect_bad_arguments_refused(amt_gps_test, AMT_CHANNEL_PC, message_of(176));
    expect_bad_arguments_refused(amt_gps_read_result, AMT_CHANNEL_PC, message_of(178));
    EXPECT_EQ(calls(), "(missing)");
}

TEST_F(Gps, OnlyTheSatelliteLeavesANoteOfBadArguments)
{
    in_child([] {
        const amt_buffer request = buffer_with(message_of(178));
        const amt_buffer empty = {};
        amt_buffer response = {};
        EXPECT_EQ(amt_gps_control(255, nullptr, nullptr), ERR_INVALID_PARAM);
        EXPECT_EQ(amt_gps_test(255, nullptr, nullptr), ERR_INVALID_PARAM);
        EXPECT_THAT(g_fake.shell_commands, IsEmpty());
        EXPECT_EQ(amt_gps_read_result(255, &request, &response), ERR_INVALID_PARAM);
        EXPECT_EQ(amt_gps_read_result(1, nullptr, &response), ERR_INVALID_PARAM);
        EXPECT_EQ(amt_gps_read_result(1, &request, nullptr), ERR_INVALID_PARAM);
        EXPECT_EQ(amt_gps_read_result(1, &empty, &response), ERR_INVALID_PARAM);
        const std::string note = "echo gps read result:invalid param > /data/local/wifi/gps_get_result.txt";
        EXPECT_THAT(g_fake.shell_commands, ElementsAre(note, note, note, note));
    });
}

} // namespace
