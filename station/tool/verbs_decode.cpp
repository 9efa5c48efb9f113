// What bytes mean: from the command line, from a file, from standard input.

#include "station/text.h"
#include "station/tool/verbs.h"
#include "tool/failure.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iostream>
#include <iterator>
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

// What a file holds is hexadecimal digits if it can be, else the bytes themselves.
static std::string bytes_of(const std::string &content)
{
    return is_hex(content) ? station::from_hex(content) : content;
}

static std::string joined(const std::vector<std::string> &words)
{
    std::string all;
    for (const std::string &word : words) {
        all += word + ' ';
    }
    return all;
}

static std::string given_bytes(const std::vector<std::string> &words)
{
    if (words.size() == 1 && words[0] == "-") {
        return bytes_of(all_of(std::cin));
    }
    const std::string digits = joined(words);
    if (is_hex(digits)) {
        return station::from_hex(digits);
    }
    std::ifstream file(words[0], std::ios::binary);
    if (words.size() > 1 || !file) {
        throw std::invalid_argument(station::quoted(words[0]) + " is neither hexadecimal digits nor a file that can " +
                                    "be read: " + std::generic_category().message(words.size() > 1 ? EINVAL : errno));
    }
    return bytes_of(all_of(file));
}

static void tell_damage(report &to, const std::string &what)
{
    to.code = tool::exit_code::malformed;
    to.error += (to.error.empty() ? "" : "; ") + what;
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
    const bool is_text = std::all_of(rest.bytes.begin(), rest.bytes.end(), [](char c) {
        return c == '\r' || c == '\n' || c == '\t' || (c >= ' ' && c <= '~');
    });
    if (!is_text) {
        rest.kind = station::answer_kind::damaged;
        rest.error = stream.fault_of_unfinished();
    }
    tell_answer(to, rest);
}

report decode(const settings &given)
{
    const std::string bytes = given_bytes(given.words);
    report told;
    told.result["parts"] = json::array();
    station::decoded bare = station::decode(bytes);
    if (bare.message) {
        tell_answer(told, {station::answer_kind::message, bytes, std::move(bare.message), ""});
        return told;
    }
    if (bytes.size() > k_head_at && static_cast<std::uint8_t>(bytes[k_head_at]) == AMT_COMMAND_HEAD) {
        tell_answer(told, {station::answer_kind::damaged, bytes, std::nullopt, bare.error});
        return told;
    }
    station::answer_stream stream;
    stream.add(bytes);
    while (const std::optional<station::answer> part = stream.next()) {
        tell_answer(told, *part);
    }
    tell_rest(told, stream);
    return told;
}

} // namespace station_tool
