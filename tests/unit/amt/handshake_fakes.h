// A start on the insertion of a cable without a cable: what is at its other end, the handset's two files of it, the
// timers, the screen and the threads are the test's to decide, nothing waits for real, nobody is signalled, and what
// happens is written down in order. Only inside in_child.
#pragma once

#include <stdint.h>

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/temp_folder.h"
#include "tests/support/test_log.h"

// An answer of the platform about what is at the cable.
struct charge_mode {
    int32_t result = 0;
    uint32_t mode = 2; // a USB host
};

// Reset by assignment: g_fake = {};
struct handshake_fakes {
    std::string folder = "/missing";      // where the two files really lie
    std::deque<charge_mode> charge_modes; // in order; when there are no more, a USB host
    int32_t charge_result = 0;            // of the charging control
    std::optional<int> flag_error;        // the flag cannot be opened
    intptr_t next_timer = 71;             // the id of the next one
    int create_error = 0;                 // of a timer
    int set_error = 0;                    // of a timer
    int thread_error = 0;                 // of starting the loader of the picture
    int screen_result = 0;                // of preparing the screen
    int update_result = 0;                // of drawing on it

    // What happened, in order:
    //     "ask for the charge mode", "charge MODE", "set PROPERTY=VALUE", "kill itself SIGNAL"
    //     "read the flag", "read the state"
    //     "create timer of the cable", "create timer of the station", "set timer ID: S s, NS ns", "delete timer ID"
    //     "sleep MS ms", "sleep S s", "pause US us", "start the loader", "prepare the screen", "draw"
    std::vector<std::string> events;
    std::function<void(const std::string &event)> on_event; // happens before each
    std::function<void()> on_wait;                          // for the timers' semaphore; also before
};
extern handshake_fakes g_fake;

// Events of a failure exit.
inline const std::string k_not_permitted = "set sys.kv.amt.failure.handshake=1";
inline const std::string k_permitted_but_failed = "set sys.kv.amt.failure.handshake=2";
inline const std::string k_end_process = "kill itself 15";

// A handset with neither file, that has been prepared for its start.
class cable {
  public:
    cable();
    ~cable();
    cable(const cable &) = delete;
    cable &operator=(const cable &) = delete;

    void put_flag(const std::string &text) const;  // whether it may be entered by the handshake
    void put_state(const std::string &text) const; // of the cable
    void make_flag_folder() const;                 // something that opens and cannot be read
    void make_state_folder() const;                // likewise

    // Admitted, and so far nothing has happened and nothing is told.
    void admit();

    // Likewise, and with the period for the station's answer open; without any file.
    void open_period();

    // The cable is enumerated as far as the service knows.
    static void enumerate();

    // Forgets what has happened and what has been told up to now.
    void forget();
    [[nodiscard]] std::vector<std::string> told() const; // since then
    [[nodiscard]] std::string text() const { return m_log.text(); }

  private:
    temp_folder m_folder;
    test_log m_log;
    size_t m_told_before = 0;
    int m_descriptor;
};

// Runs a body on a thread of its own, to its end.
void on_another_thread(const std::function<void()> &body);

// How often an event happened.
size_t times(const std::string &event);
