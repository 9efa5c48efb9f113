#include "amt/device/audio.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

#include "amt/amt-cfg.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/device_fakes.h"
#include "tests/unit/amt/handler_arguments.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

constexpr char k_player[] = "/system/bin/amt-audio";
constexpr char k_sound[] = "/system/media/amt/ring.wav";
constexpr char k_pid_file[] = "/tmp/amt-audio.pid";
const std::string k_command = "/system/bin/amt-audio 44100 2 1024 /system/media/amt/ring.wav";
const std::string k_answer = "0f00bb220900ee0101040000000000";
const std::string k_no_player = k_failed_call + "access(\"/system/bin/amt-audio\") fail: 2 - No such file or directory";
const std::string k_no_sound =
    k_failed_call + "access(\"/system/media/amt/ring.wav\") fail: 2 - No such file or directory";

std::string switch_to(uint32_t is_start)
{
    return message_with(33, {{15, is_start}});
}

void configure(const char *sound, int32_t rate, int32_t format, int32_t frames)
{
    ASSERT_LT(strlen(sound), sizeof(amt_cfg_st.m_audio_file_a));
    memcpy(amt_cfg_st.m_audio_file_a, sound, strlen(sound) + 1);
    amt_cfg_st.m_audio_sample_rate = rate;
    amt_cfg_st.m_audio_format = format;
    amt_cfg_st.m_audio_frame_count = frames;
}

// The configuration, the player and the sound.
void install(const device_handset &handset)
{
    configure(k_sound, 44100, 2, 1024);
    handset.put(k_player, "");
    handset.put(k_sound, "");
}

// --- the sound: start

TEST(Sound, IsPlayedByThePlayerWithTheSettingsOfTheConfiguration)
{
    for (const uint8_t channel : k_both_channels_a) {
        in_child([channel] {
            const device_handset handset;
            install(handset);
            const outcome seen = handset.ask(amt_device_audio, channel, switch_to(1));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(channel), ElementsAre(answer_on(channel, k_answer)));
            EXPECT_THAT(seen.events, ElementsAre("run " + k_command, "send"));
            EXPECT_THAT(seen.told, ElementsAre("info | start audio"));
            EXPECT_TRUE(seen.is_response_clear);
        });
    }
}

struct start_row {
    const char *name;
    std::string request;
    const char *told;
};

// clang-format off
const start_row k_starts_a[] = {
    {"no switch",             message_of(33),                   "info | start audio"},
    {"another atom",          message_with(33, {{30, 0}}),        "info | start audio"},
    {"1 in one byte",         "0c00bb210600ee0f01010001",       "info | start audio"},
    {"one that does not end", "0e00bb210800ee0f010400000000",   "info | start audio"},
    {"2",                     switch_to(2),                     "info | stop audio"},
    {"1 in a higher byte",    switch_to(0x100),                 "info | stop audio"},
    {"the greatest",          switch_to(UINT32_MAX),            "info | stop audio"},
};
// clang-format on

TEST(Sound, IsPlayedUnlessTheSwitchIs0)
{
    for (const start_row &row : k_starts_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            install(handset);
            handset.put(k_pid_file, "4711\n"); // of another one, which is left alone
            handset.put("/proc/4711/cmdline", k_player);
            const outcome seen = handset.ask(amt_device_audio, AMT_CHANNEL_APP, row.request);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(k_answer));
            EXPECT_THAT(seen.events, ElementsAre("run " + k_command, "send"));
            EXPECT_THAT(seen.told, ElementsAre(row.told));
        });
    }
}

struct settings_row {
    const char *name;
    const char *sound;
    int32_t rate, format, frames;
    const char *command;
};

// clang-format off
constexpr settings_row k_settings_a[] = {
    {"other settings", "/system/a b.wav", 8000, 1, 160, "/system/bin/amt-audio 8000 1 160 /system/a b.wav"},
    {"none",           "/system/a",       0,    0, 0,   "/system/bin/amt-audio 0 0 0 /system/a"},
    {"a long one", "/system/media/a/long/path/that/fits/exactly.wav", INT32_MIN, -2, INT32_MAX,
     "/system/bin/amt-audio -2147483648 -2 2147483647 /system/media/a/long/path/that/fits/exactly.wav"},
    {"one that is cut in its name", "/system/media/a/long/path/that/fits/exactly.wav", INT32_MIN, INT32_MIN, INT32_MIN,
     "/system/bin/amt-audio -2147483648 -2147483648 -2147483648 /system/media/a/long/path/that/fits/exac"},
};
// clang-format on

TEST(Sound, IsPlayedByACommandOfUpTo98Characters)
{
    for (const settings_row &row : k_settings_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            configure(row.sound, row.rate, row.format, row.frames);
            handset.put(k_player, "");
            handset.put(row.sound, "");
            const outcome seen = handset.ask(amt_device_audio, AMT_CHANNEL_APP, switch_to(1));
            EXPECT_EQ(seen.result, ERR_NONE);
            ASSERT_LE(strlen(row.command), 98U);
            EXPECT_THAT(seen.events, ElementsAre(std::string("run ") + row.command, "send"));
        });
    }
}

struct missing_row {
    const char *name;
    bool has_player, has_sound;
    std::vector<std::string> told;
};

// clang-format off
const missing_row k_missing_a[] = {
    {"no player",      false, true,  {k_no_player}},
    {"no sound",       true,  false, {k_no_sound}},
    {"neither",        false, false, {k_no_player, k_no_sound}},
};
// clang-format on

TEST(Sound, WithoutAPlayerOrAFileIsNotAnswered)
{
    for (const missing_row &row : k_missing_a) {
        for (const uint8_t channel : k_both_channels_a) {
            in_child([&row, channel] {
                SCOPED_TRACE(row.name);
                const device_handset handset;
                configure(k_sound, 44100, 2, 1024);
                if (row.has_player) {
                    handset.put(k_player, "");
                }
                if (row.has_sound) {
                    handset.put(k_sound, "");
                }
                const outcome seen = handset.ask(amt_device_audio, channel, switch_to(1));
                EXPECT_EQ(seen.result, ERR_C_FUNCTION);
                EXPECT_THAT(seen.answers(channel), IsEmpty());
                EXPECT_THAT(seen.events, IsEmpty());
                EXPECT_EQ(seen.told, row.told);
            });
        }
    }
}

TEST(Sound, WithoutAPlayerTellsWhy)
{
    in_child([] {
        const device_handset handset;
        configure(k_sound, 44100, 2, 1024);
        handset.put("/system/bin", "no folder");
        handset.put(k_sound, "");
        const outcome seen = handset.ask(amt_device_audio, AMT_CHANNEL_APP, switch_to(1));
        EXPECT_EQ(seen.result, ERR_C_FUNCTION);
        EXPECT_THAT(seen.told,
                    ElementsAre(k_failed_call + "access(\"/system/bin/amt-audio\") fail: 20 - Not a directory"));
    });
}

struct failure_row {
    const char *name;
    command_end end;
    const char *told;
};

// clang-format off
constexpr failure_row k_failures_a[] = {
    {"a status",   {256, 0},     "0 - No error"},
    {"a signal",   {9, 0},       "0 - No error"},
    {"no process", {-1, EAGAIN}, "11 - Resource temporarily unavailable"},
};
// clang-format on

TEST(Sound, ThatThePlayerRefusesIsNotAnswered)
{
    for (const failure_row &row : k_failures_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            install(handset);
            g_fake.commands = {row.end};
            const outcome seen = handset.ask(amt_device_audio, AMT_CHANNEL_PC, switch_to(1));
            EXPECT_EQ(seen.result, ERR_C_FUNCTION);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_PC), IsEmpty());
            EXPECT_THAT(seen.events, ElementsAre("run " + k_command)) << "once";
            EXPECT_THAT(seen.told, ElementsAre(k_failed_call + "system(" + k_command + ") fail: " + row.told));
        });
    }
}

// --- the sound: stop

// Those that tell of an end, without those of the search for the player.
std::vector<std::string> ending(const std::vector<std::string> &events)
{
    std::vector<std::string> result;
    for (const std::string &event : events) {
        if (event.find("read ") != 0 && event.find("close ") != 0) {
            result.push_back(event);
        }
    }
    return result;
}

TEST(Sound, IsEndedWithItsPlayer)
{
    for (const uint8_t channel : k_both_channels_a) {
        in_child([channel] {
            const device_handset handset; // with neither player nor sound any more
            handset.put(k_pid_file, "4711\n");
            handset.put("/proc/4711/cmdline", std::string(k_player) + '\0' + "44100" + '\0');
            const outcome seen = handset.ask(amt_device_audio, channel, switch_to(0));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(channel), ElementsAre(answer_on(channel, k_answer)));
            EXPECT_THAT(ending(seen.events), ElementsAre("unlink /tmp/amt-audio.pid", "kill 4711 9", "send"));
            EXPECT_EQ(handset.content(k_pid_file), "(missing)");
            EXPECT_EQ(seen.told.back(), "info | stop audio");
            EXPECT_TRUE(seen.is_response_clear);
        });
    }
}

TEST(Sound, IsEndedByASwitchOfOneByteOrNone)
{
    for (const char *request : {"0c00bb210600ee0f01010000", "0b00bb210500ee0f010000"}) {
        in_child([request] {
            const device_handset handset;
            install(handset);
            handset.put(k_pid_file, "4711");
            handset.put("/proc/4711/cmdline", "amt-audio");
            const outcome seen = handset.ask(amt_device_audio, AMT_CHANNEL_APP, request);
            EXPECT_THAT(ending(seen.events), ElementsAre("unlink /tmp/amt-audio.pid", "kill 4711 9", "send"));
        });
    }
}

TEST(Sound, IsEndedAlsoWhenSomebodyElseDoesSoMeanwhile)
{
    in_child([] {
        const device_handset handset;
        handset.put(k_pid_file, "4711\n");
        handset.put("/proc/4711/cmdline", k_player);
        g_fake.refused = {{"unlink /tmp/amt-audio.pid", ENOENT}, {"kill 4711 9", ESRCH}};
        const outcome seen = handset.ask(amt_device_audio, AMT_CHANNEL_APP, switch_to(0));
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(k_answer));
        EXPECT_THAT(ending(seen.events), ElementsAre("unlink /tmp/amt-audio.pid", "kill 4711 9", "send"));
        EXPECT_THAT(seen.told, Not(Contains(StartsWith("error"))));
    });
}

struct no_player_row {
    const char *name;
    const char *pid;          // in the pid file; null: there is none
    const char *command_line; // of the process; null: there is none
};

// clang-format off
constexpr no_player_row k_no_players_a[] = {
    {"no pid file",                    nullptr,  nullptr},
    {"an empty one",                   "",       nullptr},
    {"one without a number",           "none\n", nullptr},
    {"of a process that is gone",      "4711\n", nullptr},
    {"of another process",             "4711\n", "/system/bin/vold"},
    {"of one that was told of it",     "4711\n", "/system/bin/vold amt-audio"},
    {"of every process of the group",  "0\n",    "/system/bin/amt-audio"},
    {"of every process",               "-1\n",   "/system/bin/amt-audio"},
    {"of a group of processes",        "-4711",  "/system/bin/amt-audio"},
};
// clang-format on

TEST(Sound, ThatIsNotPlayedIsAsGoodAsEnded)
{
    for (const no_player_row &row : k_no_players_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            install(handset);
            if (row.pid != nullptr) {
                handset.put(k_pid_file, row.pid);
            }
            if (row.command_line != nullptr) {
                handset.put("/proc/" + std::to_string(std::stol(row.pid)) + "/cmdline", row.command_line);
            }
            const outcome seen = handset.ask(amt_device_audio, AMT_CHANNEL_APP, switch_to(0));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(k_answer));
            EXPECT_THAT(ending(seen.events), ElementsAre("send"));
            EXPECT_EQ(handset.content(k_pid_file), row.pid == nullptr ? "(missing)" : row.pid);
            EXPECT_EQ(seen.told.back(), "info | stop audio");
        });
    }
}

// --- the sound: both

TEST(Sound, GivesTheResultOfItsAnswer)
{
    expect_result_of_sending(amt_device_audio, switch_to(1), install);
    expect_result_of_sending(amt_device_audio, switch_to(0), install);
}

TEST(Sound, RefusesBadArgumentsAndTellsWhich)
{
    expect_bad_arguments_refused(amt_device_audio, AMT_CHANNEL_APP, switch_to(1));
}

// --- the loop

constexpr char k_look_up[] = "look up codec_loop_test";
const std::string k_loop_answer = "0f00bb200900ee0101040000000000";

std::string loop_request(uint32_t is_start, uint32_t type)
{
    return message_with(31, {{15, is_start}, {30, type}});
}

class AudioLoop : public misc_library {};

TEST_F(AudioLoop, IsLedByTheLibraryAndThenAcknowledged)
{
    for (const uint8_t channel : k_both_channels_a) {
        in_child([channel] {
            const device_handset handset;
            const outcome seen = handset.ask(amt_device_audio_loop, channel, loop_request(1, 3));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(channel), ElementsAre(answer_on(channel, k_loop_answer)));
            EXPECT_THAT(seen.events, ElementsAre(k_load, k_look_up, "unload", "send"));
            EXPECT_THAT(seen.told, ElementsAre("info | will call codec_loop_test. enable:1; type:3.",
                                               "info | stop call codec_loop_test.", "info | start audio-loop"));
            EXPECT_TRUE(seen.is_response_clear);
        });
    }
    EXPECT_EQ(calls(), "codec_loop_test(3, 1)\ncodec_loop_test(3, 1)\n");
}

struct loop_row {
    const char *name;
    std::string request;
    const char *call;
    const char *told;
};

// clang-format off
const loop_row k_loops_a[] = {
    {"off",                  loop_request(0, 3),             "(3, 0)",  "enable:0; type:3."},
    {"2",                    loop_request(2, 1),             "(1, 0)",  "enable:0; type:1."},
    {"1 in a higher byte",   loop_request(0x101, 1),         "(1, 0)",  "enable:0; type:1."},
    {"no switch",            message_with(31, {{30, 2}}),      "(2, 1)",  "enable:1; type:2."},
    {"no type",              message_with(31, {{15, 1}}),      "(0, 1)",  "enable:1; type:0."},
    {"neither",              message_of(31),                 "(0, 1)",  "enable:1; type:0."},
    {"a negative type",      loop_request(1, UINT32_MAX),    "(-1, 1)", "enable:1; type:-1."},
    {"the least type",       loop_request(1, 0x80000000),    "(-2147483648, 1)", "enable:1; type:-2147483648."},
    {"numbers of one byte",  "1200bb1f0c00ee0f01010001ee1e01010007", "(7, 1)", "enable:1; type:7."},
    {"a switch of no bytes", "0b00bb1f0500ee0f010000",       "(0, 0)",  "enable:0; type:0."},
};
// clang-format on

TEST_F(AudioLoop, IsStartedByTheSwitch1AndNoOther)
{
    std::string expected_calls;
    for (const loop_row &row : k_loops_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            const outcome seen = handset.ask(amt_device_audio_loop, AMT_CHANNEL_APP, row.request);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(k_loop_answer));
            const std::string told = row.told;
            const bool is_start = told.find("enable:1") == 0;
            EXPECT_THAT(seen.told,
                        ElementsAre("info | will call codec_loop_test. " + told, "info | stop call codec_loop_test.",
                                    is_start ? "info | start audio-loop" : "info | stop audio-loop"));
        });
        expected_calls += std::string("codec_loop_test") + row.call + "\n";
        EXPECT_EQ(calls(), expected_calls) << row.name;
    }
}

TEST_F(AudioLoop, IsASuccessWhateverTheLibraryReturns)
{
    for (const int result : {-7, 5}) {
        control("codec_loop_test", "result=" + std::to_string(result) + "\n");
        in_child([] {
            const device_handset handset;
            const outcome seen = handset.ask(amt_device_audio_loop, AMT_CHANNEL_APP, loop_request(1, 3));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(k_loop_answer));
            EXPECT_EQ(seen.told.back(), "info | start audio-loop");
        });
    }
}

TEST_F(AudioLoop, WithoutTheLibraryIsNotAnswered)
{
    expect_nothing_without_library(amt_device_audio_loop, loop_request(1, 3), k_look_up);
    EXPECT_EQ(calls(), "(missing)");
}

TEST_F(AudioLoop, GivesTheResultOfItsAnswer)
{
    expect_result_of_sending(amt_device_audio_loop, loop_request(1, 3), [](const device_handset &) {});
}

TEST_F(AudioLoop, RefusesBadArgumentsAndTellsWhich)
{
    expect_bad_arguments_refused(amt_device_audio_loop, AMT_CHANNEL_APP, loop_request(1, 3));
    EXPECT_EQ(calls(), "(missing)");
}

} // namespace
