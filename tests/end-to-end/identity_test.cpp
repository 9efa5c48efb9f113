// The identities of a handset as a station reads and writes them: in files that are there, and with the disk, before
// the station is answered. And what else the handset answers by lines.
#include <sys/stat.h>

#include <string>
#include <vector>

#include "station/link.h"
#include "tests/end-to-end/station_handset.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char k_ok[] = "\r\nOK\r\n";
constexpr char k_error[] = "\r\nERROR\r\n";
constexpr char k_cme_error[] = "\r\n+CME ERROR: 100\r\n";

constexpr char k_syncs[] = "/handset/syncs";
constexpr char k_nvram_source[] = "/system/etc/wifi/nvram.txt";
constexpr char k_nvram[] = "/data/misc/wifi/nvram.txt";

station::message done(uint8_t id)
{
    return station::message(id).with_int(1, 0);
}

station::message failure(uint8_t id)
{
    return station::message(id).with_int(1, 1);
}

class Identity : public station_handset {
  protected:
    // The disk is not this machine's: it is written down that it was told.
    Identity()
    {
        m_handset.files.write(k_syncs, "");
        m_handset.files.write("/system/bin/sync", std::string("#!/system/bin/sh\necho told >> ") + k_syncs + "\n",
                              0755);
    }

    std::string ask_line(const std::string &line)
    {
        m_link.send_raw(line);
        return m_link.receive().bytes;
    }

    // Sends a message and returns the one that answers it, behind its pre-response.
    station::message ask(const station::message &request)
    {
        m_link.send(request);
        EXPECT_EQ(m_link.receive().kind, station::answer_kind::pre_response);
        return m_link.receive().message.value_or(station::message(0));
    }

    // The request goes to the modem as it is, and the station gets what the modem answers.
    void pass_on(const std::string &request, const std::string &answer)
    {
        m_link.send_raw(request);
        EXPECT_EQ(m_modem.read_exactly(request.size()), request);
        m_modem.write(answer);
        EXPECT_EQ(m_link.receive().bytes, answer);
    }

    // Of a file; "(none)" when it is not there.
    std::string content(const std::string &path) const { return m_handset.files.read_or(path, "(none)"); }

    size_t syncs() const { return content(k_syncs).size() / std::string("told\n").size(); }

    station::link m_link{m_station.fd()};
};

// --- what the modem has to accept

TEST_F(Identity, WrittenByLineIsKeptBeforeTheStationLearnsThatTheModemAcceptedIt)
{
    const emulator::process service = start_reading();
    pass_on("AT^DCGSNW=490154203237518\r", k_ok);
    EXPECT_EQ(content("/amt/imei.txt"), "490154203237518");
    EXPECT_EQ(syncs(), 2U);
    pass_on("AT^DMSN=KV00012345\r", k_ok);
    EXPECT_EQ(content("/amt/sn.txt"), "KV00012345");
    pass_on("AT^DMPCHN=1\r", k_ok);
    pass_on("AT^DCGSNW= 490154203237526\r", k_ok);
    EXPECT_EQ(content("/amt/imei-2.txt"), "490154203237526");
    pass_on("AT^DMSN=KV00012346\r", k_ok);
    EXPECT_EQ(content("/amt/sn-2.txt"), "KV00012346");
    EXPECT_EQ(content("/amt/imei.txt"), "490154203237518");
    EXPECT_EQ(content("/amt/sn.txt"), "KV00012345");
    EXPECT_EQ(syncs(), 8U);
    (void)end(service);
}

TEST_F(Identity, WrittenByMessageIsKeptOnceTheModemHasAcceptedIt)
{
    const std::string imei = station::message(5).with_string(21, "490154203237518").envelope();
    const std::string board = station::message(87).with_string(38, "BOARD-1").envelope();
    const std::string channel = station::message(232).with_int(159, 1).envelope();
    const emulator::process service = start_reading();
    pass_on(imei, station::message(6).with_int(1, 7).envelope());
    EXPECT_EQ(content("/amt/imei.txt"), "(none)") << "refused";
    pass_on(imei, done(6).envelope());
    EXPECT_EQ(content("/amt/imei.txt"), "490154203237518");
    pass_on(channel, done(233).envelope());
    pass_on(board, done(88).envelope());
    EXPECT_EQ(content("/amt/sn-2.txt"), "BOARD-1");
    EXPECT_EQ(content("/amt/sn.txt"), "(none)");
    (void)end(service);
}

TEST_F(Identity, ThatTheModemRefusesWaitsForALaterConfirmation)
{
    const emulator::process service = start_reading();
    pass_on("AT^DCGSNW=490154203237518\r", k_error);
    EXPECT_EQ(content("/amt/imei.txt"), "(none)");
    pass_on("AT^DCGSNW?\r", "\r\n+CME ERROR: 3\r\n");
    EXPECT_EQ(content("/amt/imei.txt"), "(none)");
    pass_on("ATI\r", k_ok);
    EXPECT_EQ(content("/amt/imei.txt"), "490154203237518");
    pass_on("ATI\r", k_ok);
    EXPECT_EQ(syncs(), 2U) << "saved once";
    (void)end(service);
}

TEST_F(Identity, ConfirmedInPiecesIsNotTakenForConfirmed)
{
    const emulator::process service = start_reading();
    const std::string request = station::message(5).with_string(21, "490154203237518").envelope();
    const std::string refusal = station::message(6).with_int(1, 7).envelope();
    m_link.send_raw(request);
    EXPECT_EQ(m_modem.read_exactly(request.size()), request);
    m_modem.write(refusal.substr(0, 20)); // the id is in it, the result is not
    EXPECT_EQ(m_station.read_exactly(20), refusal.substr(0, 20));
    m_modem.write(refusal.substr(20));
    EXPECT_EQ(m_station.read_exactly(refusal.size() - 20), refusal.substr(20));
    EXPECT_EQ(content("/amt/imei.txt"), "(none)");
    (void)end(service);
}

TEST_F(Identity, ThatCannotBeSavedDoesNotKeepTheModemsAnswerBack)
{
    m_handset.files.make_folder("/amt/imei.txt");
    const emulator::process service = start_reading();
    pass_on("AT^DCGSNW=490154203237518\r", k_ok);
    EXPECT_THAT(
        told(m_handset.log_records()),
        Contains("error | -118 - Call C function unsuccessfully | open(\"/amt/imei.txt\") fail: 21 - Is a directory"));
    (void)end(service);
}

// --- the handset's own numbers

TEST_F(Identity, OfTheBoardIsReadAndWrittenByMessageAndByLine)
{
    const auto request = [](char operation) {
        return station::message(0xC1).with_bytes(190, std::string(1, operation));
    };
    const emulator::process service = start_reading();
    EXPECT_EQ(ask(request(1)), failure(0xC2));
    EXPECT_EQ(ask_line("AT^DPCBACTRL=1\r"), k_error);
    EXPECT_EQ(ask(request(2).with_string(191, "PCBA-7")), done(0xC2));
    EXPECT_EQ(content("/amt/sn-2.txt"), "PCBA-7");
    EXPECT_EQ(syncs(), 2U);
    EXPECT_EQ(ask_line("AT^DPCBACTRL=1\r"), "\r\n^DPCBACTRL: PCBA-7\r\n\r\nOK\r\n");
    const std::string number(60, '7');
    EXPECT_EQ(ask_line("AT^DPCBACTRL=2," + number + "\r"), k_ok);
    EXPECT_EQ(content("/amt/sn-2.txt"), number);
    EXPECT_EQ(syncs(), 4U);
    EXPECT_EQ(ask(request(1)), station::message(0xC2).with_string(191, std::string(29, '7')).with_int(1, 0));
    EXPECT_EQ(ask(request(3)), failure(0xC2));
    (void)end(service);
}

TEST_F(Identity, OfAdbIsReadAndWrittenByMessage)
{
    const auto request = [](uint32_t length, const std::string &number) {
        return station::message(0xBF).with_int(160, 1).with_int(162, length).with_string(161, number);
    };
    const emulator::process service = start_reading();
    EXPECT_EQ(ask(station::message(0xBF).with_int(160, 0)), failure(0xC0));
    EXPECT_EQ(ask(request(6, "ADB0017")), done(0xC0));
    EXPECT_EQ(content("/amt/usb_serial"), "ADB001");
    EXPECT_EQ(ask(station::message(0xBF)), station::message(0xC0).with_string(161, "ADB001").with_int(1, 0));
    EXPECT_EQ(ask(request(99, std::string(99, 'x'))), done(0xC0));
    EXPECT_EQ(content("/amt/usb_serial"), std::string(99, 'x'));
    EXPECT_EQ(ask(request(100, std::string(100, 'y'))), failure(0xC0));
    EXPECT_EQ(content("/amt/usb_serial"), std::string(99, 'x'));
    EXPECT_EQ(syncs(), 4U);
    (void)end(service);
}

// --- addresses

TEST_F(Identity, OfBluetoothIsReadAndWrittenByLineOnceItHasAFile)
{
    const emulator::process service = start_reading();
    EXPECT_EQ(ask_line("AT^DBTADDR=?\r"), k_ok);
    EXPECT_EQ(ask_line("AT^DBTADDR?\r"), k_cme_error);
    EXPECT_EQ(ask_line("AT^DBTADDR=\"00:11:22:33:44:55\"\r"), k_cme_error);
    EXPECT_EQ(syncs(), 0U);
    m_handset.files.write("/amt/BT/BT_Address.txt", "");
    EXPECT_EQ(ask_line("AT^DBTADDR?\r"), k_cme_error);
    EXPECT_EQ(ask_line("AT^DBTADDR=\"00:11:22:33:44:55\"\r"), k_ok);
    EXPECT_EQ(content("/amt/BT/BT_Address.txt"), "00:11:22:33:44:55\n");
    EXPECT_EQ(syncs(), 2U);
    EXPECT_EQ(ask_line("AT^DBTADDR?\r"), "\r\n^DBTADDR: \"00:11:22:33:44:55\"\r\n\r\nOK\r\n");
    EXPECT_EQ(ask(station::message(0xAC).with_int(110, 1)),
              station::message(0xAD).with_string(111, "00:11:22:33:44:55").with_int(1, 0));
    EXPECT_EQ(ask_line("AT^DBTADDR=\"\"\r"), k_cme_error);
    EXPECT_EQ(content("/amt/BT/BT_Address.txt"), "00:11:22:33:44:55\n");
    (void)end(service);
}

TEST_F(Identity, OfBluetoothMayLieElsewhere)
{
    m_handset.files.write("/mnt/opl/nvm/BT_Address.txt", "00:00:00:00:00:02\n");
    const emulator::process service = start_reading();
    EXPECT_EQ(ask_line("AT^DBTADDR?\r"), "\r\n^DBTADDR: \"00:00:00:00:00:02\"\r\n\r\nOK\r\n");
    EXPECT_EQ(ask_line("AT^DBTADDR=\"1234567890123456789012345\"\r"), k_ok);
    EXPECT_EQ(content("/mnt/opl/nvm/BT_Address.txt"), "1234567890123456789\n");
    EXPECT_EQ(content("/amt/BT/BT_Address.txt"), "(none)");
    (void)end(service);
}

TEST_F(Identity, OfWifiIsReadAndWrittenByLine)
{
    const emulator::process service = start_reading();
    EXPECT_EQ(ask_line("AT^DWIFIADDR=?\r"), k_ok);
    EXPECT_EQ(ask_line("AT^DWIFIADDR?\r"), k_cme_error);
    EXPECT_EQ(ask_line("AT^DWIFIADDR=\"00:11:22:33:44:66\"\r"), k_ok);
    EXPECT_EQ(content("/amt/WIFI/WIFI_nvram.txt"), "00:11:22:33:44:66\n");
    EXPECT_EQ(syncs(), 2U);
    EXPECT_EQ(ask_line("AT^DWIFIADDR?\r"), "\r\n^DWIFIADDR: \"00:11:22:33:44:66\"\r\n\r\nOK\r\n");
    EXPECT_EQ(ask_line("AT^DWIFIADDR=\"\"\r"), k_cme_error);
    EXPECT_EQ(content("/amt/WIFI/WIFI_nvram.txt"), "00:11:22:33:44:66\n");
    (void)end(service);
}

TEST_F(Identity, IsAnsweredOnlyToAWholeLine)
{
    const emulator::process service = start_reading();
    expect_relay("AT^DBTADDR?", "\r\nERROR\r\n");
    expect_relay("AT^DWIFIADDR=?", "\r\nERROR\r\n");
    expect_relay("at^dbtaddr?\r", "\r\nERROR\r\n");
    (void)end(service);
}

// --- the parameters of the WiFi driver

TEST_F(Identity, OfWifiReachesItsDriverWithTheNextStart)
{
    m_handset.files.write(k_nvram_source, "boardtype=0x1\n  macaddr=00:00:00:00:00:00\nregrev=0\n");
    const emulator::process first = start_reading();
    EXPECT_EQ(content(k_nvram), "boardtype=0x1\n  macaddr=00:00:00:00:00:00\nregrev=0\n") << "there is no address yet";
    EXPECT_EQ(ask_line("AT^DWIFIADDR=\"00:11:22:33:44:66\"\r"), k_ok);
    (void)end(first);
    const size_t before = syncs();
    const emulator::process second = start_reading();
    EXPECT_EQ(content(k_nvram), "boardtype=0x1\nmacaddr=00:11:22:33:44:66\nregrev=0\n");
    EXPECT_EQ(m_handset.files.mode(k_nvram), 0666U);
    EXPECT_EQ(syncs() - before, 2U);
    (void)end(second);
}

TEST_F(Identity, OfWifiIsAddedToParametersWithoutOne)
{
    m_handset.files.write("/system/etc/wifi/bcmdhd.cal", "boardtype=0x1\n#macaddr=00:00:00:00:00:00\n");
    m_handset.files.write("/amt/WIFI/WIFI_nvram.txt", "00:11:22:33:44:66\n");
    const emulator::process service = start_reading();
    EXPECT_EQ(content(k_nvram), "boardtype=0x1\n#macaddr=00:00:00:00:00:00\nmacaddr=00:11:22:33:44:66\n");
    (void)end(service);
}

TEST_F(Identity, OfWifiIsNoReasonNotToStart)
{
    m_handset.files.remove("/data/misc");
    m_handset.files.write(k_nvram_source, "boardtype=0x1\n");
    const emulator::process service = start_reading();
    EXPECT_THAT(told(m_handset.log_records()),
                Contains("error | -100 - Unknown error | open  /data/misc/wifi/nvram.txt fail"));
    expect_relay("ATI\r", k_ok);
    (void)end(service);
}

// --- the handset's other lines

using HandsetLine = Identity;

TEST_F(HandsetLine, SetsTheFlagOfTheHandshake)
{
    const emulator::process service = start_reading();
    EXPECT_EQ(ask_line("AT^DAMT1=2\r"), "\r\n^DAMT1: 1\r\n\r\nOK\r\n");
    EXPECT_EQ(ask_line("AT^DAMT1=0\r"), k_ok);
    EXPECT_EQ(content("/amt/power_usb_amt.txt"), "0");
    EXPECT_EQ(syncs(), 2U);
    EXPECT_EQ(ask_line("AT^DAMT1=2\r"), "\r\n^DAMT1: 0\r\n\r\nOK\r\n");
    EXPECT_EQ(ask_line("AT^DAMT1=3\r"), k_error);
    (void)end(service);
}

TEST_F(HandsetLine, WithoutItsFieldGetsOneMessageAndNoText)
{
    const emulator::process service = start_reading();
    for (const char *line : {"AT^DPCBACTRL=\r", "AT^DPCBACTRL=2\r", "AT^DAMT1=\r"}) {
        m_link.send_raw(line);
        EXPECT_EQ(m_link.receive().message, failure(0)) << line;
        EXPECT_EQ(ask_line("AT^DBTADDR=?\r"), k_ok) << "and nothing else came for " << line;
    }
    (void)end(service);
}

TEST_F(HandsetLine, IsForIdleOrTheLastDownload)
{
    m_handset.control("amt_check_system_sanity", {"result=5"});
    const emulator::process service = start_reading();
    m_handset.clear_calls();
    EXPECT_EQ(ask_line("AT^DENTERIDLE\r"), k_ok);
    EXPECT_EQ(ask_line("AT^DBOOTDLFIN\r"), "\r\n^DBOOTDLFIN: 5\r\n\r\nOK\r\n");
    EXPECT_THAT(m_handset.calls(), ElementsAre("enter_idle()", "amt_check_system_sanity()"));
    m_handset.control("enter_idle", {"result=1"});
    EXPECT_EQ(ask_line("AT^DENTERIDLE\r"), k_error);
    m_handset.files.remove("/system/lib64/hw/amt.kv7100.misc.so");
    EXPECT_EQ(ask_line("AT^DBOOTDLFIN\r"), k_error);
    (void)end(service);
}

// The emulated power-off comes back: the service goes on.
TEST_F(HandsetLine, SwitchesOffAndTheVersionGoesBeforeIt)
{
    m_handset.set_property("ro.build.display.id", "KV-2.0");
    const emulator::process service = start_reading();
    m_handset.clear_calls();
    EXPECT_EQ(ask_line("AT^DAMTOFF\rAT^DSVER\r"), "\r\n^DSVER: KV-2.0\r\n\r\nOK\r\n");
    EXPECT_THAT(m_handset.calls(), IsEmpty()) << "the version, and nothing else";
    EXPECT_EQ(ask_line("AT^DAMTOFF\r"), k_ok);
    emulator::wait_until("the power-off", [&] { return !m_handset.calls().empty(); });
    EXPECT_THAT(m_handset.calls(), ElementsAre("reboot(POWER_OFF)"));
    EXPECT_EQ(ask_line("AT^DBTADDR=?\r"), k_ok);
    (void)end(service);
}

TEST_F(HandsetLine, SwitchesOffAsTheMessageDoes)
{
    const emulator::process service = start_reading();
    m_handset.clear_calls();
    EXPECT_EQ(ask(station::message(0xEC)), station::message(0xED).with_int(1, 0));
    emulator::wait_until("the power-off", [&] { return !m_handset.calls().empty(); });
    EXPECT_THAT(m_handset.calls(), ElementsAre("reboot(POWER_OFF)"));
    expect_relay("ATI\r", k_ok);
    (void)end(service);
}

TEST_F(Identity, ThatTheDiskIsSlowToTakeHoldsNoEndUp)
{
    ASSERT_EQ(mkfifo(m_handset.files.host_path("/handset/held").c_str(), 0600), 0);
    m_handset.files.write("/system/bin/sync", "#!/system/bin/sh\nread wait < /handset/held\n", 0755);
    const emulator::process service = start_reading();
    m_link.send_raw("AT^DCGSNW=490154203237518\r");
    (void)m_modem.read_exactly(26);
    m_modem.write(k_ok);
    (void)m_handset.wait_log("write pcba-sn: 490154203237518");
    EXPECT_EQ(content("/amt/imei.txt"), "490154203237518") << "before the disk is told";
    (void)end(service);
}

} // namespace
