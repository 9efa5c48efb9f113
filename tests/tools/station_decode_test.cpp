// What needs no handset: bytes and what they mean, the lists, the help, and command lines that make no sense.

#include "tests/tools/station_tool.h"

namespace {

using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr char k_answer[] = "0F 00 BB AF 09 00 EE 01 01 04 00 00 00 00 00";
constexpr char k_answer_told[] = "AMT_GPS_CONTROL_RSPCMD (0xAF)\n  result  0  done\n";
constexpr char k_pre_response[] = "AA BB CC DD 08 00 00 00 02 02 00 00 76 4A EE 1D";
constexpr char k_damaged[] = "AA BB CC DD 08 00 00 00 02 02 00 00 76 4A EE 1E";
constexpr char k_no_bytes[] = "there are no bytes to decode: see what was given for them";
constexpr char k_wrong[] = "checksum 0x1EEE4A76 instead of 0x1DEE4A76";

class WithoutAHandset : public station_tool {
  protected:
    static void SetUpTestSuite()
    {
        station_tool::SetUpTestSuite();
        tools().down_all();
    }

    static std::string file(const std::string &name, const std::string &content)
    {
        const std::string path = tools().folder() + "/" + name;
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }
};

TEST_F(WithoutAHandset, BytesAreToldByWhatTheyMean)
{
    const std::string raw("\x0F\x00\xBB\xAF\x09\x00\xEE\x01\x01\x04\x00\x00\x00\x00\x00", 15);
    expect_rows({
        {"bare", {"decode", k_answer}, 0, k_answer_told},
        {"in words", {"decode", "0F", "00BB", "0xAF 09,00:EE", "01010400", "00000000"}, 0, k_answer_told},
        {"in an envelope",
         {"decode", "AA BB CC DD 17 00 00 00 02 00 00 00 0F 00 BB AF 09 00 EE 01 01 04 00 00 00 00 00 9B 61 FE EC"},
         0,
         k_answer_told},
        {"of a file with digits", {"decode", file("digits", std::string(k_answer) + "\n")}, 0, k_answer_told},
        {"of a file with the bytes", {"decode", file("bytes", raw)}, 0, k_answer_told},
        {"digits of the input", {"decode", "-"}, 0, k_answer_told, "", k_answer},
        {"bytes of the input", {"decode", "-"}, 0, k_answer_told, "", raw},
        {"announcement", {"decode", k_pre_response}, 0, "pre-response\n"},
        {"a line", {"decode", "41 54 49 0D"}, 0, "text \"ATI\\r\"\n"},
        {"several",
         {"decode", std::string(k_pre_response) + " 0D 0A 4F 4B 0D 0A 41"},
         0,
         "pre-response\ntext \"\\r\\nOK\\r\\n\"\ntext \"A\"\n"},
    });
}

TEST_F(WithoutAHandset, DamagedBytesAreToldByWhatIsWrong)
{
    const std::string damaged = k_damaged;
    expect_rows({
        {"checksum",
         {"decode", damaged},
         5,
         "damaged frame (" + std::string(k_wrong) + "): " + damaged + "\n",
         mistake(k_wrong)},
        {"and what is behind",
         {"decode", damaged + " 0D 0A 4F 4B 0D 0A FF"},
         5,
         "damaged frame (" + std::string(k_wrong) + "): " + damaged + "\ntext \"\\r\\nOK\\r\\n\"\n" +
             "damaged frame (what came is neither a frame nor lines of text): FF\n",
         mistake(k_wrong)},
        {"cut",
         {"decode", "AA BB CC DD 08 00 00 00 02"},
         5,
         "damaged frame (a frame has begun, and only 9 of the 16 bytes that it tells came): AA BB CC DD 08 00 00 00 "
         "02\n",
         mistake("a frame has begun, and only 9 of the 16 bytes that it tells came")},
        {"bare",
         {"decode", "0C 00 BB 2E EE 01 01 04 00 00 00 00 00"},
         5,
         "damaged frame (total length 12 of a message of 13 bytes): 0C 00 BB 2E EE 01 01 04 00 00 00 00 00\n",
         mistake("total length 12 of a message of 13 bytes")},
    });
}

// Of each line what it holds of the link, and nothing of the others.
TEST_F(WithoutAHandset, TracesAndLogsAreToldLineByLine)
{
    const std::string request = "AA BB CC DD 0E 00 00 00 02 00 00 00 06 00 BB B0 00 00 AF 7C AC F7";
    const std::string request_told = "AMT_GPS_TEST_CMD (0xB0)\n";
    const std::string trace = "12:00:00.001 handset:default -> " + request +
                              " | AMT_GPS_TEST_CMD (0xB0)\n"
                              "12:00:00.002 handset:default <- " +
                              k_pre_response +
                              " | pre-response\n"
                              "12:00:00.003 handset:default <- 0D 0A 4F 4B 0D 0A | text \"\\r\\nOK\\r\\n\"\n";
    const std::string log = "(0001-00-00 00:00:01)(1)(amt-pc.cpp)(10) begins -> ends | so\n"
                            "(0001-00-00 00:00:01)(1)(amt-pc.cpp)(20)(data len = 22) " +
                            request + " \n(data len = 0) \nnothing\n(data len = 16) " + k_pre_response;
    const std::string all = request_told + "pre-response\n";
    expect_rows({
        {"a trace", {"decode", file("a-trace", trace)}, 0, all + "text \"\\r\\nOK\\r\\n\"\n"},
        {"of the input", {"decode", "-"}, 0, all + "text \"\\r\\nOK\\r\\n\"\n", "", trace},
        {"a log", {"decode", file("a-log", log)}, 0, all},
        {"a log of the input", {"decode", "-"}, 0, all, "", log},
        {"a line that is damaged, and one that is not",
         {"decode", "-"},
         5,
         std::string("damaged frame (") + k_wrong + "): " + k_damaged + "\npre-response\n",
         mistake(k_wrong),
         std::string("t p <- ") + k_damaged + " | damaged\nt p <- " + k_pre_response + " | pre-response\n"},
        {"a text without any", {"decode", "-"}, 0, "text \"no bytes\\n\"\n", "", "no bytes\n"},
    });
}

TEST_F(WithoutAHandset, ValuesAreShownInPrintableCharacters)
{
    const std::string version = "0F 00 BB 2E 09 00 EE 12 03 04 00 4B 56 1B 0A";
    expect_row({"for people", {"decode", version}, 0, "AMT_VERSION_RSPCMD (0x2E)\n  version  KV\\x1B\n"});
    const nlohmann::json told = objects(ask({"--json", "decode", version}).out).at(0);
    EXPECT_EQ(told["result"]["parts"][0]["message"]["items"]["version"]["value"], "KV\\x1B\\n");
}

TEST_F(WithoutAHandset, MessagesWithoutANameAreHeadedByTheirCommands)
{
    const std::string result = " 09 00 EE 01 01 04 00 0A 00 00 00";
    const std::string told = "  result  10  failed in its handler\n";
    expect_rows({
        {"a request", {"decode", "06 00 BB E0 00 00"}, 0, "battery-converter (0xE0)\n"},
        {"an answer", {"decode", "0F 00 BB E1" + result}, 0, "battery-converter, answer (0xE1)\n" + told},
        {"another", {"decode", "0F 00 BB ED" + result}, 0, "power-off, answer (0xED)\n" + told},
        {"of none", {"decode", "06 00 BB FB 00 00"}, 0, "(undefined) (0xFB)\n"},
    });
}

TEST_F(WithoutAHandset, WhatHoldsNoBytesIsRefused)
{
    expect_rows({
        {"no file",
         {"decode", "nofile"},
         2,
         "",
         mistake("\"nofile\" is neither hexadecimal digits nor a file that can be read: No such file or directory")},
        {"half a byte",
         {"decode", "41", "5"},
         2,
         "",
         mistake("\"5\" is no byte in hexadecimal: write two digits a byte, such as AA BB 0D")},
        {"an empty file", {"decode", file("empty", "")}, 2, "", mistake(k_no_bytes)},
        {"a file of blanks", {"decode", file("blanks", " \n\t\n")}, 2, "", mistake(k_no_bytes)},
        {"an empty input", {"decode", "-"}, 2, "", mistake(k_no_bytes)},
        {"blanks", {"decode", ", ,"}, 2, "", mistake(k_no_bytes)},
        {"no word", {"decode"}, 2, "", mistake("decode says too little: amt-station decode HEX|FILE|-")},
    });
}

// --- lists

TEST_F(WithoutAHandset, TheListsTellWhatThereIs)
{
    expect_rows({
        {"ports", {"list", "ports"}, 0, ""},
        {"a command",
         {"list", "commands", "version"},
         0,
         "version, AMT_VERSION_CMD (0x2D): read a version; a station's request for one of the modem's goes to the "
         "modem, without a pre-response\n"
         "answered by the station and application, with AMT_VERSION_RSPCMD (0x2E)\n"
         "request:\n"
         "  module  atom 19  number  whose version: 1 product, 16 software, 17 l1, 18 hls, 19 platform, 20 app, 32 "
         "hardware, 64 whole\n"
         "answer, besides the result:\n"
         "  module              atom 19  number  whose version: 1 product, 16 software, 17 l1, 18 hls, 19 platform, "
         "20 app, 32 hardware, 64 whole\n"
         "  version (optional)  atom 18  text    the version; missing when it is empty\n"},
        {"no such command",
         {"list", "commands", "nope"},
         2,
         "",
         mistake("there is no \"nope\" among the commands: \"amt-station list commands\" shows them")},
        {"no such test",
         {"list", "tests", "nope"},
         2,
         "",
         mistake("there is no \"nope\" among the tests: \"amt-station list tests\" shows them")},
        {"an item",
         {"list", "items", "imei"},
         0,
         "imei: IMEI, 15 digits; the modem's, of which the handset keeps a copy\n"
         "  read   AT^DGSN?\n  write  AT^DCGSNW={}\n"},
        {"an item that can only be read",
         {"list", "items", "date"},
         0,
         "date: the date at which the handset left the factory, YYYYMMDDhhmmss; the modem's\n"
         "  read   AT^DMFD??\n  write  cannot be\n"},
        {"no such item",
         {"list", "items", "nope"},
         2,
         "",
         mistake("there is no \"nope\" among the items: \"amt-station list items\" shows them")},
        {"a port's name",
         {"list", "ports", "nope"},
         2,
         "",
         mistake("there is no \"nope\" among the ports: \"amt-station list ports\" shows them")},
        {"no such list",
         {"list", "nope"},
         2,
         "",
         mistake("there is no list \"nope\": there are ports, items, tests, commands")},
        {"no list",
         {"list"},
         2,
         "",
         mistake("list says too little: amt-station list ports|items|tests|commands [NAME]")},
    });
    const outcome items = ask({"list", "items"});
    EXPECT_THAT(items.out, AllOf(HasSubstr("  imei              read, write  IMEI, 15 digits; the modem's"),
                                 HasSubstr("\n  date              read         the date at which")));
    const outcome tests = ask({"list", "tests"});
    EXPECT_THAT(tests.out, HasSubstr("\n  lcd-bright           application              the display is as bright"));
    const outcome commands = ask({"list", "commands"});
    EXPECT_THAT(commands.out, HasSubstr("0x2D  station and application"));
}

TEST_F(WithoutAHandset, ATestInFullTellsWhatItDoes)
{
    const outcome told = ask({"list", "tests", "bluetooth-check"});
    EXPECT_EQ(told.status, 0);
    EXPECT_THAT(told.out,
                AllOf(HasSubstr("bluetooth-check"), HasSubstr("the chip of Bluetooth answers; it is to be on"),
                      HasSubstr("action=check"), HasSubstr("AMT_BLUETOOTH_ADDRESS_CMD (0xAC)")));
}

TEST_F(WithoutAHandset, TheListsTellProgramsOfOneAsWell)
{
    const nlohmann::json item = objects(ask({"--json", "list", "items", "wifi-address"}).out).at(0);
    EXPECT_EQ(item["result"], nlohmann::json::parse(R"({"item": "wifi-address", "read": "AT^DWIFIADDR?",
        "meaning": "address of WiFi, 11:22:33:44:55:66", "write": "wifi-test action=write address={}"})"));
    const nlohmann::json test = objects(ask({"--json", "list", "tests", "gps-satellite"}).out).at(0)["result"];
    EXPECT_EQ(test["test"], "gps-satellite");
    EXPECT_EQ(test["command"]["command"], "gps-read-result");
    EXPECT_EQ(test["command"]["request"][0]["item"], "index");
}

// --- the help

TEST_F(WithoutAHandset, TheHelpNamesEveryVerbAndStatus)
{
    const outcome help = ask({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.err, "");
    for (const char *verb :
         {"info", "get", "set", "test", "results", "at", "send", "raw", "power-off", "decode", "list", "shell"}) {
        EXPECT_THAT(help.out, HasSubstr(std::string("\n  ") + verb + " ")) << verb;
        const outcome own = ask({verb, "--help"});
        EXPECT_EQ(own.status, 0) << verb;
        EXPECT_THAT(own.out, HasSubstr(std::string("Usage: amt-station [OPTIONS] ") + verb)) << verb;
    }
    EXPECT_THAT(help.out, HasSubstr("Exit status: 0 done, 1 the handset answered failure, 2 the command line makes no "
                                    "sense, 3 no device, no permission, or busy, 4 no answer in time, 5 malformed "
                                    "answer, 130 interrupted.\n"));
    EXPECT_EQ(ask({"--version"}).status, 0);
    EXPECT_THAT(ask({"--version"}).out, AllOf(HasSubstr("amt-station"), EndsWith("\n")));
}

// The examples stand in lines "  amt-station set ITEM=VALUE   what for".
TEST_F(WithoutAHandset, TheExamplesOfTheHelpSetItemsThatThereAre)
{
    const std::string help = ask({"--help"}).out;
    const std::string before = "amt-station set ";
    const std::size_t at = help.find(before);
    ASSERT_NE(at, std::string::npos);
    const std::string item = help.substr(at + before.size(), help.find('=', at) - at - before.size());
    EXPECT_THAT(ask({"list", "items"}).out, HasSubstr("  " + item + " "));
}

TEST_F(WithoutAHandset, ACommandLineWithoutSenseIsToldInOneLine)
{
    const struct {
        const char *name;
        command_words words;
        const char *told;
    } rows[] = {
        {"no verb", {}, "say what is to be done: info, get, set, test, "},
        {"an option without a verb", {"-v"}, "say what is to be done: info, get, set, test, "},
        {"unknown verb", {"fly"}, "there is no verb \"fly\": there are info, get, set, test, "},
        {"unknown verb behind options", {"-p", "x", "--json", "fly"}, "there is no verb \"fly\""},
        {"unknown verb with an unknown option", {"fly", "--colour"}, "there is no verb \"fly\""},
        {"unknown option without a verb", {"--colour=1"}, "there is no option --colour; \"amt-station --help\" tells"},
        {"unknown letter without a verb", {"-x"}, "there is no option -x; \"amt-station --help\" tells"},
        {"unknown option", {"--colour", "get", "imei"}, "--colour"},
        {"unknown option behind the verb", {"get", "imei", "--colour"}, "--colour"},
        {"no time", {"--timeout", "soon", "get", "imei"}, "--timeout"},
        {"too long a time", {"--timeout", "86401", "get", "imei"}, "a wait takes 0.001 to 86400 seconds, not 86401"},
        {"no time at all", {"--timeout", "0", "get", "imei"}, "--timeout"},
        {"no value", {"get", "imei", "-p"}, "-p"},
        {"a word for the shell", {"shell", "x"}, "\"x\" is too much for shell: amt-station shell"},
        {"a word too many", {"list", "items", "sn", "x"}, "\"x\" is too much for list: amt-station list ports|items|"},
        {"a name that is none", {"-p", "handset:a b", "get", "imei"}, "\"a b\" is no handset's name"},
        {"an unknown item", {"get", "colour"}, "there is no item \"colour\": there are imei, sn, "},
        {"an unknown item behind a known one", {"get", "imei", "colour"}, "there is no item \"colour\""},
        {"an item that can only be read", {"set", "date=1"}, "date can only be read"},
        {"no IMEI", {"set", "sn=1", "imei=1"}, "imei takes 15 digits, not \"1\""},
        {"an unknown test", {"test", "colour"}, "there is no test \"colour\": there are battery-voltage, "},
        {"an unknown item of a handset that is not there",
         {"-p", "handset:nobody", "get", "colour"},
         "there is no item"},
        {"a test's item", {"test", "gps-satellite", "index=x"}, "index=x is not possible"},
        {"a test station", {"results", "20"}, "\"20\" is no test station"},
        {"two lines", {"at", "AT\nAT"}, "one line at a time"},
        {"an unknown command", {"send", "bogus"}, "there is no command \"bogus\""},
        {"a missing item", {"send", "version"}, "version needs module: whose version"},
        {"too long a message",
         {"send", "0xFA", "9=string:" + std::string(4200, 'x')},
         "is too long for the 4096 bytes"},
        {"no bytes", {"raw", "XY"}, "\"XY\" is no byte in hexadecimal"},
        {"a port that is none", {"-p", "handset:x/y", "get", "imei"}, "handset:x/y: a handset has the port"},
    };
    for (const auto &row : rows) {
        const outcome come = ask(row.words);
        EXPECT_EQ(come.status, 2) << row.name;
        EXPECT_EQ(come.out, "") << row.name;
        EXPECT_THAT(come.err, AllOf(StartsWith("amt-station: "), EndsWith("\n"), HasSubstr(row.told))) << row.name;
        EXPECT_EQ(std::count(come.err.begin(), come.err.end(), '\n'), 1) << row.name << ": " << come.err;
        EXPECT_THAT(come.err, Not(AnyOf(HasSubstr("no handset is"), HasSubstr("no handset of")))) << row.name;
    }
}

} // namespace
