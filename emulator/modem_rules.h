// What the model of the modem answers to AT command lines, as text that anyone can edit. One rule a line:
//
//     # a line that begins with a number sign says nothing
//     ATI          => \r\nA modem\r\n\r\nOK\r\n
//     AT^DMPCHN=*  => \r\nOK\r\n
//
// The command stands before the first "=>" or tab, as the line brings it, without its carriage return; blanks around it
// and around the answer do not count. A '*' at its end stands for any rest. The first rule that matches counts. The
// answer has the escapes \r \n \t \" \\ and \xHH; an empty one takes the command and says nothing. Pure; any thread.

#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace emulator {

struct modem_rule {
    std::string command; // without the '*'
    bool any_rest = false;
    std::string answer; // the bytes
};

// What the modem says when no rule matches, or when it is told to refuse.
constexpr char k_modem_refusal[] = "\r\nERROR\r\n";

// What a modem does that nobody has told anything else.
extern const char k_modem_rules[];

// Throws std::runtime_error with the number of the line that is no rule, and why.
std::vector<modem_rule> parse_modem_rules(std::string_view text);

// The answer of the first rule that matches; nothing when none does.
std::optional<std::string> answer_by_rules(const std::vector<modem_rule> &rules, std::string_view command);

} // namespace emulator
