// One request to the handset and what becomes of it: what reaches the modem, and what comes back.
#pragma once

#include "emulator/modem.h"
#include "tour/stage.h"

#include <functional>
#include <string>
#include <vector>

namespace tour {

// Who asks, and the modem that the handset may ask in turn.
struct peer {
    std::function<void(const std::string &)> send; // the bytes of a request
    std::function<std::string()> receive;          // the next answer, as people read it
    emulator::modem &modem;
    std::size_t heard; // bytes that the modem had received before; what comes late counts for the next exchange
};

struct exchange {
    const char *label;
    std::string request;              // bytes
    std::string at_modem;             // bytes; empty: the modem hears nothing of it
    std::vector<std::string> answers; // as peer::receive tells them
    const char *check;                // what is shown by it
};

// Plays it, prints it, and keeps whether it went as it should.
void play(stage &stage, peer &peer, const exchange &played);

// Bytes as people read them: a message, bare or in its envelope, as its name and its atoms, anything else in quotes.
std::string readable(const std::string &bytes);

} // namespace tour
