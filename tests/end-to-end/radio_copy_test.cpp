// The start of Bluetooth, which doubles the service: both acknowledge, both go on, and each ends by itself.
#include <signal.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "station/link.h"
#include "tests/end-to-end/application_handset.h"
#include "tests/end-to-end/station_handset.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::UnorderedElementsAre;

// What the two arrangements have in common: the number of the copy, and its end.
template <typename arrangement>
class copying : public arrangement {
  protected:
    // The copy is the one that starts Bluetooth; its only thread has the number of the process.
    long wait_copy() const { return this->m_handset.wait_log("BT-start start").thread_id; }

    // One that has ended stays in the kernel's list until the service has, which does not wait for it.
    bool lives(long pid) const
    {
        try {
            return this->state_in("/proc/" + std::to_string(pid) + "/stat") != 'Z';
        } catch (const std::runtime_error &) {
            return false; // nowhere any more
        }
    }

    void end_copy(long pid)
    {
        emulator::program kill;
        kill.path = "sh";
        kill.arguments = {"-c", "kill -TERM " + std::to_string(pid)};
        EXPECT_EQ(this->m_handset.start(kill).wait(), emulator::exited(0));
        emulator::wait_until("the end of the copy", [this, pid] { return !lives(pid); });
        EXPECT_THAT(this->m_handset.files.read(emulator::k_service_log), EndsWith(k_footer));
    }

    // While the service is stopped, what is answered is answered by the copy. A signal stops thread by thread.
    void stop(const emulator::process &service) const
    {
        EXPECT_TRUE(service.signal(SIGSTOP));
        emulator::wait_until("all of the service to stop",
                             [this, &service] { return this->is_all(service.pid(), 'T'); });
    }
    static void go_on(const emulator::process &service) { EXPECT_TRUE(service.signal(SIGCONT)); }
};

// --- a station

class BluetoothOfAStation : public copying<station_handset> {
  protected:
    station::message receive() { return m_link.receive().message.value_or(station::message(0)); }

    station::message ask(const station::message &request)
    {
        m_link.send(request);
        EXPECT_EQ(m_link.receive().kind, station::answer_kind::pre_response);
        return receive();
    }

    static station::message satellite(uint32_t number)
    {
        return station::message(0xB3).with_int(144, 0).with_int(141, number).with_int(1, 0);
    }

    const station::message m_done = station::message(0xAB).with_int(1, 0);
    const station::message m_gps_test = station::message(0xB0);
    const station::message m_gps_tested = station::message(0xAF).with_int(1, 0);
    station::link m_link{m_station.fd()};
};

TEST_F(BluetoothOfAStation, IsAcknowledgedTwiceAndStartedOnce)
{
    const emulator::process service = start_reading();
    EXPECT_EQ(ask(station::message(0xAA)), m_done);
    EXPECT_EQ(receive(), m_done);
    EXPECT_THAT(calls_of("hwt_"), ElementsAre("hwt_btCtrl(1)"));
    const long copy = wait_copy();
    EXPECT_NE(copy, service.pid());
    EXPECT_TRUE(lives(copy));
    for (uint32_t round = 0; round < 20; round++) {
        m_handset.control("hwt_gpsCtrl", {"svid=" + std::to_string(round)});
        EXPECT_EQ(ask(station::message(0xB2)), satellite(round)) << "by one of the two and no more";
    }
    (void)end(service);
    end_copy(copy);
}

TEST_F(BluetoothOfAStation, LeavesACopyThatServesAlone)
{
    const emulator::process service = start_reading();
    EXPECT_EQ(ask(station::message(0xAA)), m_done);
    EXPECT_EQ(receive(), m_done);
    const long copy = wait_copy();
    stop(service);
    EXPECT_EQ(ask(m_gps_test), m_gps_tested);
    m_station.write("ATI\r");
    EXPECT_EQ(m_modem.read_exactly(4), "ATI\r");
    go_on(service);
    m_modem.write("\r\nOK\r\n");
    EXPECT_EQ(m_station.read_exactly(6), "\r\nOK\r\n") << "the modem's word is the service's own to pass on";
    (void)end(service);
    EXPECT_EQ(ask(m_gps_test), m_gps_tested) << "the service's end is not the copy's";
    end_copy(copy);
}

TEST_F(BluetoothOfAStation, LeavesAServiceThatOutlivesTheCopy)
{
    const emulator::process service = start_reading();
    EXPECT_EQ(ask(station::message(0xAA)), m_done);
    EXPECT_EQ(receive(), m_done);
    end_copy(wait_copy());
    EXPECT_EQ(ask(m_gps_test), m_gps_tested);
    expect_relay("ATI\r", "\r\nOK\r\n");
    (void)end(service);
}

// What became of the handshake of a cable's insertion is told by the service alone.
TEST_F(BluetoothOfAStation, LeavesACopyThatRecordsNothingAtItsEnd)
{
    constexpr char k_property[] = "sys.kv.amt.failure.handshake";
    const emulator::process service = start_reading(emulator::service({"-u"}));
    EXPECT_EQ(ask(station::message(0xAA)), m_done);
    EXPECT_EQ(receive(), m_done);
    end_copy(wait_copy());
    EXPECT_EQ(m_handset.property(k_property), "");
    EXPECT_EQ(count_log(k_property), 0U);
    (void)end(service);
    EXPECT_EQ(m_handset.property(k_property), "2");
    EXPECT_EQ(count_log(k_property), 1U);
}

// The service alone hears the modem.
TEST_F(BluetoothOfAStation, LeavesACopyWhoseIdentitiesAreSavedByTheService)
{
    const emulator::process service = start_reading();
    EXPECT_EQ(ask(station::message(0xAA)), m_done);
    EXPECT_EQ(receive(), m_done);
    stop(service);
    for (const std::string request : {"AT^DMPCHN=1\r", "AT^DCGSNW=490154203237518\r"}) {
        m_link.send_raw(request);
        EXPECT_EQ(m_modem.read_exactly(request.size()), request);
    }
    go_on(service);
    m_modem.write("\r\nOK\r\n");
    EXPECT_EQ(m_link.receive().bytes, "\r\nOK\r\n");
    EXPECT_EQ(m_handset.files.read("/amt/imei-2.txt"), "490154203237518");
    end_copy(wait_copy());
    (void)end(service);
}

TEST_F(BluetoothOfAStation, ThatDoesNotStartIsAcknowledgedAndThenRefusedByTheCopy)
{
    m_handset.control("hwt_btCtrl", {"result=-3"});
    const emulator::process service = start_reading();
    const std::vector<station::message> answers = {ask(station::message(0xAA)), receive()};
    EXPECT_THAT(answers, UnorderedElementsAre(m_done, station::message(0xAB).with_int(1, 1)));
    const long copy = wait_copy();
    const std::vector<std::string> records = told(m_handset.log_records());
    EXPECT_THAT(records, Contains("error | -100 - Unknown error | BT-start error. call hwt_btCtrl fail: -3"));
    EXPECT_THAT(records, Contains("error | -118 - Call C function unsuccessfully | error to exec: hciattach"));
    EXPECT_EQ(ask(m_gps_test), m_gps_tested);
    (void)end(service);
    end_copy(copy);
}

TEST_F(BluetoothOfAStation, IsNotWaitedFor)
{
    m_handset.control("hwt_btCtrl", {"delay_ms=600000"});
    const emulator::process service = start_reading();
    EXPECT_EQ(ask(station::message(0xAA)), m_done);
    EXPECT_EQ(ask(m_gps_test), m_gps_tested) << "while the copy is still at it";
    (void)end(service);
}

TEST_F(BluetoothOfAStation, LeavesACopyThatEndsWithTheStation)
{
    const emulator::process service = start_reading();
    EXPECT_EQ(ask(station::message(0xAA)), m_done);
    EXPECT_EQ(receive(), m_done);
    const long copy = wait_copy();
    emulator::wait_until("both to wait for the station", [this, &service, copy] {
        return count_log("read_pc_loop, read ready") == 3 && is_all(service.pid(), 'S') && is_all(copy, 'S');
    });
    m_station.hang_up();
    EXPECT_EQ(service.wait(), emulator::exited(0));
    emulator::wait_until("the end of the copy", [this, copy] { return !lives(copy); });
}

// --- an application

class BluetoothOfAnApplication : public copying<application_handset> {};

TEST_F(BluetoothOfAnApplication, IsNotWaitedFor)
{
    m_handset.control("hwt_btCtrl", {"delay_ms=600000"});
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    EXPECT_EQ(ask(app, station::message(0xAA)), done(0xAB));
    EXPECT_EQ(ask(app, station::message(0xB0)), done(0xAF)) << "while the copy is still at it";
    (void)end(service);
}

TEST_F(BluetoothOfAnApplication, IsAcknowledgedTwiceAndBothGoOn)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    EXPECT_EQ(ask(app, station::message(0xAA)), done(0xAB));
    EXPECT_EQ(receive(app), done(0xAB));
    EXPECT_THAT(calls_of("hwt_"), ElementsAre("hwt_btCtrl(1)"));
    const long copy = wait_copy();
    for (int round = 0; round < 20; round++) {
        EXPECT_EQ(ask(app, station::message(0xB0)), done(0xAF));
    }
    stop(service);
    EXPECT_EQ(ask(app, station::message(0x07)).get_string(21), "490154203237518") << "the copy has the modem, too";
    go_on(service);
    (void)end(service);
    EXPECT_EQ(ask(app, station::message(0xB0)), done(0xAF));
    end_copy(copy);
}

TEST_F(BluetoothOfAnApplication, LeavesAPortToWhoeverOpensItsPathAgain)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    EXPECT_EQ(ask(app, station::message(0xAA)), done(0xAB));
    EXPECT_EQ(receive(app), done(0xAB));
    const size_t before = ports_made();
    app.hang_up();
    emulator::wait_until("a port of each", [&] { return ports_made() == before + 2; });
    app = open_app();
    EXPECT_EQ(ask(app, station::message(0xB0)), done(0xAF));
    (void)end(service);
}

} // namespace
