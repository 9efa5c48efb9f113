// The insertion of a USB cable: the service finds out whether a station is there, and shows the operator that it is.

#include "tour/scenes.h"

#include "station/text.h"

#include <algorithm>
#include <climits>
#include <csignal>
#include <filesystem>

namespace tour {

constexpr char k_failure_property[] = "sys.kv.amt.failure.handshake";
constexpr char k_boot_words[] = "\r\n^READY\r\n";
constexpr char k_request[] = "AT+CGMR\r";

// Where the screen is left for people to look at.
static std::filesystem::path image_path()
{
    return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "screen.png";
}

static std::string outcome(const emulator::handset &handset, const emulator::exit_status &end)
{
    return emulator::to_string(end) + ", " + k_failure_property + " is " + handset.property(k_failure_property);
}

// The modem's first words open the period in which the station has to answer.
static void shake_hands(stage &stage, equipment &equipment, const emulator::process &service)
{
    equipment.handset.uevent({"change@/devices/virtual/android_usb/android0", "USB_STATE=CONFIGURED"});
    stage.say("cable", "-> uevent USB_STATE=CONFIGURED");
    equipment.wait_log(service, "get usb CONFIGURED event");

    equipment.modem.say(k_boot_words);
    const std::string relayed = equipment.station.read_exactly(sizeof(k_boot_words) - 1);
    stage.say("modem", "<- text " + station::quoted(relayed) + ", and the station has 5 seconds");
    equipment.wait_log(service, "timeMSec:5000. ");

    equipment.station.write(k_request);
    stage.say("station", "-> " + station::quoted(k_request) + ": whatever it says, it is there");
    equipment.wait_log(service, "handshake success.");
    stage.say("", "<- the service stays");
    stage.expect("a station that answers keeps the service", "", equipment.handset.property(k_failure_property));
}

// Where there is light, in pixels.
struct lit_area {
    unsigned left = UINT_MAX;
    unsigned top = UINT_MAX;
    unsigned right = 0;
    unsigned bottom = 0;
};

static lit_area lit_area_of(const emulator::screen &screen)
{
    lit_area area;
    for (unsigned i = 0; i < screen.width * screen.height; i++) {
        if (screen.rgb[std::size_t{i} * 3] != 0) {
            area.left = std::min(area.left, i % screen.width);
            area.right = std::max(area.right, i % screen.width);
            area.top = std::min(area.top, i / screen.width);
            area.bottom = std::max(area.bottom, i / screen.width);
        }
    }
    return area;
}

static std::string described(const lit_area &area)
{
    return "columns " + std::to_string(area.left) + " to " + std::to_string(area.right) + ", rows " +
           std::to_string(area.top) + " to " + std::to_string(area.bottom);
}

static void show_screen(stage &stage, const emulator::handset &handset)
{
    emulator::wait_until("the picture on the screen", [&] { return lit_area_of(handset.screen()).bottom > 0; });
    handset.save_screen(image_path());
    stage.say("screen", "AMT MODE, see " + std::filesystem::proximate(image_path()).string());
    stage.expect("the words are in the middle of the display", "columns 212 to 502, rows 597 to 638",
                 described(lit_area_of(handset.screen())));
}

static void refuse_charger(stage &stage, emulator::handset &handset)
{
    handset.control("IsChargeState", {"result=1"});
    const std::string end = outcome(handset, handset.start(emulator::service({"-u"})).wait());
    handset.control("IsChargeState", {});
    stage.say("a charger", "<- the service " + end);
    stage.expect("at a charger the service does not stay",
                 "exited with 0, " + std::string(k_failure_property) + " is 1", end);
}

void play_cable(stage &stage, equipment &equipment)
{
    stage.open_scene("A cable is inserted", "started with -u: the service stays only if a station answers");
    const emulator::process service = equipment.start_service({"-u"});
    equipment.wait_log(service, "read_modem_loop, read ready");
    emulator::wait_until("the service to watch the cable", [&] { return equipment.handset.uevents_heard(); });
    shake_hands(stage, equipment, service);
    show_screen(stage, equipment.handset);
    const std::string end = outcome(equipment.handset, end_by(SIGTERM, service));
    stage.say("SIGTERM", "<- the service " + end);
    stage.expect("what became of the handshake is told in a property",
                 "exited with 0, " + std::string(k_failure_property) + " is 2", end);
    refuse_charger(stage, equipment.handset);
}

} // namespace tour
