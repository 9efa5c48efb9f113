// What every handler refuses in the same way.
#pragma once

#include <string>

#include "amt/core/context.h"

// Calls the handler with each kind of bad argument, a good request (in hex) and a good channel otherwise: it refuses,
// tells which it was, and does nothing else.
void expect_bad_arguments_refused(amt_handle_func handler, uint8_t channel, const std::string &request_hex);
