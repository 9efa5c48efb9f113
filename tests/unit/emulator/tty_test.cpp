// Serial devices: pseudo-terminals behind the names that a service opens.

#include "fixture.h"

#include <fcntl.h>
#include <termios.h>

#include <csignal>

using namespace emulator_test;
using namespace std::chrono_literals;
using testing::AnyOf;
using testing::HasSubstr;
using testing::ThrowsMessage;

constexpr char k_tty[] = "/dev/ttyGS0";

static std::string all_bytes()
{
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) {
        bytes.push_back(static_cast<char>(byte));
    }
    return bytes;
}

using Tty = running_handset;

TEST_F(Tty, PassesEveryByteBothWays)
{
    emulator::tty station = m_handset.open_tty(k_tty);
    const emulator::process run = m_handset.start(probe({"echo", k_tty, "512"}));
    station.wait_opened();
    station.write(all_bytes() + all_bytes());
    EXPECT_EQ(station.read_exactly(512), all_bytes() + all_bytes());
    EXPECT_EQ(run.wait(), emulator::exited(0));
}

TEST_F(Tty, KeepsWhatIsSentBeforeAnyoneOpensIt)
{
    emulator::tty station = m_handset.open_tty(k_tty);
    station.write("early");
    const emulator::process run = m_handset.start(probe({"echo", k_tty, "5"}));
    EXPECT_EQ(station.read_exactly(5), "early");
    EXPECT_EQ(run.wait(), emulator::exited(0));
}

TEST_F(Tty, EchoesNothingByItselfUnlessLeftAsTheKernelMakesIt)
{
    emulator::tty raw = m_handset.open_tty("/dev/ttyUSB0");
    emulator::tty as_created = m_handset.open_tty("/dev/ttyS1", emulator::tty_mode::as_created);
    termios attributes = {};
    ASSERT_EQ(tcgetattr(raw.fd(), &attributes), 0);
    EXPECT_EQ(attributes.c_lflag & (ECHO | ICANON | ISIG), 0U);
    ASSERT_EQ(tcgetattr(as_created.fd(), &attributes), 0);
    EXPECT_EQ(attributes.c_lflag & (ECHO | ICANON | ISIG), static_cast<tcflag_t>(ECHO | ICANON | ISIG));
    as_created.write("x\n");
    EXPECT_EQ(as_created.read_until("\n"), "x\r\n");
}

TEST_F(Tty, TellsWhetherAProgramHasItOpen)
{
    emulator::tty station = m_handset.open_tty(k_tty);
    EXPECT_FALSE(station.opened());
    const emulator::process run = m_handset.start(probe({"read-to-end", k_tty}));
    station.wait_opened();
    EXPECT_TRUE(run.signal(SIGKILL));
    station.wait_closed();
    EXPECT_FALSE(station.opened());
}

TEST_F(Tty, EndsForItsReaderWhenItHangsUp)
{
    emulator::tty station = m_handset.open_tty(k_tty);
    const emulator::process run = m_handset.start(probe({"read-to-end", k_tty}));
    station.write("last words\n");
    run.wait_output("last words\n");
    station.hang_up();
    EXPECT_EQ(run.wait(), emulator::exited(0));
    EXPECT_THAT(run.out(), AnyOf("open ok\nlast words\nend of file\n", "open ok\nlast words\nend EIO\n"))
        << "the kernel gives either, as the read comes before or after the hang-up";
    EXPECT_EQ(station.fd(), -1);
}

TEST_F(Tty, ComesBackUnderTheSamePath)
{
    emulator::tty first = m_handset.open_tty(k_tty);
    const std::string first_slave = m_handset.files.read_link(k_tty);
    emulator::tty second = m_handset.open_tty(k_tty);
    EXPECT_NE(m_handset.files.read_link(k_tty), first_slave);
    first.hang_up();
    const emulator::process run = m_handset.start(probe({"echo", k_tty, "5"}));
    second.write("again");
    EXPECT_EQ(second.read_exactly(5), "again");
    EXPECT_EQ(run.wait(), emulator::exited(0));
}

TEST_F(Tty, IsGoneWhenItsPathIsRemoved)
{
    const emulator::tty station = m_handset.open_tty("/dev/bus/modem/at0");
    EXPECT_TRUE(m_handset.files.exists("/dev/bus/modem/at0"));
    m_handset.remove_device("/dev/bus/modem/at0");
    EXPECT_FALSE(m_handset.files.exists("/dev/bus/modem/at0"));
    EXPECT_THAT([&] { m_handset.remove_device("/dev/bus/modem/at0"); },
                ThrowsMessage<std::runtime_error>(HasSubstr("cannot remove /dev/bus/modem/at0")));
}

TEST_F(Tty, CanBeGivenToTheSystemUserAndTheRadioGroupThroughItsLink)
{
    const emulator::tty station = m_handset.open_tty(k_tty);
    EXPECT_EQ(probe_output({"give-away", k_tty}), "chown ok\n");
}

TEST_F(Tty, MadeByAProgramInsideIsOpenedFromOutside)
{
    const emulator::process run = m_handset.start(probe({"make-terminal", "/dev/ttyApp"}));
    run.wait_output("made");
    const emulator::descriptor application = m_handset.open("/dev/ttyApp", O_RDWR);
    ASSERT_EQ(write(application.get(), "hello\n", 6), 6);
    EXPECT_EQ(run.wait(), emulator::exited(0));
    EXPECT_EQ(run.out(), "made\nhello\r\n");
    EXPECT_THAT([&] { m_handset.open("/dev/nothing", O_RDWR); },
                ThrowsMessage<std::runtime_error>(HasSubstr("cannot open /dev/nothing in the handset")));
}

TEST_F(Tty, ReportsSilenceAndWhatItBroughtInstead)
{
    emulator::tty station = m_handset.open_tty(k_tty);
    EXPECT_THAT([&] { station.read(1ms); }, ThrowsMessage<std::runtime_error>(HasSubstr("nothing has arrived")));
    EXPECT_EQ(station.read_all(1ms), "");
    EXPECT_EQ(output_of(m_handset, "printf 'OK then' > /dev/ttyGS0"), "");
    EXPECT_EQ(station.read_until("OK"), "OK");
    EXPECT_THAT([&] { station.read_until("ERROR", 1ms); }, ThrowsMessage<std::runtime_error>(HasSubstr("\" then\"")));
    EXPECT_EQ(station.read(), " then");
}
