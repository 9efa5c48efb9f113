// What every scene plays with: one emulated handset, switched on and configured, with the real service installed, and
// whatever is connected to it. Failures throw std::runtime_error. One thread.
#pragma once

#include "emulator/handset.h"
#include "emulator/modem.h"

#include <string>
#include <vector>

namespace tour {

constexpr char k_config_path[] = "/system/etc/kv-zep-amt.cfg";

// In normal mode the arrangement with a station is asked for by this property.
constexpr char k_switch_property[] = "amt.normal.amt.switch_status";

struct equipment {
    equipment();

    // Starts the service, as at boot unless told otherwise, and returns when the log is this process's own and no older
    // one's: from then on its records can be waited for, and it ends cleanly at any moment.
    emulator::process start_service(std::vector<std::string> arguments = {});

    // Returns when a record of the service's log contains the text. Throws at once when the service ends without it.
    void wait_log(const emulator::process &service, const std::string &text) const;

    emulator::handset handset;
    emulator::tty station;    // the far end of the station's serial tty
    emulator::modem modem;    // behind the modem's data tty
    emulator::modem at_modem; // behind the modem's AT port
};

// How a service ended that was sent a signal. It must still run.
emulator::exit_status end_by(int signal, const emulator::process &service);

} // namespace tour
