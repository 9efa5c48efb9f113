#include "tests/unit/amt/radio_fakes.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hwt.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "amt/at-local/device-at.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/unit/amt/port_fakes.h"

radio_fakes g_radio;

namespace {

void look()
{
    if (g_radio.on_call) {
        g_radio.on_call();
    }
}

int next_descriptor()
{
    const int next = dup(STDIN_FILENO);
    (void)close(next);
    return next;
}

template <typename type>
std::vector<type> from(const std::vector<type> &all, size_t first)
{
    return {all.begin() + static_cast<std::ptrdiff_t>(std::min(first, all.size())), all.end()};
}

// Of a request's records, those that tell what happened.
std::vector<std::string> happenings(std::vector<std::string> records)
{
    records.erase(std::remove(records.begin(), records.end(), "func | "), records.end());
    if (!records.empty() && records.back().find("data | send ") == 0) {
        records.pop_back();
    }
    return records;
}

} // namespace

extern "C" {

pid_t __real_fork();
pid_t __wrap_fork()
{
    if (g_radio.forks.empty()) {
        return __real_fork();
    }
    const forking next = g_radio.forks.front();
    g_radio.forks.pop_front();
    errno = next.error;
    return next.result;
}

int __real_hwt_btCtrl(int on);
int __wrap_hwt_btCtrl(int on)
{
    look();
    return __real_hwt_btCtrl(on);
}

int __real_hwt_btCheck();
int __wrap_hwt_btCheck()
{
    look();
    return __real_hwt_btCheck();
}

int __real_hwt_wifiCtrl(int on);
int __wrap_hwt_wifiCtrl(int on)
{
    look();
    return __real_hwt_wifiCtrl(on);
}

int __real_hwt_wifiCheck();
int __wrap_hwt_wifiCheck()
{
    look();
    return __real_hwt_wifiCheck();
}

int __real_hwt_gpsCtrl(int mode, int index, int *svid, int *cnr);
int __wrap_hwt_gpsCtrl(int mode, int index, int *svid, int *cnr)
{
    look();
    int nowhere = 0;
    const bool is_kept = g_radio.stores_nothing;
    return __real_hwt_gpsCtrl(mode, index, is_kept && svid != nullptr ? &nowhere : svid,
                              is_kept && cnr != nullptr ? &nowhere : cnr);
}

int __real_hwt_gpsCheck();
int __wrap_hwt_gpsCheck()
{
    look();
    return __real_hwt_gpsCheck();
}

int __real_hwt_TxTest(int on, int power, int rate, int channel);
int __wrap_hwt_TxTest(int on, int power, int rate, int channel)
{
    look();
    return __real_hwt_TxTest(on, power, rate, channel);
}

int __real_hwt_RxTest(int on, int channel, int rate, int *count);
int __wrap_hwt_RxTest(int on, int channel, int rate, int *count)
{
    look();
    int nowhere = 0;
    return __real_hwt_RxTest(on, channel, rate, g_radio.stores_nothing && count != nullptr ? &nowhere : count);
}
}

radio_bench::radio_bench(const std::string &calls_path)
    : m_calls_path(calls_path)
{
    std::filesystem::create_directory(m_folder.path("BT"));
    std::filesystem::create_directory(m_folder.path("WIFI"));
}

std::vector<std::string> radio_bench::calls() const
{
    std::vector<std::string> result;
    std::istringstream lines(read_whole_file(m_calls_path));
    for (std::string line; std::getline(lines, line);) {
        result.push_back(line);
    }
    return result;
}

outcome radio_bench::watch(const std::function<int32_t()> &call)
{
    const size_t old_records = number_of_records();
    const size_t old_calls = calls().size();
    const size_t old_commands = g_fake.shell_commands.size();
    const std::function<void()> on_call = g_radio.on_call;
    outcome seen;
    g_radio.on_call = [this, &on_call, &seen] {
        seen.told_before.push_back(m_log.records().back());
        if (on_call) {
            on_call();
        }
    };
    const int next = next_descriptor();
    seen.result = call();
    EXPECT_EQ(next_descriptor(), next) << "a descriptor stays open";
    g_radio.on_call = on_call;
    const std::vector<std::string> records = from(m_log.records(), old_records);
    EXPECT_TRUE(records.empty() || records.front() == "func | ") << "what is told first is where: " << records.front();
    seen.told = happenings(records);
    seen.at_station = m_links.at_station();
    seen.at_application = m_links.at_application();
    seen.calls = from(calls(), old_calls);
    seen.commands = from(g_fake.shell_commands, old_commands);
    return seen;
}

outcome radio_bench::ask(amt_handle_func handler, uint8_t channel, const std::string &request)
{
    const amt_buffer asked = buffer_with(request);
    amt_buffer response = buffer_with(std::string(400, 'f'));
    return watch([&] { return handler(channel, &asked, &response); });
}

outcome radio_bench::line(const std::string &text)
{
    return line(text, static_cast<uint32_t>(text.size()));
}

outcome radio_bench::line(const std::string &text, uint32_t length)
{
    amt_buffer request = buffer_with(hex_of(text));
    request.m_length = length;
    handle_context_st.m_request = request;
    handle_context_st.m_response = buffer_with(std::string(400, 'f'));
    outcome seen = watch(handle_amt_device_at);
    EXPECT_EQ(handle_context_st.m_request.m_length, request.m_length);
    EXPECT_EQ(memcmp(handle_context_st.m_request.m_data_a, request.m_data_a, sizeof(request.m_data_a)), 0)
        << "the request is changed";
    EXPECT_THAT(seen.at_application, ::testing::IsEmpty()) << "lines are the station's";
    return seen;
}

void radio_bench::close_links()
{
    handle_context_st.m_fd_pc = 0;
    handle_context_st.m_pty.m_ptm_fd = -1;
}

void radio_handset::SetUp()
{
    handset_root::SetUp();
    g_radio = {};
}

void radio_handset::with_bench(const std::function<void(radio_bench &)> &body) const
{
    in_child([&] {
        radio_bench bench(host_path("/handset/calls"));
        body(bench);
    });
}

std::string text_answer(const std::string &text)
{
    return hex_of(text);
}
