// The loop of the USB monitor: its socket, how it waits for events, and what ends it.
#include "amt/channels/usb-monitor.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <pthread.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csetjmp>
#include <deque>
#include <initializer_list>
#include <string>
#include <vector>

#include "amt/core/context.h"
#include "amt/run-mode.h"
#include "pub/base/wait.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::Not;

const std::string k_prefix = "info | amt_handle_monitor_usb_loop ";
const std::string k_leaves = k_prefix + "get usb disconnect event, will exit amt service";

constexpr int k_fd = 1001; // of no file

// One look at the socket, and the read behind it when there is something to read.
struct look {
    int ready = 0;
    ssize_t count = 0;
    int error = 0;
    std::string bytes;
};

look event(const std::string &bytes)
{
    return {1, static_cast<ssize_t>(bytes.size()), 0, bytes};
}
look empty_read()
{
    return {1, 0, 0, ""};
}
look failed_read(int error)
{
    return {1, -1, error, ""};
}
look no_event()
{
    return {};
}
look failed_look(int error)
{
    return {-1, 0, error, ""};
}

enum class ending { still_watching, just_returned, of_the_service };

struct kernel_fakes {
    std::string failing_call; // fails with EPERM
    std::deque<look> looks;   // in order; when there are no more, the test takes over
    look now;
    std::vector<std::string> calls;
    pub_util_thread *ended_by = nullptr;
    std::jmp_buf out; // to the test, with how it came there
};
kernel_fakes g_kernel;

std::string call(const char *name, std::initializer_list<long> arguments)
{
    std::string text = name;
    for (const long argument : arguments) {
        text += " " + std::to_string(argument);
    }
    return text;
}

int result_of(const char *name, int result)
{
    if (g_kernel.failing_call != name) {
        return result;
    }
    errno = EPERM;
    return -1;
}

void leave(ending how)
{
    std::longjmp(g_kernel.out, static_cast<int>(how) + 1);
}

} // namespace

extern "C" {

int __real_socket(int family, int type, int protocol);
int __wrap_socket(int family, int type, int protocol)
{
    if (family != AF_NETLINK) {
        return __real_socket(family, type, protocol);
    }
    g_kernel.calls.push_back(call("socket", {family, type, protocol}));
    return result_of("socket", k_fd);
}

int __real_setsockopt(int fd, int level, int name, const void *value, socklen_t length);
int __wrap_setsockopt(int fd, int level, int name, const void *value, socklen_t length)
{
    if (fd != k_fd) {
        return __real_setsockopt(fd, level, name, value, length);
    }
    int number = 0;
    EXPECT_EQ(length, sizeof(number));
    memcpy(&number, value, sizeof(number));
    g_kernel.calls.push_back(call("setsockopt", {level, name, number}));
    return result_of("setsockopt", 0);
}

int __real_bind(int fd, const sockaddr *address, socklen_t length);
int __wrap_bind(int fd, const sockaddr *address, socklen_t length)
{
    if (fd != k_fd) {
        return __real_bind(fd, address, length);
    }
    sockaddr_nl netlink = {};
    EXPECT_EQ(length, sizeof(netlink));
    memcpy(&netlink, address, sizeof(netlink));
    g_kernel.calls.push_back(call("bind", {netlink.nl_family, netlink.nl_pid, netlink.nl_groups}));
    return result_of("bind", 0);
}

int __real_close(int fd);
int __wrap_close(int fd)
{
    if (fd != k_fd) {
        return __real_close(fd);
    }
    g_kernel.calls.emplace_back("close");
    return 0;
}

int __wrap__Z15pub_util_selectiP6fd_setS0_P7timeval(int count, fd_set *readable, fd_set *writable, timeval *left)
{
    if (g_kernel.looks.empty()) {
        leave(ending::still_watching);
    }
    EXPECT_EQ(count, k_fd + 1);
    EXPECT_TRUE(FD_ISSET(k_fd, readable));
    EXPECT_EQ(writable, nullptr);
    g_kernel.calls.push_back(call("select", {left->tv_sec, left->tv_usec}));
    g_kernel.now = g_kernel.looks.front();
    g_kernel.looks.pop_front();
    *left = {};
    errno = g_kernel.now.error;
    return g_kernel.now.ready;
}

ssize_t __wrap__Z13pub_util_readiPvm(int fd, void *bytes, size_t room)
{
    EXPECT_EQ(fd, k_fd);
    g_kernel.calls.push_back(call("read", {static_cast<long>(room)}));
    memcpy(bytes, g_kernel.now.bytes.data(), std::min(room, g_kernel.now.bytes.size()));
    errno = g_kernel.now.error;
    return g_kernel.now.count;
}

void __wrap__Z17pub_util_sleep_msj(uint32_t milliseconds)
{
    g_kernel.calls.push_back(call("sleep", {milliseconds}));
}

void __wrap__Z22amt_handle_end_servicePSt6atomicImE(pub_util_thread *own_handle)
{
    g_kernel.calls.emplace_back("end");
    g_kernel.ended_by = own_handle;
    leave(ending::of_the_service);
}
}

namespace {

const std::string k_look = call("select", {0, 100000});
const std::string k_read = call("read", {2048});
const std::string k_pause = call("sleep", {100});

// A monitor as the start leaves it: the cable's state is not known.
struct monitor : test_log {
    explicit monitor(int32_t usb_activate = 0)
    {
        g_kernel = {};
        amt_context_clear();
        handle_context_st.m_thread_usb = pthread_self();
        g_usb_activate = usb_activate;
        g_usb_state = AMT_USB_UNKNOWN;
    }

    // Runs until it ends, or has had all its looks.
    static ending watch(std::deque<look> looks)
    {
        g_kernel.looks = std::move(looks);
        const int how = setjmp(g_kernel.out);
        if (how != 0) {
            return static_cast<ending>(how - 1);
        }
        amt_handle_monitor_usb_loop();
        return ending::just_returned;
    }
};

std::vector<std::string> opening()
{
    return {call("socket", {AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, 15}),
            call("setsockopt", {SOL_SOCKET, SO_RCVBUF, 1024}), call("bind", {AF_NETLINK, getpid(), 1})};
}

// What was called on the way behind the opening.
std::vector<std::string> calls_of_the_loop()
{
    const std::vector<std::string> &calls = g_kernel.calls;
    return {calls.begin() + static_cast<ptrdiff_t>(std::min(calls.size(), opening().size())), calls.end()};
}

std::string event_of(const std::vector<std::string> &texts)
{
    std::string bytes;
    for (const std::string &text : texts) {
        bytes += text + '\0';
    }
    return bytes;
}

// --- the socket

TEST(UsbMonitor, ListensToTheEventsOfTheKernel)
{
    in_child([] {
        const monitor monitor;
        EXPECT_EQ(monitor::watch({}), ending::still_watching);
        EXPECT_THAT(g_kernel.calls, ElementsAreArray(opening()));
        EXPECT_THAT(monitor.records(), ElementsAre("func | "));
        EXPECT_EQ(handle_context_st.m_thread_usb, pthread_self());
    });
}

TEST(UsbMonitor, ListensWithTheKernelsOwnRoomWhenItMayNotSetIt)
{
    in_child([] {
        const monitor monitor;
        g_kernel.failing_call = "setsockopt";
        EXPECT_EQ(monitor::watch({event(event_of({"USB_STATE=CONNECTED"}))}), ending::still_watching);
        EXPECT_THAT(monitor.records(), Contains("sys error | setsockopt: 1 - Operation not permitted"));
        EXPECT_THAT(calls_of_the_loop(), ElementsAre(k_look, k_read));
        EXPECT_EQ(g_usb_state, AMT_USB_OTHER);
    });
}

TEST(UsbMonitor, ReturnsWithoutASocketAndLeavesTheServiceAlone)
{
    struct row {
        const char *failing_call;
        size_t made; // how many calls of the opening
        bool is_closed;
    };
    for (const row &row : {row{"socket", 1, false}, row{"bind", 3, true}}) {
        in_child([&row] {
            const monitor monitor;
            g_kernel.failing_call = row.failing_call;
            EXPECT_EQ(monitor::watch({no_event()}), ending::just_returned) << row.failing_call;
            std::vector<std::string> calls = opening();
            calls.resize(row.made);
            if (row.is_closed) {
                calls.emplace_back("close");
            }
            EXPECT_THAT(g_kernel.calls, ElementsAreArray(calls)) << row.failing_call;
            EXPECT_EQ(handle_context_st.m_thread_usb, 0U) << row.failing_call;
            EXPECT_THAT(monitor.records(), ElementsAre("func | ", "sys error | " + std::string(row.failing_call) +
                                                                      ": 1 - Operation not permitted"));
        });
    }
}

// --- waiting

TEST(UsbMonitor, LooksAgainEvery100MsForAsLongAsNothingHappens)
{
    in_child([] {
        const monitor monitor;
        EXPECT_EQ(monitor::watch({no_event(), no_event(), no_event()}), ending::still_watching);
        EXPECT_THAT(calls_of_the_loop(), ElementsAre(k_look, k_look, k_look)) << "the whole interval each time";
    });
}

TEST(UsbMonitor, TakesItsTimeBehindALookThatFailed)
{
    in_child([] {
        const monitor monitor;
        EXPECT_EQ(monitor::watch({failed_look(EBADF), failed_look(ENOMEM), no_event()}), ending::still_watching);
        EXPECT_THAT(calls_of_the_loop(), ElementsAre(k_look, k_pause, k_look, k_pause, k_look));
    });
}

TEST(UsbMonitor, TellsAReadThatFailedAndTakesItsTimeBehindIt)
{
    in_child([] {
        const monitor monitor;
        EXPECT_EQ(monitor::watch({failed_read(ENOBUFS), event(event_of({"USB_STATE=CONNECTED"}))}),
                  ending::still_watching);
        EXPECT_THAT(calls_of_the_loop(), ElementsAre(k_look, k_read, k_pause, k_look, k_read));
        EXPECT_THAT(monitor.records(), Contains("sys error | read: 105 - No buffer space available").Times(1));
        EXPECT_EQ(g_usb_state, AMT_USB_OTHER) << "it goes on";
    });
}

TEST(UsbMonitor, GoesOnBehindAnEmptyRead)
{
    in_child([] {
        const monitor monitor;
        EXPECT_EQ(monitor::watch({empty_read(), event(event_of({"USB_STATE=CONNECTED"}))}), ending::still_watching);
        EXPECT_THAT(calls_of_the_loop(), ElementsAre(k_look, k_read, k_look, k_read));
        EXPECT_THAT(monitor.records(), Not(Contains(HasSubstr("sys error"))));
        EXPECT_EQ(g_usb_state, AMT_USB_OTHER);
    });
}

// --- events

TEST(UsbMonitor, FindsTheStateWhereverItLiesInAnEvent)
{
    const std::string state = "USB_STATE=CONFIGURED";
    for (const size_t ahead : {size_t{1001}, size_t{1500}, 2048 - state.size()}) {
        in_child([ahead, &state] {
            const monitor monitor;
            const std::string texts = std::string(ahead - 1, 'x') + '\0' + state;
            EXPECT_EQ(monitor::watch({event(texts)}), ending::still_watching);
            EXPECT_EQ(g_usb_state, AMT_USB_CONFIGURED) << ahead;
            EXPECT_THAT(monitor.records(), Contains(HasSubstr("usb_status:[" + state + "]"))) << ahead;
        });
    }
}

TEST(UsbMonitor, TakesAnEventThatHasNoTerminatorToItsLastByteAndNoFurther)
{
    in_child([] {
        const monitor monitor;
        EXPECT_EQ(monitor::watch({event(std::string(2048, 'x')), event("USB_STATE=CONNECTED")}),
                  ending::still_watching);
        EXPECT_THAT(monitor.records(), Contains(HasSubstr("usb_status")).Times(1));
        EXPECT_THAT(monitor.records(), Contains(k_prefix + "usb_status:[USB_STATE=CONNECTED]"));
    });
}

// --- the end

TEST(UsbMonitor, ClosesItsSocketAndEndsTheServiceWhenTheCableIsPulled)
{
    in_child([] {
        const monitor monitor;
        EXPECT_EQ(monitor::watch({event(event_of({"USB_STATE=CONFIGURED"})), event(event_of({"ACTION=change"})),
                                  event(event_of({"change@/a", "USB_STATE=DISCONNECTED"})), no_event()}),
                  ending::of_the_service);
        EXPECT_THAT(calls_of_the_loop(), ElementsAre(k_look, k_read, k_look, k_read, k_look, k_read, "close", "end"));
        EXPECT_EQ(g_kernel.ended_by, &handle_context_st.m_thread_usb);
        EXPECT_THAT(monitor.records().back(), k_leaves);
    });
}

TEST(UsbMonitor, GoesOnWithoutTheCableWhenItsInsertionStartedTheService)
{
    in_child([] {
        const monitor monitor(1);
        EXPECT_EQ(monitor::watch({event(event_of({"USB_STATE=DISCONNECTED"})), no_event(),
                                  event(event_of({"USB_STATE=DISCONNECTED"}))}),
                  ending::still_watching);
        EXPECT_THAT(calls_of_the_loop(), ElementsAre(k_look, k_read, k_look, k_look, k_read));
        EXPECT_EQ(g_usb_state, AMT_USB_DISCONNECTED);
        EXPECT_THAT(monitor.records(), Contains(k_prefix + "get usb disconnect event").Times(2));
        EXPECT_THAT(monitor.records(), Not(Contains(k_leaves)));
    });
}

} // namespace
