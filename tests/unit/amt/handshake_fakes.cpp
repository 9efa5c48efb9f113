#include "tests/unit/amt/handshake_fakes.h"

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <semaphore.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <mutex>
#include <thread>

#include "amt/channels/failure-exit.h"
#include "amt/channels/handshake.h"
#include "amt/channels/pc-dispatch.h"
#include "amt/channels/timers.h"
#include "amt/core/context.h"
#include "pub/util/util.h"

handshake_fakes g_fake;

namespace {

std::mutex g_lock; // of the events

void happens(const std::string &event)
{
    if (g_fake.on_event) {
        g_fake.on_event(event);
    }
    const std::lock_guard<std::mutex> guard(g_lock);
    g_fake.events.push_back(event);
}

int end_of_call(int error)
{
    errno = error;
    return error == 0 ? 0 : -1;
}

std::string flag_file()
{
    return g_fake.folder + "/flag";
}

std::string state_file()
{
    return g_fake.folder + "/state";
}

int next_descriptor()
{
    const int fd = open("/dev/null", O_RDONLY);
    (void)close(fd);
    return fd;
}

void put(const std::string &path, const std::string &text)
{
    std::ofstream(path, std::ios::binary) << text;
}

} // namespace

extern "C" {

int32_t __wrap__Z19amt_get_charge_modePj(uint32_t *mode)
{
    happens("ask for the charge mode");
    charge_mode next;
    if (!g_fake.charge_modes.empty()) {
        next = g_fake.charge_modes.front();
        g_fake.charge_modes.pop_front();
    }
    *mode = next.mode;
    return next.result;
}

int32_t __wrap__Z19amt_usb_charge_ctrli(int32_t mode)
{
    happens("charge " + std::to_string(mode));
    return g_fake.charge_result;
}

int __wrap_property_set(const char *name, const char *value)
{
    happens(std::string("set ") + name + "=" + value);
    return 0;
}

int __wrap_kill(pid_t pid, int signal_number)
{
    EXPECT_EQ(pid, getpid());
    happens("kill itself " + std::to_string(signal_number));
    return 0;
}

int __real_open(const char *path, int flags, mode_t mode);
int __wrap_open(const char *path, int flags, mode_t mode)
{
    if (strcmp(path, "/sys/class/android_usb/android0/state") != 0) {
        return __real_open(path, flags, mode);
    }
    EXPECT_EQ(flags & O_ACCMODE, O_RDONLY);
    EXPECT_NE(flags & O_CLOEXEC, 0) << "no command of the shell is to have it";
    happens("read the state");
    return __real_open(state_file().c_str(), flags, mode);
}

FILE *__real__Z12pub_cfg_openPKc(const char *path);
FILE *__wrap__Z12pub_cfg_openPKc(const char *path)
{
    if (strcmp(path, "/amt/power_usb_amt.txt") != 0) {
        return __real__Z12pub_cfg_openPKc(path);
    }
    happens("read the flag");
    if (g_fake.flag_error) {
        errno = *g_fake.flag_error;
        return nullptr;
    }
    return __real__Z12pub_cfg_openPKc(flag_file().c_str());
}

int __wrap_timer_create(clockid_t, sigevent *notification, timer_t *id)
{
    const bool is_of_cable = notification->sigev_notify_function == HandUsbEnumTimeout;
    EXPECT_TRUE(is_of_cable || notification->sigev_notify_function == HandShakeTimeout);
    happens(is_of_cable ? "create timer of the cable" : "create timer of the station");
    if (g_fake.create_error == 0) {
        *id = reinterpret_cast<timer_t>(g_fake.next_timer++);
    }
    return end_of_call(g_fake.create_error);
}

int __wrap_timer_settime(timer_t id, int, const itimerspec *period, itimerspec *)
{
    happens("set timer " + std::to_string(reinterpret_cast<intptr_t>(id)) + ": " +
            std::to_string(period->it_value.tv_sec) + " s, " + std::to_string(period->it_value.tv_nsec) + " ns");
    return end_of_call(g_fake.set_error);
}

int __wrap_timer_delete(timer_t id)
{
    happens("delete timer " + std::to_string(reinterpret_cast<intptr_t>(id)));
    return 0;
}

int __real_sem_wait(sem_t *semaphore);
int __wrap_sem_wait(sem_t *semaphore)
{
    if (g_fake.on_wait) {
        g_fake.on_wait();
    }
    return __real_sem_wait(semaphore);
}

void __wrap__Z27pub_util_take_ending_signalv()
{
    happens("take the signal");
}

void __wrap__Z22pub_util_sleep_secondsj(uint32_t seconds)
{
    happens("sleep " + std::to_string(seconds) + " s");
}

void __wrap__Z17pub_util_pause_usj(uint32_t microseconds)
{
    happens("pause " + std::to_string(microseconds) + " us");
}

int __wrap__Z21pub_util_start_threadPSt6atomicImEPFvvE(pub_util_thread *handle, void (*body)())
{
    EXPECT_EQ(handle, &handle_context_st.m_thread_image);
    EXPECT_EQ(body, amt_handle_load_image_for_handshake);
    happens("start the loader");
    return g_fake.thread_error;
}

int __wrap__Z11screen_initv()
{
    happens("prepare the screen");
    return g_fake.screen_result;
}

int __wrap__Z13screen_updatev()
{
    happens("draw");
    return g_fake.update_result;
}
}

cable::cable()
    : m_descriptor(next_descriptor())
{
    g_fake = {};
    g_fake.folder = m_folder.path();
    g_amt_mode = AMT_MODE_UNKNOWN;
    amt_context_clear();
    amt_forget_failure();
    amt_prepare_timers();
}

cable::~cable()
{
    EXPECT_EQ(next_descriptor(), m_descriptor) << "something stays open";
    g_fake = {};
}

void cable::put_flag(const std::string &text) const
{
    put(flag_file(), text);
}

void cable::put_state(const std::string &text) const
{
    put(state_file(), text);
}

void cable::make_flag_folder() const
{
    std::filesystem::create_directory(flag_file());
}

void cable::make_state_folder() const
{
    std::filesystem::create_directory(state_file());
}

void cable::admit()
{
    EXPECT_TRUE(amt_admit());
    forget();
}

void cable::open_period()
{
    admit();
    enumerate();
    amt_begin_relay();
    amt_end_relay();
    EXPECT_TRUE(amt_timer_exists(g_handShakeTimer));
    forget();
}

void cable::enumerate()
{
    g_is_usb_configured = 1;
}

void cable::forget()
{
    g_fake.events.clear();
    m_told_before = m_log.records().size();
}

std::vector<std::string> cable::told() const
{
    const std::vector<std::string> records = m_log.records();
    return {records.begin() + static_cast<ptrdiff_t>(m_told_before), records.end()};
}

void on_another_thread(const std::function<void()> &body)
{
    std::thread(body).join();
}

size_t times(const std::string &event)
{
    return static_cast<size_t>(std::count(g_fake.events.begin(), g_fake.events.end(), event));
}
