// The steps of a start on the insertion of a cable, as the start and the readers take them: noted, and none of them
// taken but those that any start takes. Reset by assignment: g_steps = {};
#pragma once

#include <functional>
#include <string>
#include <vector>

struct handshake_steps {
    bool is_admitted = true;
    std::vector<std::string> taken; // in order
    std::function<void(const std::string &step)> on_step;
};
extern handshake_steps g_steps;

// Of any start.
inline const std::string k_forget_failure = "forget the failure";
inline const std::string k_choose_libraries = "choose the libraries";
inline const std::string k_prepare_timers = "prepare the timers";

// With -u only.
inline const std::string k_admit = "admit";
inline const std::string k_await_cable = "await the cable";
inline const std::string k_begin_relay = "begin a relay";
inline const std::string k_end_relay = "end a relay";
inline const std::string k_take_data = "take the station's data";
