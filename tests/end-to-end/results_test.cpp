// The verdicts of the stations: with the modem, and in the two files of the handset.
#include <string>

#include "tests/end-to-end/application_handset.h"
#include "tests/end-to-end/station_handset.h"

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;

constexpr char k_modem_copy[] = "/amt/amt_result.txt";
constexpr char k_product[] = "/amt/product.txt";

std::string untested(size_t count, size_t offset = 0, char digit = '0')
{
    std::string text;
    for (size_t item = 0; item < count; item++) {
        text += "0\n";
    }
    text[offset] = digit;
    return text;
}

class Results : public application_handset {};

TEST_F(Results, OfAStationAreKeptByTheModemAndCopied)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    EXPECT_EQ(ask(app, station::message(0x5B).with_int(39, 12).with_int(36, 1).with_string(37, "RF OK")), done(0x5C));
    EXPECT_THAT(m_at->received(), HasSubstr("AT^DATOMW=12,1,RF OK\r"));
    EXPECT_EQ(m_handset.files.read(k_modem_copy), untested(20, 24, '1'));
    m_handset.files.remove(k_modem_copy);
    EXPECT_EQ(ask(app, station::message(0x59).with_int(39, 12)),
              station::message(0x5A).with_int(39, 12).with_int(36, 1).with_string(37, "RF OK").with_int(1, 0));
    EXPECT_EQ(m_handset.files.read(k_modem_copy), untested(20, 24, '1')) << "what the modem tells is copied too";
    EXPECT_EQ(ask(app, station::message(0x59).with_int(39, 7)),
              station::message(0x5A).with_int(39, 7).with_int(36, 0).with_string(37, "").with_int(1, 0))
        << "of a station that was never there";
    (void)end(service);
}

TEST_F(Results, BeyondTheCopyAreTheModemsAlone)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    EXPECT_EQ(ask(app, station::message(0x5B).with_int(39, 19).with_int(36, 2)), done(0x5C));
    EXPECT_EQ(m_handset.files.read(k_modem_copy), untested(20, 38, '2'));
    EXPECT_EQ(ask(app, station::message(0x5B).with_int(39, 20).with_int(36, 1)), done(0x5C));
    EXPECT_EQ(m_handset.files.read(k_modem_copy), untested(20, 38, '2'));
    EXPECT_THAT(m_at->received(), HasSubstr("AT^DATOMW=20,1\r"));
    (void)end(service);
}

TEST_F(Results, OfTheApplicationAreWrittenFrom1AndReadFrom0)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    m_at->clear_received();
    EXPECT_EQ(ask(app, station::message(0xE6).with_int(39, 3).with_int(36, 2)), done(0xE7));
    EXPECT_EQ(m_handset.files.read(k_product), untested(36, 4, '2'));
    EXPECT_EQ(ask(app, station::message(0xE4).with_int(39, 3)),
              station::message(0xE5).with_int(39, 3).with_int(36, 0).with_int(1, 0));
    EXPECT_EQ(ask(app, station::message(0xE4).with_int(39, 2)),
              station::message(0xE5).with_int(39, 2).with_int(36, 2).with_int(1, 0));
    EXPECT_EQ(ask(app, station::message(0xE6).with_int(39, 37).with_int(36, 1)), modem_failure(0xE7));
    EXPECT_EQ(ask(app, station::message(0xE4).with_int(39, 36)), modem_failure(0xE5));
    EXPECT_EQ(ask(app, station::message(0xE6).with_int(39, 36).with_int(36, 1)), done(0xE7));
    EXPECT_EQ(m_at->received(), "") << "the modem has nothing to do with it";
    (void)end(service);
}

TEST_F(Results, WithoutTheirFolderAreRefused)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    m_handset.files.remove("/amt");
    EXPECT_EQ(ask(app, station::message(0xE6).with_int(39, 3).with_int(36, 2)), modem_failure(0xE7));
    EXPECT_EQ(ask(app, station::message(0xE4).with_int(39, 3)), modem_failure(0xE5));
    EXPECT_EQ(ask(app, station::message(0x5B).with_int(39, 3).with_int(36, 2)), done(0x5C))
        << "the modem has it, and that is what counts";
    EXPECT_FALSE(m_handset.files.exists("/amt"));
    (void)end(service);
}

class ResultsOfTheLine : public station_handset {};

TEST_F(ResultsOfTheLine, AreNotedOnTheirWayToTheModem)
{
    const emulator::process service = start_reading();
    const station::message verdict = station::message(0x5B).with_int(39, 5).with_int(36, 1).with_string(37, "audio");
    expect_relay(verdict.envelope(), station::message(0x5C).with_int(1, 0).envelope());
    EXPECT_EQ(m_handset.files.read(k_modem_copy), untested(20, 10, '1')) << "and no word from the handset itself";
    const station::message beyond = station::message(0x5B).with_int(39, 25).with_int(36, 1);
    expect_relay(beyond.envelope(), station::message(0x5C).with_int(1, 0).envelope());
    EXPECT_THAT(told(m_handset.log_records()), Contains(HasSubstr("write fail amt station_num: 25")));
    (void)end(service);
}

TEST_F(ResultsOfTheLine, KnowHowTheLastDownloadEnded)
{
    m_handset.files.write("/handset/control/amt_check_system_sanity", "result=1\n");
    const emulator::process service = start_reading();
    const std::string pre_response("\xAA\xBB\xCC\xDD\x08\0\0\0\x02\x02\0\0\x76\x4A\xEE\x1D", 16);
    const std::string answer = station::message(0xF5).with_int(204, 1).with_int(1, 0).envelope();
    m_station.write(station::message(0xF4).envelope());
    EXPECT_EQ(m_station.read_exactly(pre_response.size() + answer.size()), pre_response + answer);
    (void)end(service);
}

} // namespace
