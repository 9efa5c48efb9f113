#include "amt/modem/modem-version.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/exchange.h"
#include "tests/unit/amt/handler_arguments.h"
#include "tests/unit/amt/links.h"
#include "tests/unit/amt/port_fakes.h"

namespace {

using ::testing::Contains;
using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

const std::string k_fixed_text = "\rAndroid4.2,2013-01-21" + std::string(42, '\n');

std::string request_for(uint32_t type)
{
    return message_of(0x2D, int_atom(19, type));
}

std::string hex(uint32_t value)
{
    char text[12];
    (void)snprintf(text, sizeof(text), "0x%02x", value);
    return text;
}

std::string dcmr(const std::string &value)
{
    return "\r\n^DCMR:" + value + "\r\n\r\nOK\r\n";
}

TEST(ModemVersion, OfAModuleWithoutOneIsAFixedText)
{
    const std::pair<uint32_t, const char *> rows[] = {
        {0x01, "AMT_PRODUCT_MODULE"}, {0x10, "AMT_SOFTWARE_MODULE"}, {0x13, "AMT_PLATFORM_MODULE"},
        {0x14, "AMT_APP_MODULE"},     {0x20, "AMT_HARDWARE_MODULE"}, {0x40, "AMT_WHOLE_MODULE"},
    };
    for (const auto &[type, name] : rows) {
        with_exchange(handle_amt_req_version, request_for(type), {}, [type = type, name = name](const exchange &seen) {
            const std::string atoms = int_atom(19, type) + bytes_atom(18, k_fixed_text) + int_atom(1, 0);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers, ElementsAre(message_of(0x2E, atoms))) << name;
            EXPECT_THAT(seen.commands, IsEmpty()) << name;
            EXPECT_THAT(seen.told, Contains("info | version type: " + hex(type) + " - " + name));
        });
    }
}

TEST(ModemVersion, OfAModuleWithoutOneGivesTheResultOfItsAnswer)
{
    with_exchange(
        handle_amt_req_version, request_for(1), {}, [](const exchange &seen) { EXPECT_EQ(seen.result, ERR_UNKNOWN); },
        [] { handle_context_st.m_pty.m_ptm_fd = -1; });
}

TEST(ModemVersion, OfAModuleThatNobodyKnowsIsNotAnswered)
{
    for (const uint32_t type : {0U, 2U, 0x0FU, 0x15U, 0x21U, 0x41U, 0xFFU, 0x111U, 0xFFFFFFFFU}) {
        with_exchange(handle_amt_req_version, request_for(type), {k_ok}, [type](const exchange &seen) {
            EXPECT_EQ(seen.result, ERR_UNKNOWN);
            EXPECT_THAT(seen.answers, IsEmpty());
            EXPECT_THAT(seen.commands, IsEmpty());
            EXPECT_THAT(seen.told, ElementsAre("func | ", "info | version type: " + hex(type) + " - (undefined)",
                                               k_failed + "unknown version type: " + hex(type)));
        });
    }
    with_exchange(handle_amt_req_version, message_of(0x2D), {k_ok}, [](const exchange &seen) {
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        EXPECT_THAT(seen.told, Contains("error | -100 - Unknown error | unknown version type: 0x00"))
            << "a request without a module is for module 0";
    });
}

struct text_row {
    const char *name;
    std::string value;
    std::string version;
};

TEST(ModemVersion, IsDecodedFromWhatTheModemTells)
{
    const text_row rows[] = {
        {"usual", "17,0D4C315F56312E300A", "L1_V1.0"},
        {"small letters", "17,0d4c315f56312e300a", "L1_V1.0"},
        {"mixed letters", "17,0D4c315F56312e300a", "L1_V1.0"},
        {"without its carriage return", "17,4C310A", "L1"},
        {"without its line feed", "17,0D4C31", "L1"},
        {"a carriage return further on", "17,4C0D310A", "L\r1"},
        {"blanks behind the comma", "17,   0D4C310A", "L1"},
        {"text behind the line feed", "17,4C310A4C32", "L1"},
        {"two line feeds", "17,4C310A4C320A", "L1"},
        {"a capital line feed before a small one", "17,4C310A4C320a", "L1\nL2"},
        {"a small line feed before a capital one", "17,4C310a4C320A", "L1"},
        {"characters that are no digits", "17,4-C 3x1\"0A", "L1"},
        {"line ends inside", "17,4C\r\n310A", "L1"},
        {"half a byte at its end", "17,4C31F", "L1"},
        {"half a byte before the line feed", "17,4C31F0A", "L1"},
        {"a line feed across two bytes", "17,4C50A1", "L"},
        {"another comma", "17,4C,31", "L1"},
        {"another number", "18,4C31", "L1"},
        {"no number", ",4C31", "L1"},
        {"blanks in front", "  17,4C31", "L1"},
        {"the bytes from 0x80 on", "17,80FEFF", "\x80\xFE\xFF"},
        {"a zero byte", "17,4C0031",
         std::string("L\0"
                     "1",
                     3)},
        {"nothing", "17,", ""},
        {"only a carriage return", "17,0D", ""},
        {"only a line feed", "17,0A", ""},
        {"only both", "17,0D0A", ""},
        {"one digit", "17,4", ""},
        {"a line feed in front of the comma", "0a,4C31", ""},
        {"a capital one there", "0A17,4C31", ""},
        {"a line feed across the comma", "10,A4C", "\xA4"},
    };
    for (const text_row &row : rows) {
        with_exchange(handle_amt_req_version, request_for(17), {dcmr(row.value)}, [&row](const exchange &seen) {
            const std::string text = row.version.empty() ? "" : bytes_atom(18, row.version);
            EXPECT_EQ(seen.result, ERR_NONE) << row.name;
            EXPECT_THAT(seen.answers, ElementsAre(message_of(0x2E, int_atom(19, 17) + text + int_atom(1, 0))))
                << row.name;
        });
    }
}

TEST(ModemVersion, IsAskedForByTheNumberOfItsModule)
{
    for (const uint32_t type : {17U, 18U}) {
        with_exchange(handle_amt_req_version, request_for(type), {dcmr("17,4C31")}, [type](const exchange &seen) {
            const std::string command = "AT^DCMR=" + std::to_string(type);
            EXPECT_THAT(seen.commands, ElementsAre(command + "\r"));
            EXPECT_THAT(seen.answers,
                        ElementsAre(message_of(0x2E, int_atom(19, type) + bytes_atom(18, "L1") + int_atom(1, 0))));
            EXPECT_THAT(seen.told, Contains("info | will send at command:" + command + "\r"));
            EXPECT_THAT(seen.told, Contains("info | get version success.type:" + std::to_string(type) +
                                            ", version:[len:2 content:L1]"));
        });
    }
}

TEST(ModemVersion, IsCollectedFromPieces)
{
    const std::string text = dcmr("17,0D4C310A");
    std::vector<std::vector<std::string>> ways = split_everywhere(text);
    ways.push_back(bytewise(text));
    for (const std::vector<std::string> &pieces : ways) {
        with_exchange(handle_amt_req_version, request_for(17), pieces, [](const exchange &seen) {
            EXPECT_THAT(seen.answers,
                        ElementsAre(message_of(0x2E, int_atom(19, 17) + bytes_atom(18, "L1") + int_atom(1, 0))));
        });
    }
}

// A failure of the modem's is told under the module's number, and not answered.
void expect_failure(const std::string &name, const std::vector<std::string> &modem,
                    const std::function<void()> &prepare = nullptr)
{
    for (const uint32_t type : {17U, 18U}) {
        with_exchange(
            handle_amt_req_version, request_for(type), modem,
            [&name, type](const exchange &seen) {
                EXPECT_EQ(seen.result, ERR_UNKNOWN) << name;
                EXPECT_THAT(seen.answers, IsEmpty()) << name;
                EXPECT_EQ(seen.told.back(), k_failed + "get version failure for type: " + hex(type)) << name;
            },
            prepare);
    }
}

TEST(ModemVersion, ThatCannotBeHadIsNotAnswered)
{
    for (const refusal_row &refusal : k_refusals) {
        expect_failure(refusal.name, {refusal.text, dcmr("17,4C31")});
    }
    expect_failure("only OK", {k_ok});
    expect_failure("another line", {"\r\n^DMSN: 1\r\n\r\nOK\r\n"});
    expect_failure("its line not ended", {"\r\n^DCMR:17,4C31\r\nOK\r\n"});
    expect_failure("not at the beginning of a line", {"x^DCMR:17,4C31\r\n\r\nOK\r\n"});
    expect_failure("an empty value", {dcmr("")});
    expect_failure("blanks", {dcmr("  ")});
    expect_failure("no comma", {dcmr("4C31")});
    expect_failure("a full answer", {std::string(4096, 'x'), k_ok});
    expect_failure("a failed command", {}, [] { fail_write(EAGAIN); });
    expect_failure("a failed reading", {}, [] { fail_read(EAGAIN); });
    expect_failure("no application", {dcmr("17,4C31")}, [] { handle_context_st.m_pty.m_ptm_fd = -1; });
}

TEST(ModemVersion, WithoutACommaIsToldAsInvalid)
{
    with_exchange(handle_amt_req_version, request_for(17), {dcmr("4C31")}, [](const exchange &seen) {
        EXPECT_THAT(seen.told, Contains("error | -100 - Unknown error | DCMR-query's result[4C31] is invalid"));
    });
}

TEST(ModemVersion, ThatIsEmptyIsNotToldAsInvalid)
{
    with_exchange(handle_amt_req_version, request_for(17), {dcmr("")},
                  [](const exchange &seen) { EXPECT_THAT(seen.told, Not(Contains(HasSubstr("is invalid")))); });
}

TEST(ModemVersion, IsToldStepByStep)
{
    in_child([] {
        const links link;
        (void)open_port();
        const test_log log;
        modem_says({dcmr("17,4C31")});
        const amt_buffer request = buffer_with(request_for(17));
        amt_buffer response = {};
        EXPECT_EQ(handle_amt_req_version(AMT_CHANNEL_APP, &request, &response), ERR_NONE);
        for (const char *function : {"handle_amt_req_version", "handle_amt_req_l1_hls_version",
                                     "amt_modem_handle_l1_hls_version", "get_l1_hls_version"}) {
            EXPECT_THAT(log.text(), ContainsRegex(std::string("\\| ") + function + " +\\| +[0-9]+ \\| func "))
                << function;
        }
        EXPECT_THAT(log.records(), Not(Contains(HasSubstr(" :\r")))) << "the modem's answer is not told by name";
    });
}

TEST(ModemVersion, MayHave408Characters)
{
    for (const size_t length : {407U, 408U, 409U, 1000U}) {
        const std::string digits((length - 3) / 2 * 2, '4');
        const std::string value = "17," + digits + std::string(length - 3 - digits.size(), '-');
        with_exchange(handle_amt_req_version, request_for(17), {dcmr(value)}, [&](const exchange &seen) {
            if (length > 408) {
                EXPECT_EQ(seen.result, ERR_UNKNOWN) << length;
                EXPECT_THAT(seen.answers, IsEmpty()) << length;
                return;
            }
            const std::string text(digits.size() / 2, 'D');
            EXPECT_THAT(seen.answers,
                        ElementsAre(message_of(0x2E, int_atom(19, 17) + bytes_atom(18, text) + int_atom(1, 0))))
                << length;
        });
    }
}

TEST(ModemVersion, IsRefusedWithoutAModemWhateverTheModule)
{
    for (const uint32_t type : {1U, 17U, 18U, 99U}) {
        expect_refused_without_modem(handle_amt_req_version, request_for(type));
    }
}

TEST(ModemVersion, RefusesBadArgumentsAndTellsWhich)
{
    expect_bad_arguments_refused(handle_amt_req_version, AMT_CHANNEL_APP, request_for(17));
}

// --- the modem's own modules

struct argument_row {
    const char *name;
    uint8_t channel;
    int32_t module;
    bool has_request, is_empty, has_response;
    const char *flags;
};

TEST(L1HlsVersion, RefusesBadArgumentsAndTellsWhich)
{
    const argument_row rows[] = {
        {"channel 255", 255, 17, true, false, true, "1, module_en:17, 0, 0, 0"},
        {"module 16", 2, 16, true, false, true, "0, module_en:16, 0, 0, 0"},
        {"module 19", 2, 19, true, false, true, "0, module_en:19, 0, 0, 0"},
        {"module -17", 2, -17, true, false, true, "0, module_en:-17, 0, 0, 0"},
        {"no request", 2, 17, false, false, true, "0, module_en:17, 1, 0, 0"},
        {"no response", 2, 18, true, false, false, "0, module_en:18, 0, 1, 0"},
        {"an empty request", 2, 17, true, true, true, "0, module_en:17, 0, 0, 1"},
    };
    for (const argument_row &row : rows) {
        in_child([&row] {
            const links link;
            (void)open_port();
            const test_log log;
            amt_buffer request = buffer_with(request_for(17));
            request.m_length = row.is_empty ? 0 : request.m_length;
            amt_buffer response = {};
            EXPECT_EQ(handle_amt_req_l1_hls_version(row.channel, row.module, row.has_request ? &request : nullptr,
                                                    row.has_response ? &response : nullptr),
                      ERR_INVALID_PARAM)
                << row.name;
            EXPECT_THAT(log.records(), ElementsAre("func | ", k_bad_argument + row.flags)) << row.name;
            EXPECT_THAT(g_fake.written, IsEmpty());
            EXPECT_THAT(link.at_application(), IsEmpty());
        });
    }
}

TEST(L1HlsVersion, IsRefusedWithoutAModem)
{
    in_child([] {
        const links link;
        (void)open_port();
        g_at_dev_not_opened = 1;
        const amt_buffer request = buffer_with(request_for(17));
        amt_buffer response = {};
        EXPECT_EQ(handle_amt_req_l1_hls_version(AMT_CHANNEL_APP, 17, &request, &response), ERR_NOT_READY);
        EXPECT_THAT(g_fake.written, IsEmpty());
        EXPECT_THAT(link.at_application(), IsEmpty());
    });
}

} // namespace
