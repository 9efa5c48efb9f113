#include "tests/unit/amt/exchange.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>

#include "amt/modem/at-channel.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/links.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string hex(uint64_t value, int bytes)
{
    std::string text;
    char pair[3];
    for (int i = 0; i < bytes; i++) {
        (void)snprintf(pair, sizeof(pair), "%02x", static_cast<unsigned>(value >> (8 * i) & 0xFF));
        text += pair;
    }
    return text;
}

std::string atom(uint8_t id, uint8_t type, const std::string &value_hex)
{
    std::string text = "ee";
    text += hex(id, 1);
    text += hex(type, 1);
    text += hex(value_hex.size() / 2, 2);
    text += value_hex;
    return text;
}

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

std::string int_atom(uint8_t id, uint32_t value)
{
    return atom(id, 1, hex(value, 4));
}

std::string text_atom(uint8_t id, const std::string &text)
{
    return atom(id, 2, hex_of(text));
}

std::string bytes_atom(uint8_t id, const std::string &bytes)
{
    return atom(id, 3, hex_of(bytes));
}

std::string bool_atom(uint8_t id, uint8_t value)
{
    return atom(id, 4, hex(value, 1));
}

std::string message_of(uint8_t id, const std::string &atoms)
{
    std::string text = hex(6 + atoms.size() / 2, 2);
    text += "bb";
    text += hex(id, 1);
    text += hex(atoms.size() / 2, 2);
    text += atoms;
    return text;
}

std::string result_of(uint8_t id, uint32_t code)
{
    return message_of(id, int_atom(1, code));
}

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
