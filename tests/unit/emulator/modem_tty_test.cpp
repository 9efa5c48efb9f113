// The model of the modem and its tty: a service that is slow, late or gone, and a modem that hangs up and comes back.

#include "modem_ends.h"

#include "emulator/modem.h"

#include <gtest/gtest.h>

#include <memory>

using namespace emulator_test;
using emulator::modem;
using emulator::modem_control;

// More than a tty holds, in both directions at once.
TEST(Modem, LosesNoAnswerWhenTheReaderIsSlow)
{
    constexpr int count = 8000;
    terminal_modem tested;
    std::string expected;
    for (int i = 0; i < count; ++i) {
        tested.service.write("AT+CSQ\r");
        expected += k_csq;
    }
    ASSERT_GT(expected.size(), 160'000U);
    EXPECT_TRUE(tested.service.read_exactly(expected.size()) == expected);
}

TEST(Modem, SaysWhatIsLongerThanATtyHolds)
{
    terminal_modem tested;
    std::string text;
    for (int i = 0; text.size() < 200'000; ++i) {
        text += std::to_string(i) + ' ';
    }
    tested.model.say(text);
    EXPECT_TRUE(tested.service.read_exactly(text.size()) == text);
}

TEST(Modem, WaitsForAServiceThatOpensTheTtyLater)
{
    terminal made = make_terminal();
    modem model(std::move(made.far_end));
    model.say("\r\nSTART\r\n");
    emulator::tty service = open_device(made.path);
    EXPECT_EQ(service.read_until("START\r\n"), "\r\nSTART\r\n");
}

TEST(Modem, StaysWhenTheServiceClosesTheTtyAndOpensItAgain)
{
    terminal made = make_terminal();
    const modem model(std::move(made.far_end));
    for (int round = 0; round < 100; ++round) {
        emulator::tty service = open_device(made.path);
        service.write("AT+CSQ\r");
        ASSERT_EQ(service.read_exactly(k_csq.size()), k_csq) << "in round " << round;
    }
}

TEST(Modem, HangsUpAndComesBack)
{
    terminal_modem tested;
    tested.service.write("AT+C");
    tested.model.wait_received("AT+C");
    EXPECT_TRUE(tested.service.opened());
    tested.model.hang_up();
    EXPECT_FALSE(tested.service.opened());
    tested.model.say("to nobody");
    tested.model.hang_up();

    terminal fresh = make_terminal();
    emulator::tty service = open_device(fresh.path);
    tested.model.come_back(std::move(fresh.far_end));
    service.write("SQ\r");
    EXPECT_EQ(service.read_exactly(k_error.size()), k_error)
        << "half a line has survived the hang-up, or what was said to nobody";
    EXPECT_EQ(tested.model.received(), "AT+CSQ\r");
}

TEST(Modem, LosesADelayedAnswerWhenItHangsUp)
{
    terminal_modem tested;
    modem_control how;
    how.delay_ms = 3'600'000;
    tested.model.control(how);
    tested.service.write("AT+CSQ\r");
    tested.model.wait_received("AT+CSQ\r");
    tested.model.hang_up();
    tested.model.control({});

    terminal fresh = make_terminal();
    emulator::tty service = open_device(fresh.path);
    tested.model.come_back(std::move(fresh.far_end));
    service.write("AT\r");
    EXPECT_EQ(service.read_exactly(k_ok.size()), k_ok);
}

TEST(Modem, KeepsWhatItWasToldWhenItHangsUpAndComesBack)
{
    terminal_modem tested;
    tested.service.write("AT^DMSN=NEW1\r");
    EXPECT_EQ(tested.service.read_exactly(k_ok.size()), k_ok);
    tested.model.hang_up();

    terminal fresh = make_terminal();
    emulator::tty service = open_device(fresh.path);
    tested.model.come_back(std::move(fresh.far_end));
    service.write("AT^DMSN\r");
    EXPECT_EQ(service.read_exactly(k_new_serial.size()), k_new_serial);
}

TEST(Modem, LeavesOneTtyForAnother)
{
    terminal_modem tested;
    terminal other = make_terminal();
    emulator::tty service = open_device(other.path);
    tested.model.come_back(std::move(other.far_end));
    EXPECT_FALSE(tested.service.opened());
    service.write("AT\r");
    EXPECT_EQ(service.read_exactly(k_ok.size()), k_ok);
}

TEST(Modem, TakesOverWhatItsPredecessorAtTheTtyHadNotReadToTheEnd)
{
    terminal made = make_terminal();
    emulator::tty service = open_device(made.path);
    service.write("AT^DLKS=0\rAT+CSQ\r");
    EXPECT_EQ(made.far_end.read_until("AT^DLKS=0\r"), "AT^DLKS=0\r");
    modem model(std::move(made.far_end));
    EXPECT_EQ(service.read_exactly(k_csq.size()), k_csq);
    EXPECT_EQ(model.received(), "AT+CSQ\r");
}

TEST(Modem, HangsUpWhenItGoes)
{
    terminal made = make_terminal();
    const emulator::tty service = open_device(made.path);
    auto model = std::make_unique<modem>(std::move(made.far_end));
    EXPECT_TRUE(service.opened());
    model.reset();
    EXPECT_FALSE(service.opened());
}
