// What a keeper holds: an emulated handset, the cable to its station or application, its modem, and the service. Verbs
// end here. Failures throw tool::failure or what the emulator throws; the one thread of the keeper.
#pragma once

#include "emulator/cable.h"
#include "emulator/handset.h"
#include "emulator/modem.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace handset_tool {

// How the handset is used; it decides how the service is started.
enum class run_mode { normal, switched, usb, simplified };

// "normal" and so on, and back; another text is a failure of usage.
std::string to_string(run_mode mode);
run_mode run_mode_of(const std::string &text);

// Who is at the other end of the cable.
enum class arrangement { station, application };

struct bench_options {
    std::filesystem::path folder; // the handset's own, with `root` in it
    run_mode mode = run_mode::switched;
    bool plugged = true; // the USB cable
};

struct card_slot {
    std::string folder;
    std::size_t size_kib = 0;
};

constexpr char k_service_in_data[] = "/data/local/tmp/kv-zep-amt";
constexpr char k_handshake_property[] = "sys.kv.amt.failure.handshake";
constexpr char k_usb_state_file[] = "/sys/class/android_usb/android0/state";

// What the property of the handshake's failure says, in words.
std::string handshake_meaning(const std::string &value);

class bench {
  public:
    // `idle` is called again and again while something is waited for; what it throws ends the wait.
    bench(const bench_options &options, std::function<void()> idle);

    // Boots, connects everything and, when the cable is in, starts the service; returns when it is ready. After a
    // power-off as well, with the files that are there and what the modem has been told.
    void power_on(run_mode mode, bool plugged);

    // Ends everything inside and hangs the station up.
    void power_off();
    bool is_on() const { return m_is_on; }

    // As the handset's start-up starts it; returns when it is ready, with -u when the station has its time to answer.
    void start_service();
    void stop_service();
    bool service_runs() const { return m_service && m_service->running(); }

    // "running, pid 12", "exited with 0", "not started".
    std::string service_state() const;
    int service_pid() const { return service_runs() ? m_service->pid() : 0; }

    // The cable is inserted or pulled, as the kernel tells the service.
    void plug();
    void unplug();
    bool is_plugged() const { return m_plugged; }

    // Hangs up both sides; a service that serves a station ends by that. Brings a new tty and the service back.
    void cut();
    void mend();
    bool is_cut() const { return m_is_cut; }

    // What nobody tells: the power-off that the service asked for, and a pseudo-terminal that it made anew.
    void look_after();

    run_mode mode() const { return m_mode; }
    arrangement serves() const { return m_serves; }
    std::string log_path() const; // inside
    std::filesystem::path link() const;
    const std::string &port() const { return m_port; } // the tty that a station or application opens; empty: none

    // The modem's ports: "data" and "at". What they keep is one, and outlives a power-off.
    emulator::modem &modem(const std::string &port);
    void hang_up_modem(const std::string &port);
    void return_modem(const std::string &port);
    bool is_modem_there(const std::string &port) const;

    const std::optional<card_slot> &card() const { return m_card; }
    std::string card_folder() const; // where the service looks for it
    void insert_card(std::size_t size_kib);
    void remove_card();

    // Waits for something that takes a while, with `idle`. Throws the failure no_answer past the deadline.
    void wait(const std::string &what, const std::function<bool()> &condition, emulator::deadline limit);

    emulator::handset handset;
    emulator::cable cable;

  private:
    struct modem_port {
        std::string path; // inside
        bool there = false;
        std::optional<emulator::modem> model;
    };

    void prepare();
    void boot();
    void connect();
    void open_station_port();
    void close_station_port();
    void attach_handset();
    bool try_attach_application();
    void launch();
    void await_ready();
    [[noreturn]] void fail_to_start();
    void require_stay();
    void await_end();
    bool is_ready() const;
    bool has_logged(const std::string &text) const;
    void announce();
    void uevent(const std::string &state);
    void look_for_power_off();
    modem_port &port_of(const std::string &name);

    std::filesystem::path m_folder;
    std::function<void()> m_idle;
    run_mode m_mode;
    arrangement m_serves = arrangement::station;
    bool m_plugged;
    bool m_is_on = false;
    bool m_is_cut = false;
    std::string m_port;
    emulator::descriptor m_port_slave; // keeps its settings, and the station's going from being a hang-up
    modem_port m_data;
    modem_port m_at;
    std::shared_ptr<emulator::modem_store> m_modem_store;
    std::optional<emulator::process> m_service;
    std::optional<card_slot> m_card;
    std::size_t m_calls_seen = 0; // bytes of the record of calls
};

} // namespace handset_tool
