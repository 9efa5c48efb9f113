// The way from normal mode into the factory test mode, which ends the service, and the flag that is set before it.
#include <string>
#include <vector>

#include "tests/end-to-end/application_handset.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class Switch : public application_handset {
  protected:
    // The properties that were set, in their order.
    std::vector<std::string> properties_set() const
    {
        std::vector<std::string> calls;
        for (const std::string &call : m_handset.calls()) {
            if (call.find("property_set(") == 0) {
                calls.push_back(call);
            }
        }
        return calls;
    }
};

TEST_F(Switch, IsAnsweredAndEndsTheService)
{
    m_handset.set_property("sys.usb.config", "mtp,adb");
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    EXPECT_EQ(ask(app, station::message(0xC3).with_int(201, 3)), done(0xC4));
    EXPECT_EQ(service.wait(), emulator::exited(0)) << service.err();
    EXPECT_EQ(m_at->received(), "AT^DLKS=0\rAT^DMPCHN=0\rAT^DSWAMT=3\r");
    EXPECT_THAT(properties_set(),
                ElementsAre("property_set(amt.normal.amt.switch_status, 1)", "property_set(sys.usb.config, serial,adb)",
                            "property_set(ctl.stop, kv-zep-aux0)"));
    EXPECT_FALSE(m_handset.files.exists(k_app_path));
    EXPECT_THAT(m_handset.files.read(emulator::k_service_log), ::testing::EndsWith(k_footer));
    const emulator::process next = start_up();
    emulator::wait_until("the station's port", [this] { return m_station.opened(); });
    (void)end(next);
}

TEST_F(Switch, LeavesAPortThatIsSerialAlone)
{
    m_handset.set_property("sys.usb.config", "serial,adb");
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    EXPECT_EQ(ask(app, station::message(0xC3).with_int(201, 1)), done(0xC4));
    EXPECT_EQ(service.wait(), emulator::exited(0)) << service.err();
    EXPECT_THAT(properties_set(),
                ElementsAre("property_set(amt.normal.amt.switch_status, 1)", "property_set(ctl.stop, kv-zep-aux0)"));
}

TEST_F(Switch, IsGivenUpWhenTheModemRefuses)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    m_at->clear_received();
    m_at->teach("AT^DMPCHN=0 => \\r\\n+CME ERROR: 3\\r\\n");
    EXPECT_EQ(ask(app, station::message(0xC3).with_int(201, 3)), modem_failure(0xC4));
    EXPECT_EQ(m_at->received(), "AT^DMPCHN=0\r") << "nothing of a mode";
    m_at->teach("AT^DMPCHN=0 => \\r\\nOK\\r\\n\nAT^DSWAMT=* => \\r\\nERROR\\r\\n");
    EXPECT_EQ(ask(app, station::message(0xC3).with_int(201, 3)), modem_failure(0xC4));
    EXPECT_TRUE(properties_set().empty());
    EXPECT_EQ(ask(app, station::message(0xC5)), station::message(0xC6).with_int(202, 5).with_int(1, 0))
        << "the service goes on";
    (void)end(service);
}

TEST_F(Switch, IsNotSupportedWhenTheModemLeavesAFieldOut)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    m_at->teach("AT^DMCC? => \\r\\n^DMCC: 2,2,1\\r\\n\\r\\nOK\\r\\n");
    EXPECT_EQ(ask(app, station::message(0xC5)), modem_failure(0xC6));
    EXPECT_THAT(told(m_handset.log_records()), Contains(HasSubstr("standby0_rat is null!!!")));
    (void)end(service);
}

TEST_F(Switch, HasAFlagThatOutlivesTheService)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    const auto flag_is = [](std::uint32_t flag) { return station::message(0xDC).with_int(192, flag).with_int(1, 0); };
    EXPECT_EQ(ask(app, station::message(0xDB).with_int(192, 2)), flag_is(1)) << "without a file";
    EXPECT_EQ(ask(app, station::message(0xDB).with_int(192, 0)), flag_is(0));
    EXPECT_EQ(m_handset.files.read("/amt/power_usb_amt.txt"), "0");
    EXPECT_EQ(ask(app, station::message(0xDB).with_int(192, 2)), flag_is(0));
    EXPECT_EQ(ask(app, station::message(0xDB).with_int(192, 1)), flag_is(0));
    EXPECT_EQ(ask(app, station::message(0xDB).with_int(192, 3)), modem_failure(0xDC));
    app.hang_up();
    (void)end(service);
    const emulator::process next = start_up();
    emulator::tty again = open_app();
    EXPECT_EQ(ask(again, station::message(0xDB).with_int(192, 2)), flag_is(1));
    (void)end(next);
}

} // namespace
