// The handset's devices, tested by its application: what is answered, and what a device was told.

#include "tour/scenes.h"

#include "station/message.h"

namespace tour {

// A file of the kernel's drivers, as it reads afterwards.
constexpr struct {
    const char *path;
    const char *content;
    const char *check;
} k_told[] = {
    {"/sys/class/leds/lcd-backlight/brightness", "255", "the display was told"},
    {"/sys/class/leds/button-backlight/brightness", "5", "the keys were"},
    {"/sys/class/timed_output/vibrator/enable", "3000", "the vibrator was"},
};

static std::string done(std::uint8_t response_id)
{
    return station::describe(station::message(response_id).with_int(1, 0));
}

static std::vector<exchange> exchanges()
{
    const std::string voltage = station::describe(station::message(0x0A).with_int(5, 3900000).with_int(1, 0));
    const std::string capacity = station::describe(station::message(0x8A).with_int(55, 65536).with_int(1, 0));
    const std::string parts =
        station::describe(station::message(0xEF).with_string(200, "LCD KV-5, TP KV-2").with_int(1, 0));
    // clang-format off
    return {
        {"battery", station::message(0x09).encode(), "", {voltage},
         "the application reads the battery's voltage from the kernel"},
        {"brightness", station::message(0x39).with_int(26, 255).encode(), "", {done(0x3A)},
         "it sets the display's brightness"},
        {"key light", station::message(0x25).with_int(15, 5).encode(), "", {done(0x26)}, "and that of the keys"},
        {"vibrator", station::message(0x23).encode(), "", {done(0x24)}, "it has the handset vibrate"},
        {"ring tone", station::message(0x21).with_int(15, 1).encode(), "", {done(0x22)}, "and ring"},
        {"silence", station::message(0x21).with_int(15, 0).encode(), "", {done(0x22)}, "until it is to stop"},
        {"microphone", station::message(0x1F).with_int(15, 1).with_int(30, 2).encode(), "", {done(0x20)},
         "the microphone is led to an output"},
        {"memory card", station::message(0x89).encode(), "", {capacity}, "it learns what the memory card holds"},
        {"camera", station::message(0x8B).encode(), "", {done(0x8C)}, "selects the camera for its preview"},
        {"parts", station::message(0xEE).encode(), "", {parts}, "reads what the handset is made of"},
        {"idle", station::message(0xF0).encode(), "", {done(0xF1)}, "and lets it idle"},
    };
    // clang-format on
}

static void show_files(stage &stage, const emulator::handset &handset)
{
    const char *label = "devices";
    for (const auto &file : k_told) {
        const std::string content = handset.files.read(file.path);
        stage.say(label, std::string(file.path) + ": " + content);
        stage.expect(file.check, file.content, content);
        label = "";
    }
}

// What the player, the drivers and the maker's library were asked for.
static void show_calls(stage &stage, const emulator::handset &handset)
{
    std::string calls;
    for (const std::string &call : handset.calls()) {
        stage.say("", call);
        calls += (calls.empty() ? "" : ", ") + call;
    }
    stage.expect("player, microphone, camera and idle state were asked for, and nothing else",
                 "amt-audio(44100 2 1024 /system/media/amt/ring.wav), codec_loop_test(2, 1), open(/dev/video0), "
                 "ioctl(video0, CAMERA_SELECT, 1), close(video0), create_devinfo(4055), enter_idle()",
                 calls);
}

void play_devices(stage &stage, equipment &equipment, peer &application)
{
    equipment.handset.insert_card("/storage/sdcard1");
    equipment.handset.control("create_devinfo", {"text=LCD KV-5, TP KV-2"});
    equipment.handset.clear_calls();
    for (const exchange &each : exchanges()) {
        play(stage, application, each);
    }
    show_files(stage, equipment.handset);
    show_calls(stage, equipment.handset);
    equipment.handset.remove_card("/storage/sdcard1");
}

} // namespace tour
