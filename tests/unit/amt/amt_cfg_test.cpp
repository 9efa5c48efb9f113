#include "amt/amt-cfg.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits.h>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/temp_folder.h"
#include "tests/support/test_log.h"

namespace {

using ::testing::ElementsAre;

int32_t read_config(const std::string &content)
{
    const temp_folder folder;
    return amt_cfg_init(folder.with_file("kv-zep-amt.cfg", content).c_str());
}

TEST(Configuration, ReadsEveryKey)
{
    EXPECT_EQ(read_config("kv.tty.pc = /dev/ttyGS0\n"
                          "kv.tty.app = /dev/socket/amt\n"
                          "kv.tty.modem = /dev/ttyS1\n"
                          "kv.tty.at.mux = /dev/ttyMUX2\n"
                          "kv.audio.file = /system/media/audio/ring.wav\n"
                          "kv.audio.sample.rate = 44100\n"
                          "kv.audio.format = 2\n"
                          "kv.audio.frame.count = 1024\n"
                          "kv.mode.file = /data/mode\n"
                          "kv.modem.uart.at.default.baudrate = 230400\n"
                          "kv.modem.uart.amt.default.baudrate = 921600\n"),
              ERR_NONE);
    EXPECT_STREQ(amt_cfg_st.m_tty_pc_a, "/dev/ttyGS0");
    EXPECT_STREQ(amt_cfg_st.m_tty_app_a, "/dev/socket/amt");
    EXPECT_STREQ(amt_cfg_st.m_tty_modem_a, "/dev/ttyS1");
    EXPECT_STREQ(amt_cfg_st.m_tty_at_mux_a, "/dev/ttyMUX2");
    EXPECT_STREQ(amt_cfg_st.m_audio_file_a, "/system/media/audio/ring.wav");
    EXPECT_EQ(amt_cfg_st.m_audio_sample_rate, 44100);
    EXPECT_EQ(amt_cfg_st.m_audio_format, 2);
    EXPECT_EQ(amt_cfg_st.m_audio_frame_count, 1024);
    EXPECT_STREQ(amt_cfg_st.m_mode_file_a, "/data/mode");
    EXPECT_EQ(amt_cfg_st.m_modem_uart_at_baudrate, 230400);
    EXPECT_EQ(amt_cfg_st.m_modem_uart_amt_baudrate, 921600);
}

void expect_defaults()
{
    EXPECT_STREQ(amt_cfg_st.m_tty_pc_a, "");
    EXPECT_STREQ(amt_cfg_st.m_tty_app_a, "");
    EXPECT_STREQ(amt_cfg_st.m_tty_modem_a, "");
    EXPECT_STREQ(amt_cfg_st.m_tty_at_mux_a, "");
    EXPECT_STREQ(amt_cfg_st.m_audio_file_a, "");
    EXPECT_EQ(amt_cfg_st.m_audio_sample_rate, 0);
    EXPECT_EQ(amt_cfg_st.m_audio_format, 0);
    EXPECT_EQ(amt_cfg_st.m_audio_frame_count, 0);
    EXPECT_STREQ(amt_cfg_st.m_mode_file_a, "");
    EXPECT_EQ(amt_cfg_st.m_modem_uart_at_baudrate, 115200);
    EXPECT_EQ(amt_cfg_st.m_modem_uart_amt_baudrate, 115200);
}

TEST(Configuration, FallsBackToItsDefaults)
{
    memset(&amt_cfg_st, 'x', sizeof(amt_cfg_st));
    EXPECT_EQ(read_config(""), ERR_NONE);
    expect_defaults();
}

TEST(Configuration, SkipsWhatItCannotUse)
{
    EXPECT_EQ(read_config("# kv.tty.pc = /dev/a\n"
                          "   # kv.tty.pc = /dev/b\n"
                          "kv.tty.pc =\n"
                          "kv.tty.pc =   \r\n"
                          "kv.tty.pc\n"
                          "= /dev/c\n"
                          "\n"
                          "KV.TTY.PC = /dev/d\n"
                          "kv.tty.pcx = /dev/e\n"
                          "kv.tty.p = /dev/f\n"),
              ERR_NONE);
    expect_defaults();
}

TEST(Configuration, CutsBlanksAndLineEnds)
{
    EXPECT_EQ(read_config("   kv.tty.pc   =   /dev/ttyGS0  \r\n"), ERR_NONE);
    EXPECT_STREQ(amt_cfg_st.m_tty_pc_a, "/dev/ttyGS0");
}

TEST(Configuration, LetsTheLastLineOfAKeyCountAndLeavesNothingOfTheOthers)
{
    EXPECT_EQ(read_config("kv.tty.pc = /dev/a-long-name\nkv.audio.format = 7\nkv.audio.format = 8\nkv.tty.pc = /dev/b"),
              ERR_NONE);
    EXPECT_EQ(std::string(amt_cfg_st.m_tty_pc_a, 28), std::string("/dev/b") + std::string(22, '\0'));
    EXPECT_EQ(amt_cfg_st.m_audio_format, 8);
}

TEST(Configuration, CutsATextAtItsField)
{
    EXPECT_EQ(read_config("kv.tty.pc = " + std::string(27, 'p') + "\nkv.tty.app = " + std::string(28, 'a') +
                          "\nkv.audio.file = " + std::string(60, 'f') + "\n"),
              ERR_NONE);
    EXPECT_EQ(amt_cfg_st.m_tty_pc_a, std::string(27, 'p'));
    EXPECT_EQ(amt_cfg_st.m_tty_app_a, std::string(27, 'a'));
    EXPECT_EQ(amt_cfg_st.m_audio_file_a, std::string(47, 'f'));
    EXPECT_STREQ(amt_cfg_st.m_tty_modem_a, "");
}

struct number_row {
    const char *text;
    int32_t number;
};

TEST(Configuration, ConvertsDecimalNumbersAndClampsThem)
{
    constexpr number_row k_rows_a[] = {
        {"0", 0},
        {"-5", -5},
        {"+5", 5},
        {"010", 10},
        {"0x10", 0},
        {"12ab", 12},
        {"x", 0},
        {"2147483647", INT32_MAX},
        {"2147483648", INT32_MAX},
        {"-2147483649", INT32_MIN},
        {"99999999999999999999999", INT32_MAX},
        {"-99999999999999999999999", INT32_MIN},
    };
    for (const number_row &row : k_rows_a) {
        EXPECT_EQ(read_config(std::string("kv.audio.format = ") + row.text + "\n"), ERR_NONE);
        EXPECT_EQ(amt_cfg_st.m_audio_format, row.number) << row.text;
    }
}

TEST(Configuration, TakesEachPieceOfALongLineForALine)
{
    const std::string filler(98 - 1, 'x');
    EXPECT_EQ(read_config("#" + filler + "kv.tty.pc = /dev/piece\n"), ERR_NONE);
    EXPECT_STREQ(amt_cfg_st.m_tty_pc_a, "/dev/piece");
}

TEST(Configuration, LogsEachValueThatItTakes)
{
    in_child([] {
        const test_log log;
        EXPECT_EQ(read_config("kv.tty.pc = /dev/ttyGS0\nkv.unknown = 1\nkv.audio.file = " + std::string(60, 'f') +
                              "\nkv.audio.frame.count = 1024\nkv.audio.sample.rate = -1\n"),
                  ERR_NONE);
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "func | ", "info | [cfg]kv.tty.pc = /dev/ttyGS0",
                                "info | [cfg]kv.audio.file = " + std::string(47, 'f'),
                                "info | [cfg]kv.audio.frame.count = 1024", "info | [cfg]kv.audio.sample.rate = -1"));
    });
}

TEST(Configuration, FailsWithoutItsFile)
{
    in_child([] {
        const test_log log;
        EXPECT_EQ(amt_cfg_init("/no/such/file"), ERR_C_FUNCTION);
        expect_defaults();
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "func | ", "sys error | fopen: 2 - No such file or directory",
                                "error | -118 - Call C function unsuccessfully | fail to open file: /no/such/file"));
    });
}

// Half a configuration would start a service that refuses half of its requests.
TEST(Configuration, FailsWhenItsFileCannotBeReadToItsEnd)
{
    in_child([] {
        const test_log log;
        EXPECT_EQ(amt_cfg_init("/"), ERR_C_FUNCTION); // can be opened, cannot be read
        EXPECT_THAT(log.records(), ElementsAre("func | ", "func | ", "sys error | fgets: 21 - Is a directory",
                                               "error | -118 - Call C function unsuccessfully | fail to read file: /"));
    });
}

TEST(Configuration, RefusesAMissingPath)
{
    EXPECT_EQ(amt_cfg_init(nullptr), ERR_INVALID_PARAM);
    expect_defaults();
}

TEST(Configuration, SurvivesAnyBytes)
{
    std::string all;
    for (int i = 0; i < 256 * 8; i++) {
        all += static_cast<char>(i % 256);
    }
    EXPECT_EQ(read_config(all + "\nkv.tty.pc = /dev/ttyGS0\n"), ERR_NONE);
    EXPECT_STREQ(amt_cfg_st.m_tty_pc_a, "/dev/ttyGS0");
}

} // namespace
