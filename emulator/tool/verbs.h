// The verbs of the tool, a family each: what main.cpp has read from the command line, carried out. Values go to
// standard output, words for people to standard error. Failures throw tool::failure. Main thread.
#pragma once

#include "tool/exit_code.h"

#include <optional>
#include <string>
#include <vector>

namespace handset_tool {

struct up_options {
    std::string name;
    std::optional<std::string> mode;
    std::string root;
    bool unplugged = false;
};

// life_verbs.cpp
tool::exit_code up(const up_options &options);
tool::exit_code down(const std::string &name, bool all);
tool::exit_code service(const std::string &name, const std::string &verb); // start, stop, restart
tool::exit_code usb(const std::string &name, bool plug);

// show_verbs.cpp
tool::exit_code list(bool as_json);
tool::exit_code status(const std::string &name, bool as_json);

struct log_options {
    std::string name;
    bool follow = false;
    std::optional<std::size_t> newest; // records of those that there are
    bool as_json = false;
};

// log_verbs.cpp
tool::exit_code logs(const log_options &options);
tool::exit_code wait_log(const std::string &name, const std::string &text, double timeout_s);

// key_verbs.cpp
tool::exit_code keys(const std::string &name, bool as_json);
tool::exit_code get(const std::string &name, const std::vector<std::string> &keys, bool as_json);
tool::exit_code set(const std::string &name, const std::vector<std::string> &settings);
tool::exit_code screenshot(const std::string &name, const std::string &file);

struct modem_order {
    std::string name;
    std::string act = "show"; // as the keeper knows it
    std::string port;         // data, at; empty: both, where that makes sense
    long value = 0;
    std::string text;
    bool as_json = false;
};

struct link_order {
    std::string name;
    std::string act = "show";
    std::string to = "station";
    long value = 0;
    long after = 0; // bytes
    bool as_json = false;
};

// equipment_verbs.cpp
tool::exit_code modem(const modem_order &order);
tool::exit_code link(const link_order &order);

// shell_verb.cpp. One word is a line for the shell, more are a program and its arguments, none is a shell. Returns the
// status of what ran.
int shell(const std::string &name, const std::vector<std::string> &command);

} // namespace handset_tool
