// The station's envelope, both ways: whatever is taken out of one can be put back into one and is the same, whatever is
// refused leaves its buffer alone, and no length, the buffer's own included, is believed past the buffer's end. A
// checksum of its own holds the service's to account.
//
// Input: a byte of choices, then the buffer's bytes. The mutator mends magic, length and checksum most of the time.
#include <string.h>

#include "amt/wire/amt-convert.h"
#include "fuzz/pure_input.h"
#include "pub/log/errors.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t max_size);

namespace {

constexpr uint32_t k_size = AMT_MESSAGE_SIZE;
constexpr size_t k_header_size = 12;
constexpr size_t k_envelope_size = 16;
constexpr std::string_view k_magic = "\xAA\xBB\xCC\xDD";

amt_buffer g_buffer;
amt_buffer g_before;

// The table of the checksum, worked out bit by bit when the fuzzer begins.
uint32_t g_entries_a[256];

uint32_t checksum(std::string_view bytes)
{
    uint32_t sum = 0;
    for (const char byte : bytes) {
        sum = g_entries_a[sum >> 24] ^ (sum << 8 | static_cast<uint8_t>(byte));
    }
    for (int zeros = 0; zeros < 4; zeros++) {
        sum = g_entries_a[sum >> 24] ^ sum << 8;
    }
    return sum;
}

void put_u32(uint8_t *bytes, uint32_t value)
{
    for (int i = 0; i < 4; i++) {
        bytes[i] = static_cast<uint8_t>(value >> 8 * i);
    }
}

std::string_view content(const amt_buffer &buffer, size_t offset, size_t count)
{
    return std::string_view(reinterpret_cast<const char *>(buffer.m_data_a), k_size).substr(offset, count);
}

void fill(std::string_view bytes, uint32_t length)
{
    memset(&g_buffer, 0, sizeof(g_buffer));
    memcpy(g_buffer.m_data_a, bytes.data(), bytes.size());
    g_buffer.m_length = length;
    g_before = g_buffer;
}

bool is_unchanged()
{
    return memcmp(&g_buffer, &g_before, sizeof(g_buffer)) == 0;
}

// Whether the buffer holds an envelope, in every byte, around this message.
void check_envelope(std::string_view message)
{
    const size_t checked = k_header_size + message.size();
    uint8_t numbers_a[8];
    put_u32(numbers_a, static_cast<uint32_t>(message.size() + 8));
    put_u32(numbers_a + 4, checksum(content(g_buffer, 0, checked)));
    const std::string_view numbers(reinterpret_cast<const char *>(numbers_a), sizeof(numbers_a));
    fuzz_check(g_buffer.m_length == message.size() + k_envelope_size && g_buffer.m_end == 0);
    fuzz_check(content(g_buffer, 0, 4) == k_magic);
    fuzz_check(content(g_buffer, 4, 4) == numbers.substr(0, 4));
    fuzz_check(content(g_buffer, 8, 4) == std::string_view("\2\0\0\0", 4));
    fuzz_check(content(g_buffer, k_header_size, message.size()) == message);
    fuzz_check(content(g_buffer, checked, 4) == numbers.substr(4));
}

// The buffer holds the message, and zeros behind it.
void check_message(std::string_view message)
{
    fuzz_check(g_buffer.m_length == message.size() && g_buffer.m_end == 0);
    fuzz_check(content(g_buffer, 0, message.size()) == message);
    fuzz_check(are_zero(content(g_buffer, message.size(), k_size)));
}

void unwrap_and_wrap()
{
    const int32_t result = amt_convert_pc_2_app(&g_buffer);
    if (g_before.m_length == 0 || g_before.m_length > k_size) {
        fuzz_check(result == ERR_INVALID_PARAM && is_unchanged());
        return;
    }
    if (g_before.m_length <= k_envelope_size || content(g_before, 0, 4) != k_magic) {
        fuzz_check(result == ERR_UNKNOWN && is_unchanged());
        return;
    }
    const std::string_view message = content(g_before, k_header_size, g_before.m_length - k_envelope_size);
    fuzz_check(result == ERR_NONE);
    check_message(message);
    fuzz_check(amt_convert_app_2_pc(&g_buffer) == ERR_NONE);
    check_envelope(message);
}

void wrap_and_unwrap()
{
    const uint32_t own_length = g_before.m_data_a[0] + 256U * g_before.m_data_a[1];
    const uint32_t length = g_before.m_length != 0 ? g_before.m_length : own_length;
    const int32_t result = amt_convert_app_2_pc(&g_buffer);
    if (length == 0 || length > k_size - k_envelope_size) {
        fuzz_check(result == ERR_INVALID_PARAM && is_unchanged());
        return;
    }
    fuzz_check(result == ERR_NONE);
    check_envelope(content(g_before, 0, length));
    fuzz_check(amt_convert_pc_2_app(&g_buffer) == ERR_NONE);
    check_message(content(g_before, 0, length));
}

// Makes an envelope of whatever lies behind the choices.
void mend(uint8_t *bytes, size_t size)
{
    if (size <= k_envelope_size) {
        return;
    }
    memcpy(bytes, k_magic.data(), k_magic.size());
    put_u32(bytes + 4, static_cast<uint32_t>(size - 8));
    put_u32(bytes + 8, 2);
    put_u32(bytes + size - 4, checksum({reinterpret_cast<const char *>(bytes), size - 4}));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/)
{
    for (uint32_t byte = 0; byte < 256; byte++) {
        uint32_t entry = byte;
        for (int bit = 0; bit < 8; bit++) {
            entry = entry / 2 ^ (entry % 2 == 0 ? 0 : 0xEDB88320);
        }
        g_entries_a[byte] = entry;
    }
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size, unsigned seed)
{
    const size_t mutated = LLVMFuzzerMutate(data, size, max_size);
    if (seed % 4 != 0 && mutated > 1) {
        mend(data + 1, mutated - 1);
    }
    return mutated;
}

// The choices: bit 0 which way, bits 1 and 2 the length that the buffer claims.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const uint8_t choices = input.take_u8();
    const std::string_view bytes = input.take(k_size);
    const auto length = static_cast<uint32_t>(bytes.size());
    const uint32_t claims_a[4] = {length, length, 0, length * 0x00010001U + (choices >> 3)};
    fill(bytes, claims_a[choices >> 1 & 3]);
    (choices & 1) != 0 ? wrap_and_unwrap() : unwrap_and_wrap();
    const auto *checked = reinterpret_cast<const uint8_t *>(bytes.data());
    fuzz_check(amt_convert_crc(checked, length) == checksum(bytes));
    return 0;
}
