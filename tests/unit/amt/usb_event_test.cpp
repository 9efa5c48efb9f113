// What the kernel's device events say of the cable.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "amt/channels/timers.h"
#include "amt/channels/usb-monitor.h"
#include "amt/core/context.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/timer_fakes.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

const std::string k_prefix = "info | amt_handle_monitor_usb_loop ";

void hear(const std::string &event)
{
    amt_handle_usb_event(event.c_str(), event.size());
}

std::string event_of(const std::vector<std::string> &texts)
{
    std::string event;
    for (const std::string &text : texts) {
        event += text + '\0';
    }
    return event;
}

TEST(UsbEvent, TellsTheStateOfTheCable)
{
    struct row {
        const char *text;
        uint8_t state;
        int32_t is_configured;
        const char *told;
    };
    for (const row &row : {row{"USB_STATE=DISCONNECTED", 0, 0, "get usb disconnect event"},
                           row{"USB_STATE=CONFIGURED", 1, 1, "get usb CONFIGURED event"},
                           row{"USB_STATE=CONNECTED", 2, 7, "get usb other status event"},
                           row{"USB_STATE=", 2, 7, "get usb other status event"},
                           row{"xUSB_STATExCONFIGUREDxDISCONNECTED", 0, 0, "get usb disconnect event"}}) {
        in_child([&row] {
            const test_log log;
            amt_prepare_timers();
            g_timers = {};
            g_timers.is_real = false;
            g_usbEnumTimer = timer_of(7);
            g_handShakeTimer = timer_of(8);
            g_usb_state = AMT_USB_UNKNOWN;
            g_is_usb_configured = 7;
            hear(event_of({"change@/devices/virtual/android_usb/android0", row.text, "SEQNUM=1"}));
            EXPECT_EQ(g_usb_state, row.state) << row.text;
            EXPECT_EQ(g_is_usb_configured, row.is_configured) << row.text;
            EXPECT_THAT(log.records(), Contains(k_prefix + "usb_status:[" + row.text + "]"));
            EXPECT_THAT(log.records(), Contains(k_prefix + row.told));
            const std::vector<std::string> deleted = {"delete 7"};
            EXPECT_EQ(g_timers.calls, row.state == 1 ? deleted : std::vector<std::string>{}) << row.text;
            EXPECT_EQ(g_handShakeTimer, timer_of(8)) << row.text;
        });
    }
}

TEST(UsbEvent, IsToldTextByTextUpToTheState)
{
    in_child([] {
        const test_log log;
        hear(event_of({"change@/a", "", "", "ACTION=change", "USB_STATE=DISCONNECTED", "USB_STATE=CONFIGURED"}));
        EXPECT_THAT(log.records(),
                    ElementsAre(k_prefix + "uevent:[change@/a] nLen:9", k_prefix + "uevent:[ACTION=change] nLen:13",
                                k_prefix + "uevent:[USB_STATE=DISCONNECTED] nLen:22",
                                k_prefix + "usb_status:[USB_STATE=DISCONNECTED]",
                                k_prefix + "get usb disconnect event"));
    });
}

TEST(UsbEvent, WithoutAStateChangesNothing)
{
    for (const std::string &event :
         {event_of({"add@/devices/DISCONNECTED", "USB=CONFIGURED", "usb_state=CONFIGURED"}), std::string(),
          std::string(2048, '\0'), std::string(2048, 'U'), std::string("DISCONNECTED\0USB_STAT", 21)}) {
        in_child([&event] {
            const test_log log;
            g_usb_state = AMT_USB_OTHER;
            g_is_usb_configured = 1;
            hear(event);
            EXPECT_EQ(g_usb_state, AMT_USB_OTHER);
            EXPECT_EQ(g_is_usb_configured, 1);
            EXPECT_THAT(log.records(), Not(Contains(HasSubstr("usb_status"))));
        });
    }
}

} // namespace
