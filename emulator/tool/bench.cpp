// The handset and what is connected to it, see bench.h.

#include "emulator/tool/bench.h"

#include "emulator/tool/installation.h"
#include "tool/failure.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>

#include <algorithm>
#include <array>
#include <sstream>

namespace handset_tool {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using emulator::cable_end;
using tool::exit_code;
using tool::failure;

constexpr char k_station_tty[] = "/dev/ttyGS0";
constexpr char k_application_tty[] = "/dev/ttyAMT";
constexpr char k_config[] = "# An emulated handset's devices.\n"
                            "kv.tty.pc = /dev/ttyGS0\n"
                            "kv.tty.app = /dev/ttyAMT\n"
                            "kv.tty.modem = /dev/ttyMODEM\n"
                            "kv.tty.at.mux = /dev/ttyAT\n"
                            "kv.audio.file = /system/media/amt/ring.wav\n"
                            "kv.audio.sample.rate = 44100\n"
                            "kv.audio.format = 2\n"
                            "kv.audio.frame.count = 1024\n";
// What else a handset as it comes has, and `set` may change.
constexpr struct {
    const char *path;
    const char *content;
} k_as_it_comes[] = {
    {"/system/media/amt/ring.wav", "a ring tone"},
    {"/dev/__properties__/ro.build.display.id", "KV-2.0"},
};

constexpr char k_config_path[] = "/system/etc/kv-zep-amt.cfg";
constexpr char k_config_in_data[] = "/data/local/tmp/kv-zep-amt.cfg";
constexpr char k_switch_property[] = "amt.normal.amt.switch_status";

// The start takes a second or two, with a modem that is silent half a minute.
constexpr auto k_start_wait = 75s;
constexpr int k_look_ms = 5;

constexpr std::array<const char *, 4> k_mode_names = {"normal", "switched", "usb", "simplified"};

std::string to_string(run_mode mode)
{
    return k_mode_names.at(static_cast<std::size_t>(mode));
}

run_mode run_mode_of(const std::string &text)
{
    const auto *found = std::find(k_mode_names.begin(), k_mode_names.end(), text);
    if (found == k_mode_names.end()) {
        throw failure(exit_code::usage, "there is no mode " + text + ": say normal, switched, usb or simplified");
    }
    return static_cast<run_mode>(found - k_mode_names.begin());
}

static emulator::handset_options options_for(const bench_options &options)
{
    const installation found = find_installation();
    emulator::handset_options result;
    result.root = options.folder / "root";
    result.service = found.programs / "kv-zep-amt";
    result.player = found.programs / "amt-audio";
    result.library_folder = found.libraries;
    result.init = found.programs / "handset-init";
    result.preload = found.libraries / "libhandset-preload.so";
    return result;
}

bench::bench(const bench_options &options, std::function<void()> idle)
    : handset(options_for(options))
    , m_folder(options.folder)
    , m_idle(std::move(idle))
    , m_mode(options.mode)
    , m_plugged(options.plugged)
    , m_modem_store(std::make_shared<emulator::modem_store>())
{
    m_data.path = "/dev/ttyMODEM";
    m_at.path = "/dev/ttyAT";
}

void bench::wait(const std::string &what, const std::function<bool()> &condition, emulator::deadline limit)
{
    while (!condition()) {
        if (limit.passed()) {
            throw failure(exit_code::no_answer, "waited in vain for " + what);
        }
        m_idle();
        (void)poll(nullptr, 0, k_look_ms);
    }
}

// What the handset has in its files before it is switched on.
void bench::prepare()
{
    if (!handset.files.exists(k_config_path)) {
        handset.files.write(k_config_path, k_config);
    }
    if (m_mode == run_mode::simplified) {
        handset.files.install(handset.files.root() / &emulator::k_service_path[1], k_service_in_data);
        if (!handset.files.exists(k_config_in_data)) {
            handset.files.write(k_config_in_data, k_config);
        }
    }
    for (const auto &file : k_as_it_comes) {
        if (!handset.files.exists(file.path)) {
            handset.files.write(file.path, file.content);
        }
    }
    const bool switched = m_mode == run_mode::switched;
    handset.set_property(k_switch_property, switched ? "1" : "");
    handset.set_property(k_handshake_property, ""); // of an earlier life
    handset.files.write(k_usb_state_file, m_plugged && m_mode != run_mode::usb ? "CONFIGURED\n" : "DISCONNECTED\n");
    handset.clear_calls();
    m_calls_seen = 0;
    for (const std::string &name : handset.files.list("/tmp")) { // memory; a killed keeper has left its pid file there
        handset.files.remove("/tmp/" + name);
    }
}

// What it fails for is missing or forbidden on this machine; the line says what to do.
void bench::boot()
{
    try {
        handset.boot();
    } catch (const std::runtime_error &error) {
        throw failure(exit_code::no_device, error.what());
    }
}

void bench::power_on(run_mode mode, bool plugged)
{
    m_mode = mode;
    m_plugged = plugged;
    prepare();
    boot();
    m_is_on = true;
    try {
        connect();
        if (m_plugged) {
            start_service();
        }
    } catch (...) {
        power_off();
        throw;
    }
}

void bench::connect()
{
    for (modem_port *port : {&m_data, &m_at}) {
        port->model.emplace(handset.open_tty(port->path), emulator::k_modem_rules, m_modem_store);
        port->there = true;
    }
    attach_handset();
}

void bench::power_off()
{
    close_station_port();
    cable.detach(cable_end::handset);
    for (modem_port *port : {&m_data, &m_at}) {
        port->model.reset();
        port->there = false;
    }
    handset.power_off();
    m_card.reset();
    m_is_on = false;
    m_is_cut = false;
}

// --- the cable's ends

fs::path bench::link() const
{
    return m_folder / (m_serves == arrangement::station ? "station" : "application");
}

static void fail_to_open(const std::string &what)
{
    throw std::system_error(errno, std::generic_category(), "cannot make the station's tty: " + what);
}

// The outer pseudo-terminal, raw, and linked to where it is looked for.
void bench::open_station_port()
{
    emulator::descriptor master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    char slave[64];
    if (!master || unlockpt(master.get()) != 0 || ptsname_r(master.get(), slave, sizeof(slave)) != 0) {
        fail_to_open("/dev/ptmx");
    }
    m_port_slave.reset(open(slave, O_RDWR | O_NOCTTY | O_CLOEXEC));
    termios attributes = {};
    if (!m_port_slave || tcgetattr(m_port_slave.get(), &attributes) != 0) {
        fail_to_open(slave);
    }
    cfmakeraw(&attributes);
    (void)cfsetspeed(&attributes, B115200);
    if (tcsetattr(m_port_slave.get(), TCSANOW, &attributes) != 0) {
        fail_to_open(slave);
    }
    cable.attach(cable_end::station, std::move(master));
    m_port = slave;
    const fs::path fresh = link().string() + ".new";
    (void)unlink(fresh.c_str());
    fs::create_symlink(m_port, fresh);
    fs::rename(fresh, link());
}

// No path may be left: the kernel gives its number to the next one's terminal.
void bench::close_station_port()
{
    for (const char *name : {"station", "application"}) {
        (void)unlink((m_folder / name).c_str());
    }
    cable.detach(cable_end::station);
    m_port_slave.reset();
    m_port.clear();
}

// The tty that the service is going to open, or the one that it will make, and one for whoever is served.
void bench::attach_handset()
{
    const bool is_station = m_mode != run_mode::normal || handset.property(k_switch_property) == "1";
    const arrangement wanted = is_station ? arrangement::station : arrangement::application;
    if (m_port.empty() || wanted != m_serves) {
        close_station_port();
        cable.detach(cable_end::handset);
        m_serves = wanted;
        if (is_station) {
            const emulator::tty inner = handset.open_tty(k_station_tty);
            cable.attach(cable_end::handset, emulator::descriptor(fcntl(inner.fd(), F_DUPFD_CLOEXEC, 0)));
        }
        open_station_port();
    }
    m_is_cut = false;
}

bool bench::try_attach_application()
{
    try {
        cable.attach(cable_end::handset, handset.open(k_application_tty, O_RDWR));
        return true;
    } catch (const std::system_error &) {
        return false; // not made yet
    }
}

void bench::cut()
{
    if (m_serves == arrangement::station && !m_is_cut) {
        handset.remove_device(k_station_tty);
    }
    close_station_port();
    cable.detach(cable_end::handset);
    m_is_cut = true;
    await_end();
}

void bench::mend()
{
    attach_handset();
    if (m_serves == arrangement::application && service_runs()) {
        wait(
            "the application's port", [&] { return try_attach_application(); }, k_start_wait);
    }
    if (!service_runs()) {
        start_service();
    }
}

// --- the modem

bench::modem_port &bench::port_of(const std::string &name)
{
    return name == "at" ? m_at : m_data;
}

emulator::modem &bench::modem(const std::string &port)
{
    std::optional<emulator::modem> &model = port_of(port).model;
    if (!model) {
        throw failure(exit_code::no_device, "the handset is off: handset up switches it on");
    }
    return *model;
}

// Without its path: the next pseudo-terminal inside gets its number.
void bench::hang_up_modem(const std::string &port)
{
    modem(port).hang_up();
    if (port_of(port).there) {
        handset.remove_device(port_of(port).path);
    }
    port_of(port).there = false;
}

void bench::return_modem(const std::string &port)
{
    if (port_of(port).there) {
        return; // a new tty would cost the service its old one
    }
    modem(port).come_back(handset.open_tty(port_of(port).path));
    port_of(port).there = true;
}

bool bench::is_modem_there(const std::string &port) const
{
    return (port == "at" ? m_at : m_data).there;
}

// --- the card

std::string bench::card_folder() const
{
    constexpr char selector[] = "/data/etc/storage.config";
    int value = 0;
    if (handset.files.exists(selector)) {
        std::istringstream(handset.files.read(selector)) >> value;
    }
    return value == 1 ? "/storage/sdcard0" : "/storage/sdcard1";
}

void bench::insert_card(std::size_t size_kib)
{
    remove_card();
    const std::string folder = card_folder();
    handset.insert_card(folder, size_kib);
    m_card = card_slot{folder, size_kib};
}

void bench::remove_card()
{
    if (m_card) {
        handset.remove_card(m_card->folder);
        m_card.reset();
    }
}

// --- what nobody tells

void bench::look_for_power_off()
{
    const fs::path calls = handset.files.root() / "handset/calls";
    std::error_code ignored;
    const std::size_t size = fs::file_size(calls, ignored);
    if (ignored || size == m_calls_seen) {
        return;
    }
    const std::string content = handset.files.read("/handset/calls");
    const bool asked = content.find("reboot(POWER_OFF)", std::min(m_calls_seen, content.size())) != std::string::npos;
    m_calls_seen = content.rfind('\n') == std::string::npos ? 0 : content.rfind('\n') + 1;
    if (asked) {
        power_off();
    }
}

void bench::look_after()
{
    if (!m_is_on) {
        return;
    }
    if (!handset.is_on()) { // its process 1 was ended from outside
        power_off();
        return;
    }
    if (m_serves == arrangement::application && !m_is_cut && service_runs() && !cable.answers(cable_end::handset)) {
        (void)try_attach_application();
    }
    look_for_power_off();
}

} // namespace handset_tool
