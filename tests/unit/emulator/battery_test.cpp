// The emulated battery driver: what it is told by a shell, and what a program then reads.

#include "fixture.h"

using namespace emulator_test;
using testing::AllOf;
using testing::Each;
using testing::HasSubstr;
using testing::SizeIs;

constexpr char k_told[] = "/handset/vexio_battery";
constexpr char k_ask[] = "echo \"amt_get_vbatt\" > /proc/driver/vexio_battery";
constexpr char k_calibrate[] = "echo \"amt_set_vbatt[1] [-2] [3] [4]\" > /proc/driver/vexio_battery";

class Battery : public running_handset {
  protected:
    // What the shell reads after it has run the commands.
    std::string answer_after(const std::string &commands)
    {
        return output_of(m_handset, commands + "; cat /proc/driver/vexio_battery");
    }
};

TEST_F(Battery, AnswersWhatItIsAsked)
{
    EXPECT_EQ(answer_after(k_ask), "1234\n");
    EXPECT_THAT(m_handset.calls(), AllOf(SizeIs(2), Each("open(/proc/driver/vexio_battery)")));
}

TEST_F(Battery, AnswersAProgramFromAFileThatCanOnlyBeRead)
{
    EXPECT_EQ(output_of(m_handset, k_ask), "");
    EXPECT_EQ(probe_output({"read-battery"}),
              "open ok\nregular 1, closed on exec 1\nwrite EBADF\n5: 1234\n.\nclose ok\n");
}

// What the driver was told before it is read, and what is read then.
struct conversation {
    const char *description;
    const char *commands;
    const char *answer;
};

static void PrintTo(const conversation &talk, std::ostream *stream)
{
    *stream << talk.description;
}

class Conversations : public Battery, public testing::WithParamInterface<conversation> {};

TEST_P(Conversations, AreAnsweredByTheLastLine)
{
    EXPECT_EQ(answer_after("told() { echo \"$1\" > /proc/driver/vexio_battery; }; " + std::string(GetParam().commands)),
              GetParam().answer);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Emulator, Conversations, testing::Values(
    conversation{"nothing",                    ":",                                                "" },
    conversation{"the question",               "told amt_get_vbatt",                               "1234\n"},
    conversation{"a calibration",              "told 'amt_set_vbatt[1] [2] [3] [4]'",              "" },
    conversation{"question after calibration", "told 'amt_set_vbatt[1] [2]'; told amt_get_vbatt",  "1234\n"},
    conversation{"calibration after question", "told amt_get_vbatt; told 'amt_set_vbatt[1] [2]'",  "" },
    conversation{"short word after question",  "told amt_get_vbatt; told x",                       "" },
    conversation{"question twice",             "told amt_get_vbatt; told amt_get_vbatt",           "1234\n"},
    conversation{"longer word, first line",    "told _amt_get_vbatt",                              "" },
    conversation{"longer word, later line",    "told x; told _amt_get_vbatt",                      "" },
    conversation{"word that goes on",          "told amt_get_vbatts",                              "" },
    conversation{"word cut in front",          "told mt_get_vbatt",                                "" }));
// clang-format on

TEST_F(Battery, KeepsAllThatItWasTold)
{
    EXPECT_EQ(output_of(m_handset, std::string(k_ask) + "; " + k_calibrate), "");
    EXPECT_EQ(output_of(m_handset, k_ask), "");
    EXPECT_EQ(m_handset.files.read(k_told), "amt_get_vbatt\namt_set_vbatt[1] [-2] [3] [4]\namt_get_vbatt\n");
}

TEST_F(Battery, KeepsAnAnswerThatIsBeingRead)
{
    EXPECT_EQ(output_of(m_handset, std::string(k_ask) + "; exec 5< /proc/driver/vexio_battery; " + k_calibrate +
                                       "; exec 6< /proc/driver/vexio_battery; cat <&5; echo; cat <&6"),
              "1234\n\n");
}

TEST_F(Battery, AnswersTheNumberOfItsControl)
{
    for (const char *number : {"0", "3871", "4294967295"}) {
        m_handset.control("battery.adc", {std::string("value=") + number});
        EXPECT_EQ(answer_after(k_ask), std::string(number) + "\n");
    }
    m_handset.control("battery.adc", {});
    EXPECT_EQ(answer_after(k_ask), "1234\n");
}

TEST_F(Battery, HasNothingToReadWhenToldSo)
{
    m_handset.control("battery.read", {"result=0"});
    EXPECT_EQ(answer_after(k_ask), "");
    EXPECT_EQ(m_handset.files.read(k_told), "amt_get_vbatt\n");
}

TEST_F(Battery, RefusesToBeReadAndStillTakesCommands)
{
    m_handset.control("battery.read", {"result=-1", "errno=5"});
    const emulator::process run = m_handset.start(shell(std::string(k_ask) + " && cat /proc/driver/vexio_battery"));
    EXPECT_EQ(run.wait(), emulator::exited(1));
    EXPECT_THAT(run.err(), HasSubstr("/proc/driver/vexio_battery: Input/output error"));
    EXPECT_EQ(m_handset.files.read(k_told), "amt_get_vbatt\n");
}

TEST_F(Battery, RefusesEveryOpenAndIsToldNothing)
{
    m_handset.control("battery.open", {"result=-1", "errno=16"});
    const emulator::process command = m_handset.start(shell(k_ask));
    EXPECT_EQ(command.wait(), emulator::exited(2));
    EXPECT_THAT(command.err(), HasSubstr("cannot create /proc/driver/vexio_battery: Device or resource busy"));
    EXPECT_FALSE(m_handset.files.exists(k_told));
    EXPECT_THAT(probe_output({"read-battery"}), HasSubstr("open EBUSY\n"));
    EXPECT_THAT(m_handset.calls(), AllOf(SizeIs(2), Each("open(/proc/driver/vexio_battery)")));
}
