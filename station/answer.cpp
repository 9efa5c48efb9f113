// Cutting the stream into answers, see answer.h.

#include "station/answer.h"

#include "amt/wire/amt-convert.h"
#include "amt/wire/bytes.h"
#include "station/text.h"

#include <algorithm>
#include <cstdio>
#include <ostream>

namespace station {

using namespace std::string_view_literals;

constexpr std::string_view k_magic = "\xAA\xBB\xCC\xDD"sv;
constexpr std::string_view k_pre_response = "\xAA\xBB\xCC\xDD\x08\x00\x00\x00\x02\x02\x00\x00\x76\x4A\xEE\x1D"sv;
constexpr std::string_view k_line_end = "\r\n"sv;

// The length field does not count itself and the magic.
constexpr std::uint32_t k_length_excludes = 8;
constexpr std::uint32_t k_shortest_length = AMT_ENVELOPE_SIZE - k_length_excludes;
constexpr std::uint32_t k_longest_length = AMT_MESSAGE_SIZE - k_length_excludes;

static bool starts_with(std::string_view text, std::string_view beginning)
{
    return text.substr(0, beginning.size()) == beginning;
}

static bool is_final_result(std::string_view line)
{
    return line == "OK" || line == "ERROR" || starts_with(line, "+CME ERROR") || starts_with(line, "+CMS ERROR");
}

// Where the first line that is a final result ends, its line end included. The line end of one line also begins the
// next one.
static std::size_t end_of_final_result(std::string_view text)
{
    std::size_t begin = text.find(k_line_end);
    while (begin != std::string_view::npos) {
        begin += k_line_end.size();
        const std::size_t end = text.find(k_line_end, begin);
        if (end != std::string_view::npos && is_final_result(text.substr(begin, end - begin))) {
            return end + k_line_end.size();
        }
        begin = end;
    }
    return std::string_view::npos;
}

std::string answer_stream::take(std::size_t count)
{
    std::string bytes = m_held.substr(0, count);
    m_held.erase(0, count);
    return bytes;
}

bool is_clean_text(std::string_view text)
{
    return std::all_of(text.begin(), text.end(),
                       [](unsigned char c) { return c == '\r' || c == '\n' || c == '\t' || (c >= ' ' && c != 0x7F); });
}

bool ends_with_final_result(std::string_view text)
{
    return !text.empty() && end_of_final_result(text) == text.size();
}

static std::vector<std::string> lines_of(std::string_view text)
{
    constexpr std::string_view k_ends = "\r\n";
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find_first_of(k_ends), text.size());
        if (end > 0) {
            lines.emplace_back(text.substr(0, end));
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

std::string final_result(std::string_view text)
{
    return ends_with_final_result(text) ? lines_of(text).back() : "";
}

std::vector<std::string> lines_before_final_result(std::string_view text)
{
    std::vector<std::string> lines = lines_of(text);
    if (ends_with_final_result(text)) {
        lines.pop_back();
    }
    return lines;
}

std::optional<answer> answer_stream::next()
{
    if (m_framing == framing::bare) {
        return next_bare();
    }
    return starts_with(m_held, k_magic) ? next_frame() : next_text();
}

std::optional<answer> answer_stream::next_text()
{
    const std::size_t frame = m_held.find(k_magic);
    const std::size_t end = std::min(end_of_final_result(m_held), frame);
    if (end == std::string::npos) {
        return std::nullopt;
    }
    return answer{answer_kind::text, take(end), std::nullopt, ""};
}

static std::string checksum_fault(std::string_view frame)
{
    const auto checked = static_cast<std::uint32_t>(frame.size()) - AMT_ENVELOPE_TRAILER_SIZE;
    const std::uint32_t told = load_u32_le(as_wire(frame) + checked);
    const std::uint32_t computed = amt_convert_crc(as_wire(frame), checked);
    char text[64] = "";
    if (told != computed) {
        (void)std::snprintf(text, sizeof(text), "checksum 0x%08X instead of 0x%08X", told, computed);
    }
    return text;
}

static answer read_frame(std::string frame, std::string fault)
{
    if (frame == k_pre_response) {
        return {answer_kind::pre_response, std::move(frame), std::nullopt, ""};
    }
    decoded inside = decode(std::string_view(frame).substr(
        AMT_ENVELOPE_HEADER_SIZE, frame.size() - AMT_ENVELOPE_HEADER_SIZE - AMT_ENVELOPE_TRAILER_SIZE));
    if (fault.empty()) {
        fault = inside.error;
    }
    const answer_kind kind = fault.empty() ? answer_kind::message : answer_kind::damaged;
    return {kind, std::move(frame), std::move(inside.message), std::move(fault)};
}

std::optional<answer> answer_stream::next_frame()
{
    if (m_held.size() < k_length_excludes) {
        return std::nullopt;
    }
    const std::uint32_t length = load_u32_le(as_wire(m_held) + k_magic.size());
    if (length < k_shortest_length || length > k_longest_length) {
        return answer{answer_kind::damaged, take(k_magic.size()), std::nullopt,
                      "impossible length " + std::to_string(length)};
    }
    const std::size_t size = length + k_length_excludes;
    if (m_held.size() < size) {
        return std::nullopt;
    }
    const std::string_view frame = std::string_view(m_held).substr(0, size);
    std::string fault = checksum_fault(frame);
    const std::size_t inner_magic = fault.empty() ? std::string_view::npos : frame.find(k_magic, k_magic.size());
    if (inner_magic != std::string_view::npos) {
        return answer{answer_kind::damaged, take(inner_magic), std::nullopt, std::move(fault)};
    }
    return read_frame(take(size), std::move(fault));
}

std::optional<answer> answer_stream::next_bare()
{
    if (m_held.size() < AMT_COMMAND_HEADER_SIZE) {
        return std::nullopt;
    }
    const std::size_t size = load_u16_le(as_wire(m_held));
    const bool may_be_one = as_wire(m_held)[2] == AMT_COMMAND_HEAD && size >= AMT_COMMAND_HEADER_SIZE;
    if (may_be_one && size > m_held.size()) {
        return std::nullopt;
    }
    std::string bytes = take(may_be_one ? size : m_held.size());
    decoded read = decode(bytes);
    const answer_kind kind = read.message ? answer_kind::message : answer_kind::damaged;
    return answer{kind, std::move(bytes), std::move(read.message), std::move(read.error)};
}

// What is missing of a frame that has begun.
static std::string fault_of_frame(std::string_view bytes)
{
    const std::string came = "a frame has begun, and only " + std::to_string(bytes.size());
    if (bytes.size() < k_length_excludes) {
        return came + " bytes of it came";
    }
    const std::size_t told = load_u32_le(as_wire(bytes) + k_magic.size()) + k_length_excludes;
    return came + " of the " + std::to_string(told) + " bytes that it tells came";
}

static bool is_text_of_lines(std::string_view text)
{
    return is_clean_text(text) && starts_with(text, k_line_end) && text.size() > 2 * k_line_end.size() &&
           text.substr(text.size() - k_line_end.size()) == k_line_end;
}

std::string answer_stream::fault_of_unfinished() const
{
    if (m_held.empty()) {
        return "";
    }
    if (m_framing == framing::bare) {
        const bool tells = m_held.size() >= 2;
        return "a message has begun, and only " + std::to_string(m_held.size()) +
               (tells ? " of the " + std::to_string(load_u16_le(as_wire(m_held))) + " bytes that it tells came"
                      : " byte of it came");
    }
    if (starts_with(m_held, k_magic)) {
        return fault_of_frame(m_held);
    }
    return is_text_of_lines(m_held) ? "" : "what came is neither a frame nor lines of text";
}

std::string describe(const answer &what)
{
    switch (what.kind) {
    case answer_kind::message:
        return describe(what.message.value());
    case answer_kind::pre_response:
        return "pre-response";
    case answer_kind::text:
        return "text " + quoted(what.bytes);
    case answer_kind::damaged:
        break;
    }
    return "damaged frame (" + what.error + "): " + (what.message ? describe(*what.message) : in_hex(what.bytes));
}

std::ostream &operator<<(std::ostream &stream, const answer &what)
{
    return stream << describe(what);
}

} // namespace station
