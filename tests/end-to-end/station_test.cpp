// What a station sees of the handset: its own answers, the modem's through it, and nothing lost between.
#include <string.h>

#include <thread>

#include "tests/end-to-end/station_handset.h"

namespace {

using ::testing::Contains;
using ::testing::Not;

using Station = station_handset;

constexpr char k_lock[] = "AT;^DLKS=1\r";

std::string all_bytes()
{
    std::string bytes;
    for (int value = 0; value < 256; value++) {
        bytes += static_cast<char>(value);
    }
    return bytes;
}

std::string pattern(size_t length)
{
    std::string bytes;
    for (size_t i = 0; i < length; i++) {
        bytes += static_cast<char>(i * 7 + i / 251);
    }
    return bytes;
}

// --- relay

TEST_F(Station, GetsTheModemsAnswerToALineThatIsNotTheHandsets)
{
    const emulator::process service = start_reading();
    expect_relay("ATI\r", "\r\nA modem\r\n\r\nOK\r\n");
    (void)m_handset.wait_log("handle PC req data: (data len = 4) 4154490D");
    (void)m_handset.wait_log("write to modem: (data len = 4) 4154490D");
    (void)m_handset.wait_log("receive Modem data: (data len = 17) 0D0A41206D");
    (void)m_handset.wait_log("write to pc, m_buf_len=17, write_len=17");
    (void)end(service);
}

TEST_F(Station, LosesNoByteOfAnyValueInEitherDirection)
{
    const emulator::process service = start_reading();
    expect_relay(all_bytes(), all_bytes());
    for (const size_t length :
         {size_t{1}, size_t{2}, size_t{255}, size_t{256}, size_t{1024}, size_t{4094}, size_t{4095}}) {
        expect_relay(pattern(length), pattern(length));
    }
    (void)end(service);
}

TEST_F(Station, GetsAFloodOfTheModemsInOrder)
{
    const emulator::process service = start_reading();
    const std::string flood = pattern(200000);
    std::thread modem([&] { m_modem.write(flood); });
    EXPECT_EQ(m_station.read_exactly(flood.size()), flood);
    modem.join();
    (void)end(service);
}

TEST_F(Station, IsHeardAlsoWhenItSendsMoreThanOneReadTakes)
{
    const emulator::process service = start_reading();
    const std::string flood = pattern(50000);
    std::thread sender([&] { m_station.write(flood); });
    EXPECT_EQ(m_modem.read_exactly(flood.size()), flood);
    sender.join();
    (void)end(service);
}

TEST_F(Station, IsAnsweredOneRequestAReadAndNothingIsGathered)
{
    const emulator::process service = start_reading();
    m_station.write("AT^D");
    EXPECT_EQ(m_modem.read_exactly(4), "AT^D");
    m_station.write("SVER\r");
    EXPECT_EQ(m_modem.read_exactly(5), "SVER\r") << "half a line is nobody's line but the modem's";
    EXPECT_EQ(count_log("handle_amt_imei_and_sn--->req_id_en:255."), 2U);
    (void)end(service);
}

// --- probes

TEST_F(Station, ProbesTheLinkAndTheModemsReportsAreLocked)
{
    const std::vector<std::string> probes = {"AT\r",         "at\r\n",       "aT\r\r\n",   "At\rxy",
                                             "AT\r\nAT\r\n", "at\r\nAt\r\n", "AT\r\nAT\r", "AT\r\nAT\r\nATI\r"};
    const emulator::process service = start_reading();
    for (const std::string &probe : probes) {
        m_station.write(probe);
        EXPECT_EQ(m_modem.read_exactly(sizeof(k_lock) - 1), k_lock) << probe;
    }
    m_modem.write("\r\nOK\r\n");
    EXPECT_EQ(m_station.read_exactly(6), "\r\nOK\r\n");
    (void)end(service);
}

TEST_F(Station, WhoseLineIsNoProbeGetsItForwarded)
{
    const emulator::process service = start_reading();
    for (const char *line :
         {"ATI\r", "A", "AT", "AT\n", " AT\r", "AT\r\nAT", "AT\rxyz", "AT\rAT\r", "AT\r\nxAT\r", "AT+CSQ\r\n"}) {
        m_station.write(line);
        EXPECT_EQ(m_modem.read_exactly(strlen(line)), line);
    }
    EXPECT_THAT(m_handset.calls(), Not(Contains("amt_usb_charger_enable(1)")));
    (void)end(service);
}

TEST_F(Station, ThatProbesEntersTheModeOfLinesOnce)
{
    const emulator::process service = start_reading();
    for (int i = 0; i < 3; i++) {
        m_station.write("AT\r");
        (void)m_modem.read_exactly(sizeof(k_lock) - 1);
    }
    EXPECT_EQ(count_log("mark to enter amt4"), 1U);
    EXPECT_EQ(count_log("call amt_usb_charge_ctrl for amt4. return:0, current amt mode:4."), 1U);
    EXPECT_THAT(m_handset.calls(), Contains("amt_usb_charger_enable(1)").Times(1));
    station::link(m_station.fd()).send(station::message(0x01));
    (void)m_modem.read_exactly(22);
    EXPECT_EQ(count_log("mark to enter amt1"), 1U);
    m_station.write("AT\r");
    (void)m_modem.read_exactly(sizeof(k_lock) - 1);
    EXPECT_EQ(count_log("mark to enter amt4"), 2U) << "it had spoken in messages meanwhile";
    (void)end(service);
}

TEST_F(Station, IsToldInTheLogWhatTheChargerSaid)
{
    m_handset.control("amt_usb_charger_enable", {"result=-7"});
    const emulator::process service = start_reading();
    m_station.write("AT\r");
    (void)m_modem.read_exactly(sizeof(k_lock) - 1);
    EXPECT_EQ(count_log("call amt_usb_charge_ctrl for amt4. return:-7, current amt mode:4."), 1U);
    (void)end(service);
}

// --- messages

TEST_F(Station, GetsAnUnregisteredCommandAnsweredByTheModem)
{
    const emulator::process service = start_reading();
    const station::message request = station::message(0x13).with_int(9, 77);
    station::link link(m_station.fd());
    link.send(request);
    EXPECT_EQ(m_modem.read_exactly(request.envelope().size()), request.envelope()) << "envelope and all";
    const station::message answer = station::message(0x14).with_int(1, 0);
    m_modem.write(answer.envelope());
    EXPECT_EQ(link.receive().message, answer);
    const std::vector<std::string> records = told(m_handset.log_records());
    EXPECT_THAT(records, Contains("info | receive command id: 19(0x13) - AMT_STARTRX_CMD"));
    EXPECT_THAT(records, Contains("info | mark to enter amt1"));
    EXPECT_THAT(records,
                Contains(testing::ContainsRegex("handle_context_st\\.m_handle_pc_func_a\\[19\\] =(\\(nil\\)|0x0)$")));
    EXPECT_THAT(records, Contains("info | handle_amt_imei_and_sn--->req_id_en:19."));
    (void)end(service);
}

TEST_F(Station, GetsTheHandsetsOwnVersion)
{
    m_handset.set_property("ro.build.display.id", "KV-2.0.7");
    const emulator::process service = start_reading();
    station::link link(m_station.fd());
    link.send(station::message(0x2D).with_int(19, 16));
    EXPECT_EQ(link.receive().kind, station::answer_kind::pre_response);
    EXPECT_EQ(link.receive().message,
              station::message(0x2E).with_int(19, 16).with_bytes(18, "KV-2.0.7").with_int(1, 0));
    (void)m_handset.wait_log("send PC rsp data: (data len = 16) AABBCCDD0800000002020000764AEE1D");
    (void)m_handset.wait_log("send PC rsp data: (data len = 53) AABBCCDD");
    (void)end(service);
}

TEST_F(Station, GetsTheModemsVersionFromTheModem)
{
    const emulator::process service = start_reading();
    const station::message request = station::message(0x2D).with_int(19, 17);
    m_station.write(request.envelope());
    EXPECT_EQ(m_modem.read_exactly(request.envelope().size()), request.envelope());
    EXPECT_EQ(count_log("send PC rsp data: "), 0U) << "what is passed on gets no pre-response";
    (void)end(service);
}

TEST_F(Station, IsToldOfAFailureByTheIdAndTheValue1)
{
    const emulator::process service = start_reading();
    station::link link(m_station.fd());
    link.send(station::message(0x2D).with_int(19, 5));
    EXPECT_EQ(link.receive().message, station::message(0x2E).with_int(1, 1));
    EXPECT_THAT(told(m_handset.log_records()), Contains("error | -100 - Unknown error | unknown version type: 0x05"));
    expect_relay("ATI\r", "\r\nOK\r\n");
    (void)end(service);
}

TEST_F(Station, GetsTheVersionAlsoByLine)
{
    m_handset.set_property("ro.build.display.id", "KV-2.0.7");
    const emulator::process service = start_reading();
    station::link link(m_station.fd());
    link.send_line("AT^DSVER");
    EXPECT_EQ(link.receive().bytes, "\r\n^DSVER: KV-2.0.7\r\n\r\nOK\r\n");
    m_station.write("AT^DSVER");
    EXPECT_EQ(m_modem.read_exactly(8), "AT^DSVER") << "without its carriage return it is the modem's";
    (void)end(service);
}

TEST_F(Station, IsBelievedWhateverItsChecksumAndLength)
{
    const emulator::process service = start_reading();
    std::string frame = station::message(0x2D).with_int(19, 1).envelope();
    frame[4] = '\x7F';
    frame[8] = '\x55';
    frame.back() = static_cast<char>(~frame.back());
    station::link link(m_station.fd());
    link.send_raw(frame);
    EXPECT_EQ(link.receive().kind, station::answer_kind::pre_response);
    EXPECT_EQ(link.receive().message->id(), 0x2E);
    (void)end(service);
}

TEST_F(Station, WhoseEnvelopeHoldsNoMessageHasItTakenForALine)
{
    const emulator::process service = start_reading();
    const std::string hollow = std::string("\xAA\xBB\xCC\xDD", 4) + std::string(12, '\0');
    m_station.write(hollow);
    EXPECT_EQ(m_modem.read_exactly(16), hollow);
    EXPECT_EQ(count_log("handle_amt_imei_and_sn--->req_id_en:255."), 1U);
    m_station.write(hollow + "x");
    EXPECT_EQ(m_modem.read_exactly(17), hollow + "x");
    EXPECT_EQ(count_log("receive command id: 0(0x00) - AMT_NONE_CMD"), 1U) << "17 bytes are enough for a message";
    (void)end(service);
}

TEST_F(Station, SendsCommand255ForwardsIt)
{
    const emulator::process service = start_reading();
    const std::string frame = station::message(0xFF).envelope();
    m_station.write(frame);
    EXPECT_EQ(m_modem.read_exactly(frame.size()), frame);
    EXPECT_THAT(told(m_handset.log_records()), Contains("info | receive command id: 255(0xFF) - (undefined)"));
    EXPECT_EQ(count_log("handle_amt_imei_and_sn--->req_id_en:255."), 1U);
    (void)end(service);
}

TEST_F(Station, HasItsIdentityWritesNotedAndPassedOn)
{
    const emulator::process service = start_reading();
    const std::string imei = station::message(0x05).with_string(21, "490154203237518").envelope();
    m_station.write(imei);
    EXPECT_EQ(m_modem.read_exactly(imei.size()), imei);
    EXPECT_EQ(count_log("getted write-imei command in amt1: imei:490154203237518;"), 1U);
    m_station.write("AT^DMSN= EMU0000001\r");
    EXPECT_EQ(m_modem.read_exactly(20), "AT^DMSN= EMU0000001\r");
    EXPECT_EQ(count_log("getted parameter:EMU0000001. prefix:AT^DMSN=; rtn:0."), 1U);
    (void)end(service);
}

TEST_F(Station, SendingGarbageIsAnsweredAgainAfterIt)
{
    const emulator::process service = start_reading();
    std::string garbage;
    for (unsigned seed = 1; seed <= 40; seed++) {
        std::string chunk = std::string("\xAA\xBB\xCC\xDD", 4);
        unsigned state = seed * 2654435761U;
        for (unsigned i = 0; i < seed * 60; i++) {
            state = state * 1664525U + 1013904223U;
            chunk += static_cast<char>(state >> 24);
        }
        chunk[15] = '\x01'; // a command that is nobody's but the modem's
        garbage += chunk;
        m_station.write(chunk);
        EXPECT_EQ(m_modem.read_exactly(chunk.size()), chunk);
    }
    expect_relay("ATI\r", "\r\nOK\r\n");
    (void)end(service);
}

} // namespace
