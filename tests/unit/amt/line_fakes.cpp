#include "tests/unit/amt/line_fakes.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include "amt/core/context.h"
#include "pub/log/errors.h"

line_fakes g_line_fakes;

namespace {

void happens(const std::string &event)
{
    if (g_fake.on_event) {
        g_fake.on_event(event);
    }
    g_fake.events.push_back(event);
}

std::string text_of(const std::string &hex)
{
    const byte_vector bytes = from_hex(hex);
    return {bytes.begin(), bytes.end()};
}

} // namespace

extern "C" {

int __wrap__Z18platform_power_offv()
{
    happens("power off");
    errno = g_line_fakes.power_error;
    return g_line_fakes.power_error == 0 ? 0 : -1;
}

void __wrap__Z22pub_util_sleep_secondsj(uint32_t seconds)
{
    happens("pause " + std::to_string(seconds) + " s");
}

int32_t __real__Z20amt_boot_dl_fin_readPj(uint32_t *state);
int32_t __wrap__Z20amt_boot_dl_fin_readPj(uint32_t *state)
{
    g_line_fakes.flags_seen.push_back(static_cast<int32_t>(*state));
    return __real__Z20amt_boot_dl_fin_readPj(state);
}
}

outcome say(const device_handset &handset, line_handler handler, const std::string &request)
{
    const amt_buffer asked = buffer_with(hex_of(request));
    amt_buffer &response = handle_context_st.m_response;
    handle_context_st.m_request = asked;
    memset(response.m_data_a, 'x', AMT_MESSAGE_SIZE);
    response.m_length = 4000;
    outcome seen = handset.watch(handler);
    seen.is_response_clear = is_clear(response);
    EXPECT_EQ(handle_context_st.m_request.m_length, asked.m_length);
    EXPECT_EQ(memcmp(handle_context_st.m_request.m_data_a, asked.m_data_a, AMT_MESSAGE_SIZE), 0);
    EXPECT_THAT(seen.at_application, ::testing::IsEmpty());
    for (std::string &answer : seen.at_station) {
        answer = text_of(answer);
    }
    return seen;
}

// clang-format off
const std::vector<type_row> k_bad_types = {
    {"",                           nullptr},
    {"\r",                         nullptr},
    {"\n",                         nullptr},
    {"\r\n",                       nullptr},
    {",",                          nullptr},
    {",,,",                        nullptr},
    {",\r",                        nullptr},
    {",\r\n,",                     nullptr},
    {"\r1\r",                      nullptr}, // in the next line
    {"\n1\r",                      nullptr},
    {",\r\n2,7\r",                 nullptr},
    {"3\r",                        "3"},
    {"3,1\r",                      "3"},
    {"12\r",                       "12"},
    {"-1\r",                       "4294967295"},
    {"-2147483648\r",              "2147483648"},
    {"-4294967295\r",              "2147483648"}, // and not 1
    {"2147483647\r",               "2147483647"},
    {"4294967296\r",               "2147483647"}, // and not 0
    {"4294967298\r",               "2147483647"}, // and not 2
    {"99999999999999999999\r",     "2147483647"},
};
// clang-format on

void expect_answered(const outcome &seen, const std::string &answer)
{
    EXPECT_EQ(seen.result, ERR_NONE);
    EXPECT_THAT(seen.at_station, ::testing::ElementsAre(answer));
    EXPECT_TRUE(seen.is_response_clear);
}

void expect_unanswered(const outcome &seen)
{
    EXPECT_EQ(seen.result, ERR_INVALID_PARAM);
    EXPECT_THAT(seen.at_station, ::testing::IsEmpty());
    EXPECT_THAT(seen.events, ::testing::IsEmpty());
}

modem_link::modem_link()
{
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends), 0);
    handle_context_st.m_fd_modem = ends[0];
    m_modem = ends[1];
}

modem_link::~modem_link()
{
    (void)close(handle_context_st.m_fd_modem);
    (void)close(m_modem);
    handle_context_st.m_fd_modem = 0;
}

std::vector<std::string> modem_link::arrived() const
{
    std::vector<std::string> result;
    std::string packet(size_t{AMT_MESSAGE_SIZE} * 2, '\0');
    for (ssize_t count = 0; (count = recv(m_modem, packet.data(), packet.size(), MSG_DONTWAIT)) > 0;) {
        result.push_back(packet.substr(0, static_cast<size_t>(count)));
    }
    return result;
}
