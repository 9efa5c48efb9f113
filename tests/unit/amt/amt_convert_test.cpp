#include "amt/wire/amt-convert.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <memory>

#include "amt/wire/bytes.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/wire_vectors.h"

namespace {

// The allocation of the checksum's copy. Reset by assignment: g_fake = {};
struct malloc_fake {
    bool fails = false;
    bool is_watching = false;
    size_t watched = 0; // bytes asked for while watching
};
malloc_fake g_fake;

} // namespace

extern "C" {

void *__real_malloc(size_t size);
void *__wrap_malloc(size_t size)
{
    if (g_fake.is_watching) {
        g_fake.watched += size;
    }
    if (g_fake.fails) {
        errno = ENOMEM;
        return nullptr;
    }
    return __real_malloc(size);
}
}

namespace {

using ::testing::ElementsAre;

// On the heap, where the sanitizer guards its end.
std::unique_ptr<amt_buffer> buffer_with(const byte_vector &bytes, uint32_t length)
{
    auto buffer = std::make_unique<amt_buffer>();
    if (!bytes.empty()) {
        memcpy(buffer->m_data_a, bytes.data(), bytes.size());
    }
    buffer->m_length = length;
    return buffer;
}

std::unique_ptr<amt_buffer> buffer_with(const byte_vector &bytes)
{
    return buffer_with(bytes, static_cast<uint32_t>(bytes.size()));
}

byte_vector content_of(const amt_buffer &buffer)
{
    return {buffer.m_data_a, buffer.m_data_a + buffer.m_length};
}

byte_vector ramp(size_t count)
{
    byte_vector bytes(count);
    for (size_t i = 0; i < count; i++) {
        bytes[i] = static_cast<uint8_t>(i * 7 + 3);
    }
    return bytes;
}

// --- the checksum

TEST(Checksum, IsThatOfEveryVector)
{
    for (const wire_vector &vector : wire_vectors("crc")) {
        const byte_vector data = vector.bytes("data");
        EXPECT_EQ(amt_convert_crc(data.data(), static_cast<uint32_t>(data.size())),
                  load_u32_be(vector.bytes("crc").data()))
            << vector.name;
    }
}

TEST(Checksum, EndsThePreResponseAsTheStationExpectsIt)
{
    const byte_vector envelope = from_hex("aabbccdd 08000000 02 020000");
    uint8_t trailer[4];
    store_u32_le(trailer, amt_convert_crc(envelope.data(), 12));
    EXPECT_EQ(to_hex({trailer, trailer + 4}), "764aee1d");
}

TEST(Checksum, UsesTheReflectedTable)
{
    for (uint32_t byte = 0; byte < 256; byte++) {
        uint32_t entry = byte;
        for (int bit = 0; bit < 8; bit++) {
            entry = (entry >> 1) ^ ((entry & 1) * 0xEDB88320U);
        }
        EXPECT_EQ(g_tabCRC32[byte], entry) << byte;
    }
}

TEST(Checksum, WorksOnACopyWithFourBytesMore)
{
    const byte_vector data = ramp(100);
    g_fake.is_watching = true;
    (void)amt_convert_crc(data.data(), 100);
    g_fake.is_watching = false;
    EXPECT_EQ(g_fake.watched, 104U);
    g_fake = {};
}

TEST(Checksum, IsAllOnesWithoutMemoryForTheCopy)
{
    in_child([] {
        const test_log log;
        g_fake.fails = true;
        const uint32_t checksum = amt_convert_crc(reinterpret_cast<const uint8_t *>("123"), 3);
        g_fake = {};
        EXPECT_EQ(checksum, 0xFFFFFFFFU);
        EXPECT_THAT(log.records(), ElementsAre("sys error | malloc: 12 - Cannot allocate memory"));
    });
}

TEST(Checksum, OfNoBytesIs0)
{
    in_child([] {
        const test_log log;
        EXPECT_EQ(amt_convert_crc(nullptr, 0), 0U);
        EXPECT_EQ(amt_convert_crc(nullptr, 100), 0U);
        EXPECT_EQ(amt_convert_crc(reinterpret_cast<const uint8_t *>("x"), 0), 0U);
        EXPECT_THAT(log.records(), ElementsAre());
    });
}

// --- wrapping

TEST(Wrap, MakesTheEnvelopeOfEveryVectorWithAndWithoutALength)
{
    for (const wire_vector &vector : wire_vectors("envelope")) {
        const byte_vector message = vector.bytes("message");
        for (const size_t length : {message.size(), size_t{0}}) {
            const auto buffer = buffer_with(message, static_cast<uint32_t>(length));
            EXPECT_EQ(amt_convert_app_2_pc(buffer.get()), ERR_NONE) << vector.name;
            EXPECT_TRUE(same_bytes(content_of(*buffer), vector.bytes("envelope"))) << vector.name;
            EXPECT_EQ(buffer->m_end, 0);
        }
    }
}

TEST(Wrap, BelievesTheLengthOfTheBufferBeforeThatOfTheMessage)
{
    const auto buffer = buffer_with(from_hex("0600bb2d0000"), 4);
    EXPECT_EQ(amt_convert_app_2_pc(buffer.get()), ERR_NONE);
    EXPECT_EQ(to_hex(content_of(*buffer)).substr(0, 32), "aabbccdd0c000000020000000600bb2d");
    EXPECT_EQ(buffer->m_length, 20U);
}

TEST(Wrap, TellsItsEntryOnly)
{
    in_child([] {
        const test_log log;
        const auto buffer = buffer_with(from_hex("0600bb2d0000"));
        EXPECT_EQ(amt_convert_app_2_pc(buffer.get()), ERR_NONE);
        EXPECT_EQ(amt_convert_pc_2_app(buffer.get()), ERR_NONE);
        EXPECT_THAT(log.records(), ElementsAre("func | ", "func | "));
        EXPECT_THAT(log.text(), ::testing::ContainsRegex("amt_convert_app_2_p.*\n.*amt_convert_pc_2_ap"));
    });
}

TEST(Wrap, FillsTheBufferToItsLastByte)
{
    const byte_vector message = ramp(4080);
    const auto buffer = buffer_with(message);
    EXPECT_EQ(amt_convert_app_2_pc(buffer.get()), ERR_NONE);
    EXPECT_EQ(buffer->m_length, 4096U);
    EXPECT_EQ(load_u32_le(buffer->m_data_a + 4), 4088U);
    EXPECT_EQ(load_u32_le(buffer->m_data_a + 4092), amt_convert_crc(buffer->m_data_a, 4092));
    EXPECT_EQ(buffer->m_end, 0);
    EXPECT_EQ(amt_convert_pc_2_app(buffer.get()), ERR_NONE);
    EXPECT_TRUE(same_bytes(content_of(*buffer), message));
}

struct refused_row {
    const char *name;
    const char *message;
    uint32_t length;
    const char *flags;
};

TEST(Wrap, RefusesWhatIsNoMessageOrDoesNotFit)
{
    // clang-format off
    constexpr refused_row rows_a[] = {
        {"no length anywhere",           "0000bb2d0000",    0, "1, 0"},
        {"one byte too many",            "0600bb2d0000", 4081, "0, 1"},
        {"longer than the buffer",       "0600bb2d0000", 4097, "0, 1"},
        {"the longest length",           "0600bb2d0000", 0xFFFFFFFF, "0, 1"},
        {"the message says 4081",        "f10fbb2d0000",    0, "0, 1"},
        {"the message says 65535",       "ffffbb2d0000",    0, "0, 1"},
    };
    // clang-format on
    for (const refused_row &row : rows_a) {
        SCOPED_TRACE(row.name);
        in_child([&row] {
            const test_log log;
            const auto buffer = buffer_with(from_hex(row.message), row.length);
            EXPECT_EQ(amt_convert_app_2_pc(buffer.get()), ERR_INVALID_PARAM);
            EXPECT_EQ(buffer->m_length, row.length);
            EXPECT_EQ(to_hex({buffer->m_data_a, buffer->m_data_a + 6}), row.message);
            EXPECT_THAT(log.records(), ElementsAre("func | ", k_bad_argument + row.flags));
        });
    }
}

TEST(Wrap, RefusesToWorkWithoutABuffer)
{
    in_child([] {
        const test_log log;
        EXPECT_EQ(amt_convert_app_2_pc(nullptr), ERR_INVALID_PARAM);
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_bad_argument + "1"));
    });
}

TEST(Wrap, SendsTheChecksumOfAllOnesWhenMemoryIsShort)
{
    in_child([] {
        const test_log log;
        const auto buffer = buffer_with(from_hex("0600bb2d0000"));
        g_fake.fails = true;
        const int32_t result = amt_convert_app_2_pc(buffer.get());
        g_fake = {};
        EXPECT_EQ(result, ERR_NONE);
        EXPECT_EQ(to_hex(content_of(*buffer)), "aabbccdd0e000000020000000600bb2d0000ffffffff");
    });
}

// --- unwrapping

TEST(Unwrap, GivesTheMessageOfEveryVectorAndClearsTheRest)
{
    for (const wire_vector &vector : wire_vectors("envelope")) {
        byte_vector received = vector.bytes("envelope");
        const auto length = static_cast<uint32_t>(received.size());
        received.resize(AMT_MESSAGE_SIZE, 0xee); // an older request
        const auto buffer = buffer_with(received, length);
        EXPECT_EQ(amt_convert_pc_2_app(buffer.get()), ERR_NONE) << vector.name;
        EXPECT_TRUE(same_bytes(content_of(*buffer), vector.bytes("message"))) << vector.name;
        EXPECT_TRUE(
            same_bytes({buffer->m_data_a, buffer->m_data_a + AMT_MESSAGE_SIZE}, data_bytes(vector.bytes("message"))))
            << vector.name;
    }
}

TEST(Unwrap, LooksAtTheMagicOnly)
{
    const byte_vector good = wire_vectors("envelope").at(1).bytes("envelope");
    for (size_t offset = 0; offset < good.size(); offset++) {
        if (offset >= 12 && offset < good.size() - 4) {
            continue; // the message itself
        }
        byte_vector received = good;
        received[offset] ^= 0x55;
        const auto buffer = buffer_with(received);
        const bool is_magic = offset < 4;
        EXPECT_EQ(amt_convert_pc_2_app(buffer.get()), is_magic ? ERR_UNKNOWN : ERR_NONE) << offset;
        EXPECT_EQ(buffer->m_length, received.size() - (is_magic ? 0 : 16)) << offset;
    }
}

TEST(Unwrap, TakesAChunkOf17BytesWhateverItsChecksum)
{
    const auto buffer = buffer_with(from_hex("aabbccdd 11111111 22 333333 44 55555555"));
    EXPECT_EQ(amt_convert_pc_2_app(buffer.get()), ERR_NONE);
    EXPECT_TRUE(same_bytes(content_of(*buffer), from_hex("44")));
    EXPECT_TRUE(same_bytes({buffer->m_data_a, buffer->m_data_a + AMT_MESSAGE_SIZE}, data_bytes("44")));
}

TEST(Unwrap, CutsTheMessageOfACutEnvelopeAndRefusesLessThan17Bytes)
{
    const byte_vector envelope = wire_vectors("envelope").at(4).bytes("envelope");
    for (uint32_t length = 1; length <= envelope.size(); length++) {
        const auto buffer = buffer_with(envelope, length);
        if (length < 17) {
            EXPECT_EQ(amt_convert_pc_2_app(buffer.get()), ERR_UNKNOWN) << length;
            EXPECT_TRUE(same_bytes(content_of(*buffer), {envelope.begin(), envelope.begin() + length}));
        } else {
            EXPECT_EQ(amt_convert_pc_2_app(buffer.get()), ERR_NONE) << length;
            EXPECT_TRUE(same_bytes(content_of(*buffer), {envelope.begin() + 12, envelope.begin() + (length - 4)}));
        }
    }
}

TEST(Unwrap, TakesAnATLineForNoFrameWithoutARecord)
{
    in_child([] {
        const test_log log;
        const std::string line = "AT+CGMI;+CGMM;+CGMR\r";
        const byte_vector bytes(line.begin(), line.end());
        const auto buffer = buffer_with(bytes);
        EXPECT_EQ(amt_convert_pc_2_app(buffer.get()), ERR_UNKNOWN);
        EXPECT_TRUE(same_bytes(content_of(*buffer), bytes));
        EXPECT_THAT(log.records(), ElementsAre("func | "));
    });
}

TEST(Unwrap, TakesAFullBuffer)
{
    byte_vector received = ramp(AMT_MESSAGE_SIZE);
    store_u32_le(received.data(), AMT_ENVELOPE_MAGIC);
    const auto buffer = buffer_with(received);
    EXPECT_EQ(amt_convert_pc_2_app(buffer.get()), ERR_NONE);
    EXPECT_EQ(buffer->m_length, 4080U);
    EXPECT_TRUE(same_bytes(content_of(*buffer), {received.begin() + 12, received.begin() + 4092}));
    EXPECT_EQ(to_hex({buffer->m_data_a + 4080, buffer->m_data_a + 4096}), std::string(32, '0'));
}

TEST(Unwrap, RefusesBadArgumentsAndTellsWhich)
{
    in_child([] {
        const test_log log;
        const auto empty = buffer_with(from_hex("aabbccdd"), 0);
        const auto too_long = buffer_with(from_hex("aabbccdd"), 4097);
        EXPECT_EQ(amt_convert_pc_2_app(nullptr), ERR_INVALID_PARAM);
        EXPECT_EQ(amt_convert_pc_2_app(empty.get()), ERR_INVALID_PARAM);
        EXPECT_EQ(amt_convert_pc_2_app(too_long.get()), ERR_INVALID_PARAM);
        EXPECT_EQ(too_long->m_length, 4097U);
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_bad_argument + "1, 0", "func | ", k_bad_argument + "0, 1",
                                               "func | ", k_bad_argument + "4097 > 4096"));
    });
}

} // namespace
