#include "amt/wire/amt-at-data.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "amt/wire/bytes.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/wire_vectors.h"

namespace {

using ::testing::ElementsAre;

const std::string k_unknown = "error | -100 - Unknown error | ";

// --- requests

struct conversion {
    int32_t result;
    byte_vector bytes; // all of the output
    uint32_t length;
};

conversion to_at_data(const byte_vector &message, uint32_t output_size = AMT_MESSAGE_SIZE)
{
    conversion made = {-1, byte_vector(output_size, 0xaa), 12345};
    made.result =
        amt_convert_req_amt_data_2_at_data(data_bytes(message).data(), made.bytes.data(), output_size, &made.length);
    return made;
}

// A message of these atoms, its lengths set.
byte_vector request(uint8_t command_id, const std::string &atoms)
{
    byte_vector message = from_hex("0000bb000000" + atoms);
    store_u16_le(&message[0], static_cast<uint16_t>(message.size()));
    store_u16_le(&message[4], static_cast<uint16_t>(message.size() - 6));
    message[3] = command_id;
    return message;
}

TEST(Request, BecomesTheATDataOfEveryVectorAndClearsTheOutput)
{
    for (const wire_vector &vector : wire_vectors("request to AT data")) {
        const conversion made = to_at_data(vector.bytes("message"));
        EXPECT_EQ(made.result, ERR_NONE) << vector.name;
        EXPECT_EQ(made.length, vector.bytes("at").size()) << vector.name;
        EXPECT_TRUE(same_bytes(made.bytes, data_bytes(vector.bytes("at")))) << vector.name;
    }
}

struct request_row {
    const char *name;
    uint8_t command_id;
    const char *atoms;
    const char *at_data;
};

TEST(Request, BecomesItsIdAndTheValuesOfItsAtoms)
{
    // clang-format off
    constexpr request_row rows_a[] = {
        {"no atoms",                 0x2f, "",                                              "2f"},
        {"an int, as it is",         0x3d, "ee09010400 44332211",                           "3d 44332211"},
        {"a text",                   0x0b, "ee09020300 616263",                             "0b 616263"},
        {"an empty text",            0x0b, "ee09020000 ee0a040100 01",                      "0b 01"},
        {"bytes",                    0x0b, "ee09030200 ee00",                               "0b ee00"},
        {"a bool",                   0x0b, "ee09040100 02",                                 "0b 02"},
        {"an id of 0 twice",         0x0b, "ee00040100 02 ee00040100 03",                   "0b 02 03"},
        {"151, no atoms",            0x97, "",                                              "97"},
        {"151, every type",          0x97, "ee01010400 04030201 ee02020100 41 ee03030200 4243 ee04040100 01",
                                     "97 0400 04030201 0100 41 0200 4243 0100 01"},
        {"151, an empty text",       0x97, "ee09020000",                                    "97 0000"},
        {"152 has no lengths",       0x98, "ee09040100 02",                                 "98 02"},
    };
    // clang-format on
    in_child([&rows_a] {
        const test_log log;
        for (const request_row &row : rows_a) {
            SCOPED_TRACE(row.name);
            const conversion made = to_at_data(request(row.command_id, row.atoms));
            EXPECT_EQ(made.result, ERR_NONE);
            EXPECT_EQ(made.length, from_hex(row.at_data).size());
            EXPECT_TRUE(same_bytes(made.bytes, data_bytes(row.at_data)));
        }
        EXPECT_EQ(log.records(), std::vector<std::string>(std::size(rows_a), "func | "));
    });
}

struct bad_request_row {
    const char *name;
    const char *message; // whole
    const char *error;
    uint32_t length; // converted until then
};

TEST(Request, ThatIsBrokenIsRefusedAndTold)
{
    // clang-format off
    constexpr bad_request_row rows_a[] = {
        {"no command head",      "0600ba2f0000",                           "command head mismatch: BA != BB",       0},
        {"an empty buffer",      "",                                       "command head mismatch: 00 != BB",       0},
        {"no atom head",         "0c00bb2f0600 ef0104010001",              "atom head mismatch: EF != EE",          1},
        {"no second atom head",  "1200bb2f0c00 ee0104010001 0e0104010001", "atom head mismatch: 0E != EE",          2},
        {"an int of 5 bytes",    "1000bb2f0a00 ee01010500 0102030405",     "atom length mismatch: 05 != 04",        1},
        {"an int of no bytes",   "0b00bb2f0500 ee01010000",                "atom length mismatch: 00 != 04",        1},
        {"an int of 4660 bytes", "0f00bb2f0900 ee01013412 01020304",       "atom length mismatch: 1234 != 04",      1},
        {"a bool of 2 bytes",    "0d00bb2f0700 ee01040200 0102",           "atom length mismatch: 02 != 01",        1},
        {"a bool of no bytes",   "0b00bb2f0500 ee01040000",                "atom length mismatch: 00 != 01",        1},
        {"a value of type 0",    "0c00bb2f0600 ee0100010001",              "unknown atom value type: 00",           1},
        {"a value of type 5",    "0c00bb2f0600 ee0105010001",              "unknown atom value type: 05",           1},
        {"a value of type 255",  "0c00bb2f0600 ee01ff010001",              "unknown atom value type: FF",           1},
        {"the head of an atom",  "0700bb2f0100 ee",                        "unknown atom value type: 00",           1},
        {"text behind the body", "0c00bb2f0600 ee01020200 6162",           "atom ends behind its message: 13 > 12", 1},
        {"int behind the body",  "0c00bb2f0600 ee01010400 01020304",       "atom ends behind its message: 15 > 12", 1},
        {"header cut in two",    "0900bb2f0300 ee0103",                    "atom ends behind its message: 11 > 9",  1},
    };
    // clang-format on
    for (const bad_request_row &row : rows_a) {
        SCOPED_TRACE(row.name);
        in_child([&row] {
            const test_log log;
            const conversion made = to_at_data(from_hex(row.message));
            EXPECT_EQ(made.result, ERR_UNKNOWN);
            EXPECT_EQ(made.length, row.length);
            EXPECT_THAT(log.records(), ElementsAre("func | ", k_unknown + row.error));
        });
    }
}

TEST(Request, CutAnywhereButBetweenItsAtomsIsRefused)
{
    for (const uint8_t command_id : {uint8_t{11}, uint8_t{151}}) {
        const std::string atoms = "ee01010400 04030201 ee02020300 414243 ee03030200 4445 ee04040100 01";
        const byte_vector whole = request(command_id, atoms);
        const std::set<size_t> ends = {6, 15, 23, 30, 36};
        for (size_t end = 6; end <= whole.size(); end++) {
            byte_vector cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(end));
            store_u16_le(&cut[0], static_cast<uint16_t>(end));
            store_u16_le(&cut[4], static_cast<uint16_t>(end - 6));
            EXPECT_EQ(to_at_data(cut).result, ends.count(end) != 0 ? ERR_NONE : ERR_UNKNOWN) << end;
        }
    }
}

TEST(Request, ThatClaimsToReachBehindTheBufferIsRefused)
{
    in_child([] {
        const test_log log;
        byte_vector message = request(11, "ee0103f50f"); // 4085 bytes: to the end of the buffer
        store_u16_le(&message[4], 5000);
        EXPECT_EQ(to_at_data(message).result, ERR_UNKNOWN);
        EXPECT_EQ(log.records().back(), k_unknown + "atom head mismatch: 00 != EE");
        store_u16_le(&message[9], 4086);
        EXPECT_EQ(to_at_data(message).result, ERR_UNKNOWN);
        EXPECT_EQ(log.records().back(), k_unknown + "atom ends behind its message: 4097 > 4096");
        store_u16_le(&message[4], 65535);
        store_u16_le(&message[9], 65530);
        EXPECT_EQ(to_at_data(message).result, ERR_UNKNOWN);
        EXPECT_EQ(log.records().back(), k_unknown + "atom ends behind its message: 65541 > 4096");
    });
}

TEST(Request, MayFillTheBufferToItsLastByte)
{
    byte_vector message = request(11, "ee0103f50f");
    store_u16_le(&message[4], 4090);
    const conversion made = to_at_data(message);
    EXPECT_EQ(made.result, ERR_NONE);
    EXPECT_EQ(made.length, 1U + 4085U);
}

TEST(Request, WhoseAtomHeaderIsCutByTheBufferIsRefused)
{
    for (uint32_t offset = 4091; offset < 4096; offset++) {
        byte_vector message = data_bytes(request(11, "ee01030000"));
        store_u16_le(&message[9], static_cast<uint16_t>(offset - 11));
        store_u16_le(&message[4], 65535);
        const byte_vector atom = from_hex("ee05030100");
        std::copy(atom.begin(), atom.begin() + std::min(5L, 4096L - offset), message.begin() + offset);
        EXPECT_EQ(to_at_data(message).result, ERR_UNKNOWN) << offset;
    }
}

TEST(Request, ThatDoesNotFitItsOutputIsRefusedAndNeverWrittenBehindIt)
{
    for (const uint8_t command_id : {uint8_t{11}, uint8_t{151}}) {
        const byte_vector message =
            request(command_id, "ee01010400 04030201 ee02020300 414243 ee03030200 4445 ee04040100 01");
        const conversion whole = to_at_data(message);
        ASSERT_EQ(whole.result, ERR_NONE);
        for (uint32_t size = 1; size <= whole.length; size++) {
            const conversion made = to_at_data(message, size);
            EXPECT_EQ(made.result, size == whole.length ? ERR_NONE : ERR_UNKNOWN) << size;
            ASSERT_LE(made.length, size);
            EXPECT_TRUE(std::equal(made.bytes.begin(), made.bytes.begin() + made.length, whole.bytes.begin())) << size;
        }
    }
}

TEST(Request, ThatDoesNotFitItsOutputIsTold)
{
    in_child([] {
        const test_log log;
        EXPECT_EQ(to_at_data(request(11, "ee02020300 414243"), 3).result, ERR_UNKNOWN);
        EXPECT_EQ(to_at_data(request(151, "ee02020300 414243"), 5).result, ERR_UNKNOWN);
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_unknown + "atom does not fit: 3 > 2", "func | ",
                                               k_unknown + "atom does not fit: 5 > 4"));
    });
}

TEST(Request, NeedsAllItsArguments)
{
    in_child([] {
        const test_log log;
        const byte_vector message = data_bytes("0600bb2f0000");
        uint8_t output[4] = {0xaa};
        uint32_t length = 77;
        EXPECT_EQ(amt_convert_req_amt_data_2_at_data(nullptr, output, 4, &length), ERR_INVALID_PARAM);
        EXPECT_EQ(amt_convert_req_amt_data_2_at_data(message.data(), nullptr, 4, &length), ERR_INVALID_PARAM);
        EXPECT_EQ(amt_convert_req_amt_data_2_at_data(message.data(), output, 0, &length), ERR_INVALID_PARAM);
        EXPECT_EQ(amt_convert_req_amt_data_2_at_data(message.data(), output, 4, nullptr), ERR_INVALID_PARAM);
        EXPECT_EQ(output[0], 0xaa);
        EXPECT_EQ(length, 77U);
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", k_bad_argument + "1, 0, 0, 0", "func | ", k_bad_argument + "0, 1, 0, 0",
                                "func | ", k_bad_argument + "0, 0, 1, 0", "func | ", k_bad_argument + "0, 0, 0, 1"));
    });
}

// --- responses

struct response {
    int32_t result;
    byte_vector data; // all of the output
};

response from_at_data(const byte_vector &at_data)
{
    const byte_vector exact(at_data.begin(), at_data.end()); // nothing behind its end
    response made = {-1, byte_vector(AMT_MESSAGE_SIZE, 0xaa)};
    made.result = amt_convert_rsp_at_data_2_amt_data(exact.data(), static_cast<uint32_t>(exact.size()),
                                                     made.data.data(), AMT_MESSAGE_SIZE);
    return made;
}

byte_vector operator+(byte_vector left, const byte_vector &right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

TEST(Response, IsTheMessageOfEveryVectorAndTheRestOfTheOutputIsCleared)
{
    for (const wire_vector &vector : wire_vectors("AT data to response")) {
        const response made = from_at_data(vector.bytes("at"));
        EXPECT_EQ(made.result, ERR_NONE) << vector.name;
        EXPECT_TRUE(same_bytes(made.data, data_bytes(vector.bytes("message")))) << vector.name;
    }
}

struct response_row {
    const char *name;
    uint8_t id;
    const char *fields;
    const char *atoms; // behind that of the result
};

// clang-format off
constexpr response_row k_responses_a[] = {
    {"IMEI",           8, "313233343536373839303132333435",   "ee15030f00 313233343536373839303132333435"},
    {"rx data",       24, "81020304 03000000 78797a",         "ee0c010400 04030281 ee04030300 78797a"},
    {"iq power",      26, "a0b0c0d0",                         "ee0d010400 d0c0b0a0"},
    {"version",       46, "00000011"
                          "1111111111111111 2222222222222222 3333333333333333 4444444444444444"
                          "5555555555555555 6666666666666666 7777777777777777 8888888888888888",
                          "ee13010400 11000000 ee12034000"
                          "1111111111111111 2222222222222222 3333333333333333 4444444444444444"
                          "5555555555555555 6666666666666666 7777777777777777 8888888888888888"},
    {"table 48",      48, "05000000 0102030405",              "ee04030500 0102030405"},
    {"table 62",      62, "05000000 0102030405",              "ee04030500 0102030405"},
    {"table 114",    114, "05000000 0102030405",              "ee04030500 0102030405"},
    {"rf adc",        60, "00000063",                         "ee18010400 63000000"},
    {"iq serial",     78, "02000000 5a5b",                    "ee22030200 5a5b"},
    {"SIM check",    100, "01",                               "ee29040100 01"},
    {"gsm control",  106, "01000000 51",                      "ee2b030100 51"},
    {"table flag",   110, "00",                               "ee2c040100 00"},
    {"dsp",          152, "0400 64737058",                    "ee3e030400 64737058"},
    {"dsp indication", 221, "0100 21",                        "ee3e030100 21"},
};
// clang-format on

byte_vector at_data_of(const response_row &row)
{
    return byte_vector{row.id} + from_hex("01020304") + from_hex(row.fields);
}

byte_vector message_of(uint8_t id, const byte_vector &atoms)
{
    byte_vector message = from_hex("0000bb000000") + atoms;
    store_u16_le(&message[0], static_cast<uint16_t>(message.size()));
    store_u16_le(&message[4], static_cast<uint16_t>(message.size() - 6));
    message[3] = id;
    return message;
}

TEST(Response, HasTheFieldsOfItsIdBehindTheResult)
{
    in_child([] {
        const test_log log;
        for (const response_row &row : k_responses_a) {
            SCOPED_TRACE(row.name);
            const byte_vector atoms = from_hex("ee01010400 04030201") + from_hex(row.atoms);
            for (const byte_vector &surplus : {byte_vector{}, byte_vector(40, 0xee)}) {
                const response made = from_at_data(at_data_of(row) + surplus);
                EXPECT_EQ(made.result, ERR_NONE);
                EXPECT_TRUE(same_bytes(made.data, data_bytes(message_of(row.id, atoms))));
            }
        }
        EXPECT_EQ(log.records(), std::vector<std::string>(2 * std::size(k_responses_a), "func | "));
    });
}

TEST(Response, OfAnyOtherIdHasItsResultOnly)
{
    std::set<uint32_t> with_fields;
    for (const response_row &row : k_responses_a) {
        with_fields.insert(row.id);
    }
    for (uint32_t id = 0; id < 256; id++) {
        const byte_vector result_only =
            data_bytes(message_of(static_cast<uint8_t>(id), from_hex("ee01010400 04030201")));
        const byte_vector id_and_result = byte_vector{static_cast<uint8_t>(id)} + from_hex("01020304");
        EXPECT_EQ(from_at_data(id_and_result).result, ERR_NONE) << id;
        EXPECT_TRUE(same_bytes(from_at_data(id_and_result).data, result_only)) << id;
        if (with_fields.count(id) == 0) {
            const response made = from_at_data(id_and_result + from_hex("0700000041424344454647"));
            EXPECT_EQ(made.result, ERR_NONE) << id;
            EXPECT_TRUE(same_bytes(made.data, result_only)) << id;
        }
    }
}

TEST(Response, CutInItsResultHasZerosThere)
{
    const byte_vector whole = from_hex("08 01020304 3132");
    for (size_t end = 1; end <= 5; end++) {
        const response made = from_at_data({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(end)});
        byte_vector result = from_hex("04030201");
        std::fill_n(result.begin(), 5 - end, uint8_t{0});
        EXPECT_EQ(made.result, ERR_NONE) << end;
        EXPECT_TRUE(same_bytes(made.data, data_bytes(message_of(8, from_hex("ee01010400") + result)))) << end;
    }
}

TEST(Response, CutInItsFieldsIsThatOfTheInputWithZerosBehind)
{
    for (const response_row &row : k_responses_a) {
        const byte_vector whole = at_data_of(row);
        for (size_t end = 6; end < whole.size(); end++) {
            const byte_vector cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(end));
            byte_vector padded = cut;
            padded.resize(whole.size() + 100);
            const response made = from_at_data(cut);
            const response expected = from_at_data(padded);
            EXPECT_EQ(made.result, expected.result) << row.name << ", " << end;
            EXPECT_TRUE(same_bytes(made.data, expected.data)) << row.name << ", " << end;
        }
    }
}

struct cut_row {
    const char *name;
    const char *at_data;
    int32_t result;
    const char *message;
};

TEST(Response, ThatIsTooShortIsFilledWithZeros)
{
    // clang-format off
    constexpr cut_row rows_a[] = {
        {"IMEI of two digits",     "08 00000000 3132", ERR_NONE,
         "2300bb081d00 ee0101040000000000 ee15030f00 313200000000000000000000000000"},
        {"a number of two bytes",  "1a 00000000 0102", ERR_NONE,
         "1800bb1a1200 ee0101040000000000 ee0d010400 00000201"},
        {"four of five bytes",     "30 00000000 05000000 01020304", ERR_NONE,
         "1900bb301300 ee0101040000000000 ee04030500 0102030400"},
        {"a length of one byte",   "98 00000000 02", ERR_NONE,
         "1600bb981000 ee0101040000000000 ee3e030200 0000"},
        {"a number and no length", "18 00000000 00000007", ERR_INVALID_PARAM,
         "1800bb181200 ee0101040000000000 ee0c010400 07000000"},
    };
    // clang-format on
    for (const cut_row &row : rows_a) {
        const response made = from_at_data(from_hex(row.at_data));
        EXPECT_EQ(made.result, row.result) << row.name;
        EXPECT_TRUE(same_bytes(made.data, data_bytes(row.message))) << row.name;
    }
}

TEST(Response, VersionOfFewerThan64BytesIsFilledUp)
{
    const response made = from_at_data(from_hex("2e 00000000 00000011 56312e30"));
    EXPECT_EQ(made.result, ERR_NONE);
    EXPECT_TRUE(same_bytes(message_in(made.data), from_hex("5d00bb2e5700 ee0101040000000000 ee1301040011000000"
                                                           "ee12034000 56312e30") +
                                                      byte_vector(60)));
}

// The result, which is 0, is all that the message has.
void expect_field_refused(const char *at_data, const std::string &flags)
{
    SCOPED_TRACE(at_data);
    in_child([at_data, &flags] {
        const test_log log;
        const byte_vector input = from_hex(at_data);
        const response made = from_at_data(input);
        EXPECT_EQ(made.result, ERR_INVALID_PARAM);
        EXPECT_TRUE(same_bytes(made.data, data_bytes(message_of(input[0], from_hex("ee0101040000000000")))));
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_bad_argument + flags));
    });
}

TEST(Response, WithAFieldOfNoBytesIsRefusedAndTold)
{
    for (const char *at_data :
         {"30 00000000 00000000 0102", "3e 00000000 00000000", "72 00000000 00000000 01", "4e 00000000 00000000",
          "6a 00000000 0000000001", "98 00000000 0000 01", "dd 00000000 0000"}) {
        expect_field_refused(at_data, "0, 0, 0, 1, 0");
    }
}

TEST(Response, WithAFieldThatDoesNotFitIsRefusedAndTold)
{
    for (const char *at_data : {"30 00000000 ed0f0000", "30 00000000 ffffffff", "30 00000000 00000100",
                                "30 00000000 fbffffff01", "98 00000000 ed0f", "98 00000000 ffff"}) {
        expect_field_refused(at_data, "0, 0, 0, 0, 1");
    }
}

TEST(Response, WithAFieldLongerThanAnyMessageIsRefusedAlsoWhenItIsAllThere)
{
    const response made = from_at_data(from_hex("30 00000000 88130000") + byte_vector(5000, 0x11));
    EXPECT_EQ(made.result, ERR_INVALID_PARAM);
    EXPECT_TRUE(same_bytes(made.data, data_bytes(message_of(0x30, from_hex("ee0101040000000000")))));
}

TEST(Response, MayFillTheMessageToItsLastByte)
{
    byte_vector field(4076);
    for (size_t i = 0; i < field.size(); i++) {
        field[i] = static_cast<uint8_t>(i * 7 + 3);
    }
    const response made = from_at_data(from_hex("30 00000000 ec0f0000") + field);
    EXPECT_EQ(made.result, ERR_NONE);
    EXPECT_TRUE(same_bytes(made.data, message_of(0x30, from_hex("ee0101040000000000 ee0403ec0f") + field)));
}

TEST(Response, NeedsAllItsArguments)
{
    in_child([] {
        const test_log log;
        const uint8_t at_data[] = {6, 0, 0, 0, 0};
        byte_vector output(4097, 0xaa);
        EXPECT_EQ(amt_convert_rsp_at_data_2_amt_data(nullptr, 5, output.data(), 4096), ERR_INVALID_PARAM);
        EXPECT_EQ(amt_convert_rsp_at_data_2_amt_data(at_data, 0, output.data(), 4096), ERR_INVALID_PARAM);
        EXPECT_EQ(amt_convert_rsp_at_data_2_amt_data(at_data, 5, nullptr, 4096), ERR_INVALID_PARAM);
        EXPECT_EQ(amt_convert_rsp_at_data_2_amt_data(at_data, 5, output.data(), 4095), ERR_INVALID_PARAM);
        EXPECT_EQ(amt_convert_rsp_at_data_2_amt_data(at_data, 5, output.data(), 4097), ERR_INVALID_PARAM);
        EXPECT_TRUE(same_bytes(output, byte_vector(4097, 0xaa)));
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", k_bad_argument + "1, 0, 0, 0", "func | ", k_bad_argument + "0, 1, 0, 0",
                                "func | ", k_bad_argument + "0, 0, 1, 0", "func | ", k_bad_argument + "0, 0, 0, 1",
                                "func | ", k_bad_argument + "0, 0, 0, 1"));
    });
}

} // namespace
