// The handset's own application asks the service over a pseudo-terminal, and through it the modem.

#include "tour/scenes.h"

#include "amt/wire/bytes.h"
#include "station/message.h"
#include "station/text.h"
#include "tour/exchange.h"

#include <algorithm>
#include <fcntl.h>
#include <stdexcept>

namespace tour {

constexpr char k_port[] = "/dev/ttyAMT"; // the service makes it

static exchange nobodys_command()
{
    const station::message refusal = station::message(0x92).with_int(1, 1);
    return {"nobody's command",
            station::message(0x91).encode(),
            "",
            {station::describe(refusal)},
            "a command of the application that nobody handles is refused"};
}

static exchange switch_channel()
{
    const station::message done = station::message(0xE9).with_int(1, 0);
    return {"channel switch",
            station::message(0xE8).with_int(159, 1).encode(),
            "AT^DMPCHN=1\r",
            {station::describe(done)},
            "the application switches the modem's channel"};
}

static exchange imei()
{
    const station::message answer = station::message(0x08).with_string(21, "490154203237518").with_int(1, 0);
    return {"IMEI",
            station::message(0x07).encode(),
            "AT^DGSN?\r",
            {station::describe(answer)},
            "the application reads the IMEI from the modem"};
}

static exchange imei_of_a_modem_that_refuses()
{
    const station::message failure = station::message(0x08).with_int(1, 10);
    return {"IMEI, refused",
            station::message(0x07).encode(),
            "AT^DGSN?\r",
            {station::describe(failure)},
            "what the modem refuses is answered with result 10"};
}

static exchange tunnelled()
{
    const station::message done = station::message(0x76).with_int(1, 0);
    return {"request for modem",
            station::message(0x75).with_string(9, "112").encode(),
            "AT^DTTEST=75313132\r",
            {station::describe(done)},
            "what only the modem understands goes to it as it is, in hexadecimal digits"};
}

static exchange verdict_written()
{
    const station::message done = station::message(0x5C).with_int(1, 0);
    return {"verdict",
            station::message(0x5B).with_int(39, 12).with_int(36, 1).with_string(37, "RF OK").encode(),
            "AT^DATOMW=12,1,RF OK\r",
            {station::describe(done)},
            "a test station's verdict is kept by the modem"};
}

static exchange verdict_read()
{
    const station::message verdict =
        station::message(0x5A).with_int(39, 12).with_int(36, 1).with_string(37, "RF OK").with_int(1, 0);
    return {"verdict, read",
            station::message(0x59).with_int(39, 12).encode(),
            "AT^DATOMR=1,12\r",
            {station::describe(verdict)},
            "and read back from it"};
}

static exchange support()
{
    const station::message supported = station::message(0xC6).with_int(202, 5).with_int(1, 0);
    return {"is AMT supported?",
            station::message(0xC5).encode(),
            "AT^DMCC?\r",
            {station::describe(supported)},
            "with its port opened again it learns whether the handset can be switched to AMT"};
}

static exchange switch_to_amt()
{
    const station::message done = station::message(0xC4).with_int(1, 0);
    return {"switch to AMT",
            station::message(0xC3).with_int(201, 3).encode(),
            "AT^DMPCHN=0\rAT^DSWAMT=3\r",
            {station::describe(done)},
            "the application switches the modem to AMT"};
}

// The next bare message, which tells its length in its first two bytes, or why there is none.
static std::string told_by(emulator::tty &port)
{
    try {
        const std::string length = port.read_exactly(2);
        const std::size_t rest = std::max<std::size_t>(load_u16_le(station::as_wire(length)), length.size());
        return readable(length + port.read_exactly(rest - length.size()));
    } catch (const std::runtime_error &none) {
        return one_line(none.what());
    }
}

// Opens the application's port once the service has made it for the given time.
static emulator::tty open_port(equipment &equipment, int time)
{
    emulator::wait_until("the application's port", [&] {
        const std::vector<emulator::log_record> records = equipment.handset.log_records();
        return time == std::count_if(records.begin(), records.end(), [](const emulator::log_record &record) {
                   return record.text.find("; m_pts_name_a[") != std::string::npos; // the last one of making a port
               });
    });
    return emulator::tty(equipment.handset.open(k_port, O_RDWR));
}

static emulator::process start_quietly(stage &stage, equipment &equipment)
{
    equipment.handset.set_property(k_switch_property, "");
    emulator::process service = equipment.start_service();
    equipment.at_modem.wait_received("\r");
    const std::string line = station::quoted(equipment.at_modem.received());
    stage.say("start", "modem: " + line);
    stage.expect("for an application the modem is told to be quiet", station::quoted("AT^DLKS=0\r"), line);
    return service;
}

// The handset's copy of the verdicts: the digit of station 12.
static void show_copy(stage &stage, const equipment &equipment)
{
    constexpr std::size_t k_item = 24; // a digit and a line feed for each
    const std::string copy = equipment.handset.files.read("/amt/amt_result.txt");
    const std::string digit = copy.substr(std::min(k_item, copy.size()), 1);
    stage.say("", "/amt/amt_result.txt: " + one_line(copy.substr(0, copy.find_last_not_of('\n') + 1)));
    stage.expect("the handset has a copy of the verdict", "1", digit);
}

// The service ends by itself once it has answered, and leaves the handset prepared for a station.
static void play_switch(stage &stage, const equipment &equipment, peer &application, const emulator::process &service)
{
    play(stage, application, switch_to_amt());
    const std::string end = emulator::to_string(service.wait());
    const std::string outcome = end + ", USB is " + equipment.handset.property("sys.usb.config");
    stage.say("", "<- the service " + outcome);
    stage.expect("and then ends, with a serial port on USB", "exited with 0, USB is serial,adb", outcome);
}

void play_application(stage &stage, equipment &equipment)
{
    stage.open_scene("An application on the handset",
                     "started at boot without the property; application on /dev/ttyAMT, modem on /dev/ttyAT");
    const emulator::process service = start_quietly(stage, equipment);
    emulator::tty port = open_port(equipment, 1);
    peer application = {[&](const std::string &bytes) { port.write(bytes); }, [&] { return told_by(port); },
                        equipment.at_modem, equipment.at_modem.received().size()};
    play(stage, application, nobodys_command());
    play(stage, application, imei());
    emulator::modem_control refusing;
    refusing.refusal = "\r\n+CME ERROR: 10\r\n";
    equipment.at_modem.control(refusing);
    play(stage, application, imei_of_a_modem_that_refuses());
    equipment.at_modem.control({});
    play_devices(stage, equipment, application);
    play(stage, application, tunnelled());
    play(stage, application, verdict_written());
    show_copy(stage, equipment);
    play(stage, application, verdict_read());
    play(stage, application, switch_channel());

    port.hang_up();
    port = open_port(equipment, 2);
    stage.say("closed, reopened", std::string(k_port) + " is there again");
    play(stage, application, support());
    play_switch(stage, equipment, application, service);
}

} // namespace tour
