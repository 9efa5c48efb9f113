// The tests of the handset's devices by name, each on the ports that serve it: what is told, and what the handset's
// libraries, drivers and files have heard of it.

#include "tests/tools/station_tool.h"

#include <set>

namespace {

using ::testing::ElementsAreArray;
using ::testing::UnorderedElementsAreArray;

constexpr char k_application[] = "handset:app/application";
const std::string k_done = "  result  0  done\n";

// On the ports of both, or of one.
enum class on { both, station, application };

struct device_row {
    on ports;
    command_words words; // behind "test"
    std::string out;
    std::vector<std::string> calls;
    std::string key = ""; // of the handset, afterwards
    std::string value = "";
};

// In this order: some tests need what one before them has begun. The start of Bluetooth is the last, it doubles the
// service.
const std::vector<device_row> &device_rows()
{
    // clang-format off
    static const std::vector<device_row> rows = {
        {on::application, {"battery-voltage"},
         "AMT_READ_BATTERY_RSPCMD (0x0A)\n  voltage  4123456  uV\n  result   0        done\n", {}},
        {on::application, {"battery-temperature"},
         "AMT_TEMPERATURE_RSPCMD (0x38)\n  temperature  -15  0.1 C\n  result       0    done\n", {}},
        {on::station, {"battery-converter"}, "battery-converter, answer (0xE1)\n  value   1234\n  result  0     done\n",
         {"open(/proc/driver/vexio_battery)", "open(/proc/driver/vexio_battery)"}},
        {on::station, {"battery-calibration", "first=1", "second=-2", "third=3", "fourth=4"},
         "battery-calibration, answer (0xE3)\n" + k_done, {"open(/proc/driver/vexio_battery)"},
         "battery.calibration", "amt_set_vbatt[1] [-2] [3] [4]"},

        {on::application, {"lcd-color"}, "AMT_SHOWLCD_RSPCMD (0x1E)\n" + k_done, {}},
        {on::application, {"lcd-brightness", "level=77"}, "AMT_LCDLIGHT_RSPCMD (0x3A)\n" + k_done, {},
         "brightness", "77"},
        {on::application, {"lcd-bright"}, "AMT_LCDLIGHT_RSPCMD (0x3A)\n" + k_done, {}, "brightness", "255"},
        {on::application, {"lcd-dark"}, "AMT_LCDLIGHT_RSPCMD (0x3A)\n" + k_done, {}, "brightness", "0"},
        {on::application, {"lcd-restore"}, "AMT_LCDLIGHT_RSPCMD (0x3A)\n" + k_done, {}, "brightness", "180"},
        {on::application, {"key-light"}, "AMT_BACKLIGHT_RSPCMD (0x26)\n" + k_done, {}, "keylight", "1"},
        {on::application, {"key-light-off"}, "AMT_BACKLIGHT_RSPCMD (0x26)\n" + k_done, {}, "keylight", "0"},
        {on::application, {"vibrator"}, "AMT_VIBRATION_RSPCMD (0x24)\n" + k_done, {}, "vibrator", "3000"},
        {on::application, {"vibrator-off"}, "AMT_VIBRATION_RSPCMD (0x24)\n" + k_done, {}, "vibrator", "0"},
        {on::application, {"ring-tone"}, "AMT_BELL_RSPCMD (0x22)\n" + k_done,
         {"amt-audio(44100 2 1024 /system/media/amt/ring.wav)"}},
        {on::application, {"ring-tone-off"}, "AMT_BELL_RSPCMD (0x22)\n" + k_done, {}},
        {on::application, {"audio-loop"}, "AMT_AUDIOLOOP_RSPCMD (0x20)\n" + k_done, {"codec_loop_test(0, 1)"}},
        {on::application, {"audio-loop", "type=2"}, "AMT_AUDIOLOOP_RSPCMD (0x20)\n" + k_done,
         {"codec_loop_test(2, 1)"}},
        {on::application, {"audio-loop-off"}, "AMT_AUDIOLOOP_RSPCMD (0x20)\n" + k_done, {"codec_loop_test(0, 0)"}},

        {on::application, {"memory-card"},
         "AMT_READCAPABILITY_CARD_RSPCMD (0x8A)\n  capacity  65536  KiB\n  result    0      done\n", {}},
        {on::application, {"sim"}, "AMT_USIMCHECK_RSPCMD (0x64)\n  present  1\n", {}},
        {on::application, {"camera-main"}, "AMT_CAMERA_PREVIEW_RSPCMD (0x8C)\n" + k_done,
         {"open(/dev/video0)", "ioctl(video0, CAMERA_SELECT, 1)", "close(video0)"}},
        {on::application, {"camera-second"}, "AMT_SECOND_CAMERA_PREVIEW_RSPCMD (0x94)\n" + k_done,
         {"open(/dev/video0)", "ioctl(video0, CAMERA_SELECT, 0)", "close(video0)"}},
        {on::application, {"camera-update", "camera=2"},
         "AMT_CAMERA_CONTROL_RSPCMD (0xB5)\n  outcome  0  done\n  result   0  done\n",
         {"open(/dev/video0)", "ioctl(video0, VIDIOC_S_INPUT, 1)", "ioctl(video0, CAMERA_SWITCH, 1)",
          "close(video0)"}},

        {on::both, {"bluetooth-check"}, "AMT_BLUETOOTH_ADDRESS_RSPCMD (0xAD)\n" + k_done, {"hwt_btCheck()"}},
        {on::both, {"bluetooth-on"}, "AMT_BLUETOOTH_ADDRESS_RSPCMD (0xAD)\n" + k_done, {"hwt_btCtrl(1)"}},
        {on::both, {"bluetooth-off"}, "AMT_BLUETOOTH_ADDRESS_RSPCMD (0xAD)\n" + k_done, {"hwt_btCtrl(0)"}},
        {on::both, {"wifi-check"}, "AMT_WIFI_TEST_RSPCMD (0xBA)\n" + k_done, {"hwt_wifiCheck()"}},
        {on::both, {"wifi-on"}, "AMT_WIFI_RTX_TEST_RSPCMD (0xBC)\n  action  1  on\n" + k_done, {"hwt_wifiCtrl(1)"}},
        {on::both, {"wifi-send", "channel=13", "rate=366", "power=-2"},
         "AMT_WIFI_RTX_TEST_RSPCMD (0xBC)\n  action  3  send\n" + k_done, {"hwt_TxTest(1, -2, 366, 13)"}},
        {on::both, {"wifi-stop-sending"}, "AMT_WIFI_RTX_TEST_RSPCMD (0xBC)\n  action  4  stop-sending\n" + k_done,
         {"hwt_TxTest(0, 0, 0, 0)"}},
        {on::both, {"wifi-receive", "channel=13", "rate=366"},
         "AMT_WIFI_RTX_TEST_RSPCMD (0xBC)\n  action  5  receive\n" + k_done, {"hwt_RxTest(1, 13, 366, null)"}},
        {on::both, {"wifi-stop-receiving"},
         "AMT_WIFI_RTX_TEST_RSPCMD (0xBC)\n  action  6    stop-receiving\n  count   998\n  result  0    done\n",
         {"hwt_RxTest(0, 13, 0, count)"}},
        {on::both, {"wifi-off"}, "AMT_WIFI_RTX_TEST_RSPCMD (0xBC)\n  action  2  off\n" + k_done,
         {"hwt_wifiCtrl(0)"}},
        {on::both, {"gps-check"}, "AMT_GPS_CONTROL_RSPCMD (0xAF)\n" + k_done, {"hwt_gpsCheck()"}},
        {on::both, {"gps-start"}, "AMT_GPS_CONTROL_RSPCMD (0xAF)\n" + k_done, {"hwt_gpsCtrl(1, 0, null, null)"}},
        {on::both, {"gps-satellite", "index=1"},
         "AMT_GPS_READ_RESULT_RSPCMD (0xB3)\n  strength   33  dB-Hz\n  satellite  5\n  result     0   done\n",
         {"hwt_gpsCtrl(2, 1, svid, cnr)"}},
        {on::both, {"gps-stop"}, "AMT_GPS_CONTROL_RSPCMD (0xAF)\n" + k_done, {"hwt_gpsCtrl(0, 0, null, null)"}},
        {on::both, {"gps-test"}, "AMT_GPS_CONTROL_RSPCMD (0xAF)\n" + k_done, {}},

        {on::both, {"idle"}, "AMT_ENTER_IDLE_RSPCMD (0xF1)\n" + k_done, {"enter_idle()"}},
        {on::application, {"device-info"},
         "AMT_READ_DEV_INFO_RSPCMD (0xEF)\n  text    a chip\n  result  0       done\n", {"create_devinfo(4055)"}},
        {on::station, {"download-flag"}, "download-flag, answer (0xF5)\n  flag    4\n  result  0  done\n",
         {"amt_check_system_sanity()"}},
        {on::both, {"bluetooth-start"}, "AMT_BLUETOOTH_RSPCMD (0xAB)\n" + k_done, {"hwt_btCtrl(1)"}},
    };
    // clang-format on
    return rows;
}

constexpr char k_sound[] = "kv.audio.file = /system/media/amt/ring.wav\n"
                           "kv.audio.sample.rate = 44100\n"
                           "kv.audio.format = 2\n"
                           "kv.audio.frame.count = 1024\n";

class Devices : public station_tool {
  protected:
    static void prepare(const std::string &name)
    {
        (void)handset({"set", "--name", name, "battery.voltage=4123456", "battery.temperature=-15", "brightness=180",
                       "gps.satellites=27:41,5:33", "wifi.received=998", "card=65536", "parts=a chip", "download=4"});
    }

    static command_words test_words(const std::string &port, const command_words &words)
    {
        command_words all = {"-p", port, "test"};
        all.insert(all.end(), words.begin(), words.end());
        return all;
    }

    static void expect_done(const device_row &row, const std::string &name, const std::string &port)
    {
        const std::string told = row.words[0] + " at " + port;
        tools().forget_calls(name);
        EXPECT_EQ(ask(test_words(port, row.words)), (outcome{0, row.out, ""})) << told;
        const auto have_come = [&] { return tools().calls(name).size() >= row.calls.size(); };
        EXPECT_NO_THROW(emulator::wait_until("the calls", have_come)) << told;
        EXPECT_THAT(tools().calls(name), ElementsAreArray(row.calls)) << told;
        if (!row.key.empty()) {
            EXPECT_EQ(handset({"get", "--name", name, row.key}), row.value + "\n") << told;
        }
    }
};

TEST_F(Devices, AreTestedByNameForAStation)
{
    prepare("default");
    for (const device_row &row : device_rows()) {
        if (row.ports != on::application) {
            expect_done(row, "default", "handset:default");
            continue;
        }
        const std::string why = row.words[0] + " is answered on the port of an application only: use "
                                               "handset:NAME/application, in mode normal";
        EXPECT_EQ(ask(test_words("handset:default", row.words)), (outcome{2, "", failure(why)})) << row.words[0];
    }
    (void)handset({"restart"}); // ends the copy that the start of Bluetooth has made
}

TEST_F(Devices, AreTestedByNameForAnApplication)
{
    (void)tools().up("app", {"--mode", "normal"});
    prepare("app");
    const std::string file = tools().path_inside("app", "/system/etc/kv-zep-amt.cfg");
    const std::string with_sound = read_whole_file(file) + k_sound;
    (void)handset({"set", "--name", "app", "file./system/etc/kv-zep-amt.cfg=" + with_sound,
                   "file./system/media/amt/ring.wav=ring"});
    (void)handset({"restart", "--name", "app"});
    for (const device_row &row : device_rows()) {
        if (row.ports != on::station) {
            expect_done(row, "app", k_application);
            continue;
        }
        const std::string why = row.words[0] + " is answered on the port of a station only: use handset:NAME";
        EXPECT_EQ(ask(test_words(k_application, row.words)),
                  (outcome{2, "", mistake(std::string(k_application) + ": " + why)}))
            << row.words[0];
    }
    (void)handset({"down", "--name", "app"});
}

TEST_F(Devices, AreAllInTheTable)
{
    std::set<std::string> names;
    for (const device_row &row : device_rows()) {
        names.insert(row.words[0]);
    }
    EXPECT_THAT(tests_listed(), UnorderedElementsAreArray(names));
}

TEST_F(Devices, ThatFailAreToldAsRefused)
{
    (void)handset({"set", "gps.check=-5", "idle=-5", "bluetooth.check=-1"});
    const std::string refused = failure("the handset answered result 1");
    const std::string failed = "  result  1  failed\n";
    expect_rows({
        {"satellites", {"test", "gps-check"}, 1, "AMT_GPS_CONTROL_RSPCMD (0xAF)\n" + failed, refused},
        {"idle", {"test", "idle"}, 1, "AMT_ENTER_IDLE_RSPCMD (0xF1)\n" + failed, refused},
        {"Bluetooth", {"test", "bluetooth-check"}, 1, "AMT_BLUETOOTH_ADDRESS_RSPCMD (0xAD)\n" + failed, refused},
    });
    (void)handset({"set", "gps.check=0", "idle=0", "bluetooth.check=0"});
}

TEST_F(Devices, AreTestedByWhatMakesSenseAlone)
{
    std::string names;
    for (const std::string &each : tests_listed()) {
        names += (names.empty() ? "" : ", ") + each;
    }
    tools().forget_calls("default");
    expect_rows({
        {"unknown", {"test", "colour"}, 2, "", mistake("there is no test \"colour\": there are " + names)},
        {"no name", {"test"}, 2, "", mistake("test says too little: amt-station test NAME [ITEM=VALUE]...")},
        {"a missing item",
         {"test", "battery-calibration", "second=2", "third=3", "fourth=4"},
         2,
         "",
         mistake("battery-calibration needs first: the first of the four numbers of the battery driver; 0 when it is "
                 "missing")},
        {"an unknown item",
         {"test", "gps-satellite", "colour=1"},
         2,
         "",
         mistake("gps-read-result has no item colour: it has index")},
        {"a word in place of a number",
         {"test", "gps-satellite", "index=x"},
         2,
         "",
         mistake("index=x is not possible: index takes a number, of 4 bytes at most")},
        {"a word in place of an item",
         {"test", "gps-satellite", "1"},
         2,
         "",
         mistake("\"1\" is no item: write ITEM=VALUE")},
    });
    EXPECT_TRUE(tools().calls("default").empty());
}

} // namespace
