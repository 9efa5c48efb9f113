#include "tests/unit/amt/wifi_requests.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "amt/device/wifi.h"
#include "pub/log/errors.h"
#include "tests/unit/amt/exchange.h"

namespace {

std::string two_bytes(uint16_t value)
{
    return {static_cast<char>(value & 0xFF), static_cast<char>(value >> 8)};
}

} // namespace

std::string channel_atom(uint8_t channel)
{
    return bytes_atom(155, std::string(1, static_cast<char>(channel)));
}

std::string rate_atom(uint16_t rate)
{
    return bytes_atom(156, two_bytes(rate));
}

std::string power_atom(uint16_t power)
{
    return bytes_atom(157, two_bytes(power));
}

std::string all_numbers()
{
    return channel_atom(6) + rate_atom(540) + power_atom(15);
}

std::string wifi_request(uint8_t command, const std::string &atoms)
{
    return message_of(187, bytes_atom(154, std::string(1, static_cast<char>(command))) + atoms);
}

std::string wifi_answer(uint8_t command, const std::string &atoms)
{
    return message_of(188, bytes_atom(154, std::string(1, static_cast<char>(command))) + atoms + int_atom(1, 0));
}

std::string trace_of(int command)
{
    return " echo the cmd value received from pc is : " + std::to_string(command) +
           " >> /data/local/wifi/wifi_dbg_file.txt";
}

outcome ask_wifi(radio_bench &bench, const std::string &request)
{
    return bench.ask(amt_device_wifi_rtx_test, AMT_CHANNEL_APP, request);
}

outcome carry_out(radio_bench &bench, uint8_t command)
{
    outcome seen = ask_wifi(bench, wifi_request(command, all_numbers()));
    EXPECT_EQ(seen.result, ERR_NONE) << static_cast<int>(command);
    return seen;
}

void expect_unanswered(const outcome &seen)
{
    EXPECT_THAT(seen.at_station, ::testing::IsEmpty());
    EXPECT_THAT(seen.at_application, ::testing::IsEmpty());
}
