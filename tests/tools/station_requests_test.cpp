// Single requests as people type them: AT lines, messages by word, name and number, and bytes; and the trace of what
// passes.

#include "tests/tools/station_tool.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;

constexpr char k_gps_test[] = "AA BB CC DD 0E 00 00 00 02 00 00 00 06 00 BB B0 00 00 AF 7C AC F7";
constexpr char k_pre_response[] = "AA BB CC DD 08 00 00 00 02 02 00 00 76 4A EE 1D";
constexpr char k_gps_answer[] = "AA BB CC DD 17 00 00 00 02 00 00 00 0F 00 BB AF 09 00 EE 01 01 04 00 00 00 00 00 9B "
                                "61 FE EC";
const std::string k_version = "AMT_VERSION_RSPCMD (0x2E)\n"
                              "  module   16      software\n"
                              "  version  KV-2.0\n"
                              "  result   0       done\n";
const std::string k_gps_told = "AMT_GPS_CONTROL_RSPCMD (0xAF)\n  result  0  done\n";

class Requests : public station_tool {
  protected:
    Requests()
    {
        (void)handset({"modem", "reset"});
        (void)handset({"set", "version.software=KV-2.0"});
    }
};

TEST_F(Requests, AreLines)
{
    expect_rows({
        {"the modem's", {"at", "ATI"}, 0, "Emulated modem, revision 1\nOK\n"},
        {"the handset's", {"at", "AT^DSVER"}, 0, "^DSVER: KV-2.0\nOK\n"},
        {"in two words", {"at", "AT^DATOMW=3,1,all", "well"}, 0, "OK\n"},
        {"of which the blank was kept", {"at", "AT^DATOMR=1,3"}, 0, "^DATOMR: 3,1,all well\nOK\n"},
        {"refused", {"at", "AT^DNONSENSE"}, 1, "ERROR\n", failure("the answer is ERROR")},
        {"with a line end", {"at", "AT\n"}, 2, "", mistake("one line at a time: leave line ends out")},
        {"none", {"at"}, 2, "", mistake("at says too little: amt-station at LINE")},
    });
}

TEST_F(Requests, AreMessages)
{
    expect_rows({
        {"by word", {"send", "version", "module=software"}, 0, k_version},
        {"by the service's name", {"send", "AMT_VERSION_CMD", "module=16"}, 0, k_version},
        {"by the short name", {"send", "VERSION", "module=0x10"}, 0, k_version},
        {"by number", {"send", "45", "module=16"}, 0, k_version},
        {"by hexadecimal number", {"send", "0x2d", "module=16"}, 0, k_version},
        {"with another answer's id", {"send", "gps-test"}, 0, k_gps_told},
        {"handed on to the modem", {"send", "dial", "9=string:112"}, 0, "AMT_DIAL_RSPCMD (0x76)\n  result  0  done\n"},
    });
}

TEST_F(Requests, MayHoldAnyAtom)
{
    EXPECT_EQ(ask({"send", "0xFA", "9=int:77", "9=string:112", "10=bytes:0D0A", "11=bool:1"}),
              (outcome{0, "(undefined) (0xFB)\n  result  0  done\n", ""}));
    EXPECT_THAT(heard(), HasSubstr("\\xBB\\xFA\\x1E\\x00\\xEE\\t\\x01\\x04\\x00M\\x00\\x00\\x00\\xEE\\t\\x02\\x03\\x00"
                                   "112\\xEE\\n\\x03\\x02\\x00\\r\\n\\xEE\\x0B\\x04\\x01\\x00\\x01"));
}

TEST_F(Requests, ThatMakeNoSenseAreNotSent)
{
    const std::string all = "; \"amt-station list commands\" shows all, and any number from 0 to 255 will do";
    expect_rows({
        {"unknown", {"send", "bogus"}, 2, "", mistake("there is no command \"bogus\"" + all)},
        {"too high", {"send", "256"}, 2, "", mistake("there is no command \"256\"" + all)},
        {"nearly",
         {"send", "versio"},
         2,
         "",
         mistake("there is no command \"versio\"; there is version, write-version, cell-read-version" + all)},
        {"a missing item", {"send", "version"}, 2, "", mistake("version needs module: whose version")},
        {"an unknown item",
         {"send", "version", "module=16", "colour=2"},
         2,
         "",
         mistake("version has no item colour: it has module")},
        {"no atom",
         {"send", "version", "module=16", "9=float:3"},
         2,
         "",
         mistake("\"9=float:3\" is no atom: write ID=TYPE:VALUE, such as 9=int:77, 9=string:112, 9=bytes:0D0A or "
                 "9=bool:1")},
        {"no hexadecimal digit",
         {"raw", "XY"},
         2,
         "",
         mistake("\"XY\" is no byte in hexadecimal: write two digits a byte, such as AA BB 0D")},
        {"half a byte",
         {"raw", "41", "5"},
         2,
         "",
         mistake("\"5\" is no byte in hexadecimal: write two digits a byte, such as AA BB 0D")},
        {"no byte", {"raw", ","}, 2, "", mistake("there are no bytes to send: write them as AA BB 0D")},
    });
    EXPECT_EQ(heard(), "\"\"");
}

TEST_F(Requests, AreBytes)
{
    expect_rows({
        {"a line", {"raw", "41 54 49 0D"}, 0, "Emulated modem, revision 1\nOK\n"},
        {"in words", {"raw", "41", "54", "0d"}, 0, "OK\n"},
        {"a message", {"raw", k_gps_test}, 0, k_gps_told},
        {"refused", {"raw", "415458 0D"}, 1, "ERROR\n", failure("the answer is ERROR")},
    });
}

TEST_F(Requests, MayHoldAtomsInPlaceOfTheirItems)
{
    expect_rows({
        {"by its number", {"send", "version", "19=int:16"}, 0, k_version},
        {"of another type, which the handset refuses",
         {"send", "version", "19=string:x"},
         1,
         "AMT_VERSION_RSPCMD (0x2E)\n  result  1  failed\n",
         failure("the handset answered result 1")},
    });
}

// The handset says first that it has taken the request, and later whether Bluetooth runs.
TEST_F(Requests, MayBeAcknowledgedTwice)
{
    const std::string told = "AMT_BLUETOOTH_RSPCMD (0xAB)";
    const std::string line = "handset:default <- " + told;
    expect_row({"it runs",
                {"-v", "send", "bluetooth"},
                0,
                told + "\n  result  0  done\n",
                "handset:default -> AMT_BLUETOOTH_CMD (0xAA)\nhandset:default <- pre-response\n" + line +
                    ": result=0 (done)\n" + line + ": result=0 (done)\n"});
    (void)handset({"restart"}); // ends the copy of the service that this makes
    (void)handset({"set", "bluetooth.start=-1"});
    expect_row({"it does not",
                {"send", "bluetooth"},
                1,
                told + "\n  result  1  failed\n",
                failure("the handset answered result 1")});
    (void)handset({"set", "bluetooth.start=0"});
    (void)handset({"restart"});
}

// Nobody's handler but the modem has taken it.
TEST_F(Requests, ThatTheModemTakesForTheHandsetAreNotDone)
{
    (void)handset({"link", "split", "--to", "handset", "5"});
    const outcome come = ask({"--timeout", "2", "send", "gps-test"});
    (void)handset({"link", "clear"});
    EXPECT_EQ(come,
              (outcome{5, "",
                       failure("the answer came without a pre-response, so it is not the "
                               "handset's own, or bytes were lost: AMT_GPS_TEST_RSPCMD (0xB1): result=0 (done)")}));
}

// --- what passes

TEST_F(Requests, AreTraced)
{
    const std::string time = "[0-2][0-9]:[0-5][0-9]:[0-5][0-9]\\.[0-9]{3} handset:default ";
    const std::string request = time + "-> " + k_gps_test + " \\| AMT_GPS_TEST_CMD \\(0xB0\\)\n";
    const std::string announced = time + "<- " + k_pre_response + " \\| pre-response\n";
    const std::string answered =
        time + "<- " + k_gps_answer + " \\| AMT_GPS_CONTROL_RSPCMD \\(0xAF\\): result=0 \\(done\\)\n";
    const outcome shown = ask({"send", "gps-test", "--trace", "-"});
    EXPECT_EQ(shown.out, k_gps_told);
    EXPECT_THAT(shown.err, MatchesRegex(request + announced + answered));
    const std::string file = tools().folder() + "/trace";
    EXPECT_EQ(ask({"--trace", file, "at", "AT"}), (outcome{0, "OK\n", ""}));
    EXPECT_EQ(ask({"--trace", file, "send", "gps-test"}), (outcome{0, k_gps_told, ""}));
    EXPECT_THAT(read_whole_file(file), MatchesRegex(request + announced + answered)) << "it is made anew";
    const std::string told = "AMT_GPS_TEST_CMD (0xB0)\npre-response\n" + k_gps_told;
    expect_row({"and can be decoded", {"decode", file}, 0, told});
    expect_row({"nowhere",
                {"--trace", "/nonexistent/trace", "at", "AT"},
                2,
                "",
                mistake("/nonexistent/trace: the trace cannot be written there: No such file or directory")});
}

TEST_F(Requests, AreToldOfWhenWanted)
{
    expect_rows({
        {"a message",
         {"-v", "send", "gps-test"},
         0,
         k_gps_told,
         "handset:default -> AMT_GPS_TEST_CMD (0xB0)\n"
         "handset:default <- pre-response\n"
         "handset:default <- AMT_GPS_CONTROL_RSPCMD (0xAF): result=0 (done)\n"},
        {"a line",
         {"at", "AT", "--verbose"},
         0,
         "OK\n",
         "handset:default -> \"AT\\r\"\nhandset:default <- text \"\\r\\nOK\\r\\n\"\n"},
    });
}

// --- what answers

TEST_F(Requests, WaitForASlowModem)
{
    (void)handset({"modem", "delay", "300"});
    expect_row({"slow", {"at", "AT"}, 0, "OK\n"});
    (void)handset({"modem", "split", "1"});
    (void)handset({"modem", "delay", "3"});
    expect_row({"in pieces", {"get", "imei"}, 0, "490154203237518\n"});
}

TEST_F(Requests, EndWithoutAnAnswer)
{
    const std::string none = "no whole answer within 100 ms, nothing came: see whether the handset is in test mode and "
                             "knows the request; \"handset status --name default\" tells whether its service runs";
    (void)handset({"modem", "silence", "on"});
    expect_rows({
        {"a line", {"--timeout", "0.1", "at", "AT"}, 4, "", failure(none)},
        {"an item", {"--timeout", "0.1", "get", "imei", "sn"}, 4, "", failure(none)},
        {"a message", {"--timeout=0.1", "send", "dial"}, 4, "", failure(none)},
        {"bytes", {"raw", "4154490D", "--timeout", "0.1"}, 4, "", failure(none)},
        {"an introduction", {"info", "--timeout", "0.1"}, 4, "", failure(none)},
        {"the handset's own", {"--timeout", "5", "send", "gps-test"}, 0, k_gps_told},
    });
    (void)handset({"modem", "silence", "off"});
    expect_row({"once it speaks", {"at", "ATI"}, 0, "Emulated modem, revision 1\nOK\n"});
}

TEST_F(Requests, AreRefused)
{
    (void)handset({"modem", "refuse", "\\r\\n+CME ERROR: 10\\r\\n"});
    const std::string cme = "\"\\r\\n+CME ERROR: 10\\r\\n\"";
    expect_rows({
        {"a line", {"at", "AT"}, 1, "+CME ERROR: 10\n", failure("the answer is +CME ERROR: 10")},
        {"an item", {"get", "imei"}, 1, "", failure("imei: the answer to \"AT^DGSN?\" is " + cme)},
        {"a verdict", {"results", "3"}, 1, "", failure("the answer to \"AT^DATOMR=1,3\" is " + cme)},
        {"a message", {"send", "dial"}, 1, "", failure("the modem, to which the message went, answered " + cme)},
    });
    (void)handset({"modem", "refuse", "off"});
    (void)handset({"modem", "result", "10"});
    expect_row({"with a result",
                {"send", "dial"},
                1,
                "AMT_DIAL_RSPCMD (0x76)\n  result  10  failed in its handler\n",
                failure("the handset answered result 10")});
}

TEST_F(Requests, AreNotAnsweredByADamagedFrame)
{
    std::string frame;
    for (const char byte :
         {'\xAA', '\xBB', '\xCC', '\xDD', '\x08', '\0', '\0', '\0', '\x02', '\x02', '\0', '\0', 'v'}) {
        char digits[8];
        (void)snprintf(digits, sizeof(digits), "\\x%02X", static_cast<unsigned char>(byte));
        frame += digits;
    }
    (void)handset({"modem", "rule", "AT^X => " + frame + "J\\xEE\\x1C"});
    (void)handset({"modem", "rule", "AT^Y => " + frame});
    expect_rows({
        {"a wrong checksum",
         {"at", "AT^X"},
         5,
         "",
         failure("a damaged answer came, checksum 0x1CEE4A76 instead of 0x1DEE4A76: AA BB CC DD 08 00 00 00 02 02 00 "
                 "00 76 4A EE 1C")},
        {"cut short",
         {"--timeout", "1", "at", "AT^Y"},
         5,
         "",
         failure("a frame has begun, and only 13 of the 16 bytes that it tells came within 1000 ms: AA BB CC DD 08 00 "
                 "00 00 02 02 00 00 76")},
        {"and whole again", {"at", "AT"}, 0, "OK\n"},
    });
}

// The modem says its answer as it says all else.
TEST_F(Requests, PassOverWhatTheModemSaysByItself)
{
    const std::string dial = "AA BB CC DD 0E 00 00 00 02 00 00 00 06 00 BB 75 00 00 ";
    std::string answer;
    const outcome traced = ask({"--trace", "-", "send", "dial"});
    std::istringstream digits(traced.err.substr(traced.err.find("<- ") + 3));
    for (std::string byte; digits >> byte && byte != "|";) {
        answer += "\\x" + byte;
    }
    EXPECT_THAT(traced.err, HasSubstr("-> " + dial));
    (void)handset({"modem", "silence", "on"});
    running_tool asking = start({"-v", "send", "dial"});
    asking.wait_for("-> AMT_DIAL_CMD");
    (void)handset({"modem", "say", "\\r\\n+CREG: 1\\r\\n"});
    (void)handset({"modem", "say", answer});
    EXPECT_EQ(asking.wait(), (outcome{0, "AMT_DIAL_RSPCMD (0x76)\n  result  0  done\n",
                                      "handset:default -> AMT_DIAL_CMD (0x75)\n"
                                      "handset:default <- text \"\\r\\n+CREG: 1\\r\\n\"\n"
                                      "handset:default <- AMT_DIAL_RSPCMD (0x76): result=0 (done)\n"}));
}

} // namespace
