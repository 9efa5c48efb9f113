// What a handset is and keeps, as the tool reads and writes it: info, get, set, results.

#include "tests/tools/station_tool.h"

namespace {

using ::testing::HasSubstr;

constexpr char k_items[] = "imei, sn, board-sn, adb-sn, bt-address, wifi-address, software-version, platform-version, "
                           "l1-version, hls-version, modem, date, sim, signal, capabilities, modem-channel, "
                           "modem-mode, handshake, download-flag";

// What a handset is known by, from the first test as from the last.
class Properties : public station_tool {
  protected:
    Properties()
    {
        (void)handset({"modem", "reset"});
        (void)handset({"set", "version.software=KV-2.0", "handshake.permitted=1", "download=4"});
        for (const char *file :
             {"/amt/sn-2.txt", "/amt/usb_serial", "/amt/BT/BT_Address.txt", "/amt/WIFI/WIFI_nvram.txt"}) {
            std::filesystem::remove(tools().path_inside("default", file));
        }
    }
};

TEST_F(Properties, AreReadByName)
{
    expect_rows({
        {"IMEI", {"get", "imei"}, 0, "490154203237518\n"},
        {"serial number", {"get", "sn"}, 0, "EMU0000001\n"},
        {"version", {"get", "software-version"}, 0, "KV-2.0\n"},
        {"version of the layer 1", {"get", "l1-version"}, 0, "17,0D456D756C61746564204C3120312E300A\n"},
        {"version of the layers above", {"get", "hls-version"}, 0, "18,0D456D756C6174656420484C5320312E300A\n"},
        {"modem", {"get", "modem"}, 0, "Emulated modem, revision 1\n"},
        {"date", {"get", "date"}, 0, "20240229235959\n"},
        {"SIM", {"get", "sim"}, 0, "1\n"},
        {"signal", {"get", "signal"}, 0, "23,99\n"},
        {"capabilities", {"get", "capabilities"}, 0, "2,2,1,5\n"},
        {"channel", {"get", "modem-channel"}, 0, "0\n"},
        {"mode", {"get", "modem-mode"}, 0, "0\n"},
        {"handshake", {"get", "handshake"}, 0, "1\n"},
        {"last download", {"get", "download-flag"}, 0, "4\n"},
        {"several", {"get", "sn", "imei"}, 0, "  sn    EMU0000001\n  imei  490154203237518\n"},
        {"as a name", {"-p", "handset:", "get", "imei"}, 0, "490154203237518\n"},
    });
    EXPECT_THAT(ask({"get", "platform-version"}).out, HasSubstr("Android4.2,2013-01-21"));
}

TEST_F(Properties, ThatCannotBeReadAreToldOneByOne)
{
    const std::string no_board = "board-sn: the answer to \"AT^DPCBACTRL=1\" is \"\\r\\nERROR\\r\\n\"";
    const std::string no_address = "bt-address: the answer to \"AT^DBTADDR?\" is \"\\r\\n+CME ERROR: 100\\r\\n\"";
    const std::string no_number = "adb-sn: the handset answered adb-serial-number, answer (0xC0): result=1 (failed)";
    expect_rows({
        {"one", {"get", "bt-address"}, 1, "", failure(no_address)},
        {"by a message", {"get", "adb-sn"}, 1, "", failure(no_number)},
        {"of several",
         {"get", "board-sn", "imei", "adb-sn", "sn"},
         1,
         "  imei  490154203237518\n  sn    EMU0000001\n",
         failure(no_board + "; " + no_number)},
        {"unknown",
         {"get", "colour"},
         2,
         "",
         mistake(std::string("there is no item \"colour\": there are ") + k_items)},
        {"unknown behind a known one",
         {"get", "imei", "colour"},
         2,
         "",
         mistake(std::string("there is no item \"colour\": there are ") + k_items)},
        {"none", {"get"}, 2, "", mistake("get says too little: amt-station get ITEM...")},
    });
}

TEST_F(Properties, AreWrittenAndReadBack)
{
    expect_rows({
        {"IMEI", {"set", "imei=123456789012345"}, 0, "  imei  123456789012345  read back\n"},
        {"serial number", {"set", "sn=SN 1"}, 0, "  sn  SN 1  read back\n"},
        {"board", {"set", "board-sn=PCBA-1"}, 0, "  board-sn  PCBA-1  read back\n"},
        {"number of adb", {"set", "adb-sn=ADB=1"}, 0, "  adb-sn  ADB=1  read back\n"},
        {"Bluetooth", {"set", "bt-address=11:22:33:44:55:66"}, 0, "  bt-address  11:22:33:44:55:66  read back\n"},
        {"WiFi", {"set", "wifi-address=11:22:33:44:55:77"}, 0, "  wifi-address  11:22:33:44:55:77  read back\n"},
        {"several",
         {"set", "modem-channel=3", "modem-mode=7", "handshake=0"},
         0,
         "  modem-channel  3  read back\n  modem-mode     7  read back\n  handshake      0  read back\n"},
        {"and are kept",
         {"get", "imei", "sn", "board-sn", "adb-sn", "bt-address", "wifi-address", "modem-channel", "handshake"},
         0,
         "  imei           123456789012345\n  sn             SN 1\n  board-sn       PCBA-1\n"
         "  adb-sn         ADB=1\n  bt-address     11:22:33:44:55:66\n  wifi-address   11:22:33:44:55:77\n"
         "  modem-channel  3\n  handshake      0\n"},
    });
    EXPECT_EQ(handset({"get", "handshake.permitted"}), "0\n");
    EXPECT_EQ(read_whole_file(tools().path_inside("default", "/amt/imei.txt")), "123456789012345");
    EXPECT_EQ(handset({"get", "file./amt/usb_serial"}), "ADB=1\n");
}

TEST_F(Properties, AreNotSaidToBeWrittenWhenTheyAreNot)
{
    const std::string no_imei = "the answer to \"AT^DCGSNW=123456789012345\" is \"\\r\\n+CME ERROR: 100\\r\\n\"";
    (void)handset({"modem", "rule", "AT^DMSN=* => \\r\\nOK\\r\\n"});
    (void)handset({"modem", "rule", "AT^DCGSNW=* => \\r\\n+CME ERROR: 100\\r\\n"});
    expect_rows({
        {"refused", {"set", "imei=123456789012345"}, 1, "", failure("imei: " + no_imei)},
        {"cut",
         {"set", "board-sn=012345678901234567890123456789"},
         1,
         "",
         failure("board-sn: written as \"012345678901234567890123456789\", it reads "
                 "\"01234567890123456789012345678\"")},
        {"not kept", {"set", "sn=NEW"}, 1, "", failure("sn: written as \"NEW\", it reads \"EMU0000001\"")},
        {"the second of three",
         {"set", "modem-channel=3", "imei=123456789012345", "modem-mode=4"},
         1,
         "  modem-channel  3  read back\n",
         failure("imei: " + no_imei + "; those before it were written")},
        {"the third was not written", {"get", "modem-mode"}, 0, "0\n"},
    });
}

TEST_F(Properties, ThatCannotBeWrittenAreNot)
{
    const std::string no_address = " takes an address such as 11:22:33:44:55:66, not ";
    expect_rows({
        {"no IMEI", {"set", "imei=12345"}, 2, "", mistake("imei takes 15 digits, not \"12345\"")},
        {"no address", {"set", "bt-address=1"}, 2, "", mistake("bt-address" + no_address + "\"1\"")},
        {"another one", {"set", "wifi-address=11-22"}, 2, "", mistake("wifi-address" + no_address + "\"11-22\"")},
        {"read only", {"set", "date=20240101000000"}, 2, "", mistake("date can only be read")},
        {"read only, behind another", {"set", "modem-mode=4", "date=1"}, 2, "", mistake("date can only be read")},
        {"nothing was written", {"get", "modem-mode"}, 0, "0\n"},
        {"no value", {"set", "imei"}, 2, "", mistake("\"imei\" sets nothing: write ITEM=VALUE")},
        {"unknown",
         {"set", "colour=1"},
         2,
         "",
         mistake(std::string("there is no item \"colour\": there are ") + k_items)},
        {"a line end",
         {"set", "sn=A\rB"},
         2,
         "",
         mistake("sn takes a text without line ends and control characters, not \"A\\rB\"")},
    });
}

// A value may hold what a terminal would take for more than a character.
TEST_F(Properties, AreShownInPrintableCharacters)
{
    (void)handset({"modem", "rule", "AT^DMSN => \\r\\n^DMSN: A\\xC3\\xA4\\tB\\r\\n\\r\\nOK\\r\\n"});
    (void)handset({"modem", "rule", "AT^DATOMR=1,3 => \\r\\n^DATOMR: 3,2,\\xFF\\r\\n\\r\\nOK\\r\\n"});
    expect_rows({
        {"alone", {"get", "sn"}, 0, "A\\xC3\\xA4\\tB\n"},
        {"in a line", {"at", "AT^DMSN"}, 0, "^DMSN: A\\xC3\\xA4\\tB\nOK\n"},
        {"a verdict", {"results", "3"}, 0, "  station 3  failed  \\xFF\n"},
    });
    const nlohmann::json told = objects(ask({"--json", "get", "sn"}).out).at(0);
    EXPECT_EQ(told["result"]["items"]["sn"], "A\\xC3\\xA4\\tB");
}

// Of an answer that came too late for the one before it, all but the value may be as it is to be.
TEST_F(Properties, AreNotTakenFromAnotherAnswer)
{
    (void)handset({"modem", "rule", "AT^DMSN => \\r\\n^DGSN: 1\\r\\n\\r\\nOK\\r\\n"});
    (void)handset({"modem", "rule", "ATI => \\r\\nOK\\r\\n"});
    expect_rows({
        {"of another item",
         {"get", "sn"},
         5,
         "",
         failure("the answer holds no sn, which is behind \"^DMSN:\": \"\\r\\n^DGSN: 1\\r\\n\\r\\nOK\\r\\n\"; it may "
                 "be the "
                 "late answer to an earlier request")},
        {"of none",
         {"get", "modem"},
         5,
         "",
         failure("the answer holds no modem, which is behind \"\": \"\\r\\nOK\\r\\n\"; it may be the late answer to an "
                 "earlier request")},
    });
}

TEST_F(Properties, IntroduceTheHandset)
{
    (void)ask({"set", "board-sn=PCBA-1"});
    expect_row({"info",
                {"info"},
                0,
                "  imei              490154203237518\n"
                "  sn                EMU0000001\n"
                "  board-sn          PCBA-1\n"
                "  adb-sn            -\n"
                "  bt-address        -\n"
                "  wifi-address      -\n"
                "  software-version  KV-2.0\n"
                "  modem             Emulated modem, revision 1\n"
                "  date              20240229235959\n"});
    (void)handset({"set", "handshake.permitted=1"});
    expect_row({"with a word", {"info", "imei"}, 2, "", mistake("\"imei\" is too much for info: amt-station info")});
}

TEST_F(Properties, GoByTheOneHandsetThatIsThere)
{
    const variables other = {{"AMT_STATION_PORT", "handset:default"}};
    EXPECT_EQ(ask({"get", "imei"}, "", other), (outcome{0, "490154203237518\n", ""}));
}

TEST_F(Properties, IncludeTheVerdictsOfTheLine)
{
    expect_rows({
        {"none", {"results"}, 0, "  no test station has left a verdict\n"},
        {"one is left", {"at", "AT^DATOMW=3,1,all \"well\""}, 0, "OK\n"},
        {"another", {"at", "AT^DATOMW=19,2"}, 0, "OK\n"},
        {"all", {"results"}, 0, "  station 3   passed  all \"well\"\n  station 19  failed\n"},
        {"some", {"results", "4", "3"}, 0, "  station 4  not tested\n  station 3  passed      all \"well\"\n"},
        {"too high", {"results", "20"}, 2, "", mistake("\"20\" is no test station: they are 0 to 19")},
        {"no number", {"results", "3", "x"}, 2, "", mistake("\"x\" is no test station: they are 0 to 19")},
    });
    (void)handset({"modem", "rule", "AT^DATOMR=1,3 => \\r\\nnothing\\r\\n\\r\\nOK\\r\\n"});
    expect_row({"no verdict in the answer",
                {"results", "3"},
                5,
                "",
                failure("no verdict in \"\\r\\nnothing\\r\\n\\r\\nOK\\r\\n\"")});
}

} // namespace
