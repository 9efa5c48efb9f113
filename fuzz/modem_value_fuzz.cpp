// Any answer of the modem, in any pieces: the exchange ends at the first verdict that counts, and the value behind a
// prefix is the one that a search of the fuzzer's own finds in the same text. And the version that an answer tells, as
// the application gets it.
//
// Input: a byte of choices, one for the pieces' size and one for the longest value, then the answer.
#include <string.h>

#include <algorithm>
#include <string>

#include "amt/modem/at-exchange.h"
#include "amt/modem/modem-version.h"
#include "fuzz/pure_input.h"
#include "pub/log/errors.h"

namespace {

constexpr char k_version_prefix[] = "\r\n^DCMR:";
constexpr char k_final_ok[] = "\r\nOK\r\n";
constexpr uint32_t k_longest_version = 408;

std::string_view g_answer; // what of it has not been read yet
size_t g_piece = 1;        // bytes that one reading brings
size_t g_read = 0;
std::string g_sent; // to the application

guarded_bytes<600> g_value;

bool has(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}

bool is_refused(std::string_view text)
{
    return has(text, "\r\n+CME ERROR") || has(text, "\r\n+CMS ERROR") || has(text, "\r\nERROR\r\n");
}

// The text of the answer at the end of the exchange. The code of its end is that of the reading when there is no
// verdict.
std::string expect_exchange(std::string_view answer, bool is_refusal_first, int32_t &result)
{
    std::string text;
    for (size_t read = 0;;) {
        if (read == AMT_AT_TEXT_SIZE || answer.empty()) {
            result = read == AMT_AT_TEXT_SIZE ? ERR_INVALID_PARAM : ERR_UNKNOWN;
            return text;
        }
        const std::string_view piece = answer.substr(0, std::min(g_piece, AMT_AT_TEXT_SIZE - read));
        answer.remove_prefix(piece.size());
        read += piece.size();
        std::copy_if(piece.begin(), piece.end(), std::back_inserter(text), [](char byte) { return byte != '\0'; });
        if (has(text, k_final_ok) && !(is_refusal_first && is_refused(text))) {
            result = ERR_NONE;
            return text;
        }
        if (is_refused(text)) {
            result = ERR_UNKNOWN;
            return text;
        }
    }
}

void begin(std::string_view answer)
{
    g_answer = answer;
    g_read = 0;
    amt_at_prepare("AT^DCMR=%d\r", 17);
}

std::string run_exchange(std::string_view answer, bool is_refusal_first)
{
    int32_t expected = ERR_NONE;
    const std::string text = expect_exchange(answer, is_refusal_first, expected);
    begin(answer);
    fuzz_check(amt_at_exchange("exchange", is_refusal_first ? amt_at_first::refusal : amt_at_first::ok) == expected);
    fuzz_check(g_at_rsp_buf.m_text_a == text && g_at_rsp_buf.m_length == text.size());
    fuzz_check(g_at_rsp_buf.m_length + g_at_rsp_buf.m_dropped == g_read && g_at_rsp_buf.m_end == 0);
    return text;
}

// --- values

struct expected_value {
    bool m_is_there;
    bool m_ends_its_line;
    std::string_view m_text;
};

expected_value expect_value(std::string_view text, std::string_view prefix)
{
    const size_t found = text.find(prefix);
    const size_t end = text.find(k_final_ok);
    if (found == std::string_view::npos || end == std::string_view::npos) {
        return {};
    }
    const size_t begin = std::min(text.find_first_not_of(' ', found + prefix.size()), text.size());
    if (end < begin) {
        return {};
    }
    expected_value value = {true, false, text.substr(begin, end - begin)};
    while (value.m_text.size() >= 2 && value.m_text.substr(value.m_text.size() - 2) == "\r\n") {
        value.m_ends_its_line = true;
        value.m_text.remove_suffix(2);
    }
    return value;
}

void check_value(std::string_view text, const char *prefix, uint32_t max)
{
    const expected_value expected = expect_value(text, prefix);
    amt_at_value value = {};
    fuzz_check(amt_at_find_value(prefix, &value) == expected.m_is_there);
    if (expected.m_is_there) {
        fuzz_check(std::string_view(value.m_text, value.m_length) == expected.m_text);
        fuzz_check(value.m_ends_its_line == expected.m_ends_its_line);
    }
    const bool is_copied = expected.m_ends_its_line && expected.m_text.size() <= max;
    const char *copy = g_value.of(max + 1);
    fuzz_check(amt_at_copy_value(prefix, max, g_value.of(max + 1)) == is_copied && g_value.is_guarded());
    fuzz_check(!is_copied || copy == expected.m_text);
}

// --- the version

int digit_of(char character)
{
    const std::string_view digits = "0123456789abcdefABCDEF";
    const size_t at = digits.find(character);
    return at == std::string_view::npos ? -1 : static_cast<int>(at < 16 ? at : at - 6);
}

std::string decoded(std::string_view text)
{
    std::string bytes;
    int high = -1;
    for (const char character : text) {
        const int digit = digit_of(character);
        if (digit >= 0 && high >= 0) {
            bytes += static_cast<char>(16 * high + digit);
        }
        high = digit < 0 ? high : high < 0 ? digit : -1;
    }
    return bytes;
}

// False when the answer holds none; the empty version is one.
bool expect_version(std::string_view text, std::string &version)
{
    const expected_value value = expect_value(text, k_version_prefix);
    const std::string_view line = value.m_text;
    const size_t comma = line.find(',');
    if (!value.m_ends_its_line || line.size() > k_longest_version || comma == std::string_view::npos) {
        return false;
    }
    size_t begin = std::min(line.find_first_not_of(' ', comma + 1), line.size());
    const std::string_view coded_return = line.substr(begin, 2);
    begin += coded_return == "0d" || coded_return == "0D" ? 2 : 0;
    const size_t small_end = line.find("0a");
    const size_t end = std::min(small_end != std::string_view::npos ? small_end : line.find("0A"), line.size());
    version = end < begin ? "" : decoded(line.substr(begin, end - begin));
    return true;
}

void check_version(std::string_view answer)
{
    int32_t exchanged = ERR_NONE;
    const std::string text = expect_exchange(answer, false, exchanged);
    std::string version;
    const bool is_told = exchanged == ERR_NONE && expect_version(text, version);
    std::string atoms = {'\xEE', 19, 1, 4, 0, 17, 0, 0, 0};
    if (!version.empty()) {
        atoms += {'\xEE', 18, 3, static_cast<char>(version.size()), 0};
        atoms += version;
    }
    atoms += {'\xEE', 1, 1, 4, 0, 0, 0, 0, 0};
    const auto body = static_cast<char>(atoms.size());
    const auto carry = static_cast<char>(atoms.size() + 6 > 255 ? 1 : 0);
    const auto body_carry = static_cast<char>(atoms.size() > 255 ? 1 : 0);
    const std::string expected = std::string{static_cast<char>(body + 6), carry, '\xBB', 46, body, body_carry} + atoms;

    static amt_buffer request = {1, {}, 0};
    static amt_buffer response;
    g_sent.clear();
    begin(answer);
    const int32_t result = handle_amt_req_l1_hls_version(AMT_CHANNEL_APP, 17, &request, &response);
    fuzz_check(result == (is_told ? ERR_NONE : ERR_UNKNOWN));
    fuzz_check(g_sent == (is_told ? expected : ""));
}

} // namespace

extern "C" {

// write_at(text, length)
int32_t __wrap__Z8write_atPKcj(const char *text, uint32_t length)
{
    fuzz_check(std::string_view(text, length) == "AT^DCMR=17\r");
    return ERR_NONE;
}

// read_at(text, room, read_length)
int32_t __wrap__Z7read_atPcjPj(char *text, uint32_t room, uint32_t *read_length)
{
    fuzz_check(room == AMT_AT_TEXT_SIZE - g_read);
    if (room == 0 || g_answer.empty()) {
        return room == 0 ? ERR_INVALID_PARAM : ERR_UNKNOWN;
    }
    const std::string_view piece = g_answer.substr(0, std::min<size_t>(g_piece, room));
    piece.copy(text, piece.size());
    g_answer.remove_prefix(piece.size());
    g_read += piece.size();
    *read_length = static_cast<uint32_t>(piece.size());
    return ERR_NONE;
}

// amt_handle_send_rsp(channel, response)
int32_t __wrap__Z19amt_handle_send_rsphP10amt_buffer(uint8_t channel, amt_buffer *response)
{
    fuzz_check(channel == AMT_CHANNEL_APP && g_sent.empty());
    const uint32_t length = amt_message_get_total_length(response->m_data_a);
    g_sent.assign(reinterpret_cast<const char *>(response->m_data_a), length);
    return ERR_NONE;
}
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const uint8_t choices = input.take_u8();
    g_piece = 1 + size_t{input.take_u8()} * input.take_u8();
    g_piece = std::max(g_piece, size / 16); // 17 readings are enough
    const std::string_view answer = input.take_rest();
    if (choices % 2 != 0) {
        check_version(answer);
        return 0;
    }
    const std::string text = run_exchange(answer, (choices & 2) != 0);
    check_value(text, (choices & 4) != 0 ? k_version_prefix : "^", choices * 2U);
    return 0;
}
