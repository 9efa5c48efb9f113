#include "station/link.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <system_error>
#include <thread>

#include "emulator/descriptor.h"
#include "tests/unit/station/samples.h"

namespace {

using namespace std::chrono_literals;
using emulator::descriptor;
using station::answer_kind;
using station::message;
using testing::AllOf;
using testing::HasSubstr;
using testing::ThrowsMessage;

const std::string k_pre_response = station_test::bytes("AABBCCDD 08000000 02020000 764AEE1D");

// A tty as a station holds it, and the handset's end of it.
struct cable {
    descriptor station;
    descriptor handset;

    void handset_writes(const std::string &bytes) const
    {
        ASSERT_EQ(write(handset.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    std::string handset_reads() const
    {
        char bytes[8192];
        const ssize_t count = read(handset.get(), bytes, sizeof(bytes));
        return count < 0 ? "read: " + std::generic_category().message(errno) : std::string(bytes, count);
    }
};

// A pseudo-terminal in raw mode.
cable make_tty(int flags = 0)
{
    cable made;
    made.handset.reset(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    char name[64] = "";
    if (grantpt(made.handset.get()) == 0 && unlockpt(made.handset.get()) == 0 &&
        ptsname_r(made.handset.get(), name, sizeof(name)) == 0) {
        made.station.reset(open(name, O_RDWR | O_NOCTTY | O_CLOEXEC | flags));
    }
    termios attributes = {};
    if (tcgetattr(made.station.get(), &attributes) == 0) {
        cfmakeraw(&attributes);
    }
    if (tcsetattr(made.station.get(), TCSANOW, &attributes) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make a pseudo-terminal");
    }
    return made;
}

// A socket pair that keeps the writes apart: one read brings what one write has sent.
cable make_packets()
{
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make a socket pair");
    }
    return {descriptor(ends[0]), descriptor(ends[1])};
}

struct line_row {
    const char *name;
    const char *text;
    const char *sent;
};

TEST(StationLink, SendsAnAtLineInOneWriteWithACarriageReturn)
{
    const line_row rows[] = {
        {"without one", "AT^DSVER", "AT^DSVER\r"},
        {"with its own", "AT\r", "AT\r"},
        {"with a line feed of its own", "AT\r\n", "AT\r\n"},
        {"two lines", "AT\rAT", "AT\rAT"},
        {"empty", "", "\r"},
    };
    const cable packets = make_packets();
    const station::link link(packets.station.get());
    for (const line_row &row : rows) {
        link.send_line(row.text);
        EXPECT_EQ(packets.handset_reads(), row.sent) << row.name;
    }
}

TEST(StationLink, SendsAMessageInItsEnvelopeInOneWrite)
{
    const cable packets = make_packets();
    const station::link link(packets.station.get());
    link.send(message(0x2D).with_int(19, 16));
    EXPECT_EQ(station::in_hex(packets.handset_reads()),
              station::in_hex(station_test::bytes("aabbccdd17000000020000000f00bb2d0900ee1301040010000000bf5ce407")));
}

TEST(StationLink, SendsRawBytesAsTheyAreInOneWrite)
{
    const cable packets = make_packets();
    const station::link link(packets.station.get());
    const std::string bytes = std::string(4096, '\0') + "\r\n\xFF";
    link.send_raw(bytes);
    EXPECT_EQ(packets.handset_reads(), bytes);
}

TEST(StationLink, RefusesAMessageThatIsTooLongAndSendsNothing)
{
    const cable packets = make_packets();
    const station::link link(packets.station.get());
    EXPECT_THROW(link.send(message(1).with_bytes(2, std::string(4080, 'x'))), std::runtime_error);
    link.send_raw("next");
    EXPECT_EQ(packets.handset_reads(), "next");
}

TEST(StationLink, ReceivesWhatTheHandsetAnswersOverATtyThatBlocksOrNot)
{
    for (const int flags : {0, O_NONBLOCK}) {
        SCOPED_TRACE(flags);
        const cable tty = make_tty(flags);
        station::link link(tty.station.get());
        link.send(message(0x2D).with_int(19, 16));
        EXPECT_EQ(tty.handset_reads(), message(0x2D).with_int(19, 16).envelope());
        tty.handset_writes(k_pre_response);
        EXPECT_EQ(link.receive().kind, answer_kind::pre_response);
        tty.handset_writes(message(0x2E).with_int(1, 0).envelope());
        EXPECT_EQ(link.receive().message, message(0x2E).with_int(1, 0));
        tty.handset_writes("\r\nOK\r\n");
        EXPECT_EQ(link.receive().bytes, "\r\nOK\r\n");
    }
}

TEST(StationLink, ReceivesSeveralAnswersOfOneReadOneByOne)
{
    const cable packets = make_packets();
    station::link link(packets.station.get());
    packets.handset_writes(k_pre_response + message(0x2E).envelope() + "\r\nOK\r\n");
    EXPECT_EQ(link.receive().kind, answer_kind::pre_response);
    EXPECT_EQ(link.receive(0ms).kind, answer_kind::message);
    EXPECT_EQ(link.receive(0ms).kind, answer_kind::text);
}

TEST(StationLink, ReceivesAnAnswerThatComesByteByByte)
{
    const cable packets = make_packets();
    station::link link(packets.station.get());
    const message answer = message(0x2E).with_string(3, "in pieces");
    for (const char byte : answer.envelope()) {
        packets.handset_writes(std::string(1, byte));
    }
    EXPECT_EQ(link.receive().message, answer);
}

TEST(StationLink, WaitsForAnAnswerThatComesLate)
{
    const cable tty = make_tty();
    station::link link(tty.station.get());
    std::thread handset([&] {
        EXPECT_EQ(tty.handset_reads(), "AT\r");
        tty.handset_writes("\r\nOK\r\n");
    });
    link.send_line("AT");
    EXPECT_EQ(link.receive().bytes, "\r\nOK\r\n");
    handset.join();
}

TEST(StationLink, TakesWhatIsThereAlreadyWithoutWaiting)
{
    const cable packets = make_packets();
    station::link link(packets.station.get());
    packets.handset_writes("\r\nOK\r\n");
    EXPECT_EQ(link.receive(0ms).bytes, "\r\nOK\r\n");
}

TEST(StationLink, SaysThatNothingCame)
{
    const cable packets = make_packets();
    station::link link(packets.station.get());
    EXPECT_THAT([&] { (void)link.receive(1ms); },
                ThrowsMessage<station::timeout>(AllOf(HasSubstr("within 1 ms"), HasSubstr("nothing came"))));
    EXPECT_THROW((void)link.receive(0ms), station::timeout);
    EXPECT_THROW((void)link.receive(-1ms), station::timeout);
}

TEST(StationLink, QuotesAnUnfinishedAnswerAndGoesOnWithItLater)
{
    const cable packets = make_packets();
    station::link link(packets.station.get());
    packets.handset_writes("\r\n^DSVER: \"1\"\r\n\r\nO");
    EXPECT_THAT([&] { (void)link.receive(1ms); },
                ThrowsMessage<station::timeout>(HasSubstr(R"(only "\r\n^DSVER: \"1\"\r\n\r\nO")")));
    packets.handset_writes("K\r\n");
    EXPECT_EQ(link.receive().bytes, "\r\n^DSVER: \"1\"\r\n\r\nOK\r\n");
}

TEST(StationLink, SaysThatTheHandsetHasGoneWhileAnAnswerWasAwaited)
{
    cable tty = make_tty();
    station::link link(tty.station.get());
    tty.handset_writes("\r\nOK\r\n\r\nhalf");
    EXPECT_EQ(link.receive().bytes, "\r\nOK\r\n");
    tty.handset.reset();
    EXPECT_THAT([&] { (void)link.receive(); },
                ThrowsMessage<std::runtime_error>(
                    AllOf(HasSubstr(R"("\r\nhalf")"), HasSubstr("Input/output error"), HasSubstr("still connected"))));
}

TEST(StationLink, GivesTheAnswersThatCameBeforeTheHandsetWent)
{
    cable tty = make_tty();
    station::link link(tty.station.get());
    tty.handset_writes("\r\nOK\r\n\r\nERROR\r\n");
    EXPECT_EQ(link.receive().bytes, "\r\nOK\r\n");
    tty.handset.reset();
    EXPECT_EQ(link.receive().bytes, "\r\nERROR\r\n");
    EXPECT_THROW((void)link.receive(), std::runtime_error);
}

TEST(StationLink, SaysThatTheHandsetHasGoneWhenARequestCannotBeSent)
{
    cable tty = make_tty();
    const station::link link(tty.station.get());
    tty.handset.reset();
    EXPECT_THAT([&] { link.send_line("AT"); },
                ThrowsMessage<std::runtime_error>(
                    AllOf(HasSubstr("cannot send a request: Input/output error"), HasSubstr("still connected"))));
}

// A non-blocking pipe as a tty, filled until it takes nothing more.
struct full_pipe {
    full_pipe()
    {
        int ends[2] = {-1, -1};
        if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
            throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
        }
        handset.reset(ends[0]);
        station.reset(ends[1]);
        const std::string page(4096, 'x');
        while (write(station.get(), page.data(), page.size()) > 0) {
        }
    }

    descriptor handset;
    descriptor station;
};

TEST(StationLink, SaysThatOnlyAPartOfARequestWasTaken)
{
    const full_pipe pipe;
    char page[4096];
    ASSERT_EQ(read(pipe.handset.get(), page, sizeof(page)), 4096);
    const station::link link(pipe.station.get());
    EXPECT_THAT([&] { link.send_raw(std::string(8192, 'y')); },
                ThrowsMessage<std::runtime_error>(HasSubstr("only 4096 of the request's 8192 bytes")));
}

TEST(StationLink, WaitsUntilThereIsRoomForARequest)
{
    const full_pipe pipe;
    const station::link link(pipe.station.get());
    std::thread handset([&] {
        char page[4096];
        EXPECT_EQ(read(pipe.handset.get(), page, sizeof(page)), 4096);
    });
    EXPECT_NO_THROW(link.send_line("AT"));
    handset.join();
}

} // namespace
