// The tests of the radios as a station asks for them, by messages and by lines.
#include <string>
#include <vector>

#include "station/link.h"
#include "tests/end-to-end/station_handset.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

station::message done(uint8_t id)
{
    return station::message(id).with_int(1, 0);
}

station::message failure(uint8_t id)
{
    return station::message(id).with_int(1, 1);
}

// Requests of the WiFi test; its numbers are bytes.
station::message wifi_test(char command)
{
    return station::message(0xBB).with_bytes(154, std::string(1, command));
}

station::message wifi_done(char command)
{
    return station::message(0xBC).with_bytes(154, std::string(1, command));
}

class Radios : public station_handset {
  protected:
    // Sends a message and returns the one that answers it, behind its pre-response.
    station::message ask(const station::message &request)
    {
        m_link.send(request);
        EXPECT_EQ(m_link.receive().kind, station::answer_kind::pre_response);
        return m_link.receive().message.value_or(station::message(0));
    }

    std::string ask_line(const std::string &line)
    {
        m_link.send_raw(line);
        return m_link.receive().bytes;
    }

    station::link m_link{m_station.fd()};
};

struct radio_row {
    const char *name;
    station::message request;
    station::message answer;
    std::vector<std::string> calls;
    std::uint32_t refused; // the result when the library refuses everything, WiFi's start included
};

const std::vector<radio_row> &radio_rows()
{
    static const std::string channel(1, 13);
    static const std::string rate("\x6E\x01", 2);
    static const std::string power("\xFE\xFF", 2);
    // clang-format off
    static const std::vector<radio_row> rows = {
        {"Bluetooth, check",  station::message(0xAC).with_int(110, 3),  done(0xAD), {"hwt_btCheck()"}, 1},
        {"Bluetooth off",     station::message(0xAC).with_int(110, 10), done(0xAD), {"hwt_btCtrl(0)"}, 1},
        {"Bluetooth on",      station::message(0xAC).with_int(110, 11), done(0xAD), {"hwt_btCtrl(1)"}, 1},
        {"WiFi, check",       station::message(0xB9).with_int(152, 2),  done(0xBA), {"hwt_wifiCheck()"}, 1},
        {"WiFi on",           wifi_test(1), wifi_done(1).with_int(1, 0), {"hwt_wifiCtrl(1)"}, 1},
        {"WiFi on, again",    wifi_test(1), wifi_done(1).with_int(1, 0), {}, 1},
        {"no start before",   wifi_test(6), wifi_done(6).with_int(158, 998).with_int(1, 0),
         {"hwt_RxTest(0, 6, 0, count)"}, 1},
        {"sending",           wifi_test(3).with_bytes(155, channel).with_bytes(156, rate).with_bytes(157, power),
         wifi_done(3).with_int(1, 0), {"hwt_TxTest(1, -2, 366, 13)"}, 1},
        {"no more sending",   wifi_test(4), wifi_done(4).with_int(1, 0), {"hwt_TxTest(0, 0, 0, 0)"}, 1},
        {"receiving",         wifi_test(5).with_bytes(155, channel).with_bytes(156, rate),
         wifi_done(5).with_int(1, 0), {"hwt_RxTest(1, 13, 366, null)"}, 1},
        {"what was received", wifi_test(6), wifi_done(6).with_int(158, 998).with_int(1, 0),
         {"hwt_RxTest(0, 13, 0, count)"}, 1},
        {"WiFi off",          wifi_test(2), wifi_done(2).with_int(1, 0), {"hwt_wifiCtrl(0)"}, 0},
        {"WiFi off, again",   wifi_test(2), wifi_done(2).with_int(1, 0), {}, 0},
        {"GPS on",            station::message(0xAE).with_int(140, 3), done(0xAF), {"hwt_gpsCtrl(1, 0, null, null)"}, 1},
        {"GPS, check",        station::message(0xAE).with_int(140, 2), done(0xAF), {"hwt_gpsCheck()"}, 1},
        {"GPS test",          station::message(0xB0), done(0xAF), {}, 0},
        {"a satellite",       station::message(0xB2).with_int(141, 4),
         station::message(0xB3).with_int(144, 41).with_int(141, 27).with_int(1, 0), {"hwt_gpsCtrl(2, 4, svid, cnr)"}, 1},
        {"GPS off",           station::message(0xAE), done(0xAF), {"hwt_gpsCtrl(0, 0, null, null)"}, 1},
    };
    // clang-format on
    return rows;
}

TEST_F(Radios, AreTestedByMessages)
{
    m_handset.control("hwt_RxTest", {"count=998"});
    m_handset.control("hwt_gpsCtrl", {"svid.4=27", "cnr.4=41"});
    const emulator::process service = start_reading();
    for (const radio_row &row : radio_rows()) {
        m_handset.clear_calls();
        EXPECT_EQ(ask(row.request), row.answer) << row.name;
        EXPECT_THAT(calls_of("hwt_"), ElementsAreArray(row.calls)) << row.name;
    }
    expect_relay("ATI\r", "\r\nOK\r\n"); // before which nothing was
    (void)end(service);
}

TEST_F(Radios, ThatFailAreToldByTheValue1AndServeAgain)
{
    for (const char *entry : {"hwt_btCheck", "hwt_btCtrl", "hwt_wifiCheck", "hwt_wifiCtrl", "hwt_TxTest", "hwt_RxTest",
                              "hwt_gpsCtrl", "hwt_gpsCheck"}) {
        m_handset.control(entry, {"result=-5"});
    }
    const emulator::process service = start_reading();
    for (const radio_row &row : radio_rows()) {
        EXPECT_EQ(ask(row.request).result(), row.refused) << row.name;
    }
    EXPECT_THAT(told(m_handset.log_records()),
                Contains("error | -100 - Unknown error | wifi connectivity check error. call hwt_btCtrl fail: -5"));
    EXPECT_THAT(told(m_handset.log_records()), Contains("error | -100 - Unknown error | WIFI is not running"));
    for (const char *entry : {"hwt_btCheck", "hwt_wifiCtrl"}) {
        m_handset.control(entry, {});
    }
    EXPECT_EQ(ask(station::message(0xAC).with_int(110, 3)), done(0xAD));
    EXPECT_EQ(ask(wifi_test(1)), wifi_done(1).with_int(1, 0));
    EXPECT_EQ(ask(wifi_test(0)), failure(0xBC));
    EXPECT_EQ(m_handset.files.read("/data/local/wifi/wifi_dbg_file.txt").substr(0, 45),
              "the cmd value received from pc is : 1\nthe cmd");
    (void)end(service);
}

TEST_F(Radios, HaveTheirAddressesWrittenAndRead)
{
    const emulator::process service = start_reading();
    const auto bluetooth = [](uint32_t operation) { return station::message(0xAC).with_int(110, operation); };
    const auto wifi = [](uint32_t operation) { return station::message(0xB9).with_int(152, operation); };
    EXPECT_EQ(ask(bluetooth(1)), failure(0xAD)) << "nobody has written it";
    EXPECT_EQ(ask(wifi(0)), failure(0xBA));
    EXPECT_EQ(ask(bluetooth(2).with_string(111, "00:11:22:33:44:55")), done(0xAD));
    EXPECT_EQ(ask(wifi(1).with_string(153, "66:77:88:99:AA:BB")), done(0xBA));
    EXPECT_EQ(m_handset.files.read("/amt/BT/BT_Address.txt"), "00:11:22:33:44:55\n");
    EXPECT_EQ(m_handset.files.read("/amt/WIFI/WIFI_nvram.txt"), "66:77:88:99:AA:BB\n");
    EXPECT_EQ(m_handset.files.mode("/amt/BT/BT_Address.txt"), 0555U);
    EXPECT_EQ(m_handset.files.mode("/amt/WIFI"), 0555U);
    EXPECT_EQ(ask(bluetooth(2).with_string(111, "00:00:00:00:00:01")), done(0xAD)) << "their modes do not bind it";
    EXPECT_EQ(ask(wifi(1).with_string(153, "00:00:00:00:00:02")), done(0xBA));
    EXPECT_EQ(ask(bluetooth(1)), station::message(0xAD).with_string(111, "00:00:00:00:00:01").with_int(1, 0));
    EXPECT_EQ(ask(wifi(0)), station::message(0xBA).with_string(153, "00:00:00:00:00:02").with_int(1, 0));
    (void)end(service);
}

// --- by lines

constexpr char k_ok[] = "\r\nOK\r\n";
constexpr char k_error[] = "\r\nERROR\r\n";

struct line_row {
    const char *line;
    const char *answer;
    std::vector<std::string> calls;
};

TEST_F(Radios, AreTestedByLines)
{
    m_handset.control("hwt_gpsCtrl", {"svid.4=27", "cnr.4=41"});
    const std::string gps_on = "hwt_gpsCtrl(1, 0, null, null)";
    const std::string wifi_on = "hwt_wifiCtrl(1)";
    // clang-format off
    const std::vector<line_row> rows = {
        {"AT^DDEVCONNCHK=0\r",    k_ok,    {"hwt_wifiCheck()"}},
        {"AT^DDEVCONNCHK=1\r",    k_ok,    {"hwt_gpsCheck()"}},
        {"AT^DDEVCONNCHK=2\r",    k_error, {}},
        {"AT^DDEVCONNCHK=3\r",    k_ok,    {"hwt_btCheck()"}},
        {"AT^DBTCTRL=1\r",        k_ok,    {"hwt_btCtrl(1)"}},
        {"AT^DBTCTRL=0\r",        k_ok,    {"hwt_btCtrl(0)"}},
        {"AT^DBTCTRL=7\r",        k_error, {}},
        {"AT^DGPSCTRL=2,4\r",     "\r\n^DGPSCTRL: 27,41\r\n\r\nOK\r\n", {gps_on, "hwt_gpsCtrl(2, 4, svid, cnr)"}},
        {"AT^DGPSCTRL=2\r",       k_error, {gps_on}},
        {"AT^DGPSCTRL=1\r",       k_error, {}},
        {"AT^DGPSCTRL=0\r",       k_ok,    {"hwt_gpsCtrl(0, 0, null, null)"}},
        {"AT^DWLTSD=1,6,540,15\r", k_ok,   {wifi_on, "hwt_TxTest(1, 15, 540, 6)"}},
        {"AT^DWLTSD=1,6,540\r",   k_error, {wifi_on}},
        {"AT^DWLTSD=1,262,65546,65535\r", k_ok, {wifi_on, "hwt_TxTest(1, -1, 10, 6)"}},
        {"AT^DWLTSD=0\r",         k_ok,    {"hwt_TxTest(0, 0, 0, 0)", "hwt_wifiCtrl(0)"}},
        {"AT^DWLTRD=0\r",         k_ok,    {"hwt_RxTest(0, 6, 0, count)", "hwt_wifiCtrl(0)"}},
        {"AT^DWLTRD=1,11,10\r",   k_ok,    {wifi_on, "hwt_RxTest(1, 11, 10, null)"}},
        {"AT^DWLTRD=0\r",         k_ok,    {"hwt_RxTest(0, 11, 0, count)", "hwt_wifiCtrl(0)"}},
    };
    // clang-format on
    const emulator::process service = start_reading();
    for (const line_row &row : rows) {
        m_handset.clear_calls();
        EXPECT_EQ(ask_line(row.line), row.answer) << row.line;
        EXPECT_THAT(calls_of("hwt_"), ElementsAreArray(row.calls)) << row.line;
    }
    (void)end(service);
}

TEST_F(Radios, WhoseLineHasNoFieldAtAllAreAnsweredByAMessage)
{
    const emulator::process service = start_reading();
    for (const char *line : {"AT^DGPSCTRL=", "AT^DWLTSD=", "AT^DWLTRD=,,"}) {
        m_link.send_raw(line);
        EXPECT_EQ(m_link.receive().message, station::message(0).with_int(1, 1)) << line;
    }
    EXPECT_EQ(ask_line("AT^DGPSCTRL=\r"), k_ok) << "a carriage return is a field, and 0";
    expect_relay("AT^DGPSCTRL\r", k_ok);
    (void)end(service);
}

TEST_F(Radios, KeepWhatLinesDoApartFromWhatMessagesDo)
{
    const emulator::process service = start_reading();
    const std::string rate(2, 1);
    EXPECT_EQ(ask_line("AT^DWLTRD=1,11,10\r"), k_ok);
    EXPECT_EQ(ask(wifi_test(5).with_bytes(155, "\x03").with_bytes(156, rate)), failure(0xBC))
        << "WiFi does not run for messages";
    EXPECT_EQ(ask(wifi_test(1)).result(), 0U);
    EXPECT_EQ(ask(wifi_test(5).with_bytes(155, "\x03").with_bytes(156, rate)).result(), 0U);
    m_handset.clear_calls();
    EXPECT_EQ(ask_line("AT^DWLTRD=0\r"), k_ok);
    EXPECT_EQ(ask(wifi_test(6)).result(), 0U) << "the line has not switched it off for messages";
    EXPECT_THAT(calls_of("hwt_"),
                ElementsAre("hwt_RxTest(0, 11, 0, count)", "hwt_wifiCtrl(0)", "hwt_RxTest(0, 3, 0, count)"));
    (void)end(service);
}

// A library that takes its time, in the middle of which the service is to end.
TEST_F(Radios, ThatTakeForEverDoNotKeepTheServiceFromEnding)
{
    m_handset.control("hwt_wifiCheck", {"delay_ms=600000"});
    const emulator::process service = start_reading();
    m_link.send_line("AT^DDEVCONNCHK=0");
    (void)m_handset.wait_log("wifi connectivity check start");
    emulator::wait_until("the call", [this] { return !calls_of("hwt_wifiCheck").empty(); });
    (void)end(service);
}

} // namespace
