// What the start opens, in which order, and what it takes back when a step fails.
#include "amt/channels/start-up.h"

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

#include "amt/amt-cfg.h"
#include "amt/channels/app-reader.h"
#include "amt/channels/modem-reader.h"
#include "amt/channels/pc-reader.h"
#include "amt/channels/usb-monitor.h"
#include "amt/identity/identity-writes.h"
#include "amt/run-mode.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/channel_fakes.h"
#include "tests/unit/amt/handshake_steps.h"
#include "tests/unit/amt/pending_notes.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr char k_default[] = "@##@";
std::string g_switch_status;
bool g_switch_is_set = false;

const char *g_failing_termios_call = "";

int fail_if(const char *call)
{
    if (strcmp(call, g_failing_termios_call) != 0) {
        return 0;
    }
    errno = EIO;
    return -1;
}

} // namespace

extern "C" {

int __wrap_property_get(const char *key, char *value, const char *default_value)
{
    const bool is_switch = strcmp(key, "amt.normal.amt.switch_status") == 0;
    if (is_switch) {
        EXPECT_STREQ(default_value, k_default);
    }
    const std::string text = is_switch && g_switch_is_set ? g_switch_status : default_value;
    memcpy(value, text.c_str(), text.size() + 1);
    return static_cast<int>(text.size());
}

int __wrap_tcgetattr(int, termios *attributes)
{
    *attributes = {};
    attributes->c_iflag = INLCR | ICRNL | IXON | IXOFF | BRKINT;
    attributes->c_oflag = OPOST | ONLCR;
    attributes->c_lflag = ICANON | ECHO | ISIG;
    attributes->c_cflag = CS8;
    return fail_if("tcgetattr");
}

int __real_cfsetispeed(termios *attributes, speed_t speed);
int __wrap_cfsetispeed(termios *attributes, speed_t speed)
{
    return fail_if("cfsetispeed") != 0 ? -1 : __real_cfsetispeed(attributes, speed);
}

int __real_cfsetospeed(termios *attributes, speed_t speed);
int __wrap_cfsetospeed(termios *attributes, speed_t speed)
{
    return fail_if("cfsetospeed") != 0 ? -1 : __real_cfsetospeed(attributes, speed);
}

termios g_set_attributes;
int __wrap_tcsetattr(int fd, int when, const termios *attributes)
{
    EXPECT_EQ(fd, k_fd_pc);
    EXPECT_EQ(when, TCSANOW);
    g_set_attributes = *attributes;
    return fail_if("tcsetattr");
}
}

namespace {

// A start with fakes for everything that takes long or touches the handset. Descriptors are numbers of no file.
struct start : test_log {
    explicit start(std::deque<int> opened)
    {
        g_fake = {};
        g_steps = {};
        g_usb_activate = 0;
        g_fake.opened = std::move(opened);
        g_switch_is_set = false;
        g_failing_termios_call = "";
        amt_cfg_st = {};
        strcpy(amt_cfg_st.m_tty_pc_a, "/dev/ttyGS0");
        strcpy(amt_cfg_st.m_tty_app_a, "/dev/ttyAMT");
        strcpy(amt_cfg_st.m_tty_modem_a, "/dev/ttyS3");
        strcpy(amt_cfg_st.m_tty_at_mux_a, "/dev/ttyAT");
        amt_cfg_st.m_modem_uart_amt_baudrate = 921600;
    }
};

// --- which arrangement

TEST(StartUp, ChoosesTheArrangementByTheFlagAndTheProperty)
{
    struct row {
        uint32_t flag;
        const char *value; // null: unset
        bool is_station;
    };
    for (const row &row : {row{0, nullptr, true}, row{0, "0", true}, row{1, nullptr, false}, row{1, "", false},
                           row{1, "0", false}, row{1, "1", true}, row{1, "10", false}, row{1, "01", false}}) {
        in_child([&row] {
            const start start({k_fd_pc, k_fd_modem});
            g_switch_is_set = row.value != nullptr;
            g_switch_status = row.value == nullptr ? "" : row.value;
            EXPECT_EQ(amt_handle_init(row.flag), ERR_NONE);
            EXPECT_EQ(g_fake.started.size(), row.is_station ? 3U : 1U) << row.flag << " " << row.value;
            EXPECT_EQ(amt_get_platform_mode(), row.flag);
            const std::string told = "info | property-amt.normal.amt.switch_status value: " + g_switch_status;
            EXPECT_THAT(start.records(), Contains(told).Times(row.flag == 1 && !g_switch_status.empty() ? 1 : 0));
            EXPECT_THAT(start.records(),
                        Contains("info | will create amt1/4 thread. ").Times(row.flag == 1 && row.is_station ? 1 : 0));
        });
    }
}

TEST(StartUp, ForgetsWhatWasBefore)
{
    in_child([] {
        const start start({});
        g_at_dev_not_opened = 1;
        note_text(pending_imei(), "1");
        note_text(pending_sn(), "2");
        pending_kind() = AMT_PENDING_SN;
        pending_channel() = 1;
        handle_context_st.m_request.m_length = 9;
        handle_context_st.m_handle_app_func_a[7] = handle_context_st.m_handle_app_func_a[0xE8];
        g_fake.opened = {1004};
        EXPECT_EQ(amt_handle_init(1), ERR_NONE);
        EXPECT_EQ(g_at_dev_not_opened, 0U);
        EXPECT_EQ(noted(pending_imei()), "");
        EXPECT_EQ(noted(pending_sn()), "");
        EXPECT_EQ(pending_kind(), AMT_PENDING_NONE);
        EXPECT_EQ(pending_channel(), 0);
        EXPECT_EQ(handle_context_st.m_request.m_length, 0U);
        EXPECT_NE(handle_context_st.m_handle_app_func_a[0xE8], nullptr);
    });
}

// --- the identities, in either arrangement

constexpr uint32_t k_both_flags_a[] = {0, 1};

TEST(StartUp, MakesTheFoldersAndThenTheParametersOfWifi)
{
    for (const uint32_t flag : k_both_flags_a) {
        in_child([flag] {
            const start start({k_fd_pc, k_fd_modem});
            EXPECT_EQ(amt_handle_init(flag), ERR_NONE);
            EXPECT_THAT(g_fake.prepared, ElementsAre("/amt/BT", "/amt/WIFI", "WiFi parameters")) << flag;
        });
    }
}

TEST(StartUp, MakesTheSecondFolderOnlyBehindTheFirstAndTheParametersInAnyCase)
{
    for (const uint32_t flag : k_both_flags_a) {
        in_child([flag] {
            const start start({k_fd_pc, k_fd_modem});
            g_fake.folder_result = ERR_C_FUNCTION;
            EXPECT_EQ(amt_handle_init(flag), ERR_NONE) << "no reason not to start";
            EXPECT_THAT(g_fake.prepared, ElementsAre("/amt/BT", "WiFi parameters")) << flag;
            EXPECT_EQ(g_fake.started.size(), flag == 0 ? 3U : 1U);
        });
    }
}

TEST(StartUp, DoesNotNeedTheParametersOfWifi)
{
    for (const uint32_t flag : k_both_flags_a) {
        for (const int32_t code : {ERR_UNKNOWN, ERR_C_FUNCTION}) {
            in_child([flag, code] {
                const start start({k_fd_pc, k_fd_modem});
                g_fake.wifi_result = code;
                amt_set_platform_mode(7);
                EXPECT_EQ(amt_handle_init(flag), ERR_NONE) << flag << " " << code;
                EXPECT_EQ(g_fake.started.size(), flag == 0 ? 3U : 1U);
                EXPECT_EQ(amt_get_platform_mode(), flag);
            });
        }
    }
}

TEST(StartUp, ForgetsOldNotesFirstAndOpensNothingBeforeTheIdentitiesAreThere)
{
    for (const uint32_t flag : k_both_flags_a) {
        in_child([flag] {
            const start start({k_fd_pc, k_fd_modem});
            note_text(pending_imei(), "1");
            pending_kind() = AMT_PENDING_IMEI;
            int steps = 0;
            g_fake.on_prepare = [&steps] {
                steps++;
                EXPECT_EQ(noted(pending_imei()), "");
                EXPECT_EQ(pending_kind(), AMT_PENDING_NONE);
                EXPECT_THAT(g_fake.open_calls, IsEmpty());
                EXPECT_THAT(g_fake.started, IsEmpty());
                EXPECT_EQ(g_init_state, AMT_INIT_RUNNING);
            };
            EXPECT_EQ(amt_handle_init(flag), ERR_NONE);
            EXPECT_EQ(steps, 3) << flag;
        });
    }
}

TEST(StartUp, MakesTheParametersOnceAlsoWhenItFailsBehindThem)
{
    in_child([] {
        const start start({0});
        EXPECT_EQ(amt_handle_init(0), ERR_C_FUNCTION);
        EXPECT_THAT(g_fake.prepared, ElementsAre("/amt/BT", "/amt/WIFI", "WiFi parameters"));
    });
    in_child([] {
        const start start({});
        g_fake.pty_opened = {ERR_C_FUNCTION};
        EXPECT_EQ(amt_handle_init(1), ERR_C_FUNCTION);
        EXPECT_THAT(g_fake.prepared, ElementsAre("/amt/BT", "/amt/WIFI", "WiFi parameters"));
    });
}

// --- on the insertion of a cable

TEST(StartUp, OnACableAwaitsItInTheStationsArrangementOnly)
{
    struct row {
        const char *name;
        uint32_t flag;
        const char *switch_status;
        std::vector<std::string> last;
    };
    for (const row &row :
         {row{"station", 0, "0", {k_admit, k_await_cable}},
          row{"switched to the station", 1, "1", {k_admit, k_await_cable}}, row{"application", 1, "0", {k_admit}}}) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const start start({k_fd_pc, k_fd_modem});
            g_usb_activate = 1;
            g_switch_is_set = true;
            g_switch_status = row.switch_status;
            EXPECT_EQ(amt_handle_init(row.flag), ERR_NONE);
            std::vector<std::string> expected = {k_forget_failure, k_choose_libraries, k_prepare_timers};
            expected.insert(expected.end(), row.last.begin(), row.last.end());
            EXPECT_EQ(g_steps.taken, expected);
        });
    }
}

TEST(StartUp, PreparesForCopiesWhichDoNotHaveItsThreads)
{
    in_child([] {
        const start start({k_fd_pc, k_fd_modem});
        EXPECT_EQ(amt_handle_init(0), ERR_NONE);
        handle_context_st.m_thread_pc = pthread_self();
        in_child([] { EXPECT_EQ(handle_context_st.m_thread_pc, 0U); });
    });
}

TEST(StartUp, WithoutACableAsksForNoAdmissionAndAwaitsNone)
{
    for (const uint32_t flag : k_both_flags_a) {
        in_child([flag] {
            const start start({k_fd_pc, k_fd_modem});
            EXPECT_EQ(amt_handle_init(flag), ERR_NONE);
            EXPECT_THAT(g_steps.taken, ElementsAre(k_forget_failure, k_choose_libraries, k_prepare_timers)) << flag;
        });
    }
}

// --- the application's

TEST(StartUp, OfTheApplicationsArrangementOpensItsPathAndTheAtPort)
{
    in_child([] {
        const start start({1004});
        EXPECT_EQ(amt_handle_init(1), ERR_NONE);
        EXPECT_STREQ(handle_context_st.m_pty.m_pts_mapping_name_a, "/dev/ttyAMT");
        EXPECT_EQ(handle_context_st.m_pty.m_ptm_fd, k_fd_app);
        EXPECT_EQ(handle_context_st.m_fd_at, 1004);
        EXPECT_THAT(g_fake.open_calls, ElementsAre("/dev/ttyAT, 2, 30, 1000"));
        EXPECT_EQ(g_fake.disable_calls, 1);
        EXPECT_THAT(g_fake.started, ElementsAre(amt_handle_read_app_loop));
        EXPECT_EQ(g_init_state, AMT_INIT_APP_READY);
        EXPECT_EQ(g_at_dev_not_opened, 0U);
        EXPECT_THAT(start.records(), Not(Contains(HasSubstr("The AT device"))));
    });
}

TEST(StartUp, OfTheApplicationsArrangementGoesOnWithoutAModem)
{
    struct row {
        int opened;
        int32_t disable_result;
        uint32_t is_missing;
    };
    for (const row &row : {row{0, 0, 1}, row{1004, ERR_TIMEOUT, 1}, row{1004, ERR_UNKNOWN, 0},
                           row{1004, ERR_C_FUNCTION, 0}, row{1004, ERR_WRITE_NOT_COMPLETED, 0}}) {
        in_child([&row] {
            const start start({row.opened});
            g_fake.disable_result = row.disable_result;
            EXPECT_EQ(amt_handle_init(1), ERR_NONE);
            EXPECT_EQ(g_at_dev_not_opened, row.is_missing) << row.opened << " " << row.disable_result;
            EXPECT_EQ(g_fake.disable_calls, row.opened == 0 ? 0 : 1);
            EXPECT_THAT(
                start.records(),
                Contains("warning | The AT device is not opened with modem.").Times(static_cast<int>(row.is_missing)));
            EXPECT_THAT(g_fake.started, ElementsAre(amt_handle_read_app_loop));
        });
    }
}

TEST(StartUp, OfTheApplicationsArrangementFailsWithItsPath)
{
    for (const int32_t code : {ERR_INVALID_PARAM, ERR_C_FUNCTION}) {
        in_child([code] {
            const start start({1004});
            g_fake.pty_opened = {code};
            amt_set_platform_mode(0);
            EXPECT_EQ(amt_handle_init(1), code);
            EXPECT_THAT(g_fake.open_calls, IsEmpty());
            EXPECT_THAT(g_fake.started, IsEmpty());
            EXPECT_EQ(g_init_state, AMT_INIT_APP_READY) << "tried";
            EXPECT_EQ(amt_get_platform_mode(), 0U);
        });
    }
}

TEST(StartUp, OfTheApplicationsArrangementTakesAllBackWhenTheReaderCannotBeStarted)
{
    in_child([] {
        const start start({1004});
        g_fake.thread_fails_at = 1;
        EXPECT_EQ(amt_handle_init(1), ERR_C_FUNCTION);
        EXPECT_EQ(handle_context_st.m_fd_at, 0);
        EXPECT_EQ(g_fake.pty_closings, 1);
        EXPECT_THAT(start.records(),
                    Contains("error | -118 - Call C function unsuccessfully | pthread_create() fail: 11"));
    });
}

// --- the station's

TEST(StartUp, OfTheStationsArrangementOpensBothTtysAndStartsThreeWorkers)
{
    in_child([] {
        const start start({k_fd_pc, k_fd_modem});
        g_usb_state = AMT_USB_CONFIGURED;
        EXPECT_EQ(amt_handle_init(0), ERR_NONE);
        EXPECT_THAT(g_fake.open_calls, ElementsAre("/dev/ttyGS0, 2, 60, 1000", "/dev/ttyS3, 2, 60, 1000"));
        EXPECT_THAT(g_fake.slept_seconds, ElementsAre(1));
        EXPECT_THAT(g_fake.lines, ElementsAre("1002, 921600"));
        EXPECT_THAT(g_fake.started,
                    ElementsAre(amt_handle_read_pc_loop, amt_handle_read_modem_loop, amt_handle_monitor_usb_loop));
        EXPECT_EQ(g_usb_state, AMT_USB_UNKNOWN);
        EXPECT_EQ(handle_context_st.m_fd_pc, k_fd_pc);
        EXPECT_EQ(handle_context_st.m_fd_modem, k_fd_modem);
        EXPECT_EQ(handle_context_st.m_pty.m_ptm_fd, -1) << "not standard input";
        EXPECT_EQ(g_init_state, AMT_INIT_RUNNING);
        EXPECT_THAT(start.text(), HasSubstr("pub_util_try_to_open_device, handle_context_st.m_fd_modem  = 1002, "
                                            "amt_cfg_st.m_tty_modem_a = /dev/ttyS3\n"));
    });
}

TEST(StartUp, OfTheStationsArrangementSetsTheStationsLine)
{
    in_child([] {
        const start start({k_fd_pc, k_fd_modem});
        EXPECT_EQ(amt_handle_init(0), ERR_NONE);
        EXPECT_EQ(cfgetispeed(&g_set_attributes), static_cast<speed_t>(B115200));
        EXPECT_EQ(cfgetospeed(&g_set_attributes), static_cast<speed_t>(B115200));
        EXPECT_EQ(g_set_attributes.c_iflag, static_cast<tcflag_t>(IXOFF | BRKINT)) << "the others stay";
        EXPECT_EQ(g_set_attributes.c_oflag, static_cast<tcflag_t>(ONLCR));
        EXPECT_EQ(g_set_attributes.c_lflag, 0U);
    });
}

TEST(StartUp, OfTheStationsArrangementEndsWithTheCallThatFailedOnItsLine)
{
    for (const char *call : {"tcgetattr", "cfsetispeed", "cfsetospeed", "tcsetattr"}) {
        in_child([call] {
            const start start({k_fd_pc, k_fd_modem});
            g_failing_termios_call = call;
            EXPECT_EQ(amt_handle_init(0), -1) << call;
            EXPECT_THAT(start.records(), Contains("sys error | " + std::string(call) + ": 5 - Input/output error"));
            EXPECT_EQ(g_fake.open_calls.size(), 1U) << "the modem is not tried";
            EXPECT_EQ(handle_context_st.m_fd_pc, 0);
        });
    }
}

TEST(StartUp, OfTheStationsArrangementFailsWithTheStationsTty)
{
    in_child([] {
        const start start({0});
        g_usb_state = AMT_USB_CONFIGURED;
        EXPECT_EQ(amt_handle_init(0), ERR_C_FUNCTION);
        EXPECT_THAT(g_fake.open_calls, ElementsAre("/dev/ttyGS0, 2, 60, 1000"));
        EXPECT_THAT(g_fake.slept_seconds, ElementsAre(1)) << "all the same";
        EXPECT_THAT(g_fake.started, IsEmpty());
        EXPECT_EQ(g_usb_state, AMT_USB_UNKNOWN);
    });
}

TEST(StartUp, OfTheStationsArrangementFailsWithTheModemsTty)
{
    in_child([] {
        const start start({k_fd_pc, 0});
        g_usb_state = AMT_USB_DISCONNECTED;
        EXPECT_EQ(amt_handle_init(0), ERR_C_FUNCTION);
        EXPECT_EQ(g_usb_state, AMT_USB_UNKNOWN);
        EXPECT_EQ(handle_context_st.m_fd_pc, 0) << "closed again";
        EXPECT_THAT(g_fake.started, IsEmpty());
        EXPECT_THAT(g_fake.lines, IsEmpty());
        EXPECT_THAT(start.text(),
                    HasSubstr("handle_context_st.m_fd_modem  = 0, amt_cfg_st.m_tty_modem_a = /dev/ttyS3\n"));
    });
}

TEST(StartUp, OfTheStationsArrangementTakesAllBackWhenAWorkerCannotBeStarted)
{
    for (int n = 1; n <= 3; n++) {
        in_child([n] {
            const start start({k_fd_pc, k_fd_modem});
            g_fake.thread_fails_at = n;
            EXPECT_EQ(amt_handle_init(0), ERR_C_FUNCTION);
            EXPECT_EQ(handle_context_st.m_fd_pc, 0);
            EXPECT_EQ(handle_context_st.m_fd_modem, 0);
            EXPECT_EQ(handle_context_st.m_thread_pc, 0U);
            EXPECT_EQ(handle_context_st.m_thread_modem, 0U);
            EXPECT_EQ(g_fake.started.size(), static_cast<size_t>(n - 1));
            EXPECT_THAT(start.records(),
                        Contains("error | -118 - Call C function unsuccessfully | pthread_create(): 11 - "
                                 "Resource temporarily unavailable"));
        });
    }
}

TEST(StartUp, OfTheStationsArrangementForgetsTheCableWhenAWorkerCannotBeStarted)
{
    for (int n = 1; n <= 3; n++) {
        in_child([n] {
            const start start({k_fd_pc, k_fd_modem});
            g_fake.thread_fails_at = n;
            g_fake.on_thread = [] { g_usb_state = AMT_USB_CONFIGURED; };
            EXPECT_EQ(amt_handle_init(0), ERR_C_FUNCTION);
            EXPECT_EQ(g_usb_state, AMT_USB_UNKNOWN) << "worker " << n;
        });
    }
}

TEST(StartUp, LeavesALineAloneThatIsNoSerialPort)
{
    in_child([] {
        const start start({k_fd_pc, k_fd_modem});
        strcpy(amt_cfg_st.m_tty_modem_a, "/dev/ttyUSB3");
        EXPECT_EQ(amt_handle_init(0), ERR_NONE);
        EXPECT_THAT(g_fake.lines, IsEmpty());
    });
}

} // namespace
