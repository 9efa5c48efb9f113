// What the model of the modem answers to AT command lines, as text that anyone can edit. One rule a line:
//
//     # a line that begins with a number sign says nothing
//     ATI                                           => \r\nA modem\r\n\r\nOK\r\n
//     AT^DMPCHN=*                                   => \r\nOK\r\n
//     AT^DMSN={sn}                                  => \r\nOK\r\n
//     AT^DMSN                                       => \r\n^DMSN: {sn|none}\r\n\r\nOK\r\n
//     AT^X={station},{verdict[station]}{old=yes}    => \r\nOK\r\n
//
// The command stands before the first "=>" or tab, as the line brings it, without its carriage return; blanks around it
// and around the answer do not count. A '*' at its end stands for any rest. The first rule that matches counts. The
// answer has the escapes \r \n \t \" \\ \{ and \xHH; an empty one takes the command and says nothing. Pure; any thread.
//
// Braces hold what the modem keeps, under a name of letters, digits and underscores. `name[other]` is kept apart for
// each value that `other` has, be it just now or from before.
// - In a command, {name} takes the characters up to the first that is the next one of the rule, or all the rest; none
//   is enough. The command matches only as a whole. {name=value} takes none and keeps the value. \{ is a brace.
// - In an answer, {name} stands for what is kept, {name|text} for the text when nothing ever was. Both value and text
//   may have escapes; a brace within them is \x7B or \x7D.

#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace emulator {

// What a modem has been told: by name, or by name[value].
using modem_memory = std::map<std::string, std::string>;

// A part of a command or of an answer.
struct modem_piece {
    std::string text;  // the bytes; of a placeholder, what it keeps or what stands for it while nothing is kept
    std::string name;  // of a placeholder; empty: the text as it stands
    std::string index; // the other placeholder whose value tells the kept ones apart; empty: there is one
};

struct modem_rule {
    std::vector<modem_piece> command; // without the '*'; no placeholder right behind another
    bool any_rest = false;
    std::vector<modem_piece> settings; // kept with a match, whatever the command holds
    std::vector<modem_piece> answer;
};

// What the modem says when neither a rule nor anything else it knows matches.
constexpr char k_modem_refusal[] = "\r\nERROR\r\n";

// What a modem does that nobody has told anything else.
extern const char k_modem_rules[];

// Throws std::runtime_error with the number of the line that is no rule, and why.
std::vector<modem_rule> parse_modem_rules(std::string_view text);

// Bytes of a text with the escapes of an answer. Throws std::runtime_error for one that is none.
std::string unescaped(std::string_view text);

// The answer of the first rule that matches, with what its command brings kept in `known`; nothing, and nothing kept,
// when none does.
std::optional<std::string> answer_by_rules(const std::vector<modem_rule> &rules, std::string_view command,
                                           modem_memory &known);

} // namespace emulator
