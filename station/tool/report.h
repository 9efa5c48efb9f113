// What a verb found out, for people and for programs. Pure; any thread.
#pragma once

#include "station/message.h"
#include "tool/exit_code.h"

#include <nlohmann/json.hpp>

#include <exception>
#include <string>
#include <vector>

namespace station_tool {

using json = nlohmann::ordered_json;

struct report {
    tool::exit_code code = tool::exit_code::done;
    json result = json::object(); // for programs; the members that docs/tools.md tells
    std::string text;             // for people: whole lines
    std::string error;            // one line; empty: none
    std::exception_ptr failure;   // what ended it before its end; the rest is as far as it came
};

// Adds a line to the text.
void say(report &to, const std::string &line);

// The words with a blank between them.
std::string joined(const std::vector<std::string> &words);

// Rows of words in columns, two blanks apart and as wide as their widest, the last one ragged; each row a line with two
// blanks before it.
std::string in_columns(const std::vector<std::vector<std::string>> &rows);

// A message with everything that is known of it:
// {"id": 46, "name": "AMT_VERSION_RSPCMD", "command": "version",
//  "items": {"module": {"atom": 19, "type": "int", "value": 16, "meaning": "software"}, ...}}
// Numbers and flags are numbers, texts texts, and bytes hexadecimal digits. A second item of the same name is
// "module#2".
json to_json(const station::message &what, bool is_answer);

// The same in lines: its name, and a row for each item.
std::string to_text(const station::message &what, bool is_answer);

// Bytes as a text of printable ASCII: as they are when they are just that, else with the escapes of C for all others
// and for backslashes.
std::string as_printable(const std::string &bytes);

// The same for people, who need no line ends at the end.
std::string as_shown(const std::string &value);

} // namespace station_tool
