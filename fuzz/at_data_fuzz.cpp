// AT data, both ways, against converters of its own that build the outcome as one text. A message made of a modem's
// answer is also turned into AT data again: the values must come out in their order, all of them.
//
// Input: a byte of choices, then a message (even) or an answer (odd).
#include <string.h>

#include <string>

#include "amt/wire/amt-at-data.h"
#include "fuzz/pure_input.h"
#include "pub/log/errors.h"

namespace {

constexpr uint32_t k_size = AMT_MESSAGE_SIZE;
constexpr uint8_t k_values_with_lengths = 151;

uint8_t g_message_a[k_size];
guarded_bytes<k_size> g_output;

std::string g_expected; // the output as far as it comes

uint32_t byte_at(std::string_view bytes, size_t at)
{
    return at < bytes.size() ? static_cast<uint8_t>(bytes[at]) : 0;
}

uint32_t u16_at(std::string_view bytes, size_t at)
{
    return byte_at(bytes, at) + 256 * byte_at(bytes, at + 1);
}

uint8_t *as_bytes(char *text)
{
    return reinterpret_cast<uint8_t *>(text);
}

// --- requests

// The values of the message's atoms, up to `capacity` bytes with the command's id; whether all of it is a message.
bool expect_at_data(std::string_view message, size_t capacity)
{
    g_expected.clear();
    if (byte_at(message, 2) != 0xBB) {
        return false;
    }
    g_expected += message[3];
    const size_t end = 6 + u16_at(message, 4);
    for (size_t at = 6; at < end;) {
        const uint32_t type = byte_at(message, at + 2);
        const uint32_t length = u16_at(message, at + 3);
        const bool is_right = (type == 1 && length == 4) || type == 2 || type == 3 || (type == 4 && length == 1);
        const size_t next = at + 5 + length;
        if (byte_at(message, at) != 0xEE || !is_right || next > end || next > k_size) {
            return false;
        }
        const std::string_view length_field = message.substr(at + 3, 2);
        const std::string_view prefix = byte_at(message, 3) == k_values_with_lengths ? length_field : "";
        if (g_expected.size() + prefix.size() + length > capacity) {
            return false;
        }
        g_expected.append(prefix).append(message.substr(at + 5, length));
        at = next;
    }
    return true;
}

void check_request(uint32_t capacity)
{
    const std::string_view message(reinterpret_cast<const char *>(g_message_a), k_size);
    const bool is_message = expect_at_data(message, capacity);
    uint32_t length = 0;
    uint8_t *output = as_bytes(g_output.of(capacity));
    const int32_t result = amt_convert_req_amt_data_2_at_data(g_message_a, output, capacity, &length);
    fuzz_check(result == (is_message ? ERR_NONE : ERR_UNKNOWN));
    fuzz_check(g_output.is_guarded() && length == g_expected.size());
    fuzz_check(g_output.bytes().substr(0, length) == g_expected);
    fuzz_check(are_zero(g_output.bytes().substr(length)));
}

// --- answers

// The answer from its second byte on; what is missing reads as 0.
class answer_reader {
  public:
    explicit answer_reader(std::string_view bytes)
        : m_bytes(bytes)
    {
    }
    [[nodiscard]] bool is_empty() const { return m_bytes.empty(); }
    std::string take(size_t count)
    {
        std::string taken(m_bytes.substr(0, count));
        m_bytes.remove_prefix(taken.size());
        taken.resize(count);
        return taken;
    }
    uint32_t take_length(size_t width)
    {
        const std::string bytes = take(width);
        return u16_at(bytes, 0) + 65536 * u16_at(bytes, 2);
    }

  private:
    std::string_view m_bytes;
};

std::string g_values; // of the expected message, one behind another

// Appends an atom to the expected message, unless it has no bytes or no room.
bool expect_atom(uint8_t id, char type, const std::string &value)
{
    if (value.empty() || g_expected.size() + 5 + value.size() > k_size) {
        return false;
    }
    g_expected += {'\xEE', static_cast<char>(id), type, static_cast<char>(value.size() % 256),
                   static_cast<char>(value.size() / 256)};
    g_expected += value;
    g_values += value;
    return true;
}

bool expect_number(uint8_t id, answer_reader &answer)
{
    const std::string digits = answer.take(4);
    return expect_atom(id, 1, {digits.rbegin(), digits.rend()});
}

bool expect_sized(uint8_t id, answer_reader &answer, size_t width)
{
    const uint32_t length = answer.take_length(width);
    return length <= k_size && expect_atom(id, 3, answer.take(length));
}

bool expect_fields(uint32_t id, answer_reader &answer)
{
    switch (id) {
    case 8:
        return expect_atom(21, 3, answer.take(15));
    case 24:
        return expect_number(12, answer) && expect_sized(4, answer, 4);
    case 26:
        return expect_number(13, answer);
    case 46:
        return expect_number(19, answer) && expect_atom(18, 3, answer.take(64));
    case 48:
    case 62:
    case 114:
        return expect_sized(4, answer, 4);
    case 60:
        return expect_number(24, answer);
    case 78:
        return expect_sized(34, answer, 4);
    case 100:
        return expect_atom(41, 4, answer.take(1));
    case 106:
        return expect_sized(43, answer, 4);
    case 110:
        return expect_atom(44, 4, answer.take(1));
    case 152:
    case 221:
        return expect_sized(62, answer, 2);
    default:
        return true;
    }
}

bool expect_message(std::string_view at_data)
{
    g_expected.assign(6, '\0');
    g_values.assign(1, at_data[0]);
    answer_reader answer(at_data.substr(1));
    const bool is_whole = expect_number(1, answer) && (answer.is_empty() || expect_fields(byte_at(at_data, 0), answer));
    const size_t total = g_expected.size();
    const char header_a[6] = {
        static_cast<char>(total % 256),       static_cast<char>(total / 256),      '\xBB', at_data[0],
        static_cast<char>((total - 6) % 256), static_cast<char>((total - 6) / 256)};
    g_expected.replace(0, sizeof(header_a), header_a, sizeof(header_a));
    return is_whole;
}

void check_answer(std::string_view at_data)
{
    uint8_t *output = as_bytes(g_output.of(k_size));
    const auto *bytes = reinterpret_cast<const uint8_t *>(at_data.data());
    const int32_t result =
        amt_convert_rsp_at_data_2_amt_data(bytes, static_cast<uint32_t>(at_data.size()), output, k_size);
    if (at_data.empty()) {
        fuzz_check(result == ERR_INVALID_PARAM);
        return;
    }
    fuzz_check(result == (expect_message(at_data) ? ERR_NONE : ERR_INVALID_PARAM) && g_output.is_guarded());
    fuzz_check(g_output.bytes().substr(0, g_expected.size()) == g_expected);
    fuzz_check(are_zero(g_output.bytes().substr(g_expected.size())));

    if (byte_at(at_data, 0) == k_values_with_lengths) {
        return; // as a request it has more than its values
    }
    static uint8_t again_a[k_size];
    uint32_t length = 0;
    fuzz_check(amt_convert_req_amt_data_2_at_data(output, again_a, k_size, &length) == ERR_NONE);
    fuzz_check(std::string_view(reinterpret_cast<const char *>(again_a), length) == g_values);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/)
{
    g_expected.reserve(2 * size_t{k_size}); // once, not with each execution
    g_values.reserve(2 * size_t{k_size});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const uint8_t choices = input.take_u8();
    if (choices % 2 != 0) {
        check_answer(input.take_rest());
        return 0;
    }
    const std::string_view message = input.take(k_size);
    memset(g_message_a, 0, sizeof(g_message_a));
    memcpy(g_message_a, message.data(), message.size());
    check_request((choices & 2) != 0 ? k_size : 1U + choices);
    return 0;
}
