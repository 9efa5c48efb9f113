// The production line: a station on the USB cable asks the handset, and through it the modem.

#include "tour/scenes.h"

#include "station/link.h"
#include "station/text.h"
#include "tour/exchange.h"

#include <algorithm>
#include <sstream>

namespace tour {

constexpr char k_version[] = "KV-2.0"; // as the platform tells the service

static station::message version_request()
{
    return station::message(0x2D).with_int(19, 16);
}

static station::message version_answer()
{
    return station::message(0x2E).with_int(19, 16).with_bytes(18, k_version).with_int(1, 0);
}

static std::vector<exchange> exchanges()
{
    const std::string modems_own = station::message(0x13).with_int(9, 77).envelope();
    const auto text = [](const std::string &bytes) { return "text " + station::quoted(bytes); };
    // clang-format off
    return {
        {"probe", "AT\r", "AT;^DLKS=1\r", {text("\r\nOK\r\n")},
         "a probe of the link locks the modem's own reports"},
        {"line for the modem", "ATI\r", "ATI\r", {text("\r\nEmulated modem, revision 1\r\n\r\nOK\r\n")},
         "a line that is not the handset's goes to the modem, and its answer comes back"},
        {"version, message", version_request().envelope(), "", {"pre-response", station::describe(version_answer())},
         "the handset tells its version by message"},
        {"version, line", "AT^DSVER\r", "", {text("\r\n^DSVER: " + std::string(k_version) + "\r\n\r\nOK\r\n")},
         "the handset tells its version by line"},
        {"message for modem", modems_own, modems_own, {station::describe(station::message(0x14).with_int(1, 0))},
         "a message that is not the handset's goes to the modem, and its answer comes back"},
        {"Bluetooth, check", station::message(0xAC).with_int(110, 3).envelope(), "",
         {"pre-response", station::describe(station::message(0xAD).with_int(1, 0))},
         "a radio is tested by message"},
        {"satellite, line", "AT^DGPSCTRL=2,4\r", "", {text("\r\n^DGPSCTRL: 27,41\r\n\r\nOK\r\n")},
         "and by line, which brings the satellite in slot 4"},
    };
    // clang-format on
}

// The next answer, or why there is none.
static std::string told_by(station::link &link)
{
    try {
        return station::describe(link.receive());
    } catch (const station::timeout &none) {
        return none.what();
    }
}

// What the maker's library was asked for meanwhile.
static void show_radios(stage &stage, const emulator::handset &handset)
{
    std::string asked;
    for (const std::string &call : handset.calls()) {
        if (call.compare(0, 4, "hwt_") == 0) {
            asked += (asked.empty() ? "" : ", ") + call;
        }
    }
    stage.say("", "radios: " + asked);
    stage.expect("the radios were asked for just that",
                 "hwt_btCheck(), hwt_gpsCtrl(1, 0, null, null), hwt_gpsCtrl(2, 4, svid, cnr)", asked);
}

static emulator::process start_reading(equipment &equipment)
{
    equipment.handset.set_property(k_switch_property, "1");
    equipment.handset.set_property("ro.build.display.id", k_version);
    equipment.handset.control("hwt_gpsCtrl", {"svid.4=27", "cnr.4=41"});
    emulator::process service = equipment.start_service();
    equipment.wait_log(service, "read_pc_loop, read ready");
    emulator::wait_until("the service to watch the cable", [&] { return equipment.handset.uevents_heard(); });
    return service;
}

static void pull_cable(stage &stage, emulator::handset &handset, const emulator::process &service)
{
    handset.uevent({"change@/devices/virtual/android_usb/android0", "USB_STATE=DISCONNECTED"});
    const std::string end = emulator::to_string(service.wait());
    stage.say("cable pulled", "-> uevent USB_STATE=DISCONNECTED");
    stage.say("", "<- the service " + end);
    stage.expect("with the cable pulled the service ends by itself", "exited with 0", end);
}

// The record of bytes read or written.
static std::string dump(const std::string &heading, const std::string &bytes)
{
    std::string hex = station::in_hex(bytes);
    hex.erase(std::remove(hex.begin(), hex.end(), ' '), hex.end());
    return heading + "(data len = " + std::to_string(bytes.size()) + ") " + hex;
}

// From the record with the text to the same thread's last one before it reads again; the entries of functions left out.
static std::vector<emulator::log_record> records_from(const std::string &text,
                                                      const std::vector<emulator::log_record> &records)
{
    std::vector<emulator::log_record> result;
    for (const emulator::log_record &record : records) {
        const bool is_first = result.empty() && record.text == text;
        const bool is_next = !result.empty() && record.thread_id == result.front().thread_id;
        if (is_next && record.text.find("read ready") != std::string::npos) {
            break;
        }
        if (is_first || (is_next && record.level != "func")) {
            result.push_back(record);
        }
    }
    return result;
}

static void show_log(stage &stage, const emulator::handset &handset)
{
    const std::string received = dump("handle PC req data: ", version_request().envelope());
    const std::string sent = dump("send PC rsp data: ", version_answer().envelope());
    const std::vector<emulator::log_record> records = records_from(received, handset.log_records());
    stage.remark("What the service logged of \"version, message\", without the entries of its functions:");
    std::ostringstream all;
    for (const emulator::log_record &record : records) {
        std::ostringstream line;
        line << record;
        stage.quote(line.str());
        all << record.text << '\n';
    }
    const bool is_told = all.str().find(sent) != std::string::npos;
    stage.expect("the log holds a request and its answer, byte by byte", sent,
                 is_told ? sent : station::quoted(all.str()));
}

void play_station(stage &stage, equipment &equipment)
{
    stage.open_scene("A station drives the handset", "started at boot with " + std::string(k_switch_property) +
                                                         "=1; station on /dev/ttyGS0, modem on /dev/ttyMODEM");
    const emulator::process service = start_reading(equipment);
    station::link link(equipment.station.fd());
    peer station = {[&](const std::string &bytes) { link.send_raw(bytes); }, [&] { return told_by(link); },
                    equipment.modem, 0};
    for (const exchange &each : exchanges()) {
        play(stage, station, each);
    }
    show_radios(stage, equipment.handset);
    pull_cable(stage, equipment.handset, service);
    show_log(stage, equipment.handset);
}

} // namespace tour
