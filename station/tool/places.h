// The ports that people name, and those that are there. Failures throw tool::failure or station::no_port. Any thread.
#pragma once

#include "station/answer.h"
#include "station/tool/settings.h"

#include <filesystem>
#include <string>
#include <vector>

namespace station_tool {

struct place {
    std::string name; // as people know it
    std::filesystem::path path;
    station::framing framing = station::framing::envelope;
};

// What there is to be found: the ttys of USB handsets, and the emulated handsets that are up, one place each.
std::vector<place> places_found();

// The place that a name stands for: a path, "handset:NAME" for an emulated handset's station, and
// "handset:NAME/application" for its application's port, which speaks bare messages.
place place_of(const std::string &name, bool bare);

bool is_emulated(const place &where);

// Throws station::no_port when nothing is there now: what there is to do about it depends on what the place is.
void require_there(const place &where);

// Those that the settings name, or the one that is there when they name none.
std::vector<place> places_of(const settings &given);

} // namespace station_tool
