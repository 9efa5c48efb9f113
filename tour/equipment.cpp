// Setting the emulated handset up, see equipment.h.

#include "tour/equipment.h"

#include <filesystem>
#include <stdexcept>
#include <utility>

namespace tour {

constexpr char k_config[] = "# An emulated handset's devices.\n"
                            "kv.tty.pc = /dev/ttyGS0\n"
                            "kv.tty.app = /dev/ttyAMT\n"
                            "kv.tty.modem = /dev/ttyMODEM\n"
                            "kv.tty.at.mux = /dev/ttyAT\n"
                            "# The ring tone of the test.\n"
                            "kv.audio.file = /system/media/amt/ring.wav\n"
                            "kv.audio.sample.rate = 44100\n"
                            "kv.audio.format = 2\n"
                            "kv.audio.frame.count = 1024\n";

// The service and its libraries lie where the tour itself was built.
static emulator::handset_options options()
{
    const std::filesystem::path programs = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    emulator::handset_options result;
    result.service = programs / "kv-zep-amt";
    result.player = programs / "amt-audio";
    result.library_folder = programs.parent_path() / "lib";
    return result;
}

static emulator::handset &configured_and_booted(emulator::handset &handset)
{
    handset.files.write(k_config_path, k_config);
    handset.files.write("/system/media/amt/ring.wav", "a ring tone");
    handset.boot();
    return handset;
}

equipment::equipment()
    : handset(options())
    , station(configured_and_booted(handset).open_tty("/dev/ttyGS0"))
    , modem(handset.open_tty("/dev/ttyMODEM"))
    , at_modem(handset.open_tty("/dev/ttyAT"))
{
}

emulator::process equipment::start_service(std::vector<std::string> arguments)
{
    emulator::process service = handset.start(emulator::service(std::move(arguments)));
    wait_log(service, "PID of kv-zep-amt: " + std::to_string(service.pid()));
    return service;
}

void equipment::wait_log(const emulator::process &service, const std::string &text) const
{
    const auto is_told = [&] { return emulator::find_record(handset.log_records(), text) != nullptr; };
    emulator::wait_until("\"" + text + "\" in the service's log", [&] { return is_told() || !service.running(); });
    if (!is_told()) {
        throw std::runtime_error("the service " + emulator::to_string(service.wait()) + " before it logged \"" + text +
                                 "\", it wrote: " + service.out() + service.err());
    }
}

emulator::exit_status end_by(int signal, const emulator::process &service)
{
    if (!service.signal(signal)) {
        throw std::runtime_error("the service has ended before it was told to: it " +
                                 emulator::to_string(service.wait()));
    }
    return service.wait();
}

} // namespace tour
