#include "tests/unit/amt/exchange.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "amt/modem/at-channel.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/links.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

} // namespace

const std::vector<refusal_row> k_refusals = {
    {"an error", "\r\nERROR\r\n"},
    {"an error of the equipment", "\r\n+CME ERROR: 10\r\n"},
    {"one without a number", "\r\n+CME ERROR\r\n"},
    {"one that has not ended", "\r\n+CME ERROR"},
    {"an error of a message", "\r\n+CMS ERROR: 500\r\n"},
    {"one of those without a number", "\r\n+CMS ERROR\r\n"},
    {"an error behind other lines", "\r\n^DLINE: 1\r\n\r\nERROR\r\n"},
};

void with_exchange(amt_handle_func handler, const std::string &request, const std::vector<std::string> &modem,
                   const std::function<void(const exchange &)> &look, const std::function<void()> &prepare)
{
    in_child([&] {
        const links link;
        (void)open_port();
        const test_log log;
        modem_says(modem);
        if (prepare) {
            prepare();
        }
        const amt_buffer asked = buffer_with(request);
        amt_buffer response = buffer_with(std::string(400, 'f')); // of an answer that was never sent
        exchange seen;
        seen.result = handler(AMT_CHANNEL_APP, &asked, &response);
        seen.answers = link.at_application();
        seen.commands = g_fake.written;
        seen.told = log.records();
        seen.unread = g_fake.readings.size();
        seen.is_response_clear = is_clear(response);
        EXPECT_THAT(link.at_station(), IsEmpty());
        EXPECT_FALSE(g_fake.is_standard_input_used);
        look(seen);
    });
}

std::vector<std::vector<std::string>> split_everywhere(const std::string &text)
{
    std::vector<std::vector<std::string>> result;
    for (size_t at = 1; at < text.size(); at++) {
        result.push_back({text.substr(0, at), text.substr(at)});
    }
    return result;
}

std::vector<std::string> bytewise(const std::string &text)
{
    std::vector<std::string> result;
    for (const char byte : text) {
        result.emplace_back(1, byte);
    }
    return result;
}

void expect_refused_without_modem(amt_handle_func handler, const std::string &request)
{
    with_exchange(
        handler, request, {k_ok},
        [](const exchange &seen) {
            EXPECT_EQ(seen.result, ERR_NOT_READY);
            EXPECT_THAT(seen.answers, IsEmpty());
            EXPECT_THAT(seen.commands, IsEmpty());
            EXPECT_THAT(seen.told, ElementsAre("func | ", "warning | no CP."));
        },
        [] { g_at_dev_not_opened = 1; });
}
