// What the model of the modem answers, what it learns, and what it keeps.

#include "modem_ends.h"

#include "amt/wire/amt-convert.h"
#include "emulator/modem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

using namespace emulator_test;
using namespace std::chrono_literals;
using emulator::modem_control;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;
using testing::ThrowsMessage;

namespace {

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

// A station's verdict, as it is relayed: AMT_WRITE_TEST_RESULT_CMD.
std::string verdict_message(std::uint32_t station, std::uint32_t verdict, const char *text)
{
    amt_buffer buffer = {};
    amt_message_init(buffer.m_data_a, 0x5B);
    (void)amt_message_append_int(buffer.m_data_a, 39, station);
    (void)amt_message_append_int(buffer.m_data_a, 36, verdict);
    if (text != nullptr) {
        (void)amt_message_append_string(buffer.m_data_a, 37, text);
    }
    (void)amt_convert_app_2_pc(&buffer);
    return {buffer.m_data_a, buffer.m_data_a + buffer.m_length};
}

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
    {"what is kept", "AT^DMSN\rAT^DMSN=NEW1\rAT^DMSN\r", k_serial + k_ok + k_new_serial},
    {"verdicts of two stations", "AT^DATOMW=3,2,RF, low\rAT^DATOMW=4,1\rAT^DATOMR=1,3\rAT^DATOMR=1,4\r",
     k_ok + k_ok + "\r\n^DATOMR: 3,2,RF, low\r\n" + k_ok + "\r\n^DATOMR: 4,1,\r\n" + k_ok},
    {"the channel", "AT^DMPCHN?\rAT^DMPCHN=2\rAT^DMPCHN?\r",
     "\r\n^DMPCHN: 0\r\n" + k_ok + k_ok + "\r\n^DMPCHN: 2\r\n" + k_ok},
    {"the mode", "AT^DSWAMT?\rAT^DSWAMT=3\rAT^DSWAMT?\r",
     "\r\n^DSWAMT: 0\r\n" + k_ok + k_ok + "\r\n^DSWAMT: 3\r\n" + k_ok},
    {"AT data", "AT^DTTEST=0D07\r", "\r\n^DTTEST: 0E00000000\r\n" + k_ok},
    {"AT data of an id alone", "AT^DTTEST=BB\r", "\r\n^DTTEST: BC00000000\r\n" + k_ok},
    {"AT data in small letters", "AT^DTTEST=bbfF\r", "\r\n^DTTEST: BC00000000\r\n" + k_ok},
    {"AT data of the last id", "AT^DTTEST=FF\r", "\r\n^DTTEST: 0000000000\r\n" + k_ok},
    {"AT data without a digit", "AT^DTTEST=\r", k_error},
    {"AT data of half a byte", "AT^DTTEST=B\r", k_error},
    {"AT data of a byte and a half", "AT^DTTEST=BB1\r", k_error},
    {"AT data with something else inside", "AT^DTTEST=BB1G\r", k_error},
    {"AT data with a sign", "AT^DTTEST=-1\r", k_error},
    {"AT data behind a blank", "AT^DTTEST= BB1\r", k_error},
    {"AT data that are asked for", "AT^DTTEST?\r", k_error},
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
        const std::string name = "\r\nEmulated modem, revision 1\r\n" + k_ok;
        EXPECT_EQ(tested.service.read_exactly(name.size()), name)
            << "there was more of an answer, or it lost its place";
    }
}

TEST(Modem, KeepsAVerdictInAMessageAsOneInALine)
{
    const struct {
        const char *name;
        std::string told;
        const char *kept; // behind the station
    } rows[] = {
        {"verdict and text", verdict_message(3, 1, "RF, low"), "1,RF, low"},
        {"no text", verdict_message(3, 2, nullptr), "2,"},
        {"in place of an older one", "AT^DATOMW=3,1,old\r" + verdict_message(3, 2, nullptr), "2,"},
        {"before a newer one", verdict_message(3, 1, "old") + "AT^DATOMW=3,2,new\r", "2,new"},
        {"another station's", verdict_message(4, 1, "other"), "0,"},
    };
    for (const auto &row : rows) {
        terminal_modem tested;
        const std::string answer = std::string("\r\n^DATOMR: 3,") + row.kept + "\r\n" + k_ok;
        tested.service.write(row.told + "AT^DATOMR=1,3\r");
        EXPECT_THAT(tested.service.read_until("^DATOMR"), HasSubstr("\x5C")) << row.name;
        EXPECT_EQ(tested.service.read_exactly(answer.size() - 9), answer.substr(9)) << row.name;
    }
}

TEST(Modem, KeepsNoVerdictThatItAnswersWithAFailure)
{
    terminal_modem tested;
    modem_control failing;
    failing.result = 1;
    tested.model.control(failing);
    tested.service.write(verdict_message(3, 1, "text"));
    tested.model.wait_received(verdict_message(3, 1, "text"));
    EXPECT_THAT(tested.model.memory(), testing::IsEmpty());
}

TEST(Modem, SharesWhatItKeepsWithTheModelOfAnotherPort)
{
    const auto store = std::make_shared<emulator::modem_store>();
    terminal at_port = make_terminal();
    emulator::tty at_service = open_device(at_port.path);
    emulator::modem at_model(std::move(at_port.far_end), emulator::k_modem_rules, store);
    {
        terminal data_port = make_terminal();
        emulator::tty data_service = open_device(data_port.path);
        const emulator::modem data_model(std::move(data_port.far_end), emulator::k_modem_rules, store);
        data_service.write("AT^DMSN=NEW1\r");
        EXPECT_EQ(data_service.read_exactly(k_ok.size()), k_ok);
    }
    at_service.write("AT^DMSN\r");
    EXPECT_EQ(at_service.read_exactly(k_new_serial.size()), k_new_serial) << "also when that one has gone";
    at_model.reset();
    EXPECT_THAT(store->known, testing::IsEmpty());
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

TEST(Modem, AnswersAtDataWithTheResultThatItIsTold)
{
    terminal_modem tested;
    modem_control how;
    how.result = 0x1A2B3C0D;
    tested.model.control(how);
    const std::string answer = "\r\n^DTTEST: 0C1A2B3C0D\r\n" + k_ok;
    tested.service.write("AT^DTTEST=0B\r");
    EXPECT_EQ(tested.service.read_exactly(answer.size()), answer);
}

TEST(Modem, AnswersAtDataByARuleWhenThereIsOne)
{
    terminal_modem tested("AT^DTTEST=0B* => mine\nAT^DTTEST=zz => garbage");
    tested.service.write("AT^DTTEST=0B01\rAT^DTTEST=zz\rAT^DTTEST=0C\r");
    const std::string answers = "minegarbage\r\n^DTTEST: 0D00000000\r\n" + k_ok;
    EXPECT_EQ(tested.service.read_exactly(answers.size()), answers);
}

TEST(Modem, AnswersTheSameByteByByte)
{
    for (const exchange_row &row : k_exchanges) {
        SCOPED_TRACE(row.name);
        packet_modem tested;
        modem_control how;
        how.split = 1;
        tested.model.control(how);
        tested.service.write(row.sent);
        std::string answered;
        while (answered.size() < row.answered.size()) {
            const std::string piece = tested.service.read();
            ASSERT_THAT(piece, SizeIs(1));
            answered += piece;
        }
        EXPECT_EQ(answered, row.answered);
    }
}

TEST(Modem, AnswersByTheRulesThatItIsGiven)
{
    terminal_modem tested("AT+CSQ => \\r\\nmine\\r\\n\nAT+QUIET =>");
    tested.service.write("AT+CSQ\r");
    EXPECT_EQ(tested.service.read_until("mine\r\n"), "\r\nmine\r\n");
    tested.service.write("AT+QUIET\rATI\r");
    EXPECT_EQ(tested.service.read_exactly(k_error.size()), k_error) << "to ATI, which these rules do not have";
    EXPECT_THAT([] { terminal_modem wrong("AT"); }, ThrowsMessage<std::runtime_error>(HasSubstr("line 1")));
}

TEST(Modem, LearnsRulesThatGoBeforeThoseItHas)
{
    terminal_modem tested;
    tested.service.write("AT+CSQ\r");
    EXPECT_EQ(tested.service.read_exactly(k_csq.size()), k_csq);
    tested.model.teach("AT+CSQ => first\nAT+NEW => new");
    tested.service.write("AT+CSQ\rAT+NEW\rAT\r");
    EXPECT_EQ(tested.service.read_exactly(8 + k_ok.size()), "firstnew" + k_ok) << "and the others still hold";
    tested.model.teach("AT+CSQ => second");
    tested.service.write("AT+CSQ\rAT+NEW\r");
    EXPECT_EQ(tested.service.read_exactly(9), "secondnew");
}

TEST(Modem, LearnsAnErrorASilenceOrManyLinesForOneCommand)
{
    packet_modem tested;
    tested.model.teach(R"(
        AT^DMSN   => \r\n+CME ERROR: 10\r\n
        AT^DTOC   =>
        AT^DGSN?  => \r\nRING\r\n\r\n^DGSN: 1\r\n\r\nOK\r\n
    )");
    tested.service.write("AT^DMSN\r");
    EXPECT_EQ(tested.service.read(), "\r\n+CME ERROR: 10\r\n");
    tested.service.write("AT^DTOC\rAT^DGSN?\r");
    EXPECT_EQ(tested.service.read(), "\r\nRING\r\n\r\n^DGSN: 1\r\n" + k_ok) << "in one piece, with nothing before it";
}

TEST(Modem, LearnsNothingFromRulesThatItCannotRead)
{
    terminal_modem tested;
    EXPECT_THAT([&] { tested.model.teach("AT => mine\nAT+X={a"); },
                ThrowsMessage<std::runtime_error>(HasSubstr("line 2 of the modem's rules")));
    tested.service.write("AT\r");
    EXPECT_EQ(tested.service.read_exactly(k_ok.size()), k_ok);
}

TEST(Modem, LearnsWhileItAnswers)
{
    constexpr int count = 200;
    terminal_modem tested("AT+X => a");
    std::thread teacher([&] {
        for (int i = 0; i < count; ++i) {
            tested.model.teach("AT+X => a");
        }
    });
    for (int i = 0; i < count; ++i) {
        tested.service.write("AT+X\r");
    }
    teacher.join();
    EXPECT_EQ(tested.service.read_exactly(count), std::string(count, 'a'));
}

TEST(Modem, KeepsAcrossALessonWhatItWasTold)
{
    terminal_modem tested;
    tested.service.write("AT^DMSN=NEW1\r");
    EXPECT_EQ(tested.service.read_exactly(k_ok.size()), k_ok);
    tested.model.teach("AT+MINE => <{sn}>");
    tested.service.write("AT+MINE\r");
    EXPECT_EQ(tested.service.read_exactly(6), "<NEW1>");
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
    EXPECT_EQ(tested.service.read_exactly(k_ok.size()), k_ok);
}

TEST(Modem, KeepsInSilenceWhatItIsTold)
{
    terminal_modem tested;
    modem_control how;
    how.silent = true;
    tested.model.control(how);
    tested.service.write("AT^DMSN=NEW1\r");
    tested.model.wait_received("AT^DMSN=NEW1\r");
    tested.model.control({});
    tested.service.write("AT^DMSN\r");
    EXPECT_EQ(tested.service.read_exactly(k_new_serial.size()), k_new_serial);
}

TEST(Modem, RefusesEverythingAsItIsTold)
{
    for (const std::string &refusal : {k_error, std::string("\r\n+CME ERROR: 3\r\n"), std::string("\r\n+CMS ERROR")}) {
        SCOPED_TRACE(refusal);
        terminal_modem tested;
        modem_control how;
        how.refusal = refusal;
        tested.model.control(how);
        for (const std::string &request :
             {std::string("AT\r"), std::string("ATI\r\n"), std::string("AT+NOTHING\r"), k_request}) {
            tested.service.write(request);
            EXPECT_EQ(tested.service.read_exactly(refusal.size()), refusal);
        }
        tested.model.control({});
        tested.service.write("AT\r");
        EXPECT_EQ(tested.service.read_exactly(k_ok.size()), k_ok);
    }
}

TEST(Modem, KeepsNothingOfWhatItRefuses)
{
    terminal_modem tested;
    modem_control how;
    how.refusal = emulator::k_modem_refusal;
    tested.model.control(how);
    tested.service.write("AT^DMSN=NEW1\r");
    EXPECT_EQ(tested.service.read_exactly(k_error.size()), k_error);
    how.silent = true;
    tested.model.control(how);
    tested.service.write("AT^DMSN=NEW2\r");
    tested.model.wait_received("AT^DMSN=NEW2\r");
    tested.model.control({});
    tested.service.write("AT^DMSN\r");
    EXPECT_EQ(tested.service.read_exactly(k_serial.size()), k_serial);
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
    EXPECT_EQ(tested.service.read_exactly(k_ok.size()), k_ok);
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
