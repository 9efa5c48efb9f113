// The handset's own application asks the service over a pseudo-terminal, and through it the modem.

#include "tour/scenes.h"

#include "amt/wire/bytes.h"
#include "station/message.h"
#include "station/text.h"
#include "tour/exchange.h"

#include <fcntl.h>
#include <signal.h>

#include <algorithm>
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

static exchange switch_to(std::uint32_t channel, const char *check)
{
    const station::message done = station::message(0xE9).with_int(1, 0);
    return {"channel switch",
            station::message(0xE8).with_int(159, channel).encode(),
            "AT^DMPCHN=" + std::to_string(channel) + "\r",
            {station::describe(done)},
            check};
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

void play_application(stage &stage, equipment &equipment)
{
    stage.open_scene("An application on the handset",
                     "started at boot without the property; application on /dev/ttyAMT, modem on /dev/ttyAT");
    const emulator::process service = start_quietly(stage, equipment);
    emulator::tty port = open_port(equipment, 1);
    peer application = {[&](const std::string &bytes) { port.write(bytes); }, [&] { return told_by(port); },
                        equipment.at_modem, equipment.at_modem.received().size()};
    play(stage, application, nobodys_command());
    play(stage, application, switch_to(1, "the application switches the modem's channel"));

    port.hang_up();
    port = open_port(equipment, 2);
    stage.say("closed, reopened", std::string(k_port) + " is there again");
    play(stage, application, switch_to(2, "an application that closes its port and opens it again is served"));

    const std::string end = emulator::to_string(end_by(SIGTERM, service));
    stage.say("SIGTERM", "<- the service " + end);
    stage.expect("SIGTERM ends the service", "exited with 0", end);
}

} // namespace tour
