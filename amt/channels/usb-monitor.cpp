#include "amt/channels/usb-monitor.h"

#include <linux/netlink.h>
#include <string.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include "amt/channels/handshake.h"
#include "amt/channels/release.h"
#include "amt/core/context.h"
#include "amt/run-mode.h"
#include "pub/base/wait.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr int k_receive_buffer = 1024; // bytes, the socket's
constexpr size_t k_event_max = 2048;
constexpr uint32_t k_kernel_group = 1;
constexpr uint32_t k_look_interval_ms = 100;

// The socket of the kernel's events, or -1.
int open_socket()
{
    const int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT);
    if (fd < 0) {
        (void)log_sys_error("socket");
        return -1;
    }
    if (setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &k_receive_buffer, sizeof(k_receive_buffer)) != 0) {
        (void)log_sys_error("setsockopt"); // the kernel's own size will do
    }
    sockaddr_nl address = {};
    address.nl_family = AF_NETLINK;
    address.nl_pid = static_cast<uint32_t>(getpid());
    address.nl_groups = k_kernel_group;
    if (bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)) != 0) {
        (void)log_sys_error("bind");
        (void)close(fd); // nothing to be done about it here
        return -1;
    }
    return fd;
}

// Whether an event has come within the interval. A look that fails takes its time as well.
bool wait_event(int fd)
{
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    timeval left = {0, suseconds_t{k_look_interval_ms} * 1000};
    const int ready = pub_util_select(fd + 1, &readable, nullptr, &left);
    if (ready < 0) {
        pub_util_sleep_ms(k_look_interval_ms);
    }
    return ready > 0;
}

void take_state(const char *text)
{
    log_info("amt_handle_monitor_usb_loop usb_status:[%s]", text);
    if (strstr(text, "DISCONNECTED") != nullptr) {
        g_usb_state = AMT_USB_DISCONNECTED;
        g_is_usb_configured = 0;
        log_info("amt_handle_monitor_usb_loop get usb disconnect event");
    } else if (strstr(text, "CONFIGURED") != nullptr) {
        g_usb_state = AMT_USB_CONFIGURED;
        log_info("amt_handle_monitor_usb_loop get usb CONFIGURED event");
        amt_end_usb_enumeration();
    } else {
        g_usb_state = AMT_USB_OTHER;
        log_info("amt_handle_monitor_usb_loop get usb other status event");
    }
}

// Returns when the cable has been pulled.
void watch(int fd)
{
    char event[k_event_max + 1];
    for (;;) {
        if (!wait_event(fd)) {
            continue;
        }
        const ssize_t count = pub_util_read(fd, event, k_event_max);
        if (count < 0) {
            (void)log_sys_error("read"); // in a burst the socket has no room for every event, and says so once
            pub_util_sleep_ms(k_look_interval_ms);
        }
        if (count <= 0) {
            continue;
        }
        event[count] = '\0';
        amt_handle_usb_event(event, static_cast<size_t>(count));
        if (g_usb_activate == 0 && g_usb_state == AMT_USB_DISCONNECTED) {
            return;
        }
    }
}

} // namespace

void amt_handle_usb_event(const char *event, size_t length)
{
    for (size_t at = 0; at < length; at += strlen(event + at) + 1) {
        const char *text = event + at;
        if (text[0] == '\0') {
            continue;
        }
        log_info("amt_handle_monitor_usb_loop uevent:[%s] nLen:%d", text, static_cast<int>(strlen(text)));
        if (strstr(text, "USB_STATE") != nullptr) {
            take_state(text);
            return;
        }
    }
}

void amt_handle_monitor_usb_loop()
{
    log_func();
    pub_util_thread *own_handle = &handle_context_st.m_thread_usb;
    const int fd = open_socket();
    if (fd < 0) {
        pub_util_clear_own_thread(own_handle); // the service does its work without, and ends with its channels
        return;
    }
    watch(fd);
    log_info("amt_handle_monitor_usb_loop get usb disconnect event, will exit amt service");
    (void)close(fd); // nothing to be done about it here
    amt_handle_end_service(own_handle);
}
