// A handler and a modem, one exchange: what the application asks, what the modem says, what comes of it. With
// port_fakes.h.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "amt/core/context.h"
#include "tests/unit/amt/messages.h"
#include "tests/unit/amt/port_fakes.h"

struct exchange {
    int32_t result = 0;
    std::vector<std::string> answers;  // at the application, each in hex
    std::vector<std::string> commands; // at the modem
    std::vector<std::string> told;     // in the log
    size_t unread = 0;                 // of what the modem said, readings that nobody took
    bool is_response_clear = false;    // nothing is left in the response buffer
};

// Has the handler handle the request (in hex) on the application's channel, in a process of its own, with a modem that
// says these texts, one a reading. `prepare` happens before, with the port open; `look` afterwards.
void with_exchange(amt_handle_func handler, const std::string &request, const std::vector<std::string> &modem,
                   const std::function<void(const exchange &)> &look, const std::function<void()> &prepare = nullptr);

// A text in two pieces, at each byte of it.
std::vector<std::vector<std::string>> split_everywhere(const std::string &text);

// Each byte a piece of its own.
std::vector<std::string> bytewise(const std::string &text);

// How a modem says no; the service makes no difference.
struct refusal_row {
    const char *name;
    std::string text;
};
extern const std::vector<refusal_row> k_refusals;

// The handler refuses whatever it is asked as long as there is no modem, unanswered, and asks nothing.
void expect_refused_without_modem(amt_handle_func handler, const std::string &request);
