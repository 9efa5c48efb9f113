// Any line of a station as text: its fields, its numbers, the parameter behind a prefix, the rows of a table that it
// names, and the answers that are formatted of it. Each is compared with what a plain search over the same bytes finds.
//
// Input: the prefix, a zero byte, then the request.
#include <string.h>

#include <algorithm>
#include <string>

#include "amt/at-local/at-fields.h"
#include "amt/at-local/at-line.h"
#include "amt/core/at-parameter.h"
#include "fuzz/pure_input.h"
#include "fuzz/pure_number.h"
#include "pub/base/number.h"
#include "pub/log/errors.h"

namespace {

constexpr size_t k_most_fields = 40;
constexpr size_t k_prefix_max = 60;
guarded_bytes<AMT_AT_PARAMETER_MAX> g_parameter;
guarded_bytes<AMT_MESSAGE_SIZE + 10> g_text;
std::string g_answer; // expected
int g_answers = 0;

const amt_buffer &request()
{
    return handle_context_st.m_request;
}

void set_request(std::string_view bytes)
{
    amt_buffer_clear(&handle_context_st.m_request);
    memcpy(handle_context_st.m_request.m_data_a, bytes.data(), bytes.size());
    handle_context_st.m_request.m_length = static_cast<uint32_t>(bytes.size());
}

std::string_view up_to_zero(std::string_view bytes)
{
    return bytes.substr(0, bytes.find('\0'));
}

// --- fields

void check_number(std::string_view field, const char *text)
{
    const fuzz_number number = fuzz_number_of(field);
    fuzz_check(pub_util_get_number(text) == fuzz_nearest(number));
    fuzz_check(amt_get_field_number(text) == static_cast<int32_t>(static_cast<uint64_t>(number.m_value)));
}

// The fields of the first `length` bytes of a text.
void check_fields(std::string_view text, size_t length)
{
    char *copy = g_text.of(text.size()); // without a terminator: the fields' own length must do
    memcpy(copy, text.data(), text.size());
    at_fields fields(copy, length);
    std::string_view rest = up_to_zero(text.substr(0, std::min<size_t>(length, AMT_MESSAGE_SIZE)));
    for (size_t i = 0; i < k_most_fields; i++) {
        rest.remove_prefix(std::min(rest.find_first_not_of(','), rest.size()));
        const std::string_view expected = rest.substr(0, rest.find(','));
        rest.remove_prefix(expected.size());
        const char *field = fields.next();
        if (expected.empty()) {
            fuzz_check(field == nullptr && fields.next() == nullptr);
            break;
        }
        fuzz_check(field != nullptr && field == expected);
        check_number(expected, field);
    }
    fuzz_check(g_text.is_guarded() && g_text.bytes() == text); // the line itself is left alone
}

// --- the request

void check_parameter(std::string_view line, const char *prefix)
{
    const size_t found = line.find(prefix);
    uint32_t length = 77;
    const int32_t result = handle_amt_get_at_para(prefix, g_parameter.of(AMT_AT_PARAMETER_MAX), &length);
    fuzz_check(g_parameter.is_guarded());
    if (request().m_length == 0 || found == std::string_view::npos) {
        fuzz_check(result == (request().m_length == 0 ? ERR_INVALID_PARAM : ERR_UNKNOWN) && length == 77);
        return;
    }
    std::string_view value = line.substr(found + strlen(prefix));
    value.remove_prefix(std::min(value.find_first_not_of(' '), value.size()));
    value = value.substr(0, std::min<size_t>(value.find('\r'), AMT_AT_PARAMETER_MAX));
    fuzz_check(result == ERR_NONE && g_parameter.bytes().substr(0, length) == value);
}

int g_asked_a[3]; // how often each row's handler was asked
template <size_t index>
int32_t decline()
{
    g_asked_a[index]++;
    return ERR_NOT_FOUND;
}
int32_t answer()
{
    g_asked_a[2]++;
    return 1;
}

void check_rows(std::string_view line, const char *prefix)
{
    const at_row rows_a[] = {{prefix, decline<0>}, {"AT^", decline<1>}, {"\r", answer}};
    bool is_asked_a[3];
    for (size_t i = 0; i < 3; i++) {
        is_asked_a[i] = line.find(rows_a[i].m_text) != std::string_view::npos;
        g_asked_a[i] = 0;
    }
    const at_row *first = std::find_if(std::begin(rows_a), std::end(rows_a),
                                       [&](const at_row &row) { return is_asked_a[&row - rows_a]; });
    fuzz_check(amt_find_row(rows_a) == (first == std::end(rows_a) ? nullptr : first));
    fuzz_check(amt_answer_line(rows_a) == (is_asked_a[2] ? 1 : ERR_NOT_FOUND));
    for (size_t i = 0; i < 3; i++) {
        fuzz_check(g_asked_a[i] == (is_asked_a[i] ? 1 : 0));
    }
    if (is_asked_a[0]) {
        fuzz_check(amt_behind(prefix) == line.substr(line.find(prefix) + strlen(prefix)));
    }
}

void check_answer(const std::string &line, const char *prefix)
{
    g_answer = ("\r\n" + line + ": \"" + prefix + line + "\"\r\n").substr(0, AMT_MESSAGE_SIZE - 1);
    g_answers = 0;
    fuzz_check(amt_reply_to_line("\r\n%s: \"%s%s\"\r\n", line.c_str(), prefix, line.c_str()) == ERR_NONE);
    fuzz_check(g_answers == 1);
}

} // namespace

// amt_handle_send_rsp(channel, response)
extern "C" int32_t __wrap__Z19amt_handle_send_rsphP10amt_buffer(uint8_t channel, amt_buffer *response)
{
    const std::string_view sent(reinterpret_cast<const char *>(response->m_data_a), AMT_MESSAGE_SIZE);
    fuzz_check(channel == AMT_CHANNEL_PC && response->m_length == g_answer.size() && response->m_end == 0);
    fuzz_check(up_to_zero(sent) == g_answer);
    g_answers++;
    return ERR_NONE;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const std::string prefix(input.take_text().substr(0, k_prefix_max));
    const std::string_view bytes = input.take(AMT_MESSAGE_SIZE);
    const std::string line(up_to_zero(bytes));
    set_request(bytes);
    check_fields(bytes, bytes.size());
    check_fields(bytes, bytes.size() / 2);
    check_parameter(line, prefix.c_str());
    check_rows(line, prefix.c_str());
    check_answer(line, prefix.c_str());
    return 0;
}
