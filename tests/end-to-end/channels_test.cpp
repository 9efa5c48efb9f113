// Which channels the service opens, and how it ends when it loses one.
#include <fcntl.h>

#include <algorithm>
#include <thread>

#include "tests/end-to-end/station_handset.h"

namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char k_switch_property[] = "amt.normal.amt.switch_status";

// --- the arrangements

using Arrangement = service_handset;

TEST_F(Arrangement, IsTheApplicationsInNormalModeUnlessItIsSwitched)
{
    for (const char *value : {"", "0", "11", " 1", "@##@"}) {
        m_handset.set_property(k_switch_property, value);
        const emulator::process service = start_up();
        EXPECT_FALSE(m_station.opened()) << value;
        EXPECT_TRUE(m_handset.files.exists("/dev/ttyAMT")) << value;
        const std::string told_value = value[0] == '\0' ? "@##@" : value;
        EXPECT_THAT(told(m_handset.log_records()),
                    Contains("info | property-amt.normal.amt.switch_status value: " + told_value));
        (void)end(service);
    }
}

TEST_F(Arrangement, IsTheStationsInNormalModeWhenItIsSwitched)
{
    m_handset.set_property(k_switch_property, "1");
    const emulator::process service = start_up();
    EXPECT_TRUE(m_station.opened());
    EXPECT_TRUE(m_modem.opened());
    EXPECT_FALSE(m_handset.files.exists("/dev/ttyAMT"));
    EXPECT_EQ(m_at->received(), "");
    EXPECT_THAT(told(m_handset.log_records()), AllOf(Contains("info | property-amt.normal.amt.switch_status value: 1"),
                                                     Contains("info | will create amt1/4 thread. ")));
    (void)end(service);
}

TEST_F(Arrangement, IsTheStationsInTheOtherModesWhateverTheProperty)
{
    install_simplified();
    m_handset.set_property(k_switch_property, "0");
    for (const emulator::program &program : {simplified(), emulator::service({"-u"})}) {
        const emulator::process service = start_up(program);
        EXPECT_TRUE(m_station.opened());
        EXPECT_TRUE(m_modem.opened());
        (void)end(service);
    }
}

// The records behind the entry of amt_handle_init, those of other threads left out.
std::vector<std::string> told_by_main(const emulator::handset &handset, const emulator::process &service)
{
    std::vector<emulator::log_record> records;
    bool is_behind = false;
    for (const emulator::log_record &record : handset.log_records()) {
        if (is_behind && record.thread_id == service.pid()) {
            records.push_back(record);
            records.back().text = record.level == "func" ? record.function : record.text;
        }
        is_behind = is_behind || record.function == "amt_handle_init";
    }
    return told(records);
}

TEST_F(Arrangement, IsPreparedInOneOrder)
{
    const emulator::process service = start_up();
    std::vector<std::string> records = told_by_main(m_handset, service);
    ASSERT_GE(records.size(), 14U);
    records.resize(14);
    EXPECT_THAT(records,
                ElementsAre("func | decide_platform_lib_name",
                            "info | audio lib path-name: /system/lib64/hw/audio.primary.kv7100.amt.so",
                            "info | misc lib path-name: /system/lib64/hw/amt.kv7100.misc.so", "func | amt_make_folder",
                            "info | amt_make_folder: /amt/BT does not exist.\r\n",
                            "info | amt_make_folder mkdir(/amt/BT) successfully", "func | amt_make_folder",
                            "info | amt_make_folder: /amt/WIFI does not exist.\r\n",
                            "info | amt_make_folder mkdir(/amt/WIFI) successfully", "func | amt_handle_reg_handle_func",
                            "info | PC register command id: 45(0x2d) - AMT_VERSION_CMD",
                            "func | amt_handle_reg_handle_func",
                            "info | APP register command id: 232(0xe8) - (undefined)",
                            "info | property-amt.normal.amt.switch_status value: @##@"));
    (void)end(service);
}

TEST_F(Arrangement, OfTheApplicationIsSetUpInOneOrder)
{
    const emulator::process service = start_up();
    std::vector<std::string> records = told_by_main(m_handset, service);
    records.erase(records.begin(), records.begin() + 14);
    const std::vector<std::string> steps = {"func | init_for_amt_2_3",
                                            "func | pub_pty_open",
                                            "info | create_pts_mapping chown(/dev/ttyAMT, 1000, 1001) ret_val[0]",
                                            "func | set_ptm_attr",
                                            "info | pub_pty_open \"/dev/ttyAMT\" exists",
                                            "func | pub_util_try_to_open_device",
                                            "info | (0/30)try to open device \"/dev/ttyAT\"",
                                            "info | open device \"/dev/ttyAT\" successfully",
                                            "func | disable_unsolicited_code"};
    auto from = records.begin();
    for (const std::string &step : steps) {
        from = std::find(from, records.end(), step);
        ASSERT_NE(from, records.end()) << step << " does not stand where it should";
    }
    EXPECT_EQ(from + 1, records.end()) << "nothing more is told of a start that succeeds";
    (void)end(service);
}

TEST_F(Arrangement, OfTheStationIsSetUpInOneOrder)
{
    m_handset.set_property(k_switch_property, "1");
    const emulator::process service = start_up();
    std::vector<std::string> records = told_by_main(m_handset, service);
    records.erase(records.begin(), records.begin() + 15); // one more: the arrangement was asked for
    ASSERT_EQ(records.size(), 11U);
    EXPECT_THAT(records[10],
                ::testing::MatchesRegex("info \\| pub_util_try_to_open_device, handle_context_st\\.m_fd_modem  "
                                        "= [0-9]+, amt_cfg_st\\.m_tty_modem_a = /dev/ttyMODEM\n"));
    records.pop_back();
    EXPECT_THAT(records, ElementsAre("func | init_for_amt_1_4", "func | pub_util_try_to_open_device",
                                     "info | begin to check if can open device \"/dev/ttyGS0\"",
                                     "info | (0/60)try to open device \"/dev/ttyGS0\"",
                                     "info | open device \"/dev/ttyGS0\" successfully", "func | set_serial_dev_attr",
                                     "func | pub_util_try_to_open_device",
                                     "info | begin to check if can open device \"/dev/ttyMODEM\"",
                                     "info | (0/60)try to open device \"/dev/ttyMODEM\"",
                                     "info | open device \"/dev/ttyMODEM\" successfully"));
    (void)end(service);
}

TEST_F(Arrangement, MakesNoSecondFolderWhereTheFirstIsImpossible)
{
    m_handset.files.remove("/amt");
    m_handset.files.write("/amt", "a file where the folder should be");
    const emulator::process service = start_up();
    const std::vector<std::string> records = told(m_handset.log_records());
    EXPECT_THAT(records,
                Contains("error | -118 - Call C function unsuccessfully | amt_make_folder mkdir(/amt/BT) faild "
                         "errno[20] strerror[Not a directory]"));
    EXPECT_THAT(records, Not(Contains(HasSubstr("/amt/WIFI"))));
    (void)end(service);
}

TEST_F(Arrangement, KeepsFoldersThatAreThere)
{
    m_handset.files.make_folder("/amt/BT");
    const emulator::process service = start_up();
    EXPECT_THAT(told(m_handset.log_records()), Contains("info | amt_make_folder: /amt/BT exist.\r\n"));
    EXPECT_THAT(m_handset.files.list("/amt"), ElementsAre("BT", "WIFI"));
    (void)end(service);
}

// --- the ttys themselves

using Channels = station_handset;

TEST_F(Channels, GiveProgramsThatAreRunNothingAndTakeNoTerminal)
{
    const emulator::process service = start_reading();
    const std::string proc = "/proc/" + std::to_string(service.pid());
    size_t ttys = 0;
    for (const std::string &fd : m_handset.files.list(proc + "/fd")) {
        if (m_handset.files.read_link(proc + "/fd/" + fd).find("/dev/pts/") != std::string::npos) {
            const std::string info = m_handset.files.read(proc + "/fdinfo/" + fd);
            EXPECT_NE(std::stoul(info.substr(info.find("flags:") + 6), nullptr, 8) & O_CLOEXEC, 0U) << fd;
            ttys++;
        }
    }
    EXPECT_EQ(ttys, 2U);
    const std::string stat = m_handset.files.read(proc + "/stat");
    EXPECT_THAT(stat.substr(stat.rfind(')')), ::testing::ContainsRegex("^\\) . [0-9]+ [0-9]+ [0-9]+ 0 ")) << stat;
    (void)end(service);
}

TEST_F(Channels, PassBytesAsTheyAreOnceTheyAreSet)
{
    m_station = m_handset.open_tty("/dev/ttyGS0", emulator::tty_mode::as_created);
    const emulator::process service = start_reading();
    m_modem.write("\r\n\x03\x04\n");
    EXPECT_EQ(m_station.read_exactly(5), "\r\n\x03\x04\n") << "no output processing";
    m_station.write("x\n\x03\x11\x13");
    EXPECT_EQ(m_modem.read_exactly(5), "x\n\x03\x11\x13") << "no line editing, no signals, no flow control";
    EXPECT_EQ(m_station.read_all(std::chrono::milliseconds(50)), "") << "no echo";
    (void)end(service);
}

// --- losing them

// What is told from the moment on at which something is lost.
class Loss : public station_handset {
  protected:
    void expect_clean_end(const emulator::process &service)
    {
        EXPECT_EQ(service.wait(), emulator::exited(0));
        EXPECT_THAT(entered(m_handset.log_records()), Contains("amt_handle_deinit").Times(1));
        EXPECT_THAT(m_handset.files.read(emulator::k_service_log), EndsWith(k_footer));
        EXPECT_FALSE(m_handset.files.exists("/dev/ttyAMT"));
    }
};

TEST_F(Loss, OfTheStationsPortEndsTheService)
{
    const emulator::process service = start_reading();
    m_station.hang_up();
    expect_clean_end(service);
    EXPECT_THAT(told(m_handset.log_records()), Contains("sys error | read: 5 - Input/output error"));
}

TEST_F(Loss, OfTheStationsPortWhileTheModemTalksEndsTheService)
{
    const emulator::process service = start_reading();
    std::thread modem([&] {
        try {
            m_modem.write(std::string(1000000, 'x'));
        } catch (const std::runtime_error &) { // nobody takes it any more
        }
    });
    (void)m_station.read_exactly(10000);
    m_station.hang_up();
    expect_clean_end(service);
    modem.join();
}

TEST_F(Loss, OfTheStationsPortIsFollowedByTheReleaseInItsOrder)
{
    const emulator::process service = start_reading();
    long modem_reader = 0;
    for (const emulator::log_record &record : m_handset.log_records()) {
        modem_reader = record.function == "amt_handle_read_modem_loop" ? record.thread_id : modem_reader;
    }
    m_station.hang_up();
    expect_clean_end(service);
    std::vector<emulator::log_record> records = m_handset.log_records();
    const auto is_release = [](const emulator::log_record &record) { return record.function == "amt_handle_deinit"; };
    records.erase(records.begin(), std::find_if(records.begin(), records.end(), is_release));
    EXPECT_THAT(entered(records),
                ElementsAre("amt_handle_deinit", "pub_util_kill_thread", "pub_util_handle_thread_signal",
                            "pub_util_kill_thread", "pub_util_handle_thread_signal", "pub_pty_close", "deleteTimer",
                            "deleteTimer"))
        << "the PC reader itself releases; it ends the modem reader first, then the USB monitor";
    const emulator::log_record *first = emulator::find_record(records, " will be end");
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->text, "thread " + std::to_string(modem_reader) + " will be end");
    EXPECT_EQ(first->thread_id, modem_reader);
}

TEST_F(Loss, OfTheModemsPortIsToldUntilAStationWantsIt)
{
    const emulator::process service = start_reading();
    m_modem.hang_up();
    (void)m_handset.wait_log("modem read empty data");
    m_modem = m_handset.open_tty("/dev/ttyMODEM");
    m_station.write("ATI\r");
    (void)m_handset.wait_log("write error 1, errno[5]");
    m_modem.wait_opened();
    expect_relay("AT+CSQ\r", "\r\n+CSQ: 1\r\n\r\nOK\r\n");
    EXPECT_EQ(m_station.read_all(std::chrono::milliseconds(50)), "") << "no error of the request that met the loss";
    (void)end(service);
}

TEST_F(Loss, OfTheModemsPortIsSurvivedAsOftenAsItComes)
{
    const emulator::process service = start_reading();
    for (int round = 0; round < 5; round++) {
        emulator::tty next = m_handset.open_tty("/dev/ttyMODEM");
        m_modem = std::move(next);
        m_station.write("ATI\r");
        m_modem.wait_opened();
        expect_relay("AT+CSQ\r", "\r\nOK\r\n");
    }
    (void)end(service);
}

TEST_F(Loss, OfEverythingWhileTheModemIsAwaitedEndsTheService)
{
    for (const char *what : {"signal", "cable", "station"}) {
        m_station = m_handset.open_tty("/dev/ttyGS0");
        m_modem = m_handset.open_tty("/dev/ttyMODEM");
        const emulator::process service = start_reading();
        m_handset.remove_device("/dev/ttyMODEM");
        m_modem.hang_up();
        m_station.write("ATI\r");
        (void)m_handset.wait_log("open device \"/dev/ttyMODEM\" fail: 2 - No such file or directory");
        if (what == std::string("signal")) {
            EXPECT_TRUE(service.signal(SIGTERM));
        } else {
            m_station.hang_up();
            m_handset.uevent({"change@/devices/virtual/android_usb/android0", "USB_STATE=DISCONNECTED"});
        }
        expect_clean_end(service);
    }
}

TEST_F(Loss, OfTheStationsPortDuringTheStartIsTheStartsFailure)
{
    const emulator::process service = m_handset.start(emulator::service());
    m_station.wait_opened();
    m_station.hang_up();
    EXPECT_EQ(service.wait(), emulator::exited(255));
    EXPECT_THAT(service.out(), HasSubstr("init over result=-1\"\n"));
    EXPECT_THAT(told(m_handset.log_records()), Contains("sys error | tcgetattr: 5 - Input/output error"));
    EXPECT_FALSE(m_modem.opened());
}

TEST_F(Loss, OfAStartThatWaitsForATtyIsASignalsWork)
{
    for (const char *missing : {"/dev/ttyGS0", "/dev/ttyMODEM"}) {
        m_handset.remove_device(missing);
        const emulator::process service = m_handset.start(emulator::service());
        (void)m_handset.wait_log("open device \"" + std::string(missing) + "\" fail: 2 - No such file or directory");
        EXPECT_TRUE(service.signal(SIGTERM));
        expect_clean_end(service);
        m_station = m_handset.open_tty("/dev/ttyGS0");
    }
}

TEST_F(Loss, OfATtyThatComesLateIsNone)
{
    m_handset.remove_device("/dev/ttyGS0");
    const emulator::process service = m_handset.start(emulator::service());
    (void)m_handset.wait_log("(1/60)try to open device \"/dev/ttyGS0\"");
    m_station = m_handset.open_tty("/dev/ttyGS0");
    (void)m_handset.wait_log("read_modem_loop, read ready");
    expect_relay("ATI\r", "\r\nOK\r\n");
    (void)end(service);
}

// --- the cable

TEST_F(Loss, OfTheCableEndsTheService)
{
    const emulator::process service = start_reading();
    m_handset.uevent({"change@/devices/virtual/android_usb/android0", "USB_STATE=DISCONNECTED"});
    expect_clean_end(service);
    const std::vector<std::string> records = told(m_handset.log_records());
    EXPECT_THAT(records, Contains("info | amt_handle_monitor_usb_loop uevent:[USB_STATE=DISCONNECTED] nLen:22"));
    EXPECT_THAT(records, Contains("info | amt_handle_monitor_usb_loop usb_status:[USB_STATE=DISCONNECTED]"));
    EXPECT_THAT(records, Contains("info | amt_handle_monitor_usb_loop get usb disconnect event"));
    EXPECT_THAT(records,
                Contains("info | amt_handle_monitor_usb_loop get usb disconnect event, will exit amt service"));
}

TEST_F(Loss, OfTheCableIsNotToldByOtherEvents)
{
    const emulator::process service = start_reading();
    m_handset.uevent({"change@/devices/virtual/android_usb/android0", "USB_STATE=CONFIGURED"});
    (void)m_handset.wait_log("get usb CONFIGURED event");
    (void)m_handset.wait_log("deleteTimer success, timerId[-1]");
    m_handset.uevent({"change@/devices/virtual/android_usb/android0", "USB_STATE=CONNECTED"});
    (void)m_handset.wait_log("get usb other status event");
    m_handset.uevent({"add@/devices/platform/DISCONNECTED", "ACTION=add", "USB=DISCONNECTED"});
    (void)m_handset.wait_log("uevent:[USB=DISCONNECTED] nLen:16");
    expect_relay("ATI\r", "\r\nOK\r\n");
    EXPECT_TRUE(service.running());
    (void)end(service);
}

TEST_F(Loss, OfTheCableIsOnlyToldAfterAStartByTheCable)
{
    const emulator::process service = start_reading(emulator::service({"-u"}));
    m_handset.uevent({"change@/devices/virtual/android_usb/android0", "USB_STATE=DISCONNECTED"});
    (void)m_handset.wait_log("amt_handle_monitor_usb_loop get usb disconnect event");
    m_handset.uevent({"change@/devices/virtual/android_usb/android0", "USB_STATE=CONFIGURED"});
    (void)m_handset.wait_log("amt_handle_monitor_usb_loop get usb CONFIGURED event");
    expect_relay("ATI\r", "\r\nOK\r\n");
    (void)end(service);
}

// --- several reasons at once

TEST_F(Loss, OfAllAtOnceIsOneEnding)
{
    for (int round = 0; round < 4; round++) {
        m_station = m_handset.open_tty("/dev/ttyGS0");
        m_modem = m_handset.open_tty("/dev/ttyMODEM");
        const emulator::process service = start_reading();
        std::thread cable([&] {
            m_handset.uevent({"change@/devices/virtual/android_usb/android0", "USB_STATE=DISCONNECTED"});
        });
        std::thread modem([&] { m_modem.hang_up(); });
        (void)service.signal(SIGTERM);
        m_station.hang_up();
        cable.join();
        modem.join();
        expect_clean_end(service);
    }
}

} // namespace
