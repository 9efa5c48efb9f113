// What bytes mean: from the command line, from a file, from standard input.

#include "station/text.h"
#include "station/tool/verbs.h"
#include "tool/failure.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace station_tool {

// Where a bare message has its command head, which no text and no envelope has there.
constexpr std::size_t k_head_at = 2;

static bool is_hex(std::string_view text)
{
    constexpr std::string_view k_allowed = "0123456789abcdefABCDEFx \t\r\n,:";
    return !text.empty() && text.find_first_not_of(k_allowed) == std::string_view::npos;
}

static std::string all_of(std::istream &stream)
{
    return {std::istreambuf_iterator<char>(stream), {}};
}

// The bytes that a line of a trace, or a record of the service's log, holds in digits; nothing for another line.
static std::string bytes_of_line(const std::string &line)
{
    constexpr struct {
        const char *before;
        const char *behind;
    } k_places[] = {{" -> ", " | "}, {" <- ", " | "}, {"(data len = ", "\n"}};
    for (const auto &place : k_places) {
        const std::size_t at = line.find(place.before);
        if (at == std::string::npos) {
            continue;
        }
        std::string digits = line.substr(at + std::strlen(place.before));
        digits = digits.substr(0, digits.find(place.behind));
        digits.erase(0, place.behind[0] == '\n' ? std::min(digits.find(')') + 1, digits.size()) : 0);
        const auto is_digit = [](unsigned char c) { return std::isxdigit(c) != 0; };
        const bool is_whole = std::count_if(digits.begin(), digits.end(), is_digit) % 2 == 0;
        return is_hex(digits) && is_whole ? station::from_hex(digits) : "";
    }
    return "";
}

// What a file holds is hexadecimal digits if it can be, else a trace or a log, else the bytes themselves.
static std::vector<std::string> parts_of(const std::string &content)
{
    if (is_hex(content)) {
        return {station::from_hex(content)};
    }
    std::vector<std::string> parts;
    std::istringstream lines(content);
    for (std::string line; std::getline(lines, line);) {
        std::string bytes = bytes_of_line(line);
        if (!bytes.empty()) {
            parts.push_back(std::move(bytes));
        }
    }
    return parts.empty() && !content.empty() ? std::vector<std::string>{content} : parts;
}

static std::vector<std::string> parts_of_file(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    errno = std::filesystem::is_directory(path) ? EISDIR : errno;
    if (!file || errno == EISDIR) {
        throw std::invalid_argument(station::quoted(path) + " is neither hexadecimal digits nor a file that can be " +
                                    "read: " + std::generic_category().message(errno));
    }
    return parts_of(all_of(file));
}

static std::vector<std::string> given_parts(const std::vector<std::string> &words)
{
    if (words.size() > 1 || is_hex(words[0])) {
        return {station::from_hex(joined(words))};
    }
    return words[0] == "-" ? parts_of(all_of(std::cin)) : parts_of_file(words[0]);
}

// The first is told, the others stand in their places.
static void tell_damage(report &to, const std::string &what)
{
    to.code = tool::exit_code::malformed;
    to.error = to.error.empty() ? what : to.error;
}

static void tell_answer(report &to, const station::answer &what)
{
    json part = {{"bytes", station::in_hex(what.bytes)}};
    switch (what.kind) {
    case station::answer_kind::message:
        part["kind"] = "message";
        part["message"] = to_json(*what.message, true);
        to.text += to_text(*what.message, true);
        break;
    case station::answer_kind::pre_response:
        part["kind"] = "pre-response";
        say(to, "pre-response");
        break;
    case station::answer_kind::text:
        part["kind"] = "text";
        part["text"] = as_printable(what.bytes);
        say(to, "text " + station::quoted(what.bytes));
        break;
    case station::answer_kind::damaged:
        part["kind"] = "damaged";
        part["error"] = what.error;
        say(to, station::describe(what));
        tell_damage(to, what.error);
        break;
    }
    to.result["parts"].push_back(part);
}

// The last text may have no final result, and an AT line never has.
static void tell_rest(report &to, const station::answer_stream &stream)
{
    if (stream.unfinished().empty()) {
        return;
    }
    station::answer rest{station::answer_kind::text, stream.unfinished(), std::nullopt, ""};
    const auto is_ascii = [](unsigned char c) { return c < 0x80; };
    const std::string fault = stream.fault_of_unfinished();
    const bool is_plain = std::all_of(rest.bytes.begin(), rest.bytes.end(), is_ascii);
    if (!station::is_clean_text(rest.bytes) || (!is_plain && !fault.empty())) {
        rest.kind = station::answer_kind::damaged;
        rest.error = fault;
    }
    tell_answer(to, rest);
}

static void tell_bytes(report &to, const std::string &bytes)
{
    station::decoded bare = station::decode(bytes);
    if (bare.message) {
        tell_answer(to, {station::answer_kind::message, bytes, std::move(bare.message), ""});
        return;
    }
    if (bytes.size() > k_head_at && static_cast<std::uint8_t>(bytes[k_head_at]) == AMT_COMMAND_HEAD) {
        tell_answer(to, {station::answer_kind::damaged, bytes, std::nullopt, bare.error});
        return;
    }
    station::answer_stream stream;
    stream.add(bytes);
    while (const std::optional<station::answer> part = stream.next()) {
        tell_answer(to, *part);
    }
    tell_rest(to, stream);
}

report decode(const settings &given)
{
    const std::vector<std::string> parts = given_parts(given.words);
    if (parts.empty() || parts[0].empty()) {
        throw std::invalid_argument("there are no bytes to decode: see what was given for them");
    }
    report told;
    told.result["parts"] = json::array();
    for (const std::string &bytes : parts) {
        tell_bytes(told, bytes);
    }
    return told;
}

} // namespace station_tool
