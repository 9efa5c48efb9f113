#include "station/catalogue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "amt/channels/registrations.h"
#include "amt/core/command-names.h"
#include "amt/core/context.h"
#include "amt/modem/modem-tunnel.h"
#include "amt/results/result-requests.h"
#include "amt/wire/amt-at-data.h"
#include "amt/wire/amt-message.h"
#include "station/message.h"
#include "station/text.h"
#include "tests/support/in_child.h"

namespace {

using station::answered_on;
using station::command;
using station::item;
using station::item_form;
using testing::ElementsAreArray;
using testing::HasSubstr;

constexpr int k_id_count = 256;

// --- who answers

// Who answers by the service's own tables; empty when nobody is registered.
std::string registered_on(amt_handle_func of_station, amt_handle_func of_application)
{
    const bool is_own_of_station = of_station != nullptr && of_station != amt_modem_write_pc_test_result;
    const bool is_own_of_application = of_application != nullptr && of_application != amt_modem_handle_req;
    if (is_own_of_station) {
        return to_word(is_own_of_application ? answered_on::both : answered_on::station);
    }
    if (is_own_of_application) {
        return to_word(answered_on::application);
    }
    return of_application != nullptr ? to_word(answered_on::modem) : "";
}

// What a row says of that; a modem that only a station reaches needs no handler.
std::string claimed_on(const command *row)
{
    return row == nullptr || row->answered_on == answered_on::modem_of_station ? "" : to_word(row->answered_on);
}

TEST(StationCatalogue, TellsOfEveryCommandWhoAnswersIt)
{
    in_child([] {
        amt_context_clear();
        amt_register_handlers();
        const handle_context &service = handle_context_st;
        for (int id = 0; id < static_cast<int>(AMT_HANDLER_COUNT); ++id) {
            EXPECT_EQ(claimed_on(station::command_of_request(static_cast<std::uint8_t>(id))),
                      registered_on(service.m_handle_pc_func_a[id], service.m_handle_app_func_a[id]))
                << station::hex_byte(static_cast<std::uint8_t>(id));
        }
    });
}

TEST(StationCatalogue, TellsOfAPreResponseWhereTheHandsetAnswersAStation)
{
    for (const command &row : station::commands()) {
        EXPECT_EQ(row.pre_response, row.answered_on == answered_on::both || row.answered_on == answered_on::station)
            << row.word;
    }
}

// --- names

std::string name_of(int id)
{
    const std::string name = amt_get_command_name(static_cast<std::uint8_t>(id));
    return name == "(undefined)" ? "" : name;
}

TEST(StationCatalogue, HasEveryNameOfTheServices)
{
    for (int id = 0; id < k_id_count; ++id) {
        const auto byte = static_cast<std::uint8_t>(id);
        const std::string name = name_of(id);
        if (name.find("RSPCMD") != std::string::npos) {
            const command *row = station::command_of_response(byte);
            ASSERT_NE(row, nullptr) << name;
            EXPECT_EQ(name_of(row->id), name.substr(0, name.size() - 6) + "CMD");
        } else if (!name.empty()) {
            EXPECT_NE(station::command_of_request(byte), nullptr) << name;
        }
    }
}

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// All spellings that people may use for a command.
std::set<std::string> spellings_of(const command &row)
{
    const std::string hex = station::hex_byte(row.id);
    std::set<std::string> all = {row.word, hex, lower(hex), std::to_string(row.id)};
    const std::string name = name_of(row.id);
    if (!name.empty()) {
        const std::string short_name = name.compare(0, 4, "AMT_") == 0 ? name.substr(4) : name;
        const std::size_t end = short_name.rfind("CMD");
        const std::string bare = end == std::string::npos ? short_name : short_name.substr(0, end);
        const std::string stem = !bare.empty() && bare.back() == '_' ? bare.substr(0, bare.size() - 1) : bare;
        all.insert({name, lower(name), short_name, lower(short_name), stem, "AMT_" + stem, lower("Amt_" + stem)});
    }
    return all;
}

TEST(StationCatalogue, FindsACommandByEachOfItsSpellings)
{
    for (const command &row : station::commands()) {
        for (const std::string &spelling : spellings_of(row)) {
            EXPECT_EQ(station::find_command(spelling), &row) << spelling;
        }
    }
}

TEST(StationCatalogue, CallsACommandByItsNameOfTheServices)
{
    const std::pair<int, const char *> rows[] = {
        {0xAC, "bluetooth-address"},    {0xCD, "cell-read-version"},           {0x07, "readimei"},
        {0xCC, "cell-recieve-rspdata"}, {0xDD, "dsp-transparent-control-ind"}, {0x2A, "keyboard-rsp"},
    };
    for (const auto &[id, word] : rows) {
        EXPECT_STREQ(station::command_of_request(static_cast<std::uint8_t>(id))->word, word);
    }
}

TEST(StationCatalogue, FindsNothingForWhatIsNoCommand)
{
    for (const char *name : {"", "imei", "amt", "AMT_", "_CMD", "version-rspcmd", "0x", "0x100", "256", "-1", "0x2E",
                             "45 ", "0x2D0", "254"}) {
        EXPECT_EQ(station::find_command(name), nullptr) << '"' << name << '"';
    }
}

TEST(StationCatalogue, HasWordsThatDifferAndNoneThatIsANumber)
{
    std::set<std::string> words;
    for (const command &row : station::commands()) {
        EXPECT_TRUE(words.insert(row.word).second) << row.word;
        EXPECT_THAT(row.word, testing::MatchesRegex("[a-z][a-z0-9-]*")) << row.word;
    }
}

TEST(StationCatalogue, KnowsWhoseAnswerAMessageIs)
{
    EXPECT_EQ(station::command_of_response(0x2E), station::command_of_request(0x2D));
    EXPECT_EQ(station::command_of_response(0xAF), station::command_of_request(0xAE));
    EXPECT_EQ(station::command_of_response(0xB1), station::command_of_request(0xB0)) << "as a refusal";
    EXPECT_EQ(station::command_of_response(0xDD), station::command_of_request(0xDD)) << "unasked";
    EXPECT_EQ(station::command_of_response(0), nullptr);
    EXPECT_EQ(station::command_of_response(0xFF), nullptr);
}

// --- items

template <typename check>
void for_each_item(check see)
{
    for (const command &row : station::commands()) {
        for (const station::rows<item> items : {row.request, row.answer}) {
            for (const item &each : items) {
                see(std::string(row.word) + " " + each.name, each);
            }
        }
    }
}

TEST(StationCatalogue, WritesItemsAsTheirTypeAllows)
{
    const std::map<amt_value_type, std::set<item_form>> allowed = {
        {AMT_VALUE_INT, {item_form::number, item_form::signed_number}},
        {AMT_VALUE_STRING, {item_form::text}},
        {AMT_VALUE_BYTES, {item_form::number, item_form::signed_number, item_form::text, item_form::bytes}},
        {AMT_VALUE_BOOL, {item_form::flag}},
    };
    for_each_item([&](const std::string &name, const item &each) {
        EXPECT_EQ(allowed.at(each.type).count(each.form), 1U) << name;
        const bool is_numeric = each.form != item_form::text && each.form != item_form::bytes;
        if (is_numeric) {
            EXPECT_THAT(each.size, testing::AllOf(testing::Ge(1), testing::Le(4))) << name;
        }
        if (each.type == AMT_VALUE_INT) {
            EXPECT_EQ(each.size, AMT_INT_LENGTH) << name;
        }
    });
}

TEST(StationCatalogue, NamesValuesOnceAndWithinTheirItem)
{
    for_each_item([](const std::string &name, const item &each) {
        std::set<std::string> names;
        std::set<std::uint32_t> numbers;
        for (const station::named_value &value : each.values) {
            EXPECT_THAT(value.name, testing::MatchesRegex("[a-z][a-z0-9-]*")) << name;
            EXPECT_TRUE(names.insert(value.name).second) << name << "=" << value.name;
            EXPECT_TRUE(numbers.insert(value.value).second) << name << "=" << value.name;
            EXPECT_TRUE(each.size >= 4 || value.value < 1U << 8 * each.size) << name << "=" << value.name;
        }
    });
}

TEST(StationCatalogue, FindsAnItemByNameAndByAtom)
{
    const command &row = *station::find_command("wifi-rtx-test");
    EXPECT_EQ(station::find_item(row.request, "rate"), station::item_of_atom(row.request, 156));
    EXPECT_STREQ(station::item_of_atom(row.answer, 158)->name, "count");
    EXPECT_EQ(station::find_item(row.request, "count"), nullptr);
    EXPECT_EQ(station::item_of_atom(row.request, 158), nullptr);
}

std::string told(std::uint8_t atom, std::uint8_t type)
{
    return std::to_string(atom) + " of type " + std::to_string(type);
}

// The atoms of the message that an answer of the modem's becomes, behind the result.
std::vector<std::string> converted_atoms(std::uint8_t response_id)
{
    std::string data(1, static_cast<char>(response_id));
    data.append(4, '\0');
    for (int i = 0; i < 20; ++i) {
        data += std::string("\1\0\0\0", 4); // a number, or a length of 1 and its byte, read from any atom's begin
    }
    amt_buffer output = {};
    EXPECT_EQ(amt_convert_rsp_at_data_2_amt_data(station::as_wire(data), static_cast<std::uint32_t>(data.size()),
                                                 output.m_data_a, AMT_MESSAGE_SIZE),
              0);
    const char *bytes = reinterpret_cast<const char *>(output.m_data_a);
    const station::decoded read =
        station::decode(std::string_view(bytes, amt_message_get_total_length(output.m_data_a)));
    EXPECT_TRUE(read.message) << read.error;
    std::vector<std::string> atoms;
    for (const station::atom &each : read.message->atoms()) {
        if (each.id != 1) {
            atoms.push_back(told(each.id, each.type));
        }
    }
    return atoms;
}

TEST(StationCatalogue, TellsOfTheModemsAnswersWhatTheServiceMakesOfThem)
{
    for (const command &row : station::commands()) {
        if (row.answered_on != answered_on::modem || row.response_id == 0) {
            continue;
        }
        std::vector<std::string> atoms;
        for (const item &each : row.answer) {
            atoms.push_back(told(each.atom, each.type));
        }
        EXPECT_THAT(converted_atoms(row.response_id), ElementsAreArray(atoms)) << row.word;
    }
}

TEST(StationCatalogue, TellsThatTheStartOfBluetoothIsAcknowledgedTwice)
{
    for (const command &row : station::commands()) {
        EXPECT_EQ(row.acknowledgements, row.word == std::string("bluetooth") ? 2 : 1) << row.word;
    }
}

TEST(StationCatalogue, HasAWordForEveryKind)
{
    EXPECT_STREQ(to_word(station::family::device_test), "device test");
    EXPECT_STREQ(to_word(station::family::modem), "modem");
    EXPECT_STREQ(to_word(answered_on::both), "station and application");
    EXPECT_STREQ(to_word(answered_on::modem_of_station), "modem, of a station only");
    EXPECT_STREQ(to_word(item_form::signed_number), "signed number");
    EXPECT_STREQ(to_word(item_form::flag), "flag");
}

// --- device tests and identities

std::vector<std::string> words_of(const std::string &text)
{
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

// Whether the settings name items of the request, each with a value that it takes.
void expect_settings(const command &row, const std::vector<std::string> &settings, const std::string &where)
{
    for (const std::string &setting : settings) {
        const std::size_t at = setting.find('=');
        ASSERT_NE(at, std::string::npos) << where << ": " << setting;
        const item *set = station::find_item(row.request, setting.substr(0, at));
        ASSERT_NE(set, nullptr) << where << ": " << setting;
        const std::string value = setting.substr(at + 1);
        const bool is_named = std::any_of(set->values.begin(), set->values.end(),
                                          [&](const station::named_value &each) { return each.name == value; });
        EXPECT_TRUE(is_named || value == "{}" || value == "{#}") << where << ": " << setting;
    }
}

TEST(StationDeviceTests, SetItemsOfCommandsThatThereAre)
{
    std::set<std::string> names;
    for (const station::device_test &row : station::device_tests()) {
        EXPECT_TRUE(names.insert(row.name).second) << row.name;
        EXPECT_EQ(station::find_device_test(row.name), &row) << row.name;
        const command *what = station::command_of_request(row.command);
        ASSERT_NE(what, nullptr) << row.name;
        expect_settings(*what, words_of(row.settings), row.name);
    }
    EXPECT_EQ(station::find_device_test("bluetooth"), nullptr);
}

TEST(StationDeviceTests, CoverEveryDevice)
{
    std::set<std::uint8_t> tested;
    for (const station::device_test &row : station::device_tests()) {
        tested.insert(row.command);
    }
    for (const command &row : station::commands()) {
        if (row.family == station::family::device_test) {
            EXPECT_EQ(tested.count(row.id), 1U) << row.word;
        }
    }
}

bool is_line(const std::string &pattern)
{
    return pattern.compare(0, 2, "AT") == 0;
}

void expect_pattern(const station::identity &row, const std::string &pattern)
{
    const std::vector<std::string> words = words_of(pattern);
    const command *what = station::find_command(words.at(0));
    ASSERT_NE(what, nullptr) << row.name;
    expect_settings(*what, {words.begin() + 1, words.end()}, row.name);
    if (pattern == row.read) {
        EXPECT_NE(station::find_item(what->answer, row.value), nullptr) << row.name;
    }
}

TEST(StationIdentities, AreReadAndWrittenByLinesOrByCommandsThatThereAre)
{
    std::set<std::string> names;
    for (const station::identity &row : station::identities()) {
        EXPECT_TRUE(names.insert(row.name).second) << row.name;
        EXPECT_EQ(station::find_identity(row.name), &row) << row.name;
        const std::string read = row.read;
        const std::string write = row.write;
        EXPECT_FALSE(read.empty()) << row.name;
        EXPECT_EQ(read.find("{}"), std::string::npos) << row.name;
        EXPECT_TRUE(write.empty() || write.find("{}") != std::string::npos) << row.name;
        for (const std::string &pattern : {read, write}) {
            if (!pattern.empty() && !is_line(pattern)) {
                expect_pattern(row, pattern);
            }
        }
    }
    EXPECT_EQ(station::find_identity("IMEI"), nullptr);
}

TEST(StationIdentities, ArePutInPlaceWithTheirLength)
{
    EXPECT_EQ(station::filled("AT^DMSN={}", "SN{}7"), "AT^DMSN=SN{}7");
    EXPECT_EQ(station::filled("number={} length={#}", "ADB 01"), "number=ADB 01 length=6");
    EXPECT_EQ(station::filled("AT^DMSN", "unused"), "AT^DMSN");
    EXPECT_EQ(station::filled("{", "x"), "{");
}

struct value_row {
    const char *name;
    const char *answer;
    std::optional<std::string> value;
};

TEST(StationIdentities, AreFoundInTheAnswerToALine)
{
    const value_row rows[] = {
        {"imei", "\r\n^DGSN: 490154203237518\r\n\r\nOK\r\n", "490154203237518"},
        {"imei", "\r\n^DGSN:490154203237518\r\n\r\nOK\r\n", "490154203237518"},
        {"imei", "\r\n^RSSI: 1\r\n\r\n^DGSN: 1 \r\n\r\nOK\r\n", "1"},
        {"imei", "\r\n^DGSN: \r\n\r\nOK\r\n", ""},
        {"imei", "\r\nx^DGSN: 1\r\n\r\nOK\r\n", std::nullopt},
        {"imei", "\r\nERROR\r\n", std::nullopt},
        {"imei", "", std::nullopt},
        {"sn", "\r\n^DMSN: two words\r\n\r\nOK\r\n", "two words"},
        {"bt-address", "\r\n^DBTADDR: \"11:22:33:44:55:66\"\r\n\r\nOK\r\n", "11:22:33:44:55:66"},
        {"modem", "\r\nEmulated modem, revision 1\r\n\r\nOK\r\n", "Emulated modem, revision 1"},
    };
    for (const value_row &row : rows) {
        EXPECT_EQ(station::value_in_line(*station::find_identity(row.name), row.answer), row.value)
            << row.name << " in " << station::quoted(row.answer);
    }
}

} // namespace
