// A handset with the real service, a station, a modem and an application, all in one hand, and reused for many starts.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "emulator/handset.h"
#include "emulator/modem.h"
#include "tests/storms/log_lines.h"

constexpr char k_app_path[] = "/dev/ttyAMT";
constexpr char k_log_folder[] = "/data/local/log/kv-zep-amt-log";
constexpr char k_pid_file[] = "/tmp/kv-zep-amt.pid";

enum class arrangement {
    station,     // a station on its serial tty, and the modem's data tty
    application, // an application on a pseudo-terminal, and the modem's AT port
    cable,       // as a station's, but started by the insertion of a cable
};

// Held while a program is being installed or started: a child that is between its fork and its exec still has the file
// open for writing, which then cannot be executed.
std::mutex &starting();

struct bench {
    bench();

    // New ports, without anything left in them of an earlier life, and starts the service.
    emulator::process start(arrangement how);

    // The same, and waits until it serves.
    emulator::process start_serving(arrangement how);

    emulator::tty open_app();

    // The station says something that must reach the modem as it is, and the modem's answer must come back.
    void require_relay(const std::string &request, const std::string &answer);

    // The service has ended with status 0, in order, and has left nothing.
    void require_clean_end(const emulator::process &service, const log_history &history = {});

    // Nothing that was started is left: no process, no path of the application's.
    void require_nothing_left() const;

    // What the kernel tells of a process inside.
    std::string name_of(const std::string &pid) const;

    std::string log() const { return handset.files.read(emulator::k_service_log); }
    static std::string end_of(const std::string &text);

    std::unique_lock<std::mutex> making{starting()}; // until it is made
    emulator::handset handset;
    emulator::tty station;
    emulator::tty modem;
    std::optional<emulator::modem> at;
};
