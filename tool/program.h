// What the tools have in common as programs: how they end, and how they speak to people. Main thread.
#pragma once

#include "tool/exit_code.h"

#include <functional>
#include <string>

namespace tool {

// Runs a tool's body and turns what it throws into one line on standard error, "NAME: WHAT", and an exit status:
// tool::failure into its own, std::invalid_argument into usage, anything else into refused. What the body returns is
// the status otherwise. A closed standard output ends the tool quietly, as SIGPIPE would.
int run(const std::string &name, const std::function<exit_code()> &body);

// From now on SIGINT, SIGTERM and SIGHUP only set a flag, so that what was begun can be put in order: blocking calls of
// the main thread return, and the descriptor has something to read, which nobody reads. Without this they end the
// program.
void hold_interrupts();
bool interrupted();
int interrupt_fd(); // -1 before hold_interrupts()

// Takes an interrupt from the keyboard for done, no other signal: whoever was interrupted by it has ended, and the next
// one begins.
void forget_interrupt();

// Throws the failure "interrupted" once a signal has come.
void check_interrupted();

// Whether to colour what goes to the descriptor: a terminal, not "dumb", and no NO_COLOR in the environment.
bool in_colour(int fd);

enum class colour { none, red, green, yellow, dim };

// The statuses as a help text tells them: "Exit status: 0 done, 1 ... ."
std::string exit_codes_told();

// One line on standard error, in red where there are colours. Any thread.
void say_error(const std::string &line);

// The text in that colour when `on`, else as it is.
std::string coloured(const std::string &text, colour which, bool on);

} // namespace tool
