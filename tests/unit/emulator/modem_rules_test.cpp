// The text of the modem's rules: every form of a rule, which one counts, and what is wrong with one that is none.

#include "emulator/modem_rules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using emulator::answer_by_rules;
using emulator::parse_modem_rules;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using testing::ThrowsMessage;

namespace {

std::optional<std::string> answer(const std::string &rules, const std::string &command)
{
    return answer_by_rules(parse_modem_rules(rules), command);
}

struct form_row {
    const char *name;
    std::string rules;
    const char *command;
    std::optional<std::string> expected;
};

} // namespace

TEST(ModemRules, HaveManyForms)
{
    const form_row rows[] = {
        {"an arrow", "AT => ok", "AT", "ok"},
        {"an arrow without blanks", "AT=>ok", "AT", "ok"},
        {"a tab", "AT\tok", "AT", "ok"},
        {"an arrow between tabs", "AT\t=>\tok", "AT", "ok"},
        {"blanks in front and behind", "  AT => ok  ", "AT", "ok"},
        {"blanks inside", "AT X => o k", "AT X", "o k"},
        {"an arrow in the answer", "AT => a => b", "AT", "a => b"},
        {"an arrow behind a tab", "AT\ta => b", "AT", "a => b"},
        {"a tab in the answer", "AT => a\tb", "AT", "a\tb"},
        {"an equals sign before the arrow", "AT^X==>ok", "AT^X=", "ok"},
        {"lines ended as on other systems", "AT => ok\r\nATI => me\r\n", "ATI", "me"},
        {"no line end at the end", "# first\n\nAT => ok", "AT", "ok"},
        {"an empty answer", "AT =>", "AT", ""},
        {"a number sign in the answer", "AT => # ok", "AT", "# ok"},
        {"a comment", "# AT => ok", "# AT", std::nullopt},
        {"a comment behind blanks", "  # AT => ok", "# AT", std::nullopt},
        {"a tail", "AT^DMPCHN=* => ok", "AT^DMPCHN=12", "ok"},
        {"an empty tail", "AT^DMPCHN=* => ok", "AT^DMPCHN=", "ok"},
        {"a tail behind something else", "AT^DMPCHN=* => ok", "AT^DMPCHN?", std::nullopt},
        {"a tail alone", "* => ok", "anything", "ok"},
        {"an asterisk inside", "A*T => ok", "AXT", std::nullopt},
        {"an asterisk inside, as it stands", "A*T => ok", "A*T", "ok"},
        {"no tail", "AT => ok", "ATI", std::nullopt},
        {"another case", "AT => ok", "at", std::nullopt},
        {"no rules", "", "AT", std::nullopt},
        {"the escapes", R"(AT => \r\n\t\"\\\x00\xfF\x41)", "AT",
         std::string("\r\n\t\"\\\0\xFF"
                     "A",
                     8)},
        {"a quotation mark as it stands", R"(AT => "ok")", "AT", R"("ok")"},
        {"a blank at the end, as an escape", R"(AT => ok\x20)", "AT", "ok "},
    };
    for (const form_row &row : rows) {
        EXPECT_EQ(answer(row.rules, row.command), row.expected) << row.name;
    }
}

TEST(ModemRules, CountInTheirOrder)
{
    EXPECT_EQ(answer("AT+X => first\nAT+* => second\nAT+X => third", "AT+X"), "first");
    EXPECT_EQ(answer("AT+* => first\nAT+X => second", "AT+X"), "first");
    EXPECT_EQ(answer("AT+X => first\nAT+* => second", "AT+Y"), "second");
}

struct fault_row {
    const char *rules;
    const char *error;
};

TEST(ModemRules, AreRefusedWithTheNumberOfTheLine)
{
    const fault_row rows[] = {
        {"AT ok", "line 1 of the modem's rules: neither => nor a tab"},
        {"# one\n\nAT => ok\nATI", "line 4 of the modem's rules: neither => nor a tab"},
        {"=> ok", "line 1 of the modem's rules: no command"},
        {R"(AT => \q)", R"(line 1 of the modem's rules: no escape \q)"},
        {R"(AT => ok\)", R"(line 1 of the modem's rules: no escape \)"},
        {R"(AT => \x)", R"(line 1 of the modem's rules: \x wants two hexadecimal digits)"},
        {R"(AT => \x4)", R"(line 1 of the modem's rules: \x wants two hexadecimal digits)"},
        {R"(AT => \x4g)", R"(line 1 of the modem's rules: \x wants two hexadecimal digits)"},
        {R"(AT => \x-1)", R"(line 1 of the modem's rules: \x wants two hexadecimal digits)"},
    };
    for (const fault_row &row : rows) {
        EXPECT_THAT([&] { (void)parse_modem_rules(row.rules); },
                    ThrowsMessage<std::runtime_error>(StartsWith(row.error)))
            << row.rules;
    }
}

TEST(ModemRules, AreKeptAsTheyAreWritten)
{
    const std::vector<emulator::modem_rule> rules = parse_modem_rules("# two\nAT^X=* => \\r\\n\nATI\tme\n");
    ASSERT_THAT(rules, SizeIs(2));
    EXPECT_EQ(rules[0].command, "AT^X=");
    EXPECT_TRUE(rules[0].any_rest);
    EXPECT_EQ(rules[0].answer, "\r\n");
    EXPECT_EQ(rules[1].command, "ATI");
    EXPECT_FALSE(rules[1].any_rest);
    EXPECT_THAT(parse_modem_rules(" \n\t\n#\n"), IsEmpty());
}

TEST(ModemRules, OfAModemThatNobodyToldAnythingKnowWhatTheServiceNeeds)
{
    const form_row rows[] = {
        {"reports off", emulator::k_modem_rules, "AT^DLKS=0", "\r\nOK\r\n"},
        {"reports on", emulator::k_modem_rules, "AT;^DLKS=1", "\r\nOK\r\n"},
        {"a channel", emulator::k_modem_rules, "AT^DMPCHN=2", "\r\nOK\r\n"},
        {"signal", emulator::k_modem_rules, "AT+CSQ", "\r\n+CSQ: 23,99\r\n\r\nOK\r\n"},
        {"writing an IMEI", emulator::k_modem_rules, "AT^DCGSNW=490154203237518", "\r\nOK\r\n"},
        {"something unknown", emulator::k_modem_rules, "AT+NOTHING", std::nullopt},
    };
    for (const form_row &row : rows) {
        EXPECT_EQ(answer(row.rules, row.command), row.expected) << row.name;
    }
    EXPECT_THAT(answer(emulator::k_modem_rules, "ATI").value_or(""), HasSubstr("modem"));
}
