// The scenes of the tour. Each starts the service itself, leaves none behind, and throws std::runtime_error when it
// cannot go on.
#pragma once

#include "tour/equipment.h"
#include "tour/exchange.h"
#include "tour/stage.h"

namespace tour {

void play_station(stage &stage, equipment &equipment);
void play_application(stage &stage, equipment &equipment);
// The part of the application's scene in which it tests the handset's devices.
void play_devices(stage &stage, equipment &equipment, peer &application);

void play_cable(stage &stage, equipment &equipment);

// Takes the configuration away for good, so it comes last.
void play_other_starts(stage &stage, equipment &equipment);

} // namespace tour
