// The model of the modem, over a pseudo-terminal as in the handset, and over a socket pair where it matters which bytes
// came in one write.

#include "emulator/modem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <termios.h>

#include <cstdlib>
#include <memory>
#include <system_error>

using namespace std::chrono_literals;
using emulator::modem;
using emulator::modem_control;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

namespace {

const std::string k_ok = "\r\nOK\r\n";
const std::string k_error = "\r\nERROR\r\n";
const std::string k_csq = "\r\n+CSQ: 23,99\r\n\r\nOK\r\n";

std::string literal(const char *bytes, std::size_t size)
{
    return {bytes, size - 1};
}
#define BYTES(text) literal(text, sizeof(text))

// Requests 0xAA and 0xFF without atoms, and their answers with result 0 and 1, computed independently of this program;
// the model looks at no request's checksum.
const std::string k_request = BYTES("\xAA\xBB\xCC\xDD\x0E\0\0\0\x02\0\0\0\x06\0\xBB\xAA\0\0crc!");
const std::string k_answer = BYTES("\xAA\xBB\xCC\xDD\x17\0\0\0\x02\0\0\0"
                                   "\x0F\0\xBB\xAB\x09\0\xEE\x01\x01\x04\0\0\0\0\0\x8F\x46\x90\x38");
const std::string k_last_request = BYTES("\xAA\xBB\xCC\xDD\x0E\0\0\0\x02\0\0\0\x06\0\xBB\xFF\0\0crc!");
const std::string k_refused_answer = BYTES("\xAA\xBB\xCC\xDD\x17\0\0\0\x02\0\0\0"
                                           "\x0F\0\xBB\0\x09\0\xEE\x01\x01\x04\0\x01\0\0\0\x58\x80\xD2\x73");

std::system_error failed(const char *what)
{
    return {errno, std::generic_category(), what};
}

// The master of a raw pseudo-terminal, and the path of its slave, which has been open before.
struct terminal {
    emulator::tty far_end;
    std::string path;
};

terminal make_terminal()
{
    emulator::descriptor master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    char path[64];
    termios attributes = {};
    if (grantpt(master.get()) != 0 || unlockpt(master.get()) != 0 || ptsname_r(master.get(), path, sizeof(path)) != 0 ||
        tcgetattr(master.get(), &attributes) != 0) {
        throw failed("cannot make a pseudo-terminal");
    }
    cfmakeraw(&attributes);
    if (tcsetattr(master.get(), TCSANOW, &attributes) != 0) {
        throw failed("cannot set a pseudo-terminal to raw mode");
    }
    const emulator::descriptor opened_once(open(path, O_RDWR | O_NOCTTY | O_CLOEXEC));
    return {emulator::tty(std::move(master)), path};
}

// The device as the service has it open. The far end's class serves here too: it reads and writes any descriptor.
emulator::tty open_device(const std::string &path)
{
    return emulator::tty(emulator::descriptor(open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)));
}

// A modem behind a terminal that the service has open.
struct terminal_modem {
    explicit terminal_modem(std::string_view rules = emulator::k_modem_rules)
        : terminal_modem(make_terminal(), rules)
    {
    }
    terminal_modem(terminal made, std::string_view rules)
        : service(open_device(made.path))
        , model(std::move(made.far_end), rules)
    {
    }

    emulator::tty service;
    modem model;
};

// A modem behind a socket pair: one read brings exactly what one write has sent.
struct packet_modem {
    packet_modem()
        : packet_modem(make_ends())
    {
    }

    emulator::tty service;
    modem model;

  private:
    using ends = std::pair<emulator::tty, emulator::tty>;
    explicit packet_modem(ends both)
        : service(std::move(both.first))
        , model(std::move(both.second))
    {
    }
    static ends make_ends()
    {
        int sockets[2] = {-1, -1};
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sockets) != 0) {
            throw failed("cannot make a socket pair");
        }
        return {emulator::tty(emulator::descriptor(sockets[0])), emulator::tty(emulator::descriptor(sockets[1]))};
    }
};

struct exchange_row {
    const char *name;
    std::string sent;
    std::string answered;
};

const std::vector<exchange_row> k_exchanges = {
    {"a line", "AT+CSQ\r", k_csq},
    {"a line with a line feed behind", "AT+CSQ\r\n", k_csq},
    {"two lines", "AT+CSQ\rAT\r", k_csq + k_ok},
    {"two lines with line feeds", "AT+CSQ\r\nAT\r\n", k_csq + k_ok},
    {"a line that it does not know", "AT+NOTHING\r", k_error},
    {"a line of nothing", "\rAT\r", k_ok},
    {"a line with a tail", "AT^DMPCHN=2\r", k_ok},
    {"a message", k_request, k_answer},
    {"two messages", k_request + k_request, k_answer + k_answer},
    {"a message and a line", k_request + "AT\r", k_answer + k_ok},
    {"a line and a message", "AT\r" + k_request, k_ok + k_answer},
    {"a message behind a line feed", "AT\r\n" + k_request, k_ok + k_answer},
    {"a message behind garbage", "\x01\xAA\xBB" + k_request, k_answer},
    {"a message behind half a line", "AT+C" + k_request, k_answer},
    {"a message with a carriage return inside",
     BYTES("\xAA\xBB\xCC\xDD\x17\0\0\0\x02\0\0\0\x0F\0\xBB\xAA\x09\0\xEE\x01\x01\x04\0\r\n\r\ncrc!"), k_answer},
    {"an envelope around nothing", BYTES("\xAA\xBB\xCC\xDD\x08\0\0\0\x02\x02\0\0\x76\x4A\xEE\x1D"), k_error},
    {"an envelope around less than a message", BYTES("\xAA\xBB\xCC\xDD\x09\0\0\0\x02\0\0\0xcrc!"), k_error},
    {"a length too small", BYTES("\xAA\xBB\xCC\xDD\x07\0\0\0\rAT\r"), k_error + k_error + k_ok},
    {"a length too great", BYTES("\xAA\xBB\xCC\xDD\xF9\x0F\0\0") + k_request, k_error + k_answer},
    {"the greatest length", BYTES("\xAA\xBB\xCC\xDD\xFF\xFF\xFF\xFF") + k_request, k_error + k_answer},
};

} // namespace

TEST(Modem, AnswersLinesAndMessages)
{
    for (const exchange_row &row : k_exchanges) {
        SCOPED_TRACE(row.name);
        terminal_modem tested;
        tested.service.write(row.sent);
        EXPECT_EQ(tested.service.read_exactly(row.answered.size()), row.answered);
        EXPECT_EQ(tested.model.received(), row.sent);
        tested.service.write("ATI\r");
        EXPECT_THAT(tested.service.read(), HasSubstr("modem")) << "there was more of an answer, or it lost its place";
    }
}

TEST(Modem, AnswersTheSameWhereverTheReadsAreCut)
{
    for (const exchange_row &row : k_exchanges) {
        for (std::size_t cut = 1; cut < row.sent.size(); ++cut) {
            SCOPED_TRACE(testing::Message() << row.name << ", cut at " << cut);
            packet_modem tested;
            tested.service.write(row.sent.substr(0, cut));
            tested.service.write(row.sent.substr(cut));
            ASSERT_EQ(tested.service.read_exactly(row.answered.size()), row.answered);
            tested.model.wait_received(row.sent);
        }
    }
}

TEST(Modem, AnswersTheSameWhenTheBytesComeOneByOne)
{
    for (const exchange_row &row : k_exchanges) {
        SCOPED_TRACE(row.name);
        packet_modem tested;
        for (const char byte : row.sent) {
            tested.service.write(std::string(1, byte));
        }
        EXPECT_EQ(tested.service.read_exactly(row.answered.size()), row.answered);
    }
}

TEST(Modem, AnswersTheLastIdWithTheFirstAndTheResultThatItIsTold)
{
    terminal_modem tested;
    modem_control how;
    how.result = 1;
    tested.model.control(how);
    tested.service.write(k_last_request);
    EXPECT_EQ(tested.service.read_exactly(k_refused_answer.size()), k_refused_answer);
}

TEST(Modem, AnswersByTheRulesThatItIsGiven)
{
    terminal_modem tested("AT+CSQ => \\r\\nmine\\r\\n\nAT+QUIET =>");
    tested.service.write("AT+CSQ\r");
    EXPECT_EQ(tested.service.read_until("mine\r\n"), "\r\nmine\r\n");
    tested.service.write("AT+QUIET\rATI\r");
    EXPECT_EQ(tested.service.read(), k_error) << "to ATI, which these rules do not have";
    EXPECT_THAT([] { terminal_modem wrong("AT"); }, ThrowsMessage<std::runtime_error>(HasSubstr("line 1")));
}

TEST(Modem, KeepsAllThatItReceivedUntilThatIsCleared)
{
    terminal_modem tested;
    tested.service.write("AT\r");
    tested.model.wait_received("AT\r");
    tested.service.write("half");
    tested.model.wait_received("AT\rhalf");
    EXPECT_EQ(tested.model.received(), "AT\rhalf");
    tested.model.clear_received();
    EXPECT_EQ(tested.model.received(), "");
    EXPECT_THAT([&] { tested.model.wait_received("AT\r", 1ms); },
                ThrowsMessage<std::runtime_error>(HasSubstr("has not received \"AT\r\" but: \"\"")));
}

TEST(Modem, IsSilentWhenToldSo)
{
    terminal_modem tested;
    modem_control how;
    how.silent = true;
    tested.model.control(how);
    tested.service.write("AT+CSQ\r" + k_request);
    tested.model.wait_received(k_request);
    tested.model.say("\r\nRING\r\n");
    EXPECT_EQ(tested.service.read(), "\r\nRING\r\n");
    tested.model.control({});
    tested.service.write("AT\r");
    EXPECT_EQ(tested.service.read(), k_ok);
}

TEST(Modem, RefusesEverythingWhenToldSo)
{
    terminal_modem tested;
    modem_control how;
    how.refuse = true;
    tested.model.control(how);
    for (const std::string &request : {std::string("AT\r"), std::string("ATI\r\n"), k_request}) {
        tested.service.write(request);
        EXPECT_EQ(tested.service.read_exactly(k_error.size()), k_error);
    }
    tested.model.control({});
    tested.service.write("AT\r");
    EXPECT_EQ(tested.service.read(), k_ok);
}

TEST(Modem, AnswersInPiecesEachAWriteOfItsOwn)
{
    packet_modem tested;
    modem_control how;
    how.split = 4;
    tested.model.control(how);
    tested.service.write("AT\r");
    std::vector<std::string> pieces = {tested.service.read(), tested.service.read()};
    EXPECT_THAT(pieces, ElementsAre("\r\nOK", "\r\n"));
    tested.model.say("\r\nRING\r\n");
    EXPECT_EQ(tested.service.read(), "\r\nRING\r\n");
    how.split = 1;
    tested.model.control(how);
    tested.service.write("AT\r");
    pieces.clear();
    for (std::size_t i = 0; i < k_ok.size(); ++i) {
        pieces.push_back(tested.service.read());
    }
    EXPECT_THAT(pieces, ElementsAre("\r", "\n", "O", "K", "\r", "\n"));
    tested.model.control({});
    tested.service.write("AT\r");
    EXPECT_EQ(tested.service.read(), k_ok);
}

TEST(Modem, DelaysItsAnswersButNotWhatItSaysByItself)
{
    terminal_modem tested;
    modem_control how;
    how.delay_ms = 3'600'000;
    tested.model.control(how);
    tested.service.write("AT\r");
    tested.model.wait_received("AT\r");
    tested.model.say("\r\nRING\r\n");
    EXPECT_EQ(tested.service.read(), "\r\nRING\r\n");
}

TEST(Modem, GivesDelayedPiecesInTheirOrder)
{
    packet_modem tested;
    modem_control how;
    how.delay_ms = 1;
    how.split = 9;
    tested.model.control(how);
    tested.service.write("AT+CSQ\rAT\r");
    EXPECT_EQ(tested.service.read(), "\r\n+CSQ: 2");
    tested.model.control({});
    tested.service.write("AT+NOTHING\r");
    EXPECT_EQ(tested.service.read_exactly(k_csq.size() - 9 + k_ok.size() + k_error.size()),
              k_csq.substr(9) + k_ok + k_error);
}

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
    EXPECT_EQ(service.read(), k_error) << "half a line has survived the hang-up, or what was said to nobody";
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
    EXPECT_EQ(service.read(), k_ok);
}

TEST(Modem, LeavesOneTtyForAnother)
{
    terminal_modem tested;
    terminal other = make_terminal();
    emulator::tty service = open_device(other.path);
    tested.model.come_back(std::move(other.far_end));
    EXPECT_FALSE(tested.service.opened());
    service.write("AT\r");
    EXPECT_EQ(service.read(), k_ok);
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
