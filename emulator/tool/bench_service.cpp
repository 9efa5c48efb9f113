// The service of a bench: its start, how it is known to be ready, its end, and the cable's insertion, see bench.h.

#include "emulator/tool/bench.h"

#include "tool/failure.h"

#include <algorithm>
#include <csignal>

namespace handset_tool {

using namespace std::chrono_literals;
using tool::exit_code;
using tool::failure;

// The start takes a second or two, with a modem that is silent half a minute; an end at most some seconds.
constexpr auto k_start_wait = 75s;
constexpr char k_log_in_data[] = "/data/local/tmp/kv-zep-amt-log/kv-zep-amt.log";
constexpr char k_boot_words[] = "\r\n^READY\r\n";
constexpr auto k_end_wait = 15s;
constexpr auto k_own_end_wait = 5s;

void bench::launch()
{
    emulator::program what = emulator::service();
    if (m_mode == run_mode::usb) {
        what.arguments = {"-u"};
    }
    if (m_mode == run_mode::simplified) {
        what.path = k_service_in_data;
    }
    m_service = handset.start(what);
}

std::string bench::log_path() const
{
    return m_mode == run_mode::simplified ? k_log_in_data : emulator::k_service_log;
}

bool bench::has_logged(const std::string &text) const
{
    return emulator::find_record(handset.log_records(log_path()), text) != nullptr;
}

bool bench::is_ready() const
{
    const std::vector<emulator::log_record> records = handset.log_records(log_path());
    const auto told = [&](const std::string &text) { return emulator::find_record(records, text) != nullptr; };
    if (!told("PID of kv-zep-amt: " + std::to_string(m_service->pid()))) {
        return false; // the log of the one before
    }
    if (m_serves == arrangement::station) {
        return told("read_pc_loop, read ready") && told("read_modem_loop, read ready") && handset.uevents_heard();
    }
    return std::any_of(records.begin(), records.end(), [](const emulator::log_record &record) {
        return record.function == "amt_handle_read_app_loop";
    });
}

// The last things that went wrong, for whoever cannot look any more.
static std::string last_errors(const std::vector<emulator::log_record> &records)
{
    constexpr int k_most = 3;
    std::string errors;
    int count = 0;
    for (auto record = records.rbegin(); record != records.rend() && count < k_most; ++record) {
        if (record->level.find("error") != std::string::npos) {
            const std::string line = record->text.substr(0, record->text.find('\n'));
            errors.insert(0, errors.empty() ? "" : "; ").insert(0, line).insert(0, ": ").insert(0, record->function);
            count++;
        }
    }
    return errors.empty() ? "" : ", after " + errors;
}

std::string handshake_meaning(const std::string &value)
{
    if (value == "1") {
        return "not permitted: a charger at the cable, or /amt/power_usb_amt.txt forbids it";
    }
    if (value == "2") {
        return "permitted, but failed or over";
    }
    return value.empty() ? "no start on a cable has ended" : "unknown";
}

// A start on a cable that comes to nothing ends with 0, and the property tells why.
void bench::fail_to_start()
{
    const emulator::exit_status end = m_service->wait();
    if (m_mode == run_mode::usb && end == emulator::exited(0)) {
        throw failure(exit_code::refused,
                      "the service did not stay: " + handshake_meaning(handset.property(k_handshake_property)));
    }
    throw failure(exit_code::refused, "the service " + to_string(end) + " before it was ready" +
                                          last_errors(handset.log_records(log_path())));
}

void bench::require_stay()
{
    if (!m_service->running()) {
        fail_to_start();
    }
}

void bench::await_ready()
{
    wait(
        "the service to be ready", [&] { return !m_service->running() || is_ready(); }, k_start_wait);
    require_stay();
}

void bench::start_service()
{
    m_plugged = m_plugged || m_mode == run_mode::usb; // what it is started by
    attach_handset();
    launch();
    await_ready();
    if (m_serves == arrangement::application) {
        wait(
            "the application's port", [&] { return try_attach_application(); }, k_start_wait);
    }
    if (m_mode == run_mode::usb) {
        announce();
    }
}

// The cable is enumerated and the modem speaks: from then on the station has its time to answer.
void bench::announce()
{
    uevent("CONFIGURED");
    const auto told = [&](const std::string &text) {
        wait(
            "\"" + text + "\" in the service's log", [&] { return !service_runs() || has_logged(text); }, k_start_wait);
        require_stay();
    };
    told("get usb CONFIGURED event");
    m_data.model->say(k_boot_words);
    told("timeMSec:5000. ");
}

void bench::stop_service()
{
    if (service_runs() && m_service->signal(SIGTERM)) {
        wait(
            "the service to end", [&] { return !m_service->running(); }, k_end_wait);
    }
}

std::string bench::service_state() const
{
    if (!m_service) {
        return "not started";
    }
    return m_service->running() ? "running, pid " + std::to_string(m_service->pid()) : to_string(m_service->wait());
}

// --- USB

void bench::uevent(const std::string &state)
{
    handset.files.write(k_usb_state_file, state + "\n");
    handset.uevent({"change@/devices/virtual/android_usb/android0", "USB_STATE=" + state});
}

void bench::plug()
{
    const bool starts = !service_runs();
    m_plugged = true; // whatever becomes of it
    if (starts) {
        start_service();
    }
    if (!starts || m_mode != run_mode::usb) {
        uevent("CONFIGURED");
    }
}

void bench::unplug()
{
    uevent("DISCONNECTED");
    m_plugged = false;
    if (m_mode != run_mode::usb) { // there it only notes it
        await_end();
    }
}

// A service that serves a station ends by itself when its cable is gone, but for one whose reader is busy.
void bench::await_end()
{
    const emulator::deadline limit = k_own_end_wait;
    if (m_serves == arrangement::station) {
        wait(
            "the service to end", [&] { return !service_runs() || limit.passed(); }, k_own_end_wait * 2);
    }
}

} // namespace handset_tool
