#include "station/request.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace {

using station::atom;
using station::command;
using station::item;
using station::item_form;
using station::message;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::ThrowsMessage;

using settings = std::vector<std::string>;

// A command with an item of every form.
constexpr station::named_value k_modes[] = {{0, "off", ""}, {1, "on", ""}, {300, "auto", ""}};
// clang-format off
constexpr item k_items[] = {
    // name       atom  type on the wire  form                     size required unit  meaning values
    {"level",     10, AMT_VALUE_INT,    item_form::number,           4, false, "mV", "", {}},
    {"mode",      11, AMT_VALUE_INT,    item_form::number,           4, false, "",   "", k_modes},
    {"offset",    12, AMT_VALUE_INT,    item_form::signed_number,    4, false, "mV", "", {}},
    {"channel",   13, AMT_VALUE_BYTES,  item_form::number,           1, false, "",   "", {}},
    {"rate",      14, AMT_VALUE_BYTES,  item_form::number,           2, false, "",   "", k_modes},
    {"power",     15, AMT_VALUE_BYTES,  item_form::signed_number,    2, false, "dB", "", {}},
    {"wide",      16, AMT_VALUE_BYTES,  item_form::number,           8, false, "",   "", {}},
    {"wide-sign", 17, AMT_VALUE_BYTES,  item_form::signed_number,    8, false, "",   "", {}},
    {"loud",      18, AMT_VALUE_BOOL,   item_form::flag,             1, false, "",   "", {}},
    {"label",     19, AMT_VALUE_STRING, item_form::text,             5, false, "",   "", {}},
    {"note",      20, AMT_VALUE_STRING, item_form::text,             0, false, "",   "", {}},
    {"code",      21, AMT_VALUE_BYTES,  item_form::text,             3, false, "",   "", {}},
    {"key",       22, AMT_VALUE_BYTES,  item_form::bytes,            2, false, "",   "", {}},
    {"data",      23, AMT_VALUE_BYTES,  item_form::bytes,            0, false, "",   "", {}},
};
// clang-format on
constexpr command k_every = {
    0xFA, 0xFB, "every-form", station::family::device_test, station::answered_on::both, false, "", k_items, {}};

constexpr item k_needed[] = {
    {"first", 1, AMT_VALUE_INT, item_form::number, 4, true, "", "what comes first", {}},
    {"second", 2, AMT_VALUE_INT, item_form::number, 4, false, "", "", {}},
};
constexpr command k_needing = {0xFA, 0xFB,     "needy", station::family::device_test, station::answered_on::both, false,
                               "",   k_needed, {}};

std::string zeros(size_t count)
{
    return std::string(count, '\0');
}

message with(atom only)
{
    return message(0xFA).with_atom(std::move(only));
}

// --- making

struct made_row {
    const char *name;
    settings given;
    message expected;
};

TEST(StationRequest, IsMadeOfItemsByTheirNames)
{
    const made_row rows[] = {
        {"nothing", {}, message(0xFA)},
        {"a number", {"level=3700"}, message(0xFA).with_int(10, 3700)},
        {"zero", {"level=0"}, message(0xFA).with_int(10, 0)},
        {"the greatest number", {"level=4294967295"}, message(0xFA).with_int(10, 0xFFFFFFFF)},
        {"with zeros before it", {"level=0010"}, message(0xFA).with_int(10, 10)},
        {"in hexadecimal", {"level=0xfFFf"}, message(0xFA).with_int(10, 0xFFFF)},
        {"the greatest in hexadecimal", {"level=0xFFFFFFFF"}, message(0xFA).with_int(10, 0xFFFFFFFF)},
        {"a value's name", {"mode=auto"}, message(0xFA).with_int(11, 300)},
        {"a value with a name by its number", {"mode=300"}, message(0xFA).with_int(11, 300)},
        {"a value without a name", {"mode=7"}, message(0xFA).with_int(11, 7)},
        {"below zero", {"offset=-1"}, message(0xFA).with_int(12, 0xFFFFFFFF)},
        {"the least", {"offset=-2147483648"}, message(0xFA).with_int(12, 0x80000000)},
        {"the greatest with a sign", {"offset=2147483647"}, message(0xFA).with_int(12, 0x7FFFFFFF)},
        {"zero with a sign", {"offset=-0"}, message(0xFA).with_int(12, 0)},
        {"below zero in hexadecimal", {"offset=-0x10"}, message(0xFA).with_int(12, 0xFFFFFFF0)},
        {"one byte", {"channel=255"}, message(0xFA).with_bytes(13, "\xFF")},
        {"two bytes, the lower first", {"rate=0x1234"}, message(0xFA).with_bytes(14, "\x34\x12")},
        {"two bytes by name", {"rate=auto"}, message(0xFA).with_bytes(14, "\x2C\x01")},
        {"two bytes below zero", {"power=-2"}, message(0xFA).with_bytes(15, "\xFE\xFF")},
        {"the least of two bytes", {"power=-32768"}, with({15, AMT_VALUE_BYTES, zeros(1) + "\x80"})},
        {"the greatest of two bytes", {"power=32767"}, message(0xFA).with_bytes(15, "\xFF\x7F")},
        {"eight bytes", {"wide=0x0123456789ABCDEF"}, message(0xFA).with_bytes(16, "\xEF\xCD\xAB\x89\x67\x45\x23\x01")},
        {"the greatest of eight bytes",
         {"wide=18446744073709551615"},
         message(0xFA).with_bytes(16, std::string(8, '\xFF'))},
        {"the least of eight bytes",
         {"wide-sign=-9223372036854775808"},
         with({17, AMT_VALUE_BYTES, zeros(7) + "\x80"})},
        {"a flag", {"loud=1"}, message(0xFA).with_bool(18, true)},
        {"a flag that is not set", {"loud=0"}, message(0xFA).with_bool(18, false)},
        {"a text", {"label=a=b c"}, message(0xFA).with_string(19, "a=b c")},
        {"an empty text", {"label="}, message(0xFA).with_string(19, "")},
        {"a text of any length",
         {"note=" + std::string(300, 'x')},
         message(0xFA).with_string(20, std::string(300, 'x'))},
        {"a text that goes as bytes", {"code=KV2"}, message(0xFA).with_bytes(21, "KV2")},
        {"bytes", {"key=0D 0a"}, message(0xFA).with_bytes(22, "\r\n")},
        {"zero bytes", {"key=00"}, message(0xFA).with_bytes(22, zeros(1))},
        {"bytes of any length", {"data=AABBCCDDEEFF"}, message(0xFA).with_bytes(23, "\xAA\xBB\xCC\xDD\xEE\xFF")},
        {"in the command's order",
         {"loud=1", "label=x", "level=5"},
         message(0xFA).with_int(10, 5).with_bool(18, true).with_string(19, "x")},
    };
    for (const made_row &row : rows) {
        EXPECT_EQ(station::make_request(k_every, row.given), row.expected) << row.name;
    }
}

TEST(StationRequest, CarriesAnyAtomByItsNumberBehindTheItems)
{
    const made_row rows[] = {
        {"an int", {"9=int:77"}, message(0xFA).with_int(9, 77)},
        {"the greatest int", {"9=int:0xFFFFFFFF"}, message(0xFA).with_int(9, 0xFFFFFFFF)},
        {"a text", {"9=string:112"}, message(0xFA).with_string(9, "112")},
        {"a text with a colon", {"9=string:a:b=c"}, message(0xFA).with_string(9, "a:b=c")},
        {"an empty text", {"9=string:"}, message(0xFA).with_string(9, "")},
        {"bytes", {"9=bytes:0D0A"}, message(0xFA).with_bytes(9, "\r\n")},
        {"bytes with colons", {"9=bytes:0D:0A"}, message(0xFA).with_bytes(9, "\r\n")},
        {"no bytes", {"9=bytes:"}, message(0xFA).with_bytes(9, "")},
        {"a bool", {"9=bool:1"}, message(0xFA).with_bool(9, true)},
        {"a bool that is none", {"9=bool:255"}, with({9, AMT_VALUE_BOOL, "\xFF"})},
        {"the number in hexadecimal", {"0xFF=int:1"}, message(0xFA).with_int(255, 1)},
        {"number 0", {"0=int:1"}, message(0xFA).with_int(0, 1)},
        {"the atom of an item, as another type", {"19=int:1"}, message(0xFA).with_int(19, 1)},
        {"in their order",
         {"9=int:1", "8=int:2", "9=int:3"},
         message(0xFA).with_int(9, 1).with_int(8, 2).with_int(9, 3)},
        {"behind the items",
         {"9=int:1", "level=2", "8=bool:0"},
         message(0xFA).with_int(10, 2).with_int(9, 1).with_bool(8, false)},
    };
    for (const made_row &row : rows) {
        EXPECT_EQ(station::make_request(k_every, row.given), row.expected) << row.name;
    }
}

TEST(StationRequest, IsMadeForANumberThatTheCatalogueDoesNotKnow)
{
    EXPECT_EQ(station::make_request(std::uint8_t{0xFE}, {}), message(0xFE));
    EXPECT_EQ(station::make_request(std::uint8_t{0xFE}, {"9=int:1", "8=string:x"}),
              message(0xFE).with_int(9, 1).with_string(8, "x"));
    EXPECT_THAT(
        [] { (void)station::make_request(std::uint8_t{0xFE}, {"level=1"}); },
        ThrowsMessage<std::invalid_argument>(AllOf(HasSubstr("0xFE has no item level"), HasSubstr("it has none"))));
}

TEST(StationRequest, IsMadeOfWhatTheCatalogueTells)
{
    EXPECT_EQ(station::make_request(*station::find_command("version"), {"module=software"}),
              message(0x2D).with_int(19, 16));
    EXPECT_EQ(station::make_request(*station::find_command("wifi-rtx-test"),
                                    {"action=send", "channel=6", "rate=0x0102", "power=-3"}),
              message(0xBB)
                  .with_bytes(154, "\x03")
                  .with_bytes(155, "\x06")
                  .with_bytes(156, "\x02\x01")
                  .with_bytes(157, "\xFD\xFF"));
}

TEST(StationRequest, NeedsItsRequiredItemsOnly)
{
    EXPECT_EQ(station::make_request(k_needing, {"first=1"}), message(0xFA).with_int(1, 1));
    for (const settings &given : {settings{}, settings{"second=2"}, settings{"2=int:2"}}) {
        EXPECT_THAT([&] { (void)station::make_request(k_needing, given); },
                    ThrowsMessage<std::invalid_argument>(HasSubstr("needy needs first: what comes first")));
    }
}

// Built wrong on purpose, too: of another type, or more than one.
TEST(StationRequest, TakesAtomsByTheirNumbersForItemsThatAreRequired)
{
    const made_row rows[] = {
        {"one", {"1=int:7"}, message(0xFA).with_int(1, 7)},
        {"in hexadecimal", {"0x01=int:7"}, message(0xFA).with_int(1, 7)},
        {"of another type", {"1=string:x"}, message(0xFA).with_string(1, "x")},
        {"two of them", {"1=int:7", "1=int:8"}, message(0xFA).with_int(1, 7).with_int(1, 8)},
        {"behind an item", {"1=int:7", "second=2"}, message(0xFA).with_int(2, 2).with_int(1, 7)},
        {"besides the item", {"1=int:7", "first=2"}, message(0xFA).with_int(1, 2).with_int(1, 7)},
    };
    for (const made_row &row : rows) {
        EXPECT_EQ(station::make_request(k_needing, row.given), row.expected) << row.name;
    }
}

// --- refusing

TEST(StationRequest, SaysWhatIsMisspeltBeforeWhatIsMissing)
{
    EXPECT_THAT([] { (void)station::make_request(k_needing, {"frist=1"}); },
                ThrowsMessage<std::invalid_argument>(HasSubstr("needy has no item frist: it has first, second")));
    EXPECT_THAT([] { (void)station::make_request(k_needing, {"1=float:1"}); },
                ThrowsMessage<std::invalid_argument>(HasSubstr(R"("1=float:1" is no atom)")));
}

struct refused_row {
    const char *name;
    settings given;
    const char *told;
};

TEST(StationRequest, SaysWhichValueIsNotPossible)
{
    const refused_row rows[] = {
        {"too large by one", {"level=4294967296"}, "level=4294967296 is not possible: level takes a number"},
        {"far too large", {"level=99999999999999999999999"}, "is not possible: level takes a number"},
        {"too large in hexadecimal", {"level=0x100000000"}, "level=0x100000000 is not possible"},
        {"far too large in hexadecimal", {"level=0x10000000000000000"}, "level=0x10000000000000000 is not possible"},
        {"farther in hexadecimal", {"level=0xFFFFFFFFFFFFFFFFFFFFFFFF"}, "is not possible: level takes a number"},
        {"below zero", {"level=-1"}, "level=-1 is not possible: level takes a number"},
        {"a word", {"level=high"}, "level=high is not possible"},
        {"hexadecimal without 0x", {"level=FF"}, "level=FF is not possible"},
        {"0x alone", {"level=0x"}, "level=0x is not possible"},
        {"a blank", {"level= 1"}, "level= 1 is not possible"},
        {"a blank behind", {"level=1 "}, "level=1  is not possible"},
        {"a fraction", {"level=1.5"}, "level=1.5 is not possible"},
        {"a plus", {"level=+1"}, "level=+1 is not possible"},
        {"no value", {"level="}, "level= is not possible"},
        {"no such name", {"mode=loud"}, "mode takes off (0), on (1), auto (300)"},
        {"no such name of two bytes", {"rate=loud"}, "rate takes off (0), on (1), auto (300)"},
        {"a name in capitals", {"mode=ON"}, "mode takes off (0), on (1), auto (300)"},
        {"above the greatest with a sign", {"offset=2147483648"}, "offset takes a signed number"},
        {"below the least", {"offset=-2147483649"}, "offset takes a signed number"},
        {"a minus alone", {"offset=-"}, "offset takes a signed number"},
        {"two minuses", {"offset=--1"}, "offset takes a signed number"},
        {"above one byte", {"channel=256"}, "channel takes a number, of 1 bytes at most"},
        {"above two bytes", {"rate=65536"}, "is not possible"},
        {"above two bytes with a sign", {"power=32768"}, "power takes a signed number, of 2 bytes at most"},
        {"below two bytes", {"power=-32769"}, "power takes a signed number, of 2 bytes at most"},
        {"above eight bytes", {"wide=18446744073709551616"}, "wide takes a number, of 8 bytes at most"},
        {"above eight bytes in hexadecimal", {"wide=0x10000000000000000"}, "wide takes a number, of 8 bytes at most"},
        {"a flag of 2", {"loud=2"}, "loud=2 is not possible: loud takes 0 or 1"},
        {"a flag in words", {"loud=true"}, "loud takes 0 or 1"},
        {"a text too long", {"label=123456"}, "label=123456 is not possible: label takes a text, of 5 bytes at most"},
        {"a text too long in bytes", {"code=KV-2"}, "code takes a text, of 3 bytes at most"},
        {"too many bytes", {"key=010203"}, "key takes a bytes, of 2 bytes at most"},
        {"half a byte", {"key=0"}, "is no byte in hexadecimal"},
        {"no hexadecimal digits", {"data=xy"}, "is no byte in hexadecimal"},
    };
    for (const refused_row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_THAT([&] { (void)station::make_request(k_every, row.given); },
                    ThrowsMessage<std::invalid_argument>(AllOf(HasSubstr(row.told), Not(HasSubstr("\n")))));
    }
}

TEST(StationRequest, SaysWhatIsNoItemAndWhichThereAre)
{
    const char *k_has = "it has level, mode, offset, channel, rate, power, wide, wide-sign, loud, label, note, code, "
                        "key, data";
    const refused_row rows[] = {
        {"no value", {"level"}, R"("level" is no item: write ITEM=VALUE)"},
        {"no name", {"=5"}, R"("=5" is no item: write ITEM=VALUE)"},
        {"nothing", {""}, R"("" is no item: write ITEM=VALUE)"},
        {"unknown", {"volume=1"}, "every-form has no item volume"},
        {"unknown, and what there is", {"volume=1"}, k_has},
        {"in capitals", {"Level=1"}, "every-form has no item Level"},
        {"twice", {"level=1", "level=2"}, "every-form has one item level: it has level, mode"},
        {"a number beyond those of atoms", {"256=int:1"}, "every-form has no item 256"},
        {"a negative number", {"-1=int:1"}, "every-form has no item -1"},
    };
    for (const refused_row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_THAT([&] { (void)station::make_request(k_every, row.given); },
                    ThrowsMessage<std::invalid_argument>(HasSubstr(row.told)));
    }
}

TEST(StationRequest, SaysWhatIsNoAtom)
{
    const refused_row rows[] = {
        {"no type", {"9=77"}, R"("9=77" is no atom: write ID=TYPE:VALUE)"},
        {"a type without a value", {"9=string"}, R"("9=string" is no atom)"},
        {"an int without a value", {"9=int"}, R"("9=int" is no atom)"},
        {"an int of nothing", {"9=int:"}, R"("9=int:" is no atom)"},
        {"an int too large", {"9=int:4294967296"}, R"("9=int:4294967296" is no atom)"},
        {"an int far too large", {"9=int:0xFFFFFFFFFFFFFFFFFF"}, R"("9=int:0xFFFFFFFFFFFFFFFFFF" is no atom)"},
        {"an int below zero", {"9=int:-1"}, R"("9=int:-1" is no atom)"},
        {"a bool too large", {"9=bool:256"}, R"("9=bool:256" is no atom)"},
        {"an unknown type", {"9=float:1"}, R"("9=float:1" is no atom)"},
        {"a type in capitals", {"9=INT:1"}, R"("9=INT:1" is no atom)"},
        {"half a byte", {"9=bytes:0"}, "is no byte in hexadecimal"},
    };
    for (const refused_row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_THAT([&] { (void)station::make_request(k_every, row.given); },
                    ThrowsMessage<std::invalid_argument>(HasSubstr(row.told)));
    }
}

// --- telling

struct told_row {
    const char *name;
    message what;
    bool is_answer;
    const char *told;
};

TEST(StationRequest, IsToldInWordsAndSoIsItsAnswer)
{
    const told_row rows[] = {
        {"a request", message(0x2D).with_int(19, 16), false, "AMT_VERSION_CMD (0x2D): module=16 (software)"},
        {"nothing in it", message(0x2D), false, "AMT_VERSION_CMD (0x2D)"},
        {"an answer", message(0x2E).with_int(19, 16).with_bytes(18, "KV-2.0").with_int(1, 0), true,
         "AMT_VERSION_RSPCMD (0x2E): module=16 (software), version=KV-2.0, result=0 (done)"},
        {"a failure", message(0x2E).with_int(1, 1), true, "AMT_VERSION_RSPCMD (0x2E): result=1 (failed)"},
        {"a refusal", message(0x2E).with_int(1, 10), true,
         "AMT_VERSION_RSPCMD (0x2E): result=10 (failed in its handler)"},
        {"a result without a name", message(0x2E).with_int(1, 5), true, "AMT_VERSION_RSPCMD (0x2E): result=5"},
        {"a value without a name", message(0x2D).with_int(19, 99), false, "AMT_VERSION_CMD (0x2D): module=99"},
        {"a unit", message(0x0A).with_int(5, 3700).with_int(1, 0), true,
         "AMT_READ_BATTERY_RSPCMD (0x0A): voltage=3700 (uV), result=0 (done)"},
        {"below zero", message(0x0A).with_int(5, 0xFFFFFFFE).with_int(1, 0), true,
         "AMT_READ_BATTERY_RSPCMD (0x0A): voltage=-2 (uV), result=0 (done)"},
        {"a text with blanks", message(0x2E).with_bytes(18, "KV 2"), true,
         "AMT_VERSION_RSPCMD (0x2E): version=\"KV 2\""},
        {"a text with a line end", message(0x2E).with_bytes(18, "KV\n"), true,
         R"(AMT_VERSION_RSPCMD (0x2E): version="KV\n")"},
        {"an empty text", message(0x2E).with_bytes(18, ""), true, "AMT_VERSION_RSPCMD (0x2E): version="},
        {"an atom that is no item", message(0x2D).with_int(19, 1).with_string(9, "112"), false,
         "AMT_VERSION_CMD (0x2D): module=1 (product), atom 9=112"},
        {"an item of another type", message(0x2D).with_string(19, "one"), false, "AMT_VERSION_CMD (0x2D): module=one"},
        {"bytes of an unknown atom", message(0x2D).with_bytes(9, "\x0D\x0A"), false,
         R"(AMT_VERSION_CMD (0x2D): atom 9="0D 0A")"},
        {"a number in bytes", message(0xBC).with_bytes(154, "\x06").with_int(158, 1234).with_int(1, 0), true,
         "AMT_WIFI_RTX_TEST_RSPCMD (0xBC): action=6 (stop-receiving), count=1234, result=0 (done)"},
        {"a number below zero in bytes", message(0xBB).with_bytes(154, "\x03").with_bytes(157, "\xFD\xFF"), false,
         "AMT_WIFI_RTX_TEST_CMD (0xBB): action=3 (send), power=-3"},
        {"a flag", message(0x64).with_bool(41, true).with_int(1, 0), true,
         "AMT_USIMCHECK_RSPCMD (0x64): present=1, result=0 (done)"},
        {"the refusal of what is answered by another number", message(0xB1).with_int(1, 1), true, "result=1 (failed)"},
        {"the result's atom in a request", message(0x2D).with_int(1, 0), false, "AMT_VERSION_CMD (0x2D): atom 1=0"},
        {"unknown", message(0xFE).with_int(1, 0).with_bytes(9, "\xAA"), true,
         "(undefined) (0xFE): result=0 (done), atom 9=AA"},
        {"an unknown request", message(0xFE).with_int(1, 0), false, "(undefined) (0xFE): atom 1=0"},
        {"an answer though a request was expected", message(0x2E).with_int(1, 0), false,
         "AMT_VERSION_RSPCMD (0x2E): result=0 (done)"},
        {"a request though an answer was expected", message(0x2D).with_int(19, 16), true,
         "AMT_VERSION_CMD (0x2D): module=16 (software)"},
    };
    for (const told_row &row : rows) {
        EXPECT_THAT(station::told(row.what, row.is_answer), testing::EndsWith(row.told)) << row.name;
    }
}

struct heading_row {
    message what;
    bool is_answer;
    const char *heading;
};

TEST(StationRequest, IsHeadedByItsNameOrByTheWordOfItsCommand)
{
    const heading_row rows[] = {
        {message(0x2D), false, "AMT_VERSION_CMD (0x2D)"},
        {message(0x2E), true, "AMT_VERSION_RSPCMD (0x2E)"},
        {message(0xE0), false, "battery-converter (0xE0)"},
        {message(0xE1), true, "battery-converter, answer (0xE1)"},
        {message(0xE1), false, "battery-converter, answer (0xE1)"},
        {message(0xE0), true, "battery-converter (0xE0)"},
        {message(0xF5), true, "download-flag, answer (0xF5)"},
        {message(0xED), true, "power-off, answer (0xED)"},
        {message(0xFA), false, "(undefined) (0xFA)"},
        {message(0xFE), true, "(undefined) (0xFE)"},
    };
    for (const heading_row &row : rows) {
        EXPECT_EQ(station::heading_of(row.what, row.is_answer), row.heading);
    }
    EXPECT_EQ(station::told(message(0xF5).with_int(1, 10), true),
              "download-flag, answer (0xF5): result=10 (failed in its handler)");
}

// Answer to one command and another command itself.
TEST(StationRequest, IsToldAsTheOneThatIsAsked)
{
    const message both = message(0xAF).with_int(1, 0);
    ASSERT_NE(station::command_of(both, true), nullptr);
    EXPECT_EQ(station::command_of(both, true)->response_id, 0xAF);
    const message refusal = message(0xCD).with_int(1, 0);
    EXPECT_EQ(station::command_of(refusal, false)->id, 0xCD);
    EXPECT_EQ(station::command_of(message(0xFE), true), nullptr);
    EXPECT_EQ(station::command_of(message(0xFE), false), nullptr);
}

TEST(StationRequest, IsToldItemByItem)
{
    const message what = message(0x2E).with_int(19, 16).with_bytes(18, "KV").with_int(1, 0).with_bytes(9, "\xAA");
    const std::vector<station::told_item> all = station::items_of(what, true);
    ASSERT_EQ(all.size(), 4U);
    const command &version = *station::find_command("version");

    EXPECT_EQ(all[0].name, "module");
    EXPECT_EQ(all[0].known, station::find_item(version.answer, "module"));
    EXPECT_EQ(all[0].form, item_form::number);
    EXPECT_EQ(all[0].value, "16");
    EXPECT_EQ(all[0].meaning, "software");
    EXPECT_EQ(all[0].atom, what.atoms()[0]);

    EXPECT_EQ(all[1].name, "version");
    EXPECT_EQ(all[1].known, station::find_item(version.answer, "version"));
    EXPECT_EQ(all[1].form, item_form::text);
    EXPECT_EQ(all[1].value, "KV");
    EXPECT_EQ(all[1].meaning, "");

    EXPECT_EQ(all[2].name, "result");
    EXPECT_EQ(all[2].value, "0");
    EXPECT_EQ(all[2].meaning, "done");

    EXPECT_EQ(all[3].name, "atom 9");
    EXPECT_EQ(all[3].known, nullptr);
    EXPECT_EQ(all[3].form, item_form::bytes);
    EXPECT_EQ(all[3].value, "AA");
    EXPECT_EQ(all[3].atom, what.atoms()[3]);
}

struct number_row {
    const char *name;
    std::string bytes;
    std::uint64_t number;
    std::int64_t with_sign;
};

TEST(StationRequest, ReadsNumbersOfAnyLengthTheLowestByteFirst)
{
    const number_row rows[] = {
        {"no byte", "", 0, 0},
        {"one byte", "\x7F", 127, 127},
        {"one byte, below zero", "\x80", 128, -128},
        {"two bytes", "\x34\x12", 0x1234, 0x1234},
        {"two bytes, below zero", "\xFE\xFF", 0xFFFE, -2},
        {"three bytes, below zero", "\xFD\xFF\xFF", 0xFFFFFD, -3},
        {"four bytes", "\x78\x56\x34\x12", 0x12345678, 0x12345678},
        {"four bytes, the least", zeros(3) + "\x80", 0x80000000, -2147483648LL},
        {"eight bytes", "\xEF\xCD\xAB\x89\x67\x45\x23\x01", 0x0123456789ABCDEF, 0x0123456789ABCDEF},
        {"eight bytes, below zero", std::string(8, '\xFF'), 0xFFFFFFFFFFFFFFFF, -1},
    };
    for (const number_row &row : rows) {
        const atom what = {1, AMT_VALUE_BYTES, row.bytes};
        EXPECT_EQ(station::number_in(what), row.number) << row.name;
        EXPECT_EQ(station::signed_number_in(what), row.with_sign) << row.name;
    }
}

} // namespace
