// The cable between two ttys: what passes, and each way in which it can be told to do that badly. The test has the far
// sides of both, as a station and a service have them.

#include "emulator/cable.h"

#include "emulator/tty.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <termios.h>

#include <cstdlib>
#include <stdexcept>
#include <system_error>

using emulator::cable_end;
using emulator::descriptor;
using namespace std::chrono_literals;

// One side goes to the cable; the other is the test's.
struct pseudo_terminal {
    descriptor master;
    descriptor slave;
};

static pseudo_terminal make_pseudo_terminal()
{
    pseudo_terminal made;
    made.master.reset(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    char path[64];
    termios attributes = {};
    if (unlockpt(made.master.get()) != 0 || ptsname_r(made.master.get(), path, sizeof(path)) != 0 ||
        tcgetattr(made.master.get(), &attributes) != 0) {
        throw std::system_error(errno, std::generic_category(), "no pseudo-terminal");
    }
    cfmakeraw(&attributes);
    (void)tcsetattr(made.master.get(), TCSANOW, &attributes);
    made.slave.reset(open(path, O_RDWR | O_NOCTTY | O_CLOEXEC));
    return made;
}

static std::string all_bytes()
{
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) {
        bytes.push_back(static_cast<char>(byte));
    }
    return bytes;
}

class Cable : public testing::Test {
  protected:
    Cable()
        : m_station(connect(cable_end::station))
        , m_handset(connect(cable_end::handset))
    {
    }

    // A new pseudo-terminal as that end; returns its far side.
    emulator::tty connect(cable_end end)
    {
        pseudo_terminal made = make_pseudo_terminal();
        m_cable.attach(end, std::move(made.master));
        return emulator::tty(std::move(made.slave));
    }

    // What the station says, on its way to a handset that does not get it yet.
    void say_into_the_stall(const std::string &bytes)
    {
        const std::size_t before = m_cable.kept(cable_end::handset);
        m_station.write(bytes);
        emulator::wait_until("the bytes to be kept",
                             [&] { return m_cable.kept(cable_end::handset) == before + bytes.size(); });
    }

    emulator::cable m_cable;
    emulator::tty m_station; // the far side, as a station holds it
    emulator::tty m_handset; // the far side, as the service holds it
};

TEST_F(Cable, PassesEveryByteBothWays)
{
    m_station.write(all_bytes());
    EXPECT_EQ(m_handset.read_exactly(256), all_bytes());
    m_handset.write(all_bytes());
    EXPECT_EQ(m_station.read_exactly(256), all_bytes());
    EXPECT_EQ(m_cable.passed(cable_end::handset), 256U);
    EXPECT_EQ(m_cable.passed(cable_end::station), 256U);
}

TEST_F(Cable, BringsWhatOneReadBroughtByOneWrite)
{
    for (const std::size_t size : {std::size_t{1}, std::size_t{27}, std::size_t{1000}, std::size_t{1700}}) {
        const std::string request(size, 'r');
        m_station.write(request);
        EXPECT_EQ(m_handset.read(), request);
    }
}

TEST_F(Cable, LosesNothingOfWhatAnEndDoesNotTake)
{
    std::string sent;
    for (int i = 0; i < 2000; ++i) {
        sent += "request " + std::to_string(i) + " of many that nobody reads yet\r";
    }
    m_station.write(sent);
    EXPECT_EQ(m_handset.read_exactly(sent.size()), sent);
}

TEST_F(Cable, FlipsTheLowestBitOfTheNextBytesTowardsOneEnd)
{
    m_cable.flip(cable_end::handset, 2);
    m_handset.write("@@@");
    EXPECT_EQ(m_station.read_exactly(3), "@@@") << "the other way is clean";
    m_station.write("@");
    EXPECT_EQ(m_handset.read_exactly(1), "A");
    m_station.write("@@@");
    EXPECT_EQ(m_handset.read_exactly(3), "A@@");
    EXPECT_EQ(m_cable.faults(cable_end::handset).flip, 0U);
}

TEST_F(Cable, DropsTheNextBytesAndThenPassesAgain)
{
    m_cable.drop(cable_end::station, 3);
    m_handset.write("abcd");
    EXPECT_EQ(m_station.read_exactly(1), "d");
    m_handset.write("ef");
    EXPECT_EQ(m_station.read_exactly(2), "ef");
}

TEST_F(Cable, FlipsBehindTheBytesThatPassFirst)
{
    m_cable.flip(cable_end::handset, 2, 3);
    m_station.write("@@");
    EXPECT_EQ(m_handset.read_exactly(2), "@@");
    EXPECT_EQ(m_cable.faults(cable_end::handset).flip_after, 1U);
    m_station.write("@@@@@");
    EXPECT_EQ(m_handset.read_exactly(5), "@AA@@");
    EXPECT_EQ(m_cable.faults(cable_end::handset).flip_after, 0U);
    EXPECT_EQ(m_cable.faults(cable_end::handset).flip, 0U);
}

TEST_F(Cable, DropsBehindTheBytesThatPassFirst)
{
    m_cable.drop(cable_end::station, 2, 3);
    m_handset.write("abcdefg");
    EXPECT_EQ(m_station.read_exactly(5), "abcfg");
    m_cable.drop(cable_end::station, 2, 1);
    m_handset.write("a");
    EXPECT_EQ(m_station.read_exactly(1), "a");
    EXPECT_EQ(m_cable.faults(cable_end::station).drop, 2U);
    m_handset.write("bcd");
    EXPECT_EQ(m_station.read_exactly(1), "d");
}

TEST_F(Cable, CountsForAFlipWhatIsNotDropped)
{
    m_cable.drop(cable_end::handset, 2, 1);
    m_cable.flip(cable_end::handset, 1, 2);
    m_station.write("@BB@@@");
    EXPECT_EQ(m_handset.read_exactly(4), "@@A@");
}

TEST_F(Cable, TakesTheLastWordOnWhatPassesFirst)
{
    m_cable.flip(cable_end::handset, 1, 100);
    m_cable.flip(cable_end::handset, 1, 1);
    m_station.write("@@@@");
    EXPECT_EQ(m_handset.read_exactly(4), "@AA@");
    m_cable.flip(cable_end::handset, 1, 1);
    m_cable.clear();
    EXPECT_EQ(m_cable.faults(cable_end::handset).flip_after, 0U);
}

TEST_F(Cable, AddsUpWhatIsToBeFlippedAndDropped)
{
    m_cable.stall(cable_end::station, true);
    m_cable.flip(cable_end::station, 1);
    m_cable.flip(cable_end::station, 2);
    m_cable.drop(cable_end::station, 4);
    m_cable.drop(cable_end::station, 1);
    EXPECT_EQ(m_cable.faults(cable_end::station).flip, 3U);
    EXPECT_EQ(m_cable.faults(cable_end::station).drop, 5U);
    EXPECT_TRUE(m_cable.faults(cable_end::station).stalled);
    EXPECT_EQ(m_cable.faults(cable_end::handset).flip, 0U);
}

TEST_F(Cable, SplitsIntoPiecesOfWhichEachWaitsUntilTheOneBeforeIsTaken)
{
    m_cable.split(cable_end::handset, 3);
    m_station.write("AT+CGMR\r");
    EXPECT_EQ(m_handset.read(), "AT+");
    EXPECT_EQ(m_handset.read(), "CGM");
    EXPECT_EQ(m_handset.read(), "R\r");
    m_cable.split(cable_end::handset, 0);
    m_station.write("AT+CGMR\r");
    EXPECT_EQ(m_handset.read(), "AT+CGMR\r");
}

TEST_F(Cable, KeepsWhatComesDuringAStallAndPassesItReadingForReading)
{
    m_cable.stall(cable_end::handset, true);
    say_into_the_stall("one");
    say_into_the_stall("two");
    EXPECT_EQ(m_cable.passed(cable_end::handset), 0U);
    m_cable.stall(cable_end::handset, false);
    EXPECT_EQ(m_handset.read(), "one");
    EXPECT_EQ(m_handset.read(), "two");
    EXPECT_EQ(m_cable.kept(cable_end::handset), 0U);
}

TEST_F(Cable, EndsAStallByItselfWhenItsTimeIsOver)
{
    m_cable.stall_for(cable_end::handset, 30ms);
    m_station.write("late");
    EXPECT_EQ(m_handset.read_exactly(4), "late");
    EXPECT_FALSE(m_cable.faults(cable_end::handset).stalled);
}

TEST_F(Cable, IsCleanAgainWhenItsFaultsAreCleared)
{
    for (const cable_end to : {cable_end::station, cable_end::handset}) {
        m_cable.flip(to, 1);
        m_cable.drop(to, 1);
        m_cable.split(to, 1);
    }
    m_cable.stall(cable_end::handset, true);
    m_cable.clear();
    m_station.write("request");
    EXPECT_EQ(m_handset.read(), "request");
    m_handset.write("answer");
    EXPECT_EQ(m_station.read(), "answer");
}

TEST_F(Cable, HangsUpAnEndThatIsDetached)
{
    m_cable.stall(cable_end::handset, true);
    say_into_the_stall("lost");
    m_cable.detach(cable_end::handset);
    char byte = 0;
    const ssize_t count = read(m_handset.fd(), &byte, 1);
    EXPECT_TRUE(count == 0 || (count < 0 && errno == EIO)) << "not the end of the line: " << count;
    EXPECT_FALSE(m_cable.answers(cable_end::handset));
    EXPECT_EQ(m_cable.kept(cable_end::handset), 0U);
}

TEST_F(Cable, ServesANewTtyInPlaceOfOneThatIsGone)
{
    m_cable.detach(cable_end::handset);
    m_station.write("kept");
    m_handset = connect(cable_end::handset);
    EXPECT_EQ(m_handset.read_exactly(4), "kept");
    m_handset.write("answer");
    EXPECT_EQ(m_station.read_exactly(6), "answer");
}

TEST_F(Cable, KnowsWhetherSomebodyIsThereAndServesWhoComesBack)
{
    pseudo_terminal made = make_pseudo_terminal();
    char path[64];
    ASSERT_EQ(ptsname_r(made.master.get(), path, sizeof(path)), 0);
    m_cable.attach(cable_end::handset, std::move(made.master));
    EXPECT_TRUE(m_cable.answers(cable_end::handset));
    made.slave.reset();
    emulator::wait_until("the end to be left", [&] { return !m_cable.answers(cable_end::handset); });
    m_station.write("early");
    const emulator::tty back(descriptor(open(path, O_RDWR | O_NOCTTY | O_CLOEXEC)));
    emulator::wait_until("the end to be taken", [&] { return m_cable.answers(cable_end::handset); });
    back.write("here");
    EXPECT_EQ(m_station.read_exactly(4), "here");
}

TEST_F(Cable, RefusesAnEndThatIsNoDescriptor)
{
    EXPECT_THROW(m_cable.attach(cable_end::station, descriptor()), std::system_error);
}
