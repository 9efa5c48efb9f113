// The tests of the handset's other devices, as an application or a station asks for them: what reaches the kernel's
// files, the drivers, the player and the misc library, and what is answered.
#include <string>
#include <vector>

#include "station/link.h"
#include "tests/end-to-end/application_handset.h"
#include "tests/end-to-end/station_handset.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr char k_brightness[] = "/sys/class/leds/lcd-backlight/brightness";
constexpr char k_buttons[] = "/sys/class/leds/button-backlight/brightness";
constexpr char k_vibrator[] = "/sys/class/timed_output/vibrator/enable";
constexpr char k_voltage[] = "/sys/class/power_supply/battery/voltage_now";
constexpr char k_player_pid[] = "/tmp/amt-audio.pid";

class Devices : public application_handset {
  protected:
    Devices()
        : m_service(start_up())
        , m_app(open_app())
    {
    }
    ~Devices() override { EXPECT_NO_THROW((void)end(m_service)); }

    station::message ask(const station::message &request) { return application_handset::ask(m_app, request); }
    std::string content(const char *path) const { return m_handset.files.read(path); }

    emulator::process m_service;
    emulator::tty m_app;
};

TEST_F(Devices, TellTheBatterysVoltage)
{
    m_handset.files.write(k_voltage, "4123456\n");
    EXPECT_EQ(ask(station::message(0x09)), station::message(0x0A).with_int(5, 4123456).with_int(1, 0));
    m_handset.files.write(k_voltage, "empty\n");
    EXPECT_EQ(ask(station::message(0x09)), failure(0x0A));
}

TEST_F(Devices, AcknowledgeAColour)
{
    EXPECT_EQ(ask(station::message(0x1D).with_int(3, 1)), done(0x1E));
}

TEST_F(Devices, SetTheBrightnessAndGiveItBack)
{
    m_handset.files.write(k_brightness, "180\n");
    const auto request = [](uint32_t level) { return station::message(0x39).with_int(26, level); };
    EXPECT_EQ(ask(request(255)), done(0x3A));
    EXPECT_EQ(content(k_brightness), "255");
    EXPECT_EQ(ask(request(300)), done(0x3A));
    EXPECT_EQ(content(k_brightness), "180");
    EXPECT_EQ(ask(station::message(0x39)), done(0x3A));
    EXPECT_EQ(content(k_brightness), "0");
}

// No folder, no file: nothing is answered, and the next request is served.
TEST_F(Devices, SayNothingOfABrightnessThatCannotBeSet)
{
    m_handset.files.remove("/sys/class/leds/lcd-backlight");
    m_app.write(station::message(0x39).with_int(26, 10).encode());
    (void)m_handset.wait_log("Open file \"/sys/class/leds/lcd-backlight/brightness\" fail: 2 - No such file");
    EXPECT_EQ(ask(station::message(0x1D)), done(0x1E));
}

TEST_F(Devices, ShakeAndLight)
{
    const auto request = [](uint8_t id, uint32_t position) { return station::message(id).with_int(15, position); };
    EXPECT_EQ(ask(station::message(0x23)), done(0x24));
    EXPECT_EQ(content(k_vibrator), "3000");
    EXPECT_EQ(ask(request(0x23, 0)), done(0x24));
    EXPECT_EQ(content(k_vibrator), "0");
    EXPECT_EQ(ask(request(0x25, 5)), done(0x26));
    EXPECT_EQ(content(k_buttons), "5");
    EXPECT_EQ(ask(request(0x25, 0)), done(0x26));
    EXPECT_EQ(content(k_buttons), "0");
    EXPECT_THAT(told(m_handset.log_records()), Contains("info | close button backlight").Times(2));
    m_handset.files.remove("/sys/class/timed_output/vibrator");
    EXPECT_EQ(ask(station::message(0x23)), failure(0x24));
}

// --- audio

class Sound : public application_handset {
  protected:
    Sound()
    {
        m_handset.files.write(k_config_path, std::string(k_config) + "kv.audio.file = /system/media/amt/ring.wav\n"
                                                                     "kv.audio.sample.rate = 44100\n"
                                                                     "kv.audio.format = 2\n"
                                                                     "kv.audio.frame.count = 1024\n");
        m_handset.files.write("/system/media/amt/ring.wav", "ring");
    }

    static station::message play(uint32_t position) { return station::message(0x21).with_int(15, position); }
};

TEST_F(Sound, IsPlayedUntilItIsEnded)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    EXPECT_EQ(ask(app, play(1)), done(0x22));
    EXPECT_THAT(calls_of("amt-audio"), ElementsAre("amt-audio(44100 2 1024 /system/media/amt/ring.wav)"));
    const std::string player = "/proc/" + std::to_string(std::stoi(m_handset.files.read(k_player_pid)));
    EXPECT_TRUE(m_handset.files.exists(player));
    EXPECT_EQ(ask(app, play(0)), done(0x22));
    EXPECT_FALSE(m_handset.files.exists(k_player_pid));
    emulator::wait_until("the player's end", [&] { return !m_handset.files.exists(player); });
    EXPECT_EQ(ask(app, play(0)), done(0x22)) << "it need not play to be ended";
    (void)end(service);
}

TEST_F(Sound, GoesOnWhenTheServiceEnds)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    EXPECT_EQ(ask(app, play(1)), done(0x22));
    (void)end(service);
    const std::string player = "/proc/" + std::to_string(std::stoi(m_handset.files.read(k_player_pid)));
    EXPECT_TRUE(m_handset.files.exists(player));
    EXPECT_THAT(m_handset.files.list(player + "/fd"), ElementsAre("0", "1", "2")) << "none of the service's ports";
}

TEST_F(Sound, IsRefusedWithoutASoundOrAPlayer)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    m_handset.control("amt-audio", {"result=3"});
    EXPECT_EQ(ask(app, play(1)), failure(0x22));
    m_handset.clear_calls();
    m_handset.files.remove("/system/media/amt/ring.wav");
    EXPECT_EQ(ask(app, play(1)), failure(0x22));
    m_handset.files.remove("/system/bin/amt-audio");
    EXPECT_EQ(ask(app, play(1)), failure(0x22));
    EXPECT_THAT(calls_of("amt-audio"), IsEmpty());
    (void)end(service);
}

TEST_F(Devices, LoopTheMicrophone)
{
    EXPECT_EQ(ask(station::message(0x1F).with_int(30, 2)), done(0x20));
    EXPECT_EQ(ask(station::message(0x1F).with_int(15, 2).with_int(30, 1)), done(0x20));
    EXPECT_THAT(calls_of("codec_loop_test"), ElementsAre("codec_loop_test(2, 1)", "codec_loop_test(1, 0)"));
    m_handset.files.remove("/system/lib64/hw/amt.kv7100.misc.so");
    EXPECT_EQ(ask(station::message(0x1F)), failure(0x20));
}

// --- card, cameras, information, idle

TEST_F(Devices, TellTheCardsCapacityWhileItIsThere)
{
    const station::message empty = station::message(0x8A).with_int(55, 0).with_int(1, 0);
    EXPECT_EQ(ask(station::message(0x89)), empty);
    m_handset.insert_card("/storage/sdcard1", 65536);
    EXPECT_EQ(ask(station::message(0x89)), station::message(0x8A).with_int(55, 65536).with_int(1, 0));
    m_handset.files.write("/data/etc/storage.config", "1\n");
    EXPECT_EQ(ask(station::message(0x89)), empty) << "the card is the other storage";
    m_handset.insert_card("/storage/sdcard0", 32768);
    EXPECT_EQ(ask(station::message(0x89)), station::message(0x8A).with_int(55, 32768).with_int(1, 0));
    m_handset.remove_card("/storage/sdcard0");
    EXPECT_EQ(ask(station::message(0x89)), empty);
}

TEST_F(Devices, SelectACamera)
{
    EXPECT_EQ(ask(station::message(0x8B)), done(0x8C));
    EXPECT_EQ(ask(station::message(0x93)), done(0x94));
    EXPECT_THAT(m_handset.calls(), testing::IsSupersetOf({"ioctl(video0, CAMERA_SELECT, 1)",
                                                          "ioctl(video0, CAMERA_SELECT, 0)", "close(video0)"}));
    m_handset.control("video.CAMERA_SELECT", {"errno=5"});
    EXPECT_EQ(ask(station::message(0x8B)), failure(0x8C));
    m_handset.control("video.open", {"errno=2"});
    EXPECT_EQ(ask(station::message(0x93)), failure(0x94));
}

TEST_F(Devices, UpdateACamera)
{
    const auto request = [](uint32_t control) { return station::message(0xB4).with_int(112, control); };
    const auto updated = [](uint32_t result) { return station::message(0xB5).with_int(113, result).with_int(1, 0); };
    EXPECT_EQ(ask(request(1)), updated(0));
    m_handset.control("video.CAMERA_SWITCH", {"result=7"});
    m_handset.clear_calls();
    EXPECT_EQ(ask(request(2)), updated(7));
    EXPECT_THAT(m_handset.calls(), ElementsAre("open(/dev/video0)", "ioctl(video0, VIDIOC_S_INPUT, 1)",
                                               "ioctl(video0, CAMERA_SWITCH, 1)", "close(video0)"));
    m_handset.control("video.VIDIOC_S_INPUT", {"errno=19"});
    EXPECT_EQ(ask(request(2)), updated(3)) << "a handset without that camera";
    m_handset.control("video.VIDIOC_S_INPUT", {"errno=5"});
    EXPECT_EQ(ask(request(2)), failure(0xB5));
    EXPECT_EQ(ask(request(3)), failure(0xB5));
}

TEST_F(Devices, DescribeTheHandset)
{
    const std::string text(4000, 'i');
    m_handset.control("create_devinfo", {"text=" + text});
    EXPECT_EQ(ask(station::message(0xEE)), station::message(0xEF).with_string(200, text).with_int(1, 0));
    m_handset.control("create_devinfo", {"result=4"});
    EXPECT_EQ(ask(station::message(0xEE)), failure(0xEF));
}

TEST_F(Devices, LetTheHandsetIdle)
{
    EXPECT_EQ(ask(station::message(0xF0)), done(0xF1));
    m_handset.control("enter_idle", {"result=-2"});
    EXPECT_EQ(ask(station::message(0xF0)), failure(0xF1));
    EXPECT_THAT(calls_of("enter_idle"), SizeIs(2));
}

// --- a station's

class StationDevices : public station_handset {
  protected:
    station::message ask(const station::message &request)
    {
        m_link.send(request);
        EXPECT_EQ(m_link.receive().kind, station::answer_kind::pre_response);
        return m_link.receive().message.value_or(station::message(0));
    }

    station::link m_link{m_station.fd()};
};

TEST_F(StationDevices, ReadTheBatterysConverter)
{
    m_handset.control("battery.adc", {"value=3021"});
    const emulator::process service = start_reading();
    const station::message request(0xE0);
    EXPECT_EQ(ask(request), station::message(0xE1).with_int(151, 3021).with_int(1, 0));
    m_handset.control("battery.open", {"errno=5"});
    EXPECT_EQ(ask(request), station::message(0xE1).with_int(151, 0).with_int(1, 0)) << "a driver that takes nothing";
    EXPECT_THAT(told(m_handset.log_records()), Contains(testing::HasSubstr("FAIL[count = 5]")));
    m_handset.control("battery.open", {});
    m_handset.control("battery.read", {"errno=5"});
    EXPECT_EQ(ask(request), station::message(0xE1).with_int(1, 1));
    m_handset.control("battery.read", {"result=0"});
    EXPECT_EQ(ask(request), station::message(0xE1).with_int(1, 1)) << "a driver that says nothing";
    (void)end(service);
}

TEST_F(StationDevices, CalibrateTheBattery)
{
    const emulator::process service = start_reading();
    const std::string told_to = "amt_set_vbatt[1] [-2] [3] [0]";
    EXPECT_EQ(ask(station::message(0xE2).with_int(146, 1).with_int(147, 0xFFFFFFFE).with_int(148, 3)),
              station::message(0xE3).with_int(1, 0));
    EXPECT_EQ(m_handset.files.read("/amt/vbatt"), told_to);
    EXPECT_EQ(m_handset.files.read("/handset/vexio_battery"), told_to + "\n");
    (void)end(service);
}

TEST_F(StationDevices, LetTheHandsetIdle)
{
    const emulator::process service = start_reading();
    EXPECT_EQ(ask(station::message(0xF0)), station::message(0xF1).with_int(1, 0));
    m_handset.control("enter_idle", {"result=-104"});
    const station::message request(0xF0);
    m_link.send(request);
    EXPECT_EQ(m_link.receive().kind, station::answer_kind::pre_response);
    EXPECT_EQ(m_modem.read_exactly(request.envelope().size()), request.envelope())
        << "whatever the library returns is passed on, also the code that hands a request to the modem";
    (void)end(service);
}

} // namespace
