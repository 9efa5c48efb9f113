// The text of the modem's rules: every form of a rule, which one counts, what is kept from one command to the next, and
// what is wrong with a line that is no rule.

#include "emulator/modem_rules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using emulator::answer_by_rules;
using emulator::modem_memory;
using emulator::parse_modem_rules;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using testing::ThrowsMessage;

namespace {

std::optional<std::string> answer(const std::string &rules, const std::string &command)
{
    modem_memory nothing;
    return answer_by_rules(parse_modem_rules(rules), command, nothing);
}

struct form_row {
    const char *name;
    std::string rules;
    const char *command;
    std::optional<std::string> expected;
};

// Commands one after the other to a modem that keeps what the rules have it keep.
struct conversation_row {
    const char *name;
    const char *rules;
    std::vector<const char *> before;
    const char *command;
    std::optional<std::string> expected;
};

void expect_conversation(const conversation_row &row)
{
    const std::vector<emulator::modem_rule> rules = parse_modem_rules(row.rules);
    modem_memory known;
    for (const char *command : row.before) {
        EXPECT_NE(answer_by_rules(rules, command, known), std::nullopt) << row.name << ": " << command;
    }
    EXPECT_EQ(answer_by_rules(rules, row.command, known), row.expected) << row.name;
}

// Verdicts of stations, with a text or without.
constexpr char k_verdicts[] = "W={station},{verdict[station]},{text[station]} => ok\n"
                              "W={station},{verdict[station]}{text[station]=} => ok\n"
                              "R={station} => {station}:{verdict[station]|0}:{text[station]}\n"
                              "R => {station}:{verdict[station]|0}:{text[station]}\n";

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
        {"a brace in the answer, as an escape", R"(AT => \{sn})", "AT", "{sn}"},
        {"a closing brace as it stands", "AT} => }", "AT}", "}"},
        {"a brace in the command, as an escape", R"(AT\{sn} => ok)", "AT{sn}", "ok"},
        {"a backslash in the command, as it stands", R"(AT\r => ok)", "AT\\r", "ok"},
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

TEST(ModemRules, HavePlaceholdersThatTakeWhatStandsThere)
{
    const form_row rows[] = {
        {"the rest", "AT^X={a} => <{a}>", "AT^X=1,2", "<1,2>"},
        {"an empty rest", "AT^X={a} => <{a|default}>", "AT^X=", "<>"},
        {"everything", "{a} => <{a}>", "AT", "<AT>"},
        {"blanks", "AT^X={a} => <{a}>", "AT^X= 1 ", "< 1 >"},
        {"the middle", "AT^X=\"{a}\" => <{a}>", "AT^X=\"1\"", "<1>"},
        {"an empty middle", "AT^X=\"{a}\" => <{a}>", "AT^X=\"\"", "<>"},
        {"the beginning", "{a}=? => <{a}>", "AT^X=?", "<AT^X>"},
        {"up to the first that may follow", "X={a},{b} => <{a}><{b}>", "X=1,2,3", "<1><2,3>"},
        {"up to a word, by its first letter", "{a} to {b} => <{a}><{b}>", "1 to 2", "<1><2>"},
        {"a word that only begins alike", "{a} to {b} => <{a}><{b}>", "1 too 2", std::nullopt},
        {"two with a tail", "X={a},{b},* => <{a}><{b}>", "X=1,2,3,4", "<1><2>"},
        {"names with everything", "X={aZ_09} => <{aZ_09}>", "X=1", "<1>"},
        {"the same answer twice", "X={a} => {a}{a}", "X=1", "11"},
        {"the same name twice", "X={a},{a} => {a}", "X=1,2", "2"},
        {"missing text in front", "AT^X={a} => ok", "AT^Y=1", std::nullopt},
        {"missing text behind", "X=\"{a}\" => ok", "X=\"1", std::nullopt},
        {"missing text between", "X={a},{b} => ok", "X=1;2", std::nullopt},
        {"more than the whole", "X=\"{a}\" => ok", "X=\"1\"2", std::nullopt},
        {"nothing at all", "X={a} => ok", "", std::nullopt},
        {"a brace in front", R"(X=\{{a}} => <{a}>)", "X={1}", "<1>"},
    };
    for (const form_row &row : rows) {
        EXPECT_EQ(answer(row.rules, row.command), row.expected) << row.name;
    }
}

TEST(ModemRules, TellWhatIsKeptOrWhatStandsForItUntilThen)
{
    const conversation_row rows[] = {
        {"nothing kept, nothing instead", "R => <{a}>", {}, "R", "<>"},
        {"nothing kept, a text instead", "R => <{a|1,2}>", {}, "R", "<1,2>"},
        {"an empty text instead", "R => <{a|}>", {}, "R", "<>"},
        {"a text with a mark", "R => <{a|b|c}>", {}, "R", "<b|c>"},
        {"a text with escapes", R"(R => <{a|\r\x7B\x7D}>)", {}, "R", "<\r{}>"},
        {"kept", "W={a} => ok\nR => <{a|none}>", {"W=1"}, "R", "<1>"},
        {"kept anew", "W={a} => ok\nR => <{a|none}>", {"W=1", "W=2"}, "R", "<2>"},
        {"kept empty", "W={a} => ok\nR => <{a|none}>", {"W=1", "W="}, "R", "<>"},
        {"another name", "W={a} => ok\nR => <{b|none}>", {"W=1"}, "R", "<none>"},
        {"kept by a rule that says nothing", "W={a} =>\nR => <{a}>", {"W=1"}, "R", "<1>"},
        {"kept with a brace", "W={a} => ok\nR => <{a}>", {"W={b}"}, "R", "<{b}>"},
        {"set", "ON{a=1} => ok\nR => <{a|0}>", {"ON"}, "R", "<1>"},
        {"set to nothing", "W={a} => ok\nOFF{a=} => ok\nR => <{a|0}>", {"W=1", "OFF"}, "R", "<>"},
        {"set with escapes",
         R"(ON{a=\t=\x7D} => ok)"
         "\nR => <{a}>",
         {"ON"},
         "R",
         "<\t=}>"},
        {"set with a tail", "ON{a=1}* => ok\nR => <{a}>", {"ONE"}, "R", "<1>"},
        {"set between what is taken", "W={a}{b=x},{c} => ok\nR => {a}{b}{c}", {"W=1,2"}, "R", "1x2"},
    };
    for (const conversation_row &row : rows) {
        expect_conversation(row);
    }
}

TEST(ModemRules, KeepOneStationApartFromAnother)
{
    const conversation_row rows[] = {
        {"nothing yet", k_verdicts, {}, "R=1", "1:0:"},
        {"a verdict with a text", k_verdicts, {"W=1,2,RF"}, "R=1", "1:2:RF"},
        {"a text with commas", k_verdicts, {"W=1,2,RF, bad"}, "R=1", "1:2:RF, bad"},
        {"an empty text", k_verdicts, {"W=1,2,RF", "W=1,2,"}, "R=1", "1:2:"},
        {"a verdict without a text", k_verdicts, {"W=1,2"}, "R=1", "1:2:"},
        {"no older text", k_verdicts, {"W=1,2,RF", "W=1,1"}, "R=1", "1:1:"},
        {"another station", k_verdicts, {"W=1,2,RF"}, "R=2", "2:0:"},
        {"the first of two", k_verdicts, {"W=1,2,RF", "W=12,1,ok"}, "R=1", "1:2:RF"},
        {"the second of two", k_verdicts, {"W=1,2,RF", "W=12,1,ok"}, "R=12", "12:1:ok"},
        {"another station's text", k_verdicts, {"W=1,2,RF", "W=2,1"}, "R=1", "1:2:RF"},
        {"the station that was last", k_verdicts, {"W=1,2,RF", "W=2,1,ok"}, "R", "2:1:ok"},
        {"the station that was asked for last", k_verdicts, {"W=1,2,RF", "W=2,1", "R=1"}, "R", "1:2:RF"},
        {"told apart by what stands behind", "W={v[s]},{s} => ok\nR={s} => {v[s]}", {"W=a,1", "W=b,2"}, "R=1", "a"},
        {"told apart by what was before",
         "S={s} => ok\nW={v[s]} => ok\nR={s} => {v[s]}",
         {"S=1", "W=a", "S=2", "W=b"},
         "R=1",
         "a"},
        {"told apart by nothing yet", "W={v[s]} => ok\nR => {v[s]}", {"W=a"}, "R", "a"},
        {"apart from the plain name", "W={v[s]},{s} => ok\nR => <{v}>", {"W=a,1"}, "R", "<>"},
    };
    for (const conversation_row &row : rows) {
        expect_conversation(row);
    }
}

TEST(ModemRules, KeepNothingOfACommandThatTheyDoNotKnow)
{
    const std::vector<emulator::modem_rule> rules = parse_modem_rules("W{b=1}={a},end => ok\n");
    modem_memory known = {{"a", "old"}};
    EXPECT_EQ(answer_by_rules(rules, "W=new,End", known), std::nullopt);
    EXPECT_EQ(known, (modem_memory{{"a", "old"}}));
    EXPECT_EQ(answer_by_rules(rules, "W=new,end", known), "ok");
    EXPECT_EQ(known, (modem_memory{{"a", "new"}, {"b", "1"}}));
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
        {"AT^X={a => ok", "line 1 of the modem's rules: a brace that nothing closes"},
        {"AT^X={ => ok", "line 1 of the modem's rules: a brace that nothing closes"},
        {"AT^X={a{b} => ok", "line 1 of the modem's rules: a brace that nothing closes"},
        {"AT => ok\nAT^X => {a", "line 2 of the modem's rules: a brace that nothing closes"},
        {"AT => {a{b}}", "line 1 of the modem's rules: a brace that nothing closes"},
        {"AT^X={} => ok", "line 1 of the modem's rules: no placeholder: {}"},
        {"AT => {}", "line 1 of the modem's rules: no placeholder: {}"},
        {"AT => {|none}", "line 1 of the modem's rules: no placeholder: {|none}"},
        {"AT^X={=1} => ok", "line 1 of the modem's rules: no placeholder: {=1}"},
        {"AT^X={ a } => ok", "line 1 of the modem's rules: no placeholder: { a }"},
        {"AT^X={a|none} => ok", "line 1 of the modem's rules: no placeholder: {a|none}"},
        {"AT => {a=1}", "line 1 of the modem's rules: no placeholder: {a=1}"},
        {"AT^X={a[} => ok", "line 1 of the modem's rules: no placeholder: {a[}"},
        {"AT^X={a[]} => ok", "line 1 of the modem's rules: no placeholder: {a[]}"},
        {"AT^X={[a]} => ok", "line 1 of the modem's rules: no placeholder: {[a]}"},
        {"AT^X={a[b} => ok", "line 1 of the modem's rules: no placeholder: {a[b}"},
        {"AT^X={a]} => ok", "line 1 of the modem's rules: no placeholder: {a]}"},
        {"AT^X={a[b]c} => ok", "line 1 of the modem's rules: no placeholder: {a[b]c}"},
        {"AT^X={a[b[c]]} => ok", "line 1 of the modem's rules: no placeholder: {a[b[c]]}"},
        {R"(AT => {a|\q})", R"(line 1 of the modem's rules: no escape \q)"},
        {R"(AT{a=\})"
         " => ok",
         R"(line 1 of the modem's rules: no escape \)"},
        {"AT^X={a}{b} => ok", "line 1 of the modem's rules: nothing between two placeholders"},
        {"AT^X={a}{c=1}{b} => ok", "line 1 of the modem's rules: nothing between two placeholders"},
        {"AT^X={a}* => ok", "line 1 of the modem's rules: a placeholder leaves nothing to the *"},
        {"{a=1} => ok", "line 1 of the modem's rules: no command"},
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
    ASSERT_THAT(rules[0].command, SizeIs(1));
    EXPECT_EQ(rules[0].command[0].text, "AT^X=");
    EXPECT_TRUE(rules[0].any_rest);
    ASSERT_THAT(rules[0].answer, SizeIs(1));
    EXPECT_EQ(rules[0].answer[0].text, "\r\n");
    ASSERT_THAT(rules[1].command, SizeIs(1));
    EXPECT_EQ(rules[1].command[0].text, "ATI");
    EXPECT_FALSE(rules[1].any_rest);
    EXPECT_THAT(parse_modem_rules(" \n\t\n#\n"), IsEmpty());
}

TEST(ModemRules, OfAModemThatNobodyToldAnythingKnowWhatTheServiceNeeds)
{
    const form_row rows[] = {
        {"reports off", emulator::k_modem_rules, "AT^DLKS=0", "\r\nOK\r\n"},
        {"reports on", emulator::k_modem_rules, "AT;^DLKS=1", "\r\nOK\r\n"},
        {"a channel", emulator::k_modem_rules, "AT^DMPCHN=2", "\r\nOK\r\n"},
        {"a mode", emulator::k_modem_rules, "AT^DSWAMT=1", "\r\nOK\r\n"},
        {"signal", emulator::k_modem_rules, "AT+CSQ", "\r\n+CSQ: 23,99\r\n\r\nOK\r\n"},
        {"writing an IMEI", emulator::k_modem_rules, "AT^DCGSNW=490154203237518", "\r\nOK\r\n"},
        {"the IMEI", emulator::k_modem_rules, "AT^DGSN?", "\r\n^DGSN: 490154203237518\r\n\r\nOK\r\n"},
        {"writing a serial number", emulator::k_modem_rules, "AT^DMSN=EMU0000002", "\r\nOK\r\n"},
        {"the serial number", emulator::k_modem_rules, "AT^DMSN", "\r\n^DMSN: EMU0000001\r\n\r\nOK\r\n"},
        {"the day of its making", emulator::k_modem_rules, "AT^DMFD??", "\r\n^DMFD: 20240229235959\r\n\r\nOK\r\n"},
        {"the SIM", emulator::k_modem_rules, "AT^DTOC", "\r\n^DTOC: 1\r\n\r\nOK\r\n"},
        {"the version of layer 1", emulator::k_modem_rules, "AT^DCMR=17",
         "\r\n^DCMR: 17,0D456D756C61746564204C3120312E300A\r\n\r\nOK\r\n"},
        {"the version above layer 1", emulator::k_modem_rules, "AT^DCMR=18",
         "\r\n^DCMR: 18,0D456D756C6174656420484C5320312E300A\r\n\r\nOK\r\n"},
        {"another version", emulator::k_modem_rules, "AT^DCMR=19", std::nullopt},
        {"the modes it has", emulator::k_modem_rules, "AT^DMCC?", "\r\n^DMCC: 2,2,1,5\r\n\r\nOK\r\n"},
        {"a verdict", emulator::k_modem_rules, "AT^DATOMW=3,1", "\r\nOK\r\n"},
        {"a verdict with a text", emulator::k_modem_rules, "AT^DATOMW=3,1,RF", "\r\nOK\r\n"},
        {"a station without a verdict", emulator::k_modem_rules, "AT^DATOMR=1,3", "\r\n^DATOMR: 3,0,\r\n\r\nOK\r\n"},
        {"something unknown", emulator::k_modem_rules, "AT+NOTHING", std::nullopt},
    };
    for (const form_row &row : rows) {
        EXPECT_EQ(answer(row.rules, row.command), row.expected) << row.name;
    }
    EXPECT_THAT(answer(emulator::k_modem_rules, "ATI").value_or(""), HasSubstr("modem"));
}

TEST(ModemRules, OfAModemThatNobodyToldAnythingKeepWhatTheServiceWrites)
{
    const conversation_row rows[] = {
        {"an IMEI", emulator::k_modem_rules, {"AT^DCGSNW=12"}, "AT^DGSN?", "\r\n^DGSN: 12\r\n\r\nOK\r\n"},
        {"an IMEI between quotation marks",
         emulator::k_modem_rules,
         {"AT^DCGSNW=\"12\""},
         "AT^DGSN?",
         "\r\n^DGSN: 12\r\n\r\nOK\r\n"},
        {"a serial number", emulator::k_modem_rules, {"AT^DMSN= S1"}, "AT^DMSN", "\r\n^DMSN:  S1\r\n\r\nOK\r\n"},
        {"a verdict of two",
         emulator::k_modem_rules,
         {"AT^DATOMW=12,1,RF OK", "AT^DATOMW=1,2"},
         "AT^DATOMR=1,12",
         "\r\n^DATOMR: 12,1,RF OK\r\n\r\nOK\r\n"},
        {"a verdict without the text before",
         emulator::k_modem_rules,
         {"AT^DATOMW=12,1,RF OK", "AT^DATOMW=12,2"},
         "AT^DATOMR=1,12",
         "\r\n^DATOMR: 12,2,\r\n\r\nOK\r\n"},
    };
    for (const conversation_row &row : rows) {
        expect_conversation(row);
    }
}
