#include "amt/at-local/version.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include <map>
#include <string>

#include "amt/core/version-module.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/core_fakes.h"
#include "tests/unit/amt/handler_arguments.h"
#include "tests/unit/amt/links.h"
#include "tests/unit/platform/handset_root.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::StartsWith;

const std::string k_pre_response = "aabbccdd0800000002020000764aee1d";

class Version : public handset_root {
  protected:
    void set(const std::map<std::string, std::string> &properties) const
    {
        for (const auto &[key, value] : properties) {
            write_file("/dev/__properties__/" + key, value);
        }
    }
};

std::string u32_hex(uint32_t value)
{
    char text[9];
    (void)snprintf(text, sizeof(text), "%08x", __builtin_bswap32(value));
    return text;
}

std::string request_hex(uint32_t type)
{
    return "0f00bb2d0900ee13010400" + u32_hex(type);
}

// --- the text

struct text_row {
    const char *name;
    std::map<std::string, std::string> properties;
    std::string text;
};

const std::string k_customer = "ro.build.customer";
const std::string k_manufacturer = "ro.product.manufacturer";
const std::string k_incremental = "ro.build.version.incremental";
const std::string k_id = "ro.build.display.kv.id";
const std::string k_display = "ro.build.display.id";

const text_row k_texts_a[] = {
    {"a display id", {{k_display, "KV-2.0.7"}}, "KV-2.0.7"},
    {"no property at all", {}, " "},
    {"an empty display id", {{k_display, ""}}, " "},
    {"the longest display id", {{k_display, std::string(91, 'd')}}, std::string(91, 'd')},
    {"another customer",
     {{k_customer, "OTHER"}, {k_manufacturer, "Other"}, {k_display, "D"}, {k_incremental, "7"}},
     "D"},
    {"customers are compared whole", {{k_customer, "KORVEN2"}, {k_manufacturer, "Korve"}, {k_display, "D"}}, "D"},
    {"the maker as customer",
     {{k_customer, "KORVEN"}, {k_incremental, "7.1"}, {k_id, "B12"}, {k_display, "D"}},
     "TELO 7.1(B12)"},
    {"customer in other letters", {{k_customer, "korVen"}, {k_incremental, "7.1"}, {k_id, "B12"}}, "TELO 7.1(B12)"},
    {"the maker as manufacturer", {{k_manufacturer, "Korven"}, {k_incremental, "7.1"}, {k_id, "B12"}}, "TELO 7.1(B12)"},
    {"manufacturer in other letters", {{k_manufacturer, "KORVEN"}, {k_incremental, "7"}, {k_id, "B"}}, "TELO 7(B)"},
    {"another customer, the maker's handset",
     {{k_customer, "OTHER"}, {k_manufacturer, "Korven"}, {k_incremental, "7"}, {k_id, "B"}, {k_display, "D"}},
     "TELO 7(B)"},
    {"no incremental version", {{k_customer, "KORVEN"}, {k_id, "B"}}, "TELO  (B)"},
    {"no id", {{k_customer, "KORVEN"}, {k_incremental, "7"}}, "TELO 7( )"},
    {"99 characters",
     {{k_customer, "KORVEN"}, {k_incremental, std::string(50, 'i')}, {k_id, std::string(42, 'd')}},
     "TELO " + std::string(50, 'i') + "(" + std::string(42, 'd') + ")"},
    {"100 characters lose the last",
     {{k_customer, "KORVEN"}, {k_incremental, std::string(50, 'i')}, {k_id, std::string(43, 'd')}},
     "TELO " + std::string(50, 'i') + "(" + std::string(43, 'd')},
    {"the longest properties",
     {{k_customer, "KORVEN"}, {k_incremental, std::string(91, 'i')}, {k_id, std::string(91, 'd')}},
     "TELO " + std::string(91, 'i') + "(dd"},
};

TEST_F(Version, IsMadeOfTheHandsetsProperties)
{
    for (const text_row &row : k_texts_a) {
        TearDown();
        SetUp(); // a store of its own
        set(row.properties);
        in_child([&row] {
            const test_log log;
            std::string output(AMT_VERSION_SIZE, '#');
            uint32_t length = 0;
            EXPECT_EQ(get_ap_sw_version(output.data(), &length), ERR_NONE) << row.name;
            EXPECT_EQ(output.substr(0, length), row.text) << row.name;
            EXPECT_EQ(output.substr(length), std::string(AMT_VERSION_SIZE - length, '#')) << "not terminated";
            EXPECT_THAT(log.records(), ElementsAre("func | ", "info | getted sw-module: " + row.text)) << row.name;
        });
    }
}

void expect_unknown_without(const char *property)
{
    in_child([property] {
        const test_log log;
        g_fake.empty_property = property;
        char output[AMT_VERSION_SIZE] = "#";
        uint32_t length = 77;
        EXPECT_EQ(get_ap_sw_version(output, &length), ERR_UNKNOWN);
        EXPECT_STREQ(output, "#");
        EXPECT_EQ(length, 77U);
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_failed + "read " + property + " error"));
    });
}

TEST_F(Version, IsUnknownWhenItsPropertyReadsAsEmpty)
{
    expect_unknown_without("ro.build.display.id");
    set({{k_customer, "KORVEN"}, {k_id, "B"}, {k_display, "D"}});
    expect_unknown_without("ro.build.version.incremental");
}

TEST_F(Version, IsNotReadWithoutAPlaceForIt)
{
    in_child([] {
        const test_log log;
        char output[AMT_VERSION_SIZE];
        uint32_t length = 77;
        EXPECT_EQ(get_ap_sw_version(nullptr, &length), ERR_INVALID_PARAM);
        EXPECT_EQ(get_ap_sw_version(output, nullptr), ERR_INVALID_PARAM);
        EXPECT_EQ(get_ap_sw_version(nullptr, nullptr), ERR_INVALID_PARAM);
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_bad_argument + "1, 0", "func | ", k_bad_argument + "0, 1",
                                               "func | ", k_bad_argument + "1, 1"));
    });
}

// --- the request

struct module_row {
    int32_t type;
    const char *name;
    bool is_the_modems;
};

// clang-format off
constexpr module_row k_modules_a[] = {
    { 1, "AMT_PRODUCT_MODULE",  false},
    {16, "AMT_SOFTWARE_MODULE", false},
    {17, "AMT_L1_MODULE",       true},
    {18, "AMT_HLS_MODULE",      true},
    {19, "AMT_PLATFORM_MODULE", false},
    {20, "AMT_APP_MODULE",      false},
    {32, "AMT_HARDWARE_MODULE", false},
    {64, "AMT_WHOLE_MODULE",    false},
};

constexpr uint32_t k_unknown_types_a[] = {0, 2, 15, 21, 31, 33, 63, 65, 255, 257, 0x01000010, 0xFFFFFFFF};
// clang-format on

std::string told_type(uint32_t type, const char *name)
{
    char text[100];
    (void)snprintf(text, sizeof(text), "info | version type: 0x%02x - %s", type, name);
    return text;
}

// The answer but for its first byte, the length: the type, the fixed text of 64 characters, the result.
std::string fixed_answer(uint32_t type)
{
    const std::string text = "\rAndroid4.2,2013-01-21" + std::string(42, '\n');
    return "5d00bb2e5700ee13010400" + u32_hex(type) + "ee12034000" + hex_of(text) + "ee0101040000000000";
}

TEST(VersionModules, HaveTheirNames)
{
    for (const module_row &row : k_modules_a) {
        EXPECT_STREQ(amt_get_module_name(row.type), row.name);
    }
    for (const uint32_t type : k_unknown_types_a) {
        EXPECT_STREQ(amt_get_module_name(static_cast<int32_t>(type)), "(undefined)") << type;
    }
}

TEST_F(Version, OfTheHandsetsModulesIsAFixedText)
{
    for (const module_row &row : k_modules_a) {
        if (row.is_the_modems || row.type == 16) {
            continue;
        }
        in_child([&row] {
            const links link;
            const test_log log;
            const auto type = static_cast<uint32_t>(row.type);
            const amt_buffer request = buffer_with(request_hex(type));
            amt_buffer response = buffer_with("ffffffffffffffffffffffff");
            EXPECT_EQ(handle_amt_pc_req_version(AMT_CHANNEL_PC, &request, &response), ERR_NONE) << row.name;
            EXPECT_THAT(link.at_station(), ElementsAre(k_pre_response, enveloped(fixed_answer(type)))) << row.name;
            EXPECT_THAT(link.at_application(), IsEmpty());
            EXPECT_TRUE(is_clear(response));
            EXPECT_EQ(log.records()[1], told_type(type, row.name));
        });
    }
}

TEST_F(Version, OfTheSoftwareIsTheHandsetsOwn)
{
    set({{k_display, "KV-2.0.7"}});
    in_child([] {
        const links link;
        const test_log log;
        const amt_buffer request = buffer_with(request_hex(16));
        amt_buffer response = {};
        EXPECT_EQ(handle_amt_pc_req_version(AMT_CHANNEL_PC, &request, &response), ERR_NONE);
        EXPECT_THAT(link.at_station(), ElementsAre(k_pre_response, enveloped("2500bb2e1f00ee1301040010000000"
                                                                             "ee12030800"
                                                                             "4b562d322e302e37"
                                                                             "ee0101040000000000")));
        EXPECT_THAT(log.records(), IsSupersetOf({told_type(16, "AMT_SOFTWARE_MODULE"),
                                                 std::string("info | getted sw-module: KV-2.0.7")}));
    });
}

// The longest text there is: 99 characters, and no more than its own length.
TEST_F(Version, OfTheSoftwareHasItsOwnLength)
{
    set({{k_customer, "KORVEN"}, {k_incremental, std::string(91, 'i')}, {k_id, std::string(91, 'd')}});
    in_child([] {
        const links link;
        const amt_buffer request = buffer_with(request_hex(16));
        amt_buffer response = buffer_with(std::string(400, 'f'));
        EXPECT_EQ(handle_amt_pc_req_version(AMT_CHANNEL_PC, &request, &response), ERR_NONE);
        EXPECT_THAT(link.at_station(),
                    ElementsAre(k_pre_response,
                                enveloped("8000bb2e7a00ee1301040010000000ee12036300" +
                                          hex_of("TELO " + std::string(91, 'i') + "(dd") + "ee0101040000000000")));
    });
}

struct request_row {
    const char *name;
    std::string request;
    uint32_t type;
};

TEST_F(Version, IsThatOfTheFirstTypeInTheRequest)
{
    const request_row rows[] = {
        {"a short number", "0c00bb2d0600ee1301010001", 1},
        {"a number of another type", "0f00bb2d0900ee13030400" + u32_hex(1), 1},
        {"two types", "1800bb2d1200ee1301040020000000ee1301040001000000", 32},
        {"behind another atom", "1800bb2d1200ee0101040001000000ee1301040040000000", 64},
    };
    for (const request_row &row : rows) {
        in_child([&row] {
            const links link;
            const amt_buffer request = buffer_with(row.request);
            amt_buffer response = {};
            EXPECT_EQ(handle_amt_pc_req_version(AMT_CHANNEL_PC, &request, &response), ERR_NONE) << row.name;
            EXPECT_THAT(link.at_station(), ElementsAre(k_pre_response, enveloped(fixed_answer(row.type)))) << row.name;
        });
    }
}

TEST_F(Version, OfTheMakersSoftwareThatIsUnknownEndsBehindThePreResponse)
{
    set({{k_customer, "KORVEN"}, {k_id, "B"}, {k_display, "D"}});
    in_child([] {
        const links link;
        const test_log log;
        g_fake.empty_property = k_incremental;
        const amt_buffer request = buffer_with(request_hex(16));
        amt_buffer response = {};
        EXPECT_EQ(handle_amt_pc_req_version(AMT_CHANNEL_PC, &request, &response), ERR_UNKNOWN);
        EXPECT_THAT(link.at_station(), ElementsAre(k_pre_response));
        EXPECT_THAT(log.records(), IsSupersetOf({k_failed + "read ro.build.version.incremental error",
                                                 k_failed + "failed to get ap's sw version"}));
    });
}

TEST_F(Version, OfTheMakersSoftwareIsToldWithoutItsId)
{
    set({{k_customer, "KORVEN"}, {k_incremental, "7"}});
    in_child([] {
        g_fake.empty_property = k_id;
        char output[AMT_VERSION_SIZE] = "";
        uint32_t length = 0;
        EXPECT_EQ(get_ap_sw_version(output, &length), ERR_NONE);
        EXPECT_EQ(std::string(output, length), "TELO 7()");
    });
}

TEST_F(Version, OfTheSoftwareThatIsUnknownEndsBehindThePreResponse)
{
    in_child([] {
        const links link;
        const test_log log;
        g_fake.empty_property = k_display;
        const amt_buffer request = buffer_with(request_hex(16));
        amt_buffer response = {};
        EXPECT_EQ(handle_amt_pc_req_version(AMT_CHANNEL_PC, &request, &response), ERR_UNKNOWN);
        EXPECT_THAT(link.at_station(), ElementsAre(k_pre_response));
        EXPECT_THAT(log.records(), Contains(k_failed + "failed to get ap's sw version"));
    });
}

TEST_F(Version, OfTheModemsModulesIsTheModemsToTell)
{
    for (const module_row &row : k_modules_a) {
        if (!row.is_the_modems) {
            continue;
        }
        in_child([&row] {
            const links link;
            const test_log log;
            const auto type = static_cast<uint32_t>(row.type);
            const amt_buffer request = buffer_with(request_hex(type));
            amt_buffer response = {};
            EXPECT_EQ(handle_amt_pc_req_version(AMT_CHANNEL_PC, &request, &response), ERR_NOT_FOUND) << row.name;
            EXPECT_THAT(link.at_station(), IsEmpty()) << "not even a pre-response";
            EXPECT_THAT(log.records(), ElementsAre("func | ", told_type(type, row.name)));
        });
    }
}

TEST_F(Version, OfAnotherModuleIsAFailure)
{
    for (const uint32_t type : k_unknown_types_a) {
        in_child([type] {
            const links link;
            const test_log log;
            const amt_buffer request = buffer_with(request_hex(type));
            amt_buffer response = {};
            EXPECT_EQ(handle_amt_pc_req_version(AMT_CHANNEL_PC, &request, &response), ERR_UNKNOWN) << type;
            EXPECT_THAT(link.at_station(), IsEmpty()) << type;
            char text[40];
            (void)snprintf(text, sizeof(text), "unknown version type: 0x%02x", type);
            EXPECT_THAT(log.records(), ElementsAre("func | ", told_type(type, "(undefined)"), k_failed + text));
        });
    }
}

TEST_F(Version, WithoutATypeIsThatOfNoModule)
{
    in_child([] {
        const links link;
        const test_log log;
        const amt_buffer request = buffer_with("0600bb2d0000");
        amt_buffer response = {};
        EXPECT_EQ(handle_amt_pc_req_version(AMT_CHANNEL_PC, &request, &response), ERR_UNKNOWN);
        EXPECT_THAT(log.records(), Contains(k_failed + "unknown version type: 0x00"));
    });
}

TEST_F(Version, IsNotToldForBadArguments)
{
    expect_bad_arguments_refused(handle_amt_pc_req_version, AMT_CHANNEL_PC, request_hex(1));
}

TEST_F(Version, IsToldEvenWhenThePreResponseIsNot)
{
    in_child([] {
        const links link;
        const test_log log;
        g_fake.write_fails_at = 1;
        g_fake.write_error = EIO;
        const amt_buffer request = buffer_with(request_hex(1));
        amt_buffer response = {};
        EXPECT_EQ(handle_amt_pc_req_version(AMT_CHANNEL_PC, &request, &response), ERR_NONE);
        EXPECT_THAT(link.at_station(), ElementsAre(enveloped(fixed_answer(1))));
        EXPECT_TRUE(is_clear(response));
        EXPECT_THAT(log.records(), Contains("sys error | write: 5 - Input/output error").Times(1));
    });
}

TEST_F(Version, GivesTheResultOfItsSending)
{
    in_child([] {
        const links link;
        g_fake.write_fails_at = 2;
        g_fake.write_count = 1;
        const amt_buffer request = buffer_with(request_hex(1));
        amt_buffer response = {};
        EXPECT_EQ(handle_amt_pc_req_version(AMT_CHANNEL_PC, &request, &response), ERR_WRITE_NOT_COMPLETED);
        EXPECT_THAT(link.at_station(), ElementsAre(k_pre_response, "aa"));
    });
}

// --- the line

TEST_F(Version, AnswersTheLineAsText)
{
    set({{k_display, "KV-2.0.7"}});
    in_child([] {
        const links link;
        const test_log log;
        handle_context_st.m_response = buffer_with("ffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff");
        EXPECT_EQ(handle_amt_sw_version_at(), ERR_NONE);
        EXPECT_THAT(log.records(), ElementsAre("func | ", "func | ", "info | getted sw-module: KV-2.0.7", "func | ",
                                               StartsWith("data | send PC rsp data: (data len = 26) 0D0A5E44")));
        EXPECT_THAT(link.at_station(), ElementsAre(hex_of("\r\n^DSVER: KV-2.0.7\r\n\r\nOK\r\n")));
        EXPECT_TRUE(is_clear(handle_context_st.m_response));
    });
    set({{k_customer, "KORVEN"}, {k_incremental, std::string(91, '%')}, {k_id, "x"}});
    in_child([] {
        const links link;
        EXPECT_EQ(handle_amt_sw_version_at(), ERR_NONE);
        EXPECT_THAT(link.at_station(),
                    ElementsAre(hex_of("\r\n^DSVER: TELO " + std::string(91, '%') + "(x)\r\n\r\nOK\r\n")))
            << "99 characters, none of them a format";
    });
}

TEST_F(Version, ThatIsUnknownIsAnErrorLine)
{
    in_child([] {
        const links link;
        g_fake.empty_property = k_display;
        EXPECT_EQ(handle_amt_sw_version_at(), ERR_NONE) << "it is answered";
        EXPECT_THAT(link.at_station(), ElementsAre(hex_of("\r\n+CME ERROR: 100\r\n")));
    });
    set({{k_customer, "KORVEN"}});
    in_child([] {
        const links link;
        g_fake.empty_property = k_incremental;
        EXPECT_EQ(handle_amt_sw_version_at(), ERR_NONE);
        EXPECT_THAT(link.at_station(), ElementsAre(hex_of("\r\n+CME ERROR: 100\r\n")));
    });
}

TEST_F(Version, OfALineGivesTheResultOfItsSending)
{
    in_child([] {
        amt_context_clear();
        EXPECT_EQ(handle_amt_sw_version_at(), ERR_UNKNOWN);
        g_fake.empty_property = k_display;
        EXPECT_EQ(handle_amt_sw_version_at(), ERR_UNKNOWN);
    });
}

} // namespace
