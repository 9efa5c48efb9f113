// Reading and applying the modem's rules, see modem_rules.h.

#include "emulator/modem_rules.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

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

# channel and mode, and what the modem can do
AT^DMPCHN={channel}   => \r\nOK\r\n
AT^DMPCHN?            => \r\n^DMPCHN: {channel|0}\r\n\r\nOK\r\n
AT^DSWAMT={mode}      => \r\nOK\r\n
AT^DSWAMT?            => \r\n^DSWAMT: {mode|0}\r\n\r\nOK\r\n
AT^DMCC?              => \r\n^DMCC: 2,2,1,5\r\n\r\nOK\r\n

# identity
AT^DCGSNW="{imei}"    => \r\nOK\r\n
AT^DCGSNW={imei}      => \r\nOK\r\n
AT^DGSN?              => \r\n^DGSN: {imei|490154203237518}\r\n\r\nOK\r\n
AT^DMSN={sn}          => \r\nOK\r\n
AT^DMSN               => \r\n^DMSN: {sn|EMU0000001}\r\n\r\nOK\r\n
AT^DMFD??             => \r\n^DMFD: 20240229235959\r\n\r\nOK\r\n

# a SIM; the versions "Emulated L1 1.0" and "Emulated HLS 1.0", as digits, behind a carriage return, before a line feed
AT^DTOC               => \r\n^DTOC: 1\r\n\r\nOK\r\n
AT^DCMR=17            => \r\n^DCMR: 17,0D456D756C61746564204C3120312E300A\r\n\r\nOK\r\n
AT^DCMR=18            => \r\n^DCMR: 18,0D456D756C6174656420484C5320312E300A\r\n\r\nOK\r\n

# what the stations of the line found: a verdict without a text leaves no older text
AT^DATOMW={station},{verdict[station]},{text[station]}  => \r\nOK\r\n
AT^DATOMW={station},{verdict[station]}{text[station]=}  => \r\nOK\r\n
AT^DATOMR=1,{station} => \r\n^DATOMR: {station},{verdict[station]|0},{text[station]}\r\n\r\nOK\r\n
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
    constexpr std::string_view letters = "rnt\"\\{";
    constexpr char meanings[] = "\r\n\t\"\\{";
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

std::string unescaped(std::string_view text)
{
    std::string bytes;
    while (!text.empty()) {
        const char character = text.front();
        text.remove_prefix(1);
        bytes += character == '\\' ? take_escape(text) : character;
    }
    return bytes;
}

static bool is_name(std::string_view text)
{
    constexpr std::string_view valid = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_";
    return !text.empty() && text.find_first_not_of(valid) == std::string_view::npos;
}

// Takes what braces hold, the opening one of which is off, and the closing one from the beginning of the text.
static std::string_view take_braced(std::string_view &text)
{
    const std::size_t end = text.find_first_of("{}");
    if (end == std::string_view::npos || text[end] == '{') {
        throw std::runtime_error("a brace that nothing closes");
    }
    const std::string_view content = text.substr(0, end);
    text.remove_prefix(end + 1);
    return content;
}

// What a pair of braces holds; the mark, if it is there, divides the name from the text.
static modem_piece parse_placeholder(std::string_view content, char mark)
{
    const std::size_t mark_at = std::min(content.find(mark), content.size());
    const std::string_view called = content.substr(0, mark_at);
    const std::string_view name = called.substr(0, called.find('['));
    std::string_view index = called.substr(name.size());
    const bool has_index = !index.empty();
    if (has_index && index.back() == ']') {
        index = index.substr(1, index.size() - 2);
    }
    if (!is_name(name) || (has_index && !is_name(index))) {
        throw std::runtime_error("no placeholder: {" + std::string(content) + "}");
    }
    const std::string_view text = content.substr(std::min(mark_at + 1, content.size()));
    return {unescaped(text), std::string(name), std::string(index)};
}

static bool is_placeholder(const modem_piece &piece)
{
    return !piece.name.empty();
}

static void append(std::vector<modem_piece> &pieces, char character)
{
    if (pieces.empty() || is_placeholder(pieces.back())) {
        pieces.emplace_back();
    }
    pieces.back().text += character;
}

static void append_braced(modem_rule &rule, std::string_view content)
{
    modem_piece piece = parse_placeholder(content, '=');
    if (content.find('=') != std::string_view::npos) {
        rule.settings.push_back(std::move(piece));
        return;
    }
    if (!rule.command.empty() && is_placeholder(rule.command.back())) {
        throw std::runtime_error("nothing between two placeholders");
    }
    rule.command.push_back(std::move(piece));
}

static void parse_command(std::string_view text, modem_rule &rule)
{
    constexpr std::string_view brace = "\\{";
    while (!text.empty()) {
        if (text.front() == '{') {
            text.remove_prefix(1);
            append_braced(rule, take_braced(text));
            continue;
        }
        text.remove_prefix(text.substr(0, brace.size()) == brace ? 1 : 0);
        append(rule.command, text.front());
        text.remove_prefix(1);
    }
}

static std::vector<modem_piece> parse_answer(std::string_view text)
{
    std::vector<modem_piece> pieces;
    while (!text.empty()) {
        const char character = text.front();
        text.remove_prefix(1);
        if (character == '{') {
            pieces.push_back(parse_placeholder(take_braced(text), '|'));
        } else {
            append(pieces, character == '\\' ? take_escape(text) : character);
        }
    }
    return pieces;
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
    modem_rule rule;
    rule.any_rest = !command.empty() && command.back() == '*';
    if (rule.any_rest) {
        command.remove_suffix(1);
    }
    parse_command(command, rule);
    if (rule.command.empty() && !rule.any_rest) {
        throw std::runtime_error("no command");
    }
    if (rule.any_rest && !rule.command.empty() && is_placeholder(rule.command.back())) {
        throw std::runtime_error("a placeholder leaves nothing to the *");
    }
    rule.answer = parse_answer(answer);
    return rule;
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

// What the command brings to keep, the rule's own settings first; nothing when the rule does not match.
static std::optional<std::vector<modem_piece>> match(const modem_rule &rule, std::string_view command)
{
    std::vector<modem_piece> brought = rule.settings;
    for (auto piece = rule.command.begin(); piece != rule.command.end(); ++piece) {
        std::size_t size = piece->text.size();
        if (is_placeholder(*piece)) {
            const auto next = piece + 1;
            size = std::min(next == rule.command.end() ? command.size() : command.find(next->text.front()),
                            command.size());
            brought.push_back({std::string(command.substr(0, size)), piece->name, piece->index});
        } else if (command.substr(0, size) != piece->text) {
            return std::nullopt;
        }
        command.remove_prefix(size);
    }
    if (!command.empty() && !rule.any_rest) {
        return std::nullopt;
    }
    return brought;
}

static std::string known_as(const modem_piece &piece, const modem_memory &known)
{
    if (piece.index.empty()) {
        return piece.name;
    }
    const auto index = known.find(piece.index);
    return piece.name + '[' + (index == known.end() ? "" : index->second) + ']';
}

// What others are told apart by comes first, wherever it stands in the command.
static void keep(const std::vector<modem_piece> &brought, modem_memory &known)
{
    for (const bool indexed : {false, true}) {
        for (const modem_piece &piece : brought) {
            if (indexed != piece.index.empty()) {
                known[known_as(piece, known)] = piece.text;
            }
        }
    }
}

static std::string filled(const std::vector<modem_piece> &pieces, const modem_memory &known)
{
    std::string bytes;
    for (const modem_piece &piece : pieces) {
        const auto kept = is_placeholder(piece) ? known.find(known_as(piece, known)) : known.end();
        bytes += kept == known.end() ? piece.text : kept->second;
    }
    return bytes;
}

std::optional<std::string> answer_by_rules(const std::vector<modem_rule> &rules, std::string_view command,
                                           modem_memory &known)
{
    for (const modem_rule &rule : rules) {
        if (const std::optional<std::vector<modem_piece>> brought = match(rule, command)) {
            keep(*brought, known);
            return filled(rule.answer, known);
        }
    }
    return std::nullopt;
}

} // namespace emulator
