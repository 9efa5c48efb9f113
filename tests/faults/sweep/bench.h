// One emulated handset of the sweep's, with the modem's two ports, the far ends of the station and the application, and
// the block in which the shim in the service counts and is told to fail calls. Used by one thread.
#pragma once

#include "emulator/handset.h"
#include "emulator/modem.h"
#include "tests/faults/shim/block.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace faults {

using namespace std::chrono_literals;

constexpr char k_app_path[] = "/dev/ttyAMT";
constexpr char k_folder_of_simplified[] = "/data/local/tmp/";

// How the service is started, and whom it serves.
enum class arrangement { station, application, simplified, cable };

// A file as it was before a request and as it is behind it.
struct watched_file {
    std::string path;
    std::string before;
    std::string after;
    std::string besides = {}; // what it may hold when what it is made from could not be had
};

class bench {
  public:
    bench();
    ~bench();
    bench(const bench &) = delete;
    bench &operator=(const bench &) = delete;

    // Has the shim count from 0 and fail what the plan says; without a plan it counts; let_go() ends both.
    void arm(const fault_plan *plan);
    void let_go();
    const fault_block &block() const { return *m_block; }

    // Fresh devices, and the service started; it may still be starting, or have ended, when this returns.
    void start(arrangement how);

    // Ends whatever runs, by SIGKILL if need be.
    void end();

    bool is_running() const { return m_service && m_service->running(); }
    bool is_running(arrangement how) const { return is_running() && m_how == how; }
    const emulator::process &service() const { return *m_service; }

    // The station's end, or the application's, opened anew when its path leads to another port.
    emulator::tty &asker();

    // Throws away what has come for the one who asks, until nothing has for so long.
    void hear_out(std::chrono::milliseconds quiet);

    // Whether the start is over: there are workers, and the main thread waits.
    bool is_started() const;

    // The application closes its side.
    void hang_up_app() { m_app = {}; }

    // Which port the application's path leads to; empty while to none. The number of a terminal may be used again, that
    // of the link is not.
    std::string app_port() const;

    // Open descriptors of the service.
    std::size_t descriptors() const;

    // Files as before a request, no others of theirs.
    void lay_out(const std::vector<watched_file> &files);

    // Its content; "(none)" when there is none.
    std::string content(const std::string &path) const;

    emulator::handset handset;
    std::optional<emulator::modem> modem; // behind the data tty
    std::optional<emulator::modem> at;    // behind the AT port
    std::string heard;                    // by the one who asked last
    arrangement how() const { return m_how; }

    // The modem goes away and is back before anybody asks for it.
    void flap(emulator::modem &which, const char *path);

  private:
    void map_block();

    fault_block *m_block = nullptr;
    arrangement m_how = arrangement::station;
    std::optional<emulator::process> m_service;
    emulator::tty m_station;
    emulator::tty m_app;
    std::string m_app_port;
};

} // namespace faults
