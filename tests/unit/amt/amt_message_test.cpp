#include "amt/wire/amt-message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stddef.h>

#include <functional>

#include "amt/wire/bytes.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/wire_vectors.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

static_assert(offsetof(amt_buffer, m_data_a) == 4 && offsetof(amt_buffer, m_end) == 4 + 4096,
              "a text search in the data must stop right behind them");

// A message whose bytes are all used up to `used`, by one atom with id 9.
byte_vector message_of_length(uint32_t used)
{
    byte_vector data = data_bytes("0000bb01");
    store_u16_le(&data[0], static_cast<uint16_t>(used));
    store_u16_le(&data[4], static_cast<uint16_t>(used - 6));
    if (used >= 11) {
        data[6] = 0xee;
        data[7] = 9;
        data[8] = 3;
        store_u16_le(&data[9], static_cast<uint16_t>(used - 11));
    }
    return data;
}

// A message with a body of any claimed length, and the bytes of its atoms at offset 6.
byte_vector message_with_body(uint16_t body_length, const std::string &atoms)
{
    byte_vector data = data_bytes("0000bb010000" + atoms);
    store_u16_le(&data[0], static_cast<uint16_t>(body_length + 6));
    store_u16_le(&data[4], body_length);
    return data;
}

byte_vector message_with(const std::string &atoms)
{
    return message_with_body(static_cast<uint16_t>(from_hex(atoms).size()), atoms);
}

// Where the length field of the atom was found; -1: nowhere.
long found_at(const byte_vector &data, uint8_t atom_id)
{
    const uint8_t *found = amt_message_find_atom(data.data(), atom_id);
    return found == nullptr ? -1 : static_cast<long>(found - data.data());
}

// --- integers in bytes

TEST(WireIntegers, AreLoadedInEitherOrderAtAnyOffset)
{
    const byte_vector bytes = from_hex("00 81 92 a3 b4");
    EXPECT_EQ(load_u16_le(&bytes[1]), 0x9281);
    EXPECT_EQ(load_u16_be(&bytes[1]), 0x8192);
    EXPECT_EQ(load_u32_le(&bytes[1]), 0xb4a39281);
    EXPECT_EQ(load_u32_be(&bytes[1]), 0x8192a3b4);
}

TEST(WireIntegers, AreStoredAtAnyOffset)
{
    byte_vector bytes(7);
    store_u16_le(&bytes[1], 0x9281);
    store_u32_le(&bytes[3], 0xb4a39281);
    EXPECT_TRUE(same_bytes(bytes, from_hex("00 8192 8192a3b4")));
}

// --- building

TEST(MessageInit, ClearsAllBytesAndWritesTheHeader)
{
    byte_vector data(AMT_MESSAGE_SIZE, 0xff);
    amt_message_init(data.data(), 0x2d);
    EXPECT_TRUE(same_bytes(data, data_bytes("0600bb2d0000")));
}

TEST(MessageInit, OfNothingIsOneRecord)
{
    in_child([] {
        const test_log log;
        amt_message_init(nullptr, 1);
        EXPECT_THAT(log.records(), ElementsAre(k_bad_argument + "1"));
    });
}

TEST(MessageAppend, WritesOneAtomOfEachTypeBehindTheOther)
{
    in_child([] {
        const test_log log;
        byte_vector data(AMT_MESSAGE_SIZE);
        const byte_vector ramp = from_hex("000102030405060708090a0b0c0d0e0f");
        amt_message_init(data.data(), 0x55);
        EXPECT_EQ(amt_message_append_int(data.data(), 2, 0x01020304), ERR_NONE);
        EXPECT_EQ(amt_message_append_string(data.data(), 3, "text"), ERR_NONE);
        EXPECT_EQ(amt_message_append_bytes(data.data(), 4, ramp.data(), 16), ERR_NONE);
        EXPECT_EQ(amt_message_append_bool(data.data(), 5, 1), ERR_NONE);
        EXPECT_TRUE(same_bytes(data, data_bytes("3300 bb 55 2d00"
                                                "ee 02 01 0400 04030201"
                                                "ee 03 02 0400 74657874"
                                                "ee 04 03 1000 000102030405060708090a0b0c0d0e0f"
                                                "ee 05 04 0100 01")));
        EXPECT_THAT(log.records(), IsEmpty()) << "dozens of these a request would drown the log";
    });
}

TEST(MessageAppend, TakesABoolOfAnyByteAndAnEmptyText)
{
    byte_vector data = data_bytes("0600bb010000");
    EXPECT_EQ(amt_message_append_bool(data.data(), 1, 0xff), ERR_NONE);
    EXPECT_EQ(amt_message_append_string(data.data(), 2, ""), ERR_NONE);
    EXPECT_TRUE(same_bytes(data, data_bytes("1100bb010b00 ee01040100ff ee02020000")));
}

TEST(MessageAppend, TakesBytesWithZerosInThem)
{
    byte_vector data = data_bytes("0600bb010000");
    EXPECT_EQ(amt_message_append_bytes(data.data(), 1, "\0a\0", 3), ERR_NONE);
    EXPECT_TRUE(same_bytes(data, data_bytes("0e00bb010800 ee01030300006100")));
}

struct appender_row {
    const char *name;
    uint32_t size; // of what it appends
    std::function<int32_t(uint8_t *)> append;
    const char *no_message; // the flags
    const char *not_begun;
    const char *full;
};

const std::vector<appender_row> &appenders()
{
    // clang-format off
    static const std::vector<appender_row> rows = {
        {"int",    9, [](uint8_t *message) { return amt_message_append_int(message, 1, 7); },
         "1, 0, 0, 0, 0", "0, 1, 0, 0, 0", "0, 0, 0, 0, 1"},
        {"bool",   6, [](uint8_t *message) { return amt_message_append_bool(message, 1, 7); },
         "1, 0, 0, 0, 0", "0, 1, 0, 0, 0", "0, 0, 0, 0, 1"},
        {"bytes",  7, [](uint8_t *message) { return amt_message_append_bytes(message, 1, "ab", 2); },
         "1, 0, 0, 0, 0", "0, 1, 0, 0, 0", "0, 0, 0, 0, 1"},
        {"string", 8, [](uint8_t *message) { return amt_message_append_string(message, 1, "abc"); },
         "1, 0, 0, 0, 0", "0, 1, 0, 0, 0", "0, 0, 0, 0, 1"},
        {"length", 3, [](uint8_t *message) { return amt_message_add_length(message, 3); },
         "1, 0, 0, 0, 0", "0, 1, 0, 0, 0", "0, 0, 0, 0, 1"},
    };
    // clang-format on
    return rows;
}

TEST(MessageAppend, FillsTheBufferToItsLastByte)
{
    for (const appender_row &row : appenders()) {
        SCOPED_TRACE(row.name);
        byte_vector data = message_of_length(AMT_MESSAGE_SIZE - row.size);
        EXPECT_EQ(row.append(data.data()), ERR_NONE);
        EXPECT_EQ(load_u16_le(&data[0]), 4096);
        EXPECT_EQ(load_u16_le(&data[4]), 4090);
    }
}

TEST(MessageAppend, RefusesWhatDoesNotFitAndChangesNothing)
{
    for (const appender_row &row : appenders()) {
        SCOPED_TRACE(row.name);
        for (const uint32_t used : {AMT_MESSAGE_SIZE - row.size + 1, AMT_MESSAGE_SIZE, AMT_MESSAGE_SIZE + 1, 65535U}) {
            in_child([&row, used] {
                const test_log log;
                const byte_vector before = message_of_length(used);
                byte_vector data = before;
                EXPECT_EQ(row.append(data.data()), ERR_INVALID_PARAM);
                EXPECT_TRUE(same_bytes(data, before));
                EXPECT_THAT(log.records(), ElementsAre(k_bad_argument + row.full)) << used;
            });
        }
    }
}

TEST(MessageAppend, RefusesAMessageThatWasNeverBegun)
{
    for (const appender_row &row : appenders()) {
        SCOPED_TRACE(row.name);
        for (const uint8_t total : {uint8_t{0}, uint8_t{5}}) {
            in_child([&row, total] {
                const test_log log;
                byte_vector data = data_bytes("");
                data[0] = total;
                const byte_vector before = data;
                EXPECT_EQ(row.append(data.data()), ERR_INVALID_PARAM);
                EXPECT_TRUE(same_bytes(data, before));
                EXPECT_THAT(log.records(), ElementsAre(k_bad_argument + row.not_begun));
            });
        }
    }
}

TEST(MessageAppend, RefusesToWorkWithoutAMessage)
{
    for (const appender_row &row : appenders()) {
        in_child([&row] {
            const test_log log;
            EXPECT_EQ(row.append(nullptr), ERR_INVALID_PARAM);
            EXPECT_THAT(log.records(), ElementsAre(k_bad_argument + row.no_message)) << row.name;
        });
    }
}

TEST(MessageAppend, RefusesMissingValuesAndNoBytes)
{
    in_child([] {
        const test_log log;
        byte_vector data = data_bytes("0600bb010000");
        EXPECT_EQ(amt_message_append_bytes(data.data(), 1, nullptr, 4), ERR_INVALID_PARAM);
        EXPECT_EQ(amt_message_append_bytes(data.data(), 1, "x", 0), ERR_INVALID_PARAM);
        EXPECT_EQ(amt_message_append_string(data.data(), 1, nullptr), ERR_INVALID_PARAM);
        EXPECT_TRUE(same_bytes(data, data_bytes("0600bb010000")));
        EXPECT_THAT(log.records(), ElementsAre(k_bad_argument + "0, 0, 1, 0, 0", k_bad_argument + "0, 0, 0, 1, 0",
                                               k_bad_argument + "0, 0, 1, 0, 0"));
    });
}

TEST(MessageAppend, RefusesLengthsThatAU16CannotSay)
{
    byte_vector data = data_bytes("0600bb010000");
    for (const uint32_t length : {4086U, 65535U, 65536U, 65537U, UINT32_MAX - 10, UINT32_MAX}) {
        EXPECT_EQ(amt_message_append_bytes(data.data(), 1, "x", length), ERR_INVALID_PARAM) << length;
        EXPECT_EQ(amt_message_add_length(data.data(), length + 5 > length ? length + 5 : length), ERR_INVALID_PARAM)
            << length;
    }
    EXPECT_EQ(amt_message_append_string(data.data(), 1, std::string(65536, 'x').c_str()), ERR_INVALID_PARAM);
    EXPECT_TRUE(same_bytes(data, data_bytes("0600bb010000")));
}

TEST(MessageAddLength, MakesTotalAndBodyLonger)
{
    byte_vector data = data_bytes("0600bb010700"); // the body is counted anew
    EXPECT_EQ(amt_message_add_length(data.data(), 300), ERR_NONE);
    EXPECT_TRUE(same_bytes(data, data_bytes("3201bb012c01")));
    EXPECT_EQ(amt_message_add_length(data.data(), 0), ERR_NONE);
    EXPECT_TRUE(same_bytes(data, data_bytes("3201bb012c01")));
}

// --- finding

struct find_row {
    const char *name;
    byte_vector data;
    uint8_t atom_id;
    long offset; // of the length field; -1: none
};

TEST(FindAtom, GivesTheLengthFieldOfTheFirstAtomOfItsId)
{
    const std::string three = "ee01040100aa ee02020200bbbb ee03010400dddddddd";
    const std::string value_like_atom = "ee02030600 ee0704010001 ee0704010002";
    // clang-format off
    const std::vector<find_row> rows = {
        {"the first",                          message_with(three), 1, 9},
        {"the second",                         message_with(three), 2, 15},
        {"the last",                           message_with(three), 3, 22},
        {"an id that is not there",            message_with(three), 4, -1},
        {"id 0",                               message_with("ee00040100aa"), 0, 9},
        {"behind an atom without a value",     message_with("ee01020000 ee02020000"), 2, 14},
        {"the first match only",               message_with("ee05040100aa ee06040100bb ee06040100cc"), 6, 15},
        {"not inside a value",                 message_with(value_like_atom), 7, 20},
        {"no body",                            message_with_body(0, "ee01040100aa"), 1, -1},
        {"no atom head in the first place",    message_with("ef01040100aa ee02040100aa"), 2, -1},
        {"the first, with a wrong head",       message_with("ef01040100aa"), 1, -1},
        {"behind a gap",                       message_with("ee01040100aa 00 ee02040100aa"), 2, -1},
        {"behind the body",                    message_with_body(6, "ee01040100aa ee02040100aa"), 2, -1},
        {"begun inside the body",              message_with_body(7, "ee01040100aa ee02040100aa"), 2, -1},
        {"all but its last byte in the body",  message_with_body(11, "ee01040100aa ee02040100aa"), 2, -1},
        {"to the body's last byte",            message_with_body(12, "ee01040100aa ee02040100aa"), 2, 15},
        {"all but its header's last byte",     message_with_body(10, "ee01040100aa ee02040000"), 2, -1},
        {"a header to the body's last byte",   message_with_body(11, "ee01040100aa ee02040000"), 2, 15},
        {"the first, longer than the body",    message_with("ee01030200 aa"), 1, -1},
        {"behind a length to the body's end",  message_with("ee01030800 aa ee02040100aa bb"), 2, -1},
        {"behind a length past the body",      message_with("ee0103ffff ee02040100aa"), 2, -1},
        {"a body of one byte",                 message_with_body(1, "ee01040100aa"), 1, -1},
        {"a body longer than the buffer",      message_with_body(65535, three), 3, 22},
        {"not there, the body being longer",   message_with_body(65535, three), 4, -1},
    };
    // clang-format on
    for (const find_row &row : rows) {
        EXPECT_EQ(found_at(row.data, row.atom_id), row.offset) << row.name;
    }
}

TEST(FindAtom, EndsWhereSizesAddUpTo65536)
{
    // A sum of 16 bits would stand at 0 again and walk in a circle.
    EXPECT_EQ(found_at(message_with_body(65535, "ee0103fbff ee02040100aa"), 2), -1);
    // Two atoms that add up to 65536 only together.
    EXPECT_EQ(found_at(message_with_body(65535, "ee01040100aa ee0103f5ff ee02040100aa"), 2), -1);
}

TEST(FindAtom, TakesAnAtomToTheVeryEndOfTheBuffer)
{
    for (const uint32_t offset : {4090U, 4091U, 4092U, 4093U, 4094U, 4095U}) {
        byte_vector data = message_of_length(offset);
        store_u16_le(&data[4], 65535);
        const byte_vector atom = from_hex("ee05030000");
        for (size_t i = 0; i < atom.size() && offset + i < data.size(); i++) {
            data[offset + i] = atom[i];
        }
        EXPECT_EQ(found_at(data, 5), offset <= 4091 ? static_cast<long>(offset) + 3 : -1L) << offset;
    }
}

TEST(FindAtom, FindsNothingInAnEmptyBufferOrNoMessage)
{
    EXPECT_EQ(amt_message_find_atom(nullptr, 0), nullptr);
    EXPECT_EQ(found_at(data_bytes(""), 0), -1);
    EXPECT_EQ(found_at(byte_vector(AMT_MESSAGE_SIZE, 0xff), 0xff), -1);
    EXPECT_EQ(found_at(byte_vector(AMT_MESSAGE_SIZE, 0xee), 0xee), -1);
    EXPECT_EQ(found_at(byte_vector(AMT_MESSAGE_SIZE, 0xee), 1), -1);
}

// --- integers

TEST(MessageInt, IsReadLittleEndian)
{
    const byte_vector data = message_with("ee02010400 04030281");
    EXPECT_EQ(amt_message_get_int(data.data(), 2), 0x81020304U);
    EXPECT_EQ(amt_message_get_int_or_one(data.data(), 2), 0x81020304U);
}

TEST(MessageInt, IsZeroOrOneWithoutItsAtom)
{
    const byte_vector data = message_with("ee02010400 00000000");
    EXPECT_EQ(amt_message_get_int(data.data(), 3), 0U);
    EXPECT_EQ(amt_message_get_int_or_one(data.data(), 3), 1U);
    EXPECT_EQ(amt_message_get_int_or_one(data.data(), 2), 0U) << "it is there, and 0";
    EXPECT_EQ(amt_message_get_int(nullptr, 2), 0U);
    EXPECT_EQ(amt_message_get_int_or_one(nullptr, 2), 1U);
}

TEST(MessageInt, HasZerosInPlaceOfBytesThatItsAtomDoesNotHold)
{
    const std::pair<const char *, uint32_t> rows[] = {
        {"ee05010000 ee06010100ff", 0},
        {"ee05010100 11 ee06010100ff", 0x11},
        {"ee05010200 1122 ee06010100ff", 0x2211},
        {"ee05010300 112233 ee06010100ff", 0x332211},
        {"ee05010400 11223344 ee06010100ff", 0x44332211},
        {"ee05010500 1122334455 ee06010100ff", 0x44332211},
        {"ee05020200 3132", 0x3231},
    };
    for (const auto &[atoms, number] : rows) {
        const byte_vector data = message_with(atoms);
        EXPECT_EQ(amt_message_get_int(data.data(), 5), number) << atoms;
        EXPECT_EQ(amt_message_get_int_or_one(data.data(), 5), number) << atoms;
    }
}

TEST(MessageInt, IsNotReadBeyondTheEndOfTheBuffer)
{
    for (uint32_t missing = 0; missing < 5; missing++) {
        const uint32_t offset = AMT_MESSAGE_SIZE - 9 + missing;
        byte_vector data = message_of_length(offset);
        store_u16_le(&data[4], 65535);
        const byte_vector atom = from_hex("ee05010400 11223344");
        std::copy(atom.begin(), atom.end() - missing, data.begin() + offset);
        data.resize(AMT_MESSAGE_SIZE + 64, 0x55); // somebody else's
        EXPECT_EQ(amt_message_get_int(data.data(), 5), missing == 0 ? 0x44332211U : 0U) << missing;
        EXPECT_EQ(amt_message_get_int_or_one(data.data(), 5), missing == 0 ? 0x44332211U : 1U) << missing;
    }
}

// --- bytes and texts

struct get_row {
    const char *name;
    size_t length;
    uint32_t capacity;
    uint32_t count; // what is returned
    size_t copied;  // letters in the destination, the rest of it 0
};

using getter = uint32_t (*)(const uint8_t *, uint8_t, char *, uint32_t);

uint32_t get_bytes(const uint8_t *message, uint8_t atom_id, char *destination, uint32_t capacity)
{
    return amt_message_get_bytes(message, atom_id, destination, capacity);
}

void expect_rows(getter get, const std::vector<get_row> &rows)
{
    for (const get_row &row : rows) {
        SCOPED_TRACE(row.name);
        const std::string letters = std::string("abcdefghijklmnopqrstuvwxyz").substr(0, row.length);
        byte_vector data = data_bytes("0600bb010000");
        ASSERT_EQ(amt_message_append_int(data.data(), 1, 0), ERR_NONE);
        ASSERT_EQ(amt_message_append_string(data.data(), 2, letters.c_str()), ERR_NONE);
        ASSERT_EQ(amt_message_append_string(data.data(), 3, "behind"), ERR_NONE);
        std::vector<char> destination(row.capacity, 'X');
        EXPECT_EQ(get(data.data(), 2, row.capacity == 0 ? nullptr : destination.data(), row.capacity), row.count);
        std::string expected = letters.substr(0, row.copied);
        expected.resize(row.capacity);
        EXPECT_EQ(std::string(destination.data(), destination.size()), expected);
    }
}

TEST(MessageBytes, AreCutToTheCapacityAndTheRestOfTheDestinationIsCleared)
{
    // clang-format off
    expect_rows(get_bytes, {
        // name            length  capacity  count  copied
        {"asked for length",   15,        0,    15,      0},
        {"shorter",             3,       15,     3,      3},
        {"exact",              15,       15,    15,     15},
        {"longer",             16,       15,    15,     15},
        {"one byte of many",   16,        1,     1,      1},
        {"empty",               0,        4,     0,      0},
        {"length of empty",     0,        0,     0,      0},
    });
    // clang-format on
}

TEST(MessageString, OfExactlyTheCapacityHasNoTerminatorAndALongerOneHas)
{
    // clang-format off
    expect_rows(amt_message_get_string, {
        // name            length  capacity  count  copied
        {"asked for length",   15,        0,    16,      0},
        {"shorter",            20,       21,    20,     20},
        {"exact",              21,       21,    21,     21},
        {"longer",             22,       21,    20,     20},
        {"much longer",        26,        5,     4,      4},
        {"one of one",          1,        1,     1,      1},
        {"one of two",          2,        1,     0,      0},
        {"empty",               0,        4,     0,      0},
        {"length of empty",     0,        0,     1,      0},
    });
    // clang-format on
}

TEST(MessageBytesAndStrings, OfAMissingAtomAreNoneAndTheDestinationIsCleared)
{
    const byte_vector data = message_with("ee02020100 61");
    for (const getter get : {getter{get_bytes}, getter{amt_message_get_string}}) {
        for (const uint8_t *message : {data.data(), static_cast<const uint8_t *>(nullptr)}) {
            char destination[4] = {'X', 'X', 'X', 'Y'};
            EXPECT_EQ(get(message, 7, nullptr, 0), 0U);
            EXPECT_EQ(get(message, 7, destination, 3), 0U);
            EXPECT_EQ(std::string(destination, 4), std::string("\0\0\0Y", 4));
        }
    }
}

TEST(MessageBytesAndStrings, NeedADestinationForACapacity)
{
    in_child([] {
        const test_log log;
        const byte_vector data = message_with("ee02020100 61");
        EXPECT_EQ(amt_message_get_bytes(data.data(), 2, nullptr, 4), 0U);
        EXPECT_EQ(amt_message_get_string(data.data(), 2, nullptr, 4), 0U);
        EXPECT_THAT(log.records(), ElementsAre(k_bad_argument + "1", k_bad_argument + "1"));
    });
}

TEST(MessageBytesAndStrings, AreNotReadBeyondTheEndOfTheBuffer)
{
    for (const bool fits : {true, false}) {
        byte_vector data = message_of_length(4089);
        store_u16_le(&data[4], 65535);
        const byte_vector atom = from_hex(fits ? "ee05030200 6162" : "ee05030300 6162");
        std::copy(atom.begin(), atom.end(), data.begin() + 4089);
        data.resize(AMT_MESSAGE_SIZE + 64, 0x63); // somebody else's
        for (const getter get : {getter{get_bytes}, getter{amt_message_get_string}}) {
            char destination[4] = "old";
            EXPECT_EQ(get(data.data(), 5, destination, 4), fits ? 2U : 0U);
            EXPECT_EQ(std::string(destination, 4), std::string(fits ? "ab\0\0" : "\0\0\0\0", 4));
        }
    }
}

// --- the header

TEST(MessageHeader, IsReadFromTheMessageAndIsZeroWithoutOne)
{
    const byte_vector data = data_bytes("3482bb2d0000");
    EXPECT_EQ(amt_message_get_command_id(data.data()), 0x2d);
    EXPECT_EQ(amt_message_get_total_length(data.data()), 0x8234);
    EXPECT_EQ(amt_message_get_command_id(nullptr), 0);
    EXPECT_EQ(amt_message_get_total_length(nullptr), 0);
}

} // namespace
