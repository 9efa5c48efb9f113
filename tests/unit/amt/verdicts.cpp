#include "tests/unit/amt/verdicts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/in_child.h"
#include "tests/unit/amt/exchange.h"
#include "tests/unit/amt/port_fakes.h"

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

constexpr uint8_t k_id = 0x5B;
constexpr uint8_t k_verdict = 36;
constexpr uint8_t k_text = 37;
constexpr uint8_t k_station = 39;

const std::string k_sevens = "7\n7\n7\n7\n7\n7\n7\n7\n7\n7\n7\n7\n7\n7\n7\n7\n7\n7\n7\n7\n"; // no verdict leaves it so

} // namespace

// clang-format off
const std::vector<copy_row> k_copies = {
    {"station 0",          0,          1,          "station_num: 0, station_result: 1",          true,  0,  '1'},
    {"station 1",          1,          2,          "station_num: 1, station_result: 2",          true,  2,  '2'},
    {"station 12",         12,         2,          "station_num: 12, station_result: 2",         true,  24, '2'},
    {"a verdict of 0",     1,          0,          "station_num: 1, station_result: 0",          true,  2,  '0'},
    {"a verdict of 5",     1,          5,          "station_num: 1, station_result: 5",          true,  2,  '0'},
    {"a negative verdict", 3,          0xFFFFFFFF, "station_num: 3, station_result: -1",         true,  6,  '0'},
    {"station 19",         19,         1,          "station_num: 19, station_result: 1",         true,  38, '1'},
    {"station 20",         20,         1,          "station_num: 20, station_result: 1",         false, 0,  '0'},
    {"station 21",         21,         1,          "station_num: 21, station_result: 1",         false, 0,  '0'},
    {"the greatest",       0x7FFFFFFF, 1,          "station_num: 2147483647, station_result: 1", false, 0,  '0'},
    {"a negative station", 0xFFFFFFFF, 2,          "station_num: -1, station_result: 2",         true,  0,  '2'},
};
// clang-format on

amt_buffer verdict_request()
{
    return buffer_with(message_of(k_id));
}

amt_buffer verdict_request(uint32_t station)
{
    return buffer_with(message_of(k_id, int_atom(k_station, station)));
}

amt_buffer verdict_request(uint32_t station, uint32_t verdict)
{
    return buffer_with(message_of(k_id, int_atom(k_station, station) + int_atom(k_verdict, verdict)));
}

amt_buffer verdict_request(uint32_t station, uint32_t verdict, const std::string &text)
{
    const std::string numbers = int_atom(k_station, station) + int_atom(k_verdict, verdict);
    return buffer_with(message_of(k_id, numbers + text_atom(k_text, text)));
}

void with_modem(const std::function<void(const links &, const amt_folder &, const test_log &)> &body)
{
    in_child([&body] {
        const links link;
        const amt_folder folder;
        const test_log log;
        (void)open_port();
        body(link, folder, log);
        EXPECT_THAT(link.at_station(), IsEmpty());
        EXPECT_THAT(g_fake.files, IsEmpty()) << "closed";
    });
}

void prepare_copy(const amt_folder &folder)
{
    folder.put(k_modem_copy, k_sevens);
}

void expect_copy(const copy_row &row, const amt_folder &folder, const test_log &log)
{
    std::string expected = k_sevens;
    expected.at(row.offset) = row.is_kept ? row.digit : expected.at(row.offset);
    EXPECT_EQ(folder.content(k_modem_copy), expected);
    const std::string numbers = row.numbers;
    if (row.is_kept) {
        EXPECT_THAT(log.records(), Contains("info | write amt_result success amt " + numbers + "."));
        return;
    }
    EXPECT_THAT(log.records(),
                Contains(MatchesRegex("error \\| -3 -  \\| \\[kv-zep-amt:L[0-9]+\\] write fail amt " + numbers)));
    EXPECT_THAT(log.text(), HasSubstr(numbers + "\n\n")) << "the text has a line end of its own";
}
