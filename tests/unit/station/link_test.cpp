#include "station/link.h"

#include <gmock/gmock.h>

#include "tests/unit/station/cable.h"
#include "tests/unit/station/samples.h"

namespace {

using namespace std::chrono_literals;
using emulator::descriptor;
using station::answer_kind;
using station::message;
using station_test::cable;
using station_test::interrupt;
using station_test::make_packets;
using station_test::make_tty;
using testing::AllOf;
using testing::HasSubstr;
using testing::ThrowsMessage;

const std::string k_pre_response = station_test::bytes("AABBCCDD 08000000 02020000 764AEE1D");

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

TEST(StationLink, TellsAnAtLineAsItIsSent)
{
    EXPECT_EQ(station::as_line("AT^DSVER"), "AT^DSVER\r");
    EXPECT_EQ(station::as_line("AT\r"), "AT\r");
}

TEST(StationLink, SendsAMessageInItsEnvelopeInOneWrite)
{
    const cable packets = make_packets();
    const station::link link(packets.station.get());
    link.send(message(0x2D).with_int(19, 16));
    EXPECT_EQ(station::in_hex(packets.handset_reads()),
              station::in_hex(station_test::bytes("aabbccdd17000000020000000f00bb2d0900ee1301040010000000bf5ce407")));
}

TEST(StationLink, SendsAnApplicationsMessageBareInOneWrite)
{
    const cable packets = make_packets();
    const station::link link(packets.station.get(), station::framing::bare);
    link.send(message(0x2D).with_int(19, 16));
    EXPECT_EQ(station::in_hex(packets.handset_reads()),
              station::in_hex(station_test::bytes("0f00bb2d0900ee1301040010000000")));
}

TEST(StationLink, TellsTheBytesOfAMessageThatItWouldSend)
{
    const message request = message(0x2D).with_int(19, 16);
    EXPECT_EQ(station::link(-1).bytes_of(request), request.envelope());
    EXPECT_EQ(station::link(-1, station::framing::bare).bytes_of(request), request.encode());
}

TEST(StationLink, ReceivesBareMessagesOfAnApplicationsLink)
{
    const cable packets = make_packets();
    station::link link(packets.station.get(), station::framing::bare);
    const std::string first = message(0x2E).with_int(1, 0).encode();
    const std::string second = message(0x3A).with_int(1, 10).encode();
    packets.handset_writes(first.substr(0, 3));
    packets.handset_writes(first.substr(3) + second);
    EXPECT_EQ(link.receive().message, message(0x2E).with_int(1, 0));
    EXPECT_EQ(link.receive(0ms).message, message(0x3A).with_int(1, 10));
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
    EXPECT_THROW(link.send(message(1).with_bytes(2, std::string(4080, 'x'))), std::invalid_argument);
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

TEST(StationLink, TellsWhatHasComeBehindTheLastAnswer)
{
    const cable packets = make_packets();
    station::link link(packets.station.get());
    packets.handset_writes("\r\nOK\r\n\xAA\xBB\xCC\xDD\x17");
    (void)link.receive();
    EXPECT_EQ(link.rest().unfinished(), "\xAA\xBB\xCC\xDD\x17");
    EXPECT_EQ(link.rest().fault_of_unfinished(), "a frame has begun, and only 5 bytes of it came");
}

TEST(StationLink, ForgetsAllThatCameAndReturnsIt)
{
    const cable packets = make_packets();
    station::link link(packets.station.get());
    EXPECT_EQ(link.discard(), "");
    packets.handset_writes("\r\nOK\r\n\r\nhalf");
    (void)link.receive();
    packets.handset_writes(" of it\r\n");
    packets.handset_writes(std::string(4096, 'x'));
    packets.handset_writes("\r\nERROR\r\n");
    EXPECT_EQ(link.discard(), "\r\nhalf of it\r\n" + std::string(4096, 'x') + "\r\nERROR\r\n");
    EXPECT_EQ(link.rest().unfinished(), "");
    packets.handset_writes("\r\nOK\r\n");
    EXPECT_EQ(link.receive().bytes, "\r\nOK\r\n");
}

TEST(StationLink, SaysThatTheHandsetHasGoneWhenItForgetsWhatCame)
{
    cable tty = make_tty();
    station::link link(tty.station.get());
    tty.handset.reset();
    EXPECT_THROW((void)link.discard(), station::lost);
}

TEST(StationLink, SaysThatTheHandsetHasGoneWhileAnAnswerWasAwaited)
{
    cable tty = make_tty();
    station::link link(tty.station.get());
    tty.handset_writes("\r\nOK\r\n\r\nhalf");
    EXPECT_EQ(link.receive().bytes, "\r\nOK\r\n");
    tty.handset.reset();
    EXPECT_THAT([&] { (void)link.receive(); },
                ThrowsMessage<station::lost>(
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
    EXPECT_THROW((void)link.receive(), station::lost);
}

TEST(StationLink, SaysThatTheHandsetHasGoneWhenARequestCannotBeSent)
{
    cable tty = make_tty();
    const station::link link(tty.station.get());
    tty.handset.reset();
    EXPECT_THAT([&] { link.send_line("AT"); },
                ThrowsMessage<station::lost>(
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
                ThrowsMessage<station::lost>(HasSubstr("only 4096 of the request's 8192 bytes")));
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

TEST(StationLink, EndsTheWaitForAnAnswerAtAnInterrupt)
{
    for (const int flags : {0, O_NONBLOCK}) {
        SCOPED_TRACE(flags);
        const cable tty = make_tty(flags);
        const interrupt stop;
        station::link link(tty.station.get());
        link.stop_at(stop.fd());
        std::thread user([&] {
            EXPECT_EQ(tty.handset_reads(), "AT\r");
            tty.handset_writes("\r\nhalf");
            stop.come();
        });
        link.send_line("AT");
        EXPECT_THAT([&] { (void)link.receive(); }, ThrowsMessage<station::stopped>(testing::StrEq("interrupted")));
        user.join();
    }
}

TEST(StationLink, EndsTheWaitForRoomAtAnInterrupt)
{
    const full_pipe pipe;
    const interrupt stop;
    station::link link(pipe.station.get());
    link.stop_at(stop.fd());
    std::thread user([&] { stop.come(); });
    EXPECT_THROW(link.send_line("AT"), station::stopped);
    user.join();
}

TEST(StationLink, EndsEveryFurtherWaitAndGoesOnOnceTheInterruptIsTakenBack)
{
    const cable packets = make_packets();
    const interrupt stop;
    station::link link(packets.station.get());
    link.stop_at(stop.fd());
    stop.come();
    EXPECT_THROW((void)link.receive(), station::stopped);
    EXPECT_THROW((void)link.receive(0ms), station::stopped);
    EXPECT_THROW((void)link.discard(), station::stopped);
    stop.take_back();
    packets.handset_writes("\r\nOK\r\n");
    EXPECT_EQ(link.receive().bytes, "\r\nOK\r\n");
}

} // namespace
