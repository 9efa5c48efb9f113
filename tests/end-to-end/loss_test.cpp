// How the service ends, or goes on, when it loses a channel or its cable.
#include <algorithm>
#include <atomic>
#include <thread>

#include "tests/end-to-end/station_handset.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;

// What is told from the moment on at which something is lost.
class Loss : public station_handset {
  protected:
    void expect_clean_end(const emulator::process &service)
    {
        EXPECT_EQ(service.wait(), emulator::exited(0)) << service.err();
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
    std::atomic<bool> has_ended{false};
    std::thread modem([&] {
        while (!has_ended) {
            try {
                m_modem.write(std::string(1000, 'x'), std::chrono::milliseconds(50));
            } catch (const std::runtime_error &) { // nobody takes it any more
            }
        }
    });
    (void)m_station.read_exactly(10000);
    m_station.hang_up();
    expect_clean_end(service);
    has_ended = true;
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

TEST_F(Loss, ByASignalEndsTheWorkersInTheirOrder)
{
    const emulator::process service = start_reading();
    EXPECT_TRUE(service.signal(SIGTERM));
    expect_clean_end(service);
    std::vector<long> expected;
    std::vector<long> ended;
    const std::vector<emulator::log_record> records = m_handset.log_records();
    for (const char *body : {"amt_handle_read_modem_loop", "amt_handle_read_pc_loop", "amt_handle_monitor_usb_loop"}) {
        for (const emulator::log_record &record : records) {
            if (record.level == "func" && record.function == body) {
                expected.push_back(record.thread_id);
            }
        }
    }
    for (const emulator::log_record &record : records) {
        if (record.text.find(" will be end") != std::string::npos) {
            ended.push_back(record.thread_id);
        }
    }
    EXPECT_EQ(expected.size(), 3U);
    EXPECT_EQ(ended, expected);
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

// Nobody reads the port when it hangs up: from then on it is not lost but empty.
TEST_F(Loss, OfTheStationsPortWhileNobodyReadsItIsNoticedWithTheModemsNextWord)
{
    const emulator::process service = start_reading();
    m_handset.remove_device("/dev/ttyMODEM");
    m_modem.hang_up();
    m_station.write("ATI\r");
    (void)m_handset.wait_log("open device \"/dev/ttyMODEM\" fail: 2 - No such file or directory");
    m_station.hang_up();
    m_modem = m_handset.open_tty("/dev/ttyMODEM");
    (void)m_handset.wait_log("pc read empty data");
    EXPECT_TRUE(service.running());
    m_modem.wait_opened();
    m_modem.write("\r\nRING\r\n");
    expect_clean_end(service);
    EXPECT_THAT(told(m_handset.log_records()), Contains(HasSubstr("write error, errno[5]")));
}

// The call of the library, held for longer than anybody waits.
TEST_F(Loss, OfALibraryThatDoesNotComeBackKeepsNoSignalWaiting)
{
    const emulator::process service = start_reading();
    m_handset.control("amt_usb_charger_enable", {"delay_ms=3600000"});
    m_station.write("AT\r");
    (void)m_handset.wait_log("will call amt_usb_charger_enable.");
    EXPECT_TRUE(service.signal(SIGTERM));
    expect_clean_end(service);
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

// --- nobody takes what is written

class FullTty : public Loss {
  protected:
    // The modem talks until neither the service nor its tty takes more.
    void talk_until_full() const
    {
        try {
            m_modem.write(std::string(1000000, 'x'), std::chrono::milliseconds(200));
            ADD_FAILURE() << "a tty took it all";
        } catch (const std::runtime_error &) { // full
        }
    }
};

TEST_F(FullTty, OfTheStationKeepsNoSignalWaiting)
{
    const emulator::process service = start_reading();
    talk_until_full();
    EXPECT_TRUE(service.signal(SIGTERM));
    expect_clean_end(service);
}

TEST_F(FullTty, OfTheStationKeepsNoCableWaiting)
{
    const emulator::process service = start_reading();
    talk_until_full();
    m_handset.uevent({"change@/devices/virtual/android_usb/android0", "USB_STATE=DISCONNECTED"});
    expect_clean_end(service);
}

TEST_F(FullTty, OfTheStationIsLostWithTheStation)
{
    const emulator::process service = start_reading();
    talk_until_full();
    m_station.hang_up();
    expect_clean_end(service);
}

TEST_F(FullTty, OfTheStationLosesNothingOnceItReadsAgain)
{
    const emulator::process service = start_reading();
    std::string said;
    try {
        for (int i = 0; i < 100000; i++) {
            const std::string piece = std::to_string(i) + "\r\n";
            m_modem.write(piece, std::chrono::milliseconds(200));
            said += piece;
        }
        ADD_FAILURE() << "a tty took it all";
    } catch (const std::runtime_error &) { // full; a part of the last piece may have gone
    }
    EXPECT_EQ(m_station.read_exactly(said.size()), said);
    (void)end(service);
}

TEST_F(FullTty, OfTheModemKeepsNoSignalWaiting)
{
    const emulator::process service = start_reading();
    try {
        m_station.write(std::string(1000000, 'x'), std::chrono::milliseconds(200));
        ADD_FAILURE() << "a tty took it all";
    } catch (const std::runtime_error &) {
    }
    EXPECT_TRUE(service.signal(SIGTERM));
    expect_clean_end(service);
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
