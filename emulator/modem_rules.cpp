// Reading and applying the modem's rules, see modem_rules.h.

#include "emulator/modem_rules.h"

#include <algorithm>
#include <stdexcept>

namespace emulator {

const char k_modem_rules[] = R"rules(
# the connection, and reports on or off
AT            => \r\nOK\r\n
ATE0          => \r\nOK\r\n
AT;^DLKS=1    => \r\nOK\r\n
AT^DLKS=0     => \r\nOK\r\n

# who it is, and how it hears
ATI           => \r\nEmulated modem, revision 1\r\n\r\nOK\r\n
AT+CSQ        => \r\n+CSQ: 23,99\r\n\r\nOK\r\n

# channel and identity: what is written is not kept
AT^DMPCHN=*   => \r\nOK\r\n
AT^DCGSNW=*   => \r\nOK\r\n
AT^DMSN=*     => \r\nOK\r\n
AT^DGSN?      => \r\n^DGSN: 490154203237518\r\n\r\nOK\r\n
AT^DMSN       => \r\n^DMSN: EMU0000001\r\n\r\nOK\r\n
)rules";

static std::string_view trimmed(std::string_view text)
{
    constexpr char blanks[] = " \t\r";
    const std::size_t begin = text.find_first_not_of(blanks);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

static char hex_byte(std::string_view digits)
{
    constexpr std::string_view valid = "0123456789abcdefABCDEF";
    if (digits.size() != 2 || digits.find_first_not_of(valid) != std::string_view::npos) {
        throw std::runtime_error("\\x wants two hexadecimal digits");
    }
    return static_cast<char>(std::stoi(std::string(digits), nullptr, 16));
}

// Takes an escape, whose backslash is off, from the beginning of the text.
static char take_escape(std::string_view &text)
{
    constexpr std::string_view letters = "rnt\"\\";
    constexpr char meanings[] = "\r\n\t\"\\";
    const std::string_view letter = text.substr(0, 1);
    if (letter == "x") {
        const std::string_view digits = text.substr(1, 2);
        text.remove_prefix(1 + digits.size());
        return hex_byte(digits);
    }
    const std::size_t at = letter.empty() ? std::string_view::npos : letters.find(letter);
    if (at == std::string_view::npos) {
        throw std::runtime_error("no escape \\" + std::string(letter));
    }
    text.remove_prefix(1);
    return meanings[at];
}

static std::string unescaped(std::string_view text)
{
    std::string bytes;
    while (!text.empty()) {
        const char character = text.front();
        text.remove_prefix(1);
        bytes += character == '\\' ? take_escape(text) : character;
    }
    return bytes;
}

static modem_rule parse_rule(std::string_view line)
{
    constexpr std::string_view arrow = "=>";
    const std::size_t arrow_at = line.find(arrow);
    const std::size_t tab_at = line.find('\t');
    if (arrow_at == std::string_view::npos && tab_at == std::string_view::npos) {
        throw std::runtime_error("neither => nor a tab between command and answer");
    }
    const std::size_t end = std::min(arrow_at, tab_at);
    std::string_view command = trimmed(line.substr(0, end));
    std::string_view answer = trimmed(line.substr(end));
    if (answer.substr(0, arrow.size()) == arrow) {
        answer = trimmed(answer.substr(arrow.size())); // tabs may stand around the arrow
    }
    const bool any_rest = !command.empty() && command.back() == '*';
    if (any_rest) {
        command.remove_suffix(1);
    }
    if (command.empty() && !any_rest) {
        throw std::runtime_error("no command");
    }
    return {std::string(command), any_rest, unescaped(answer)};
}

std::vector<modem_rule> parse_modem_rules(std::string_view text)
{
    std::vector<modem_rule> rules;
    for (int number = 1; !text.empty(); ++number) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        const std::string_view content = trimmed(line);
        if (content.empty() || content.front() == '#') {
            continue;
        }
        try {
            rules.push_back(parse_rule(content));
        } catch (const std::runtime_error &fault) {
            throw std::runtime_error("line " + std::to_string(number) + " of the modem's rules: " + fault.what());
        }
    }
    return rules;
}

std::optional<std::string> answer_by_rules(const std::vector<modem_rule> &rules, std::string_view command)
{
    for (const modem_rule &rule : rules) {
        if (command == rule.command || (rule.any_rest && command.substr(0, rule.command.size()) == rule.command)) {
            return rule.answer;
        }
    }
    return std::nullopt;
}

} // namespace emulator
