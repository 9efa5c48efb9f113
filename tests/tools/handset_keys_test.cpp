// The keys of a handset: each is set and read back, and the service finds what was set.

#include "tests/tools/handset_tool.h"

#include <algorithm>
#include <map>
#include <set>

namespace {

namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::HasSubstr;

constexpr char k_sound[] = "\nbell_path=/system/media/amt/ring.wav\n";

struct key_value {
    const char *key;
    std::vector<std::string> values; // the last one is the default
};

const std::vector<key_value> &key_values()
{
    static const std::vector<key_value> rows = {
        {"battery.voltage", {"0", "4200000", "3900000"}},
        {"battery.temperature", {"-400", "-1", "275"}},
        {"battery.converter", {"77", "1234"}},
        {"battery.driver", {"empty", "failing", "ok"}},
        {"battery.calibration", {"amt_set_vbatt[1] [2] [3] [4]", ""}},
        {"charger", {"ac", "none", "host"}},
        {"charger.enable", {"3", "-1", "0"}},
        {"card", {"4096", "65536", "none"}},
        {"card.storage", {"1", "0"}},
        {"camera.open", {"no-device", "failing", "ok"}},
        {"camera.input", {"no-device", "failing", "ok"}},
        {"camera.select", {"no-device", "failing", "ok"}},
        {"camera.update", {"3", "-5", "0"}},
        {"bluetooth.start", {"-1", "0"}},
        {"bluetooth.check", {"-1", "0"}},
        {"wifi.start", {"-1", "0"}},
        {"wifi.check", {"-1", "0"}},
        {"wifi.transmit", {"-1", "0"}},
        {"wifi.receive", {"-1", "0"}},
        {"wifi.received", {"998", "0"}},
        {"gps.start", {"-1", "0"}},
        {"gps.check", {"-1", "0"}},
        {"gps.satellites",
         {"27:41", "1:1,2:2,3:3,4:4,5:5,6:6,7:7,8:8,9:9,10:10,11:11,12:12,13:13,14:14,15:15,16:16", ""}},
        {"microphone.loop", {"-1", "0"}},
        {"player", {"1", "0"}},
        {"parts", {"a chip, a board", "chip: kv7100, memory: 2048 MB, storage: 16 GB"}},
        {"idle", {"-5", "0"}},
        {"download", {"4", "0"}},
        {"version.software", {"V 1", "", "KV-2.0"}},
        {"version.incremental", {"77", ""}},
        {"version.id", {"ab", ""}},
        {"version.customer", {"KORVEN", ""}},
        {"version.manufacturer", {"Korven", ""}},
        {"chip", {"kv7101", ""}},
        {"usb.config", {"serial,adb", ""}},
        {"switched", {"0", "", "1"}},
        {"handshake.permitted", {"0", "1"}},
        {"brightness", {"0", "255", "102"}},
        {"keylight", {"255", "0"}},
        {"vibrator", {"3000", "0"}},
    };
    return rows;
}

class Keys : public handset_tool {
  protected:
    // "default" serves a station, "app" an application.
    static void SetUpTestSuite()
    {
        handset_tool::SetUpTestSuite();
        (void)tools().up("default");
        (void)tools().up("app", {"--mode", "normal"});
    }

    // What the tests before have set is as by default.
    Keys()
    {
        command_words words = {"set", "--name", ""};
        for (const key_value &row : key_values()) {
            if (row.key != std::string("switched")) {
                words.push_back(std::string(row.key) + "=" + row.values.back());
            }
        }
        for (const char *name : {"default", "app"}) {
            words[2] = name;
            (void)done(words);
        }
    }

    // An answer without its heading, the name of its command.
    static std::string items_in(const std::string &answer)
    {
        return answer.substr(std::min(answer.find('\n'), answer.size()));
    }

    static void set(const std::string &name, const std::string &setting)
    {
        (void)done({"set", "--name", name, setting});
    }

    static std::map<std::string, json> all_keys(const std::string &name)
    {
        std::map<std::string, json> all;
        for (const json &row : json::parse(done({"keys", "--name", name, "--json"}))) {
            all[row.at("key")] = row;
        }
        return all;
    }
};

// --- reading back

TEST_F(Keys, AreReadAsTheyWereSet)
{
    (void)tools().up("fresh");
    const std::map<std::string, json> all = all_keys("fresh");
    std::set<std::string> settable;
    for (const auto &[name, row] : all) {
        if (row.at("settable").get<bool>()) {
            settable.insert(name);
        }
    }
    for (const key_value &row : key_values()) {
        ASSERT_EQ(settable.erase(row.key), 1U) << row.key;
        EXPECT_EQ(all.at(row.key).at("value"), row.values.back()) << row.key << ": before";
        for (const std::string &value : row.values) {
            const std::string setting = std::string(row.key) + "=" + value;
            EXPECT_EQ(ask({"set", "--name", "fresh", setting}), (outcome{})) << setting;
            EXPECT_EQ(ask({"get", "--name", "fresh", row.key}), (outcome{0, value + "\n", ""})) << setting;
        }
    }
    EXPECT_TRUE(settable.empty()) << ::testing::PrintToString(settable) << " are not in the table";
    (void)done({"down", "--name", "fresh"});
}

TEST_F(Keys, AreListedWithUnitAndMeaning)
{
    const outcome come = ask({"keys"});
    EXPECT_EQ(come.status, 0);
    EXPECT_THAT(lines_in(come.out),
                Contains("card                  none                  KiB: the memory card: none, or "
                         "its size"));
    EXPECT_THAT(lines_in(come.out), Contains("gps.satellites        -                     ID:dB-Hz,...: what it "
                                             "receives, up to 16; empty: none"));
    EXPECT_EQ(come.err, "and property.NAME, file.PATH (=@FILE: a file of this machine; empty: removed), driver.ENTRY "
                        "(=KEY=VALUE,...; empty: as by default)\n");
    const std::map<std::string, json> all = all_keys("default");
    EXPECT_EQ(lines_in(come.out).size(), all.size());
    EXPECT_EQ(all.at("screen"), (json{{"key", "screen"},
                                      {"value", "blank"},
                                      {"unit", ""},
                                      {"meaning", "blank or on; read only"},
                                      {"settable", false},
                                      {"values", json::array()}}));
    EXPECT_EQ(all.at("battery.voltage")["unit"], "microvolts");
    EXPECT_EQ(all.at("charger")["values"], (json{"host", "ac", "none"}));
}

TEST_F(Keys, AreReadOneOrSeveral)
{
    (void)done({"set", "card=4096", "parts=a=b, \"c\"", "file./amt/two.txt=one\ntwo\n"});
    expect_rows({
        {"one", {"get", "card"}, 0, "4096\n"},
        {"several", {"get", "card", "charger"}, 0, "card=4096\ncharger=host\n"},
        {"with marks", {"get", "parts"}, 0, "a=b, \"c\"\n"},
        {"lines", {"get", "file./amt/two.txt"}, 0, "one\ntwo\n"},
        {"for programs, one", {"get", "--json", "card"}, 0, "{\n  \"card\": \"4096\"\n}\n"},
        {"for programs, several",
         {"get", "card", "file./amt/two.txt", "--json"},
         0,
         "{\n  \"card\": \"4096\",\n  \"file./amt/two.txt\": \"one\\ntwo\\n\"\n}\n"},
        {"no such file", {"get", "file./amt/none.txt"}, 1, "", mistake("the handset has no file /amt/none.txt")},
    });
    (void)done({"set", "card=none", "file./amt/two.txt="});
}

// --- what the service finds

struct seen_row {
    const char *name;
    const char *port;     // of the tool
    std::string settings; // with blanks between
    command_words asked;
    int status;
    std::string out;
};

TEST_F(Keys, AreWhatTheServiceFinds)
{
    const std::string failed = "  result  1  failed\n";
    const std::string rtx = "AMT_WIFI_RTX_TEST_RSPCMD (0xBC)\n";
    const std::string update = "AMT_CAMERA_CONTROL_RSPCMD (0xB5)\n";
    const std::string no_camera = update + "  outcome  3  no-camera\n  result   0  done\n";
    const std::string preview = "AMT_CAMERA_PREVIEW_RSPCMD (0x8C)\n" + failed;
    const std::string card = "AMT_READCAPABILITY_CARD_RSPCMD (0x8A)\n";
    const std::string no_converter = "(undefined) (0xE1)\n" + failed;
    const char *const app = "app/application";
    const char *const pc = "default";
    const seen_row rows[] = {
        {"voltage",
         app,
         "battery.voltage=4123456",
         {"test", "battery-voltage"},
         0,
         "AMT_READ_BATTERY_RSPCMD (0x0A)\n  voltage  4123456  uV\n  result   0        done\n"},
        {"temperature",
         app,
         "battery.temperature=-15",
         {"test", "battery-temperature"},
         0,
         "AMT_TEMPERATURE_RSPCMD (0x38)\n  temperature  -15  0.1 C\n  result       0    done\n"},
        {"converter",
         pc,
         "battery.converter=77",
         {"test", "battery-converter"},
         0,
         "(undefined) (0xE1)\n  value   77\n  result  0   done\n"},
        {"empty driver", pc, "battery.driver=empty", {"test", "battery-converter"}, 1, no_converter},
        {"failing driver", pc, "battery.driver=failing", {"test", "battery-converter"}, 1, no_converter},
        {"driver",
         pc,
         "battery.driver=ok battery.converter=1234",
         {"test", "battery-converter"},
         0,
         "(undefined) (0xE1)\n  value   1234\n  result  0     done\n"},
        {"card",
         app,
         "card=4096",
         {"test", "memory-card"},
         0,
         card + "  capacity  4096  KiB\n  result    0     done\n"},
        {"card elsewhere",
         app,
         "card.storage=1 card=8192",
         {"test", "memory-card"},
         0,
         card + "  capacity  8192  KiB\n  result    0     done\n"},
        {"card moved",
         app,
         "card.storage=0",
         {"test", "memory-card"},
         0,
         card + "  capacity  8192  KiB\n  result    0     done\n"},
        {"no card", app, "card=none", {"test", "memory-card"}, 0, card + "  capacity  0  KiB\n  result    0  done\n"},
        {"no camera's device", app, "camera.open=no-device", {"test", "camera-main"}, 1, preview},
        {"camera's device failing", app, "camera.open=failing", {"test", "camera-main"}, 1, preview},
        {"no camera",
         app,
         "camera.open=ok camera.input=no-device",
         {"test", "camera-update", "camera=2"},
         0,
         no_camera},
        {"camera failing", app, "camera.input=failing", {"test", "camera-update", "camera=2"}, 1, update + failed},
        {"no preview", app, "camera.input=ok camera.select=no-device", {"test", "camera-main"}, 1, preview},
        {"preview failing", app, "camera.select=failing", {"test", "camera-main"}, 1, preview},
        {"camera's update",
         app,
         "camera.select=ok camera.update=3",
         {"test", "camera-update", "camera=2"},
         0,
         no_camera},
        {"Bluetooth's start",
         pc,
         "bluetooth.start=-1",
         {"test", "bluetooth-on"},
         1,
         "AMT_BLUETOOTH_ADDRESS_RSPCMD (0xAD)\n" + failed},
        {"Bluetooth's check",
         pc,
         "bluetooth.check=-1",
         {"test", "bluetooth-check"},
         1,
         "AMT_BLUETOOTH_ADDRESS_RSPCMD (0xAD)\n" + failed},
        {"WiFi's start", pc, "wifi.start=-1", {"test", "wifi-on"}, 1, rtx + failed},
        {"WiFi's check", pc, "wifi.check=-1", {"test", "wifi-check"}, 1, "AMT_WIFI_TEST_RSPCMD (0xBA)\n" + failed},
        {"WiFi is on", pc, "wifi.start=0", {"test", "wifi-on"}, 0, rtx + "  action  1  on\n  result  0  done\n"},
        {"WiFi's sender",
         pc,
         "wifi.transmit=-1",
         {"test", "wifi-send", "channel=13", "rate=366", "power=2"},
         1,
         rtx + failed},
        {"WiFi's receiver", pc, "wifi.receive=-1", {"test", "wifi-receive", "channel=13", "rate=366"}, 1, rtx + failed},
        {"WiFi receives",
         pc,
         "wifi.receive=0 wifi.received=998",
         {"test", "wifi-receive", "channel=13", "rate=366"},
         0,
         rtx + "  action  5  receive\n  result  0  done\n"},
        {"frames",
         pc,
         "",
         {"test", "wifi-stop-receiving"},
         0,
         rtx + "  action  6    stop-receiving\n  count   998\n  result  0    done\n"},
        {"satellites' start", pc, "gps.start=-1", {"test", "gps-start"}, 1, "AMT_GPS_CONTROL_RSPCMD (0xAF)\n" + failed},
        {"satellites' check", pc, "gps.check=-1", {"test", "gps-check"}, 1, "AMT_GPS_CONTROL_RSPCMD (0xAF)\n" + failed},
        {"satellites' search",
         pc,
         "gps.start=0 gps.satellites=27:41,5:33",
         {"test", "gps-start"},
         0,
         "AMT_GPS_CONTROL_RSPCMD (0xAF)\n  result  0  done\n"},
        {"a satellite",
         pc,
         "",
         {"test", "gps-satellite", "index=1"},
         0,
         "AMT_GPS_READ_RESULT_RSPCMD (0xB3)\n  strength   33  dB-Hz\n  satellite  5\n  result     0   done\n"},
        {"parts",
         app,
         "parts=abc",
         {"test", "device-info"},
         0,
         "AMT_READ_DEV_INFO_RSPCMD (0xEF)\n  text    abc\n  result  0    done\n"},
        {"idle", pc, "idle=-5", {"test", "idle"}, 1, "AMT_ENTER_IDLE_RSPCMD (0xF1)\n" + failed},
        {"download",
         pc,
         "download=4",
         {"test", "download-flag"},
         0,
         "(undefined) (0xF5)\n  flag    4\n  result  0  done\n"},
        {"version", pc, "version.software=V9", {"get", "software-version"}, 0, "V9\n"},
        {"of the maker's customer",
         pc,
         "version.customer=KORVEN version.incremental=77 version.id=ab",
         {"get", "software-version"},
         0,
         "TELO 77(ab)\n"},
        {"of none", pc, "version.customer=", {"get", "software-version"}, 0, "V9\n"},
        {"of the maker",
         pc,
         "version.manufacturer=Korven version.incremental=78",
         {"get", "software-version"},
         0,
         "TELO 78(ab)\n"},
        {"handshake forbidden", pc, "handshake.permitted=0", {"get", "handshake"}, 0, "0\n"},
        {"handshake permitted", pc, "handshake.permitted=1", {"get", "handshake"}, 0, "1\n"},
        {"property",
         pc,
         "version.manufacturer= property.ro.build.display.id=V10",
         {"get", "software-version"},
         0,
         "V10\n"},
        {"file", pc, "file./amt/imei.txt=490154203237518", {"get", "imei"}, 0, "490154203237518\n"},
        {"driver",
         pc,
         "driver.hwt_wifiCheck=result=-3",
         {"test", "wifi-check"},
         1,
         "AMT_WIFI_TEST_RSPCMD (0xBA)\n" + failed},
        {"driver by default",
         pc,
         "driver.hwt_wifiCheck=",
         {"test", "wifi-check"},
         0,
         "AMT_WIFI_TEST_RSPCMD (0xBA)\n  result  0  done\n"},
    };
    for (const seen_row &row : rows) {
        std::istringstream settings(row.settings);
        const std::string name = row.port == std::string(pc) ? "default" : "app";
        command_words words = {"set", "--name", name};
        for (std::string each; settings >> each;) {
            words.push_back(each);
        }
        if (words.size() > 3) {
            (void)done(words);
        }
        const outcome come = station(row.port, row.asked);
        EXPECT_EQ(come.status, row.status) << row.name << '\n' << come;
        EXPECT_EQ(items_in(come.out), items_in(row.out)) << row.name;
    }
}

// What the service changes is read by the same keys.
TEST_F(Keys, TellWhatTheServiceHasDone)
{
    set("app", "brightness=180");
    const struct {
        const char *port;
        command_words asked;
        const char *key;
        const char *value;
    } rows[] = {
        {"app/application", {"test", "lcd-brightness", "level=77"}, "brightness", "77"},
        {"app/application", {"test", "lcd-restore"}, "brightness", "180"},
        {"app/application", {"test", "key-light"}, "keylight", "1"},
        {"app/application", {"test", "vibrator"}, "vibrator", "3000"},
        {"default", {"set", "handshake=0"}, "handshake.permitted", "0"},
        {"default",
         {"test", "battery-calibration", "first=1", "second=-2", "third=3", "fourth=4"},
         "battery.calibration",
         "amt_set_vbatt[1] [-2] [3] [4]"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(station(row.port, row.asked).status, 0) << row.key;
        const std::string port = row.port;
        EXPECT_EQ(value_of(port.substr(0, port.find('/')), row.key), row.value);
    }
    (void)done({"set", "handshake.permitted=1"});
}

TEST_F(Keys, DecideWhetherTheRingToneIsHeard)
{
    const std::string file = tools().path_inside("app", "/system/etc/kv-zep-amt.cfg");
    const std::string config = tools().folder() + "/config";
    std::ofstream(config) << read_whole_file(file) << k_sound;
    (void)done(
        {"set", "--name", "app", "file./system/etc/kv-zep-amt.cfg=@" + config, "file./system/media/amt/ring.wav=ring"});
    (void)done({"restart", "--name", "app"});
    EXPECT_EQ(station("app/application", {"test", "ring-tone"}).status, 0);
    (void)station("app/application", {"test", "ring-tone-off"});
    set("app", "player=1");
    EXPECT_EQ(station("app/application", {"test", "ring-tone"}).status, 1);
    set("app", "player=0");
}

TEST_F(Keys, ChooseTheLibraryOfTheChip)
{
    const std::string folder = tools().path_inside("app", "/system/lib64/hw/");
    fs::copy_file(folder + "amt.kv7100.misc.so", folder + "amt.kv7101.misc.so");
    set("app", "chip=kv7101");
    (void)done({"restart", "--name", "app"});
    EXPECT_EQ(station("app/application", {"test", "audio-loop"}).status, 0);
    EXPECT_THAT(done({"logs", "--name", "app"}), HasSubstr("lib path-name: /system/lib64/hw/amt.kv7101.misc.so\n"));
    set("app", "chip=");
}

// --- names that are open ended

TEST_F(Keys, AreAnyPropertyFileAndDriver)
{
    const std::string bytes("a\0b\xFF\n\r", 6);
    const std::string file = tools().folder() + "/bytes";
    std::ofstream(file, std::ios::binary) << bytes;
    expect_rows({
        {"a property", {"set", "property.my.own=some text"}, 0},
        {"is read", {"get", "property.my.own"}, 0, "some text\n"},
        {"is emptied", {"set", "property.my.own="}, 0},
        {"and empty", {"get", "property.my.own"}, 0, "\n"},
        {"one that nobody has set",
         {"get", "property.my.other"},
         1,
         "",
         mistake("the handset has no property my.other")},
        {"a file", {"set", "file./data/local/tmp/deep/down=some text"}, 0},
        {"is read", {"get", "file./data/local/tmp/deep/down"}, 0, "some text\n"},
        {"a file of this machine", {"set", "file./amt/bytes=@" + file}, 0},
        {"with every byte", {"get", "file./amt/bytes"}, 0, bytes + "\n"},
        {"an address in a text", {"set", "property.my.own=@" + file}, 0},
        {"is no file", {"get", "property.my.own"}, 0, "@" + file + "\n"},
        {"a driver", {"set", "driver.fb.mmap=result=-1,errno=12"}, 0},
        {"is read", {"get", "driver.fb.mmap"}, 0, "result=-1,errno=12\n"},
        {"is as by default", {"set", "driver.fb.mmap="}, 0},
        {"again", {"get", "driver.fb.mmap"}, 0, "\n"},
        {"by its key as well", {"set", "driver.hwt_btCheck=result=-7"}, 0},
        {"which tells", {"get", "bluetooth.check"}, 0, "-7\n"},
        {"to the default", {"set", "bluetooth.check=0"}, 0},
    });
    EXPECT_EQ(read_whole_file(tools().path_inside("default", "/amt/bytes")), bytes);
    EXPECT_EQ(ask({"set", "file./amt/bytes="}), (outcome{}));
    EXPECT_FALSE(fs::exists(tools().path_inside("default", "/amt/bytes")));
}

} // namespace
