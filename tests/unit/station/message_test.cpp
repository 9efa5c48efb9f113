#include "station/message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <stdexcept>

#include "tests/unit/station/samples.h"

namespace {

using station::message;
using station_test::broken;
using station_test::bytes;
using testing::HasSubstr;
using testing::ThrowsMessage;

// Built and on the wire; the envelopes were computed independently of this program.
struct message_row {
    const char *name;
    message built;
    const char *encoded;
    const char *envelope;
    const char *described;
};

const message_row k_rows[] = {
    {"no atoms", message(0x2D), "0600bb2d0000", "aabbccdd0e000000020000000600bb2d00003a2cf7d4",
     "AMT_VERSION_CMD (0x2D)"},
    {"an int", message(0x2D).with_int(19, 16), "0f00bb2d0900ee1301040010000000",
     "aabbccdd17000000020000000f00bb2d0900ee1301040010000000bf5ce407", "AMT_VERSION_CMD (0x2D): 19=int 16"},
    {"a string", message(0x05).with_string(21, "123456789012345"),
     "1a00bb051400ee15020f00313233343536373839303132333435",
     "aabbccdd22000000020000001a00bb051400ee15020f00313233343536373839303132333435c38a2e0d",
     "AMT_WRITEIMEI_CMD (0x05): 21=string \"123456789012345\""},
    {"bytes and ints", message(0xBC).with_bytes(154, "\x06").with_int(158, 1234).with_int(1, 0),
     "1e00bbbc1800ee9a03010006ee9e010400d2040000ee0101040000000000",
     "aabbccdd26000000020000001e00bbbc1800ee9a03010006ee9e010400d2040000ee01010400000000009b694860",
     "AMT_WIFI_RTX_TEST_RSPCMD (0xBC): 154=bytes 06, 158=int 1234, 1=int 0"},
};

// A valid message with one atom of each type, to be broken.
const std::string k_valid = bytes("2300bb551d00"
                                  "ee0201040004030201"
                                  "ee03020300747874"
                                  "ee04030100ff"
                                  "ee0504010001");

TEST(StationMessage, IsOnTheWireWhatWasBuilt)
{
    for (const message_row &row : k_rows) {
        EXPECT_EQ(station::in_hex(row.built.encode()), station::in_hex(bytes(row.encoded))) << row.name;
        EXPECT_EQ(station::in_hex(row.built.envelope()), station::in_hex(bytes(row.envelope))) << row.name;
    }
}

TEST(StationMessage, IsReadFromTheWireAsItWasBuilt)
{
    for (const message_row &row : k_rows) {
        const station::decoded read = station::decode(bytes(row.encoded));
        ASSERT_TRUE(read.message) << row.name << ": " << read.error;
        EXPECT_EQ(*read.message, row.built) << row.name;
        EXPECT_EQ(read.error, "") << row.name;
    }
}

TEST(StationMessage, IsToldInOneLine)
{
    for (const message_row &row : k_rows) {
        std::ostringstream printed;
        printed << row.built;
        EXPECT_EQ(station::describe(row.built), row.described) << row.name;
        EXPECT_EQ(printed.str(), row.described) << row.name;
    }
    const station::decoded every_type = station::decode(k_valid);
    ASSERT_TRUE(every_type.message) << every_type.error;
    EXPECT_EQ(station::describe(*every_type.message),
              "AMT_READ_BOARD_CMD (0x55): 2=int 16909060, 3=string \"txt\", 4=bytes FF, 5=bool 1");
    EXPECT_EQ(station::describe(message(0xFE).with_string(1, "\r\n\"")), "(undefined) (0xFE): 1=string \"\\r\\n\\\"\"");
}

TEST(StationMessage, IsToldAlsoWhenItWasBuiltWrong)
{
    const message wrong = message(0x2D)
                              .with_atom({1, AMT_VALUE_INT, "\x01\x02"})
                              .with_atom({2, AMT_VALUE_BOOL, ""})
                              .with_atom({3, 9, "\xFE"});
    EXPECT_EQ(station::describe(wrong), "AMT_VERSION_CMD (0x2D): 1=type 1 01 02, 2=type 4 , 3=type 9 FE");
}

TEST(StationMessage, GivesTheValueOfAnAtomByItsTypeOnly)
{
    const message all = message(1)
                            .with_int(10, 0xFFFFFFFF)
                            .with_bool(11, true)
                            .with_bool(12, false)
                            .with_string(13, "text")
                            .with_bytes(14, std::string(2, '\0'));
    EXPECT_EQ(all.get_int(10), 0xFFFFFFFF);
    EXPECT_EQ(all.get_bool(11), true);
    EXPECT_EQ(all.get_bool(12), false);
    EXPECT_EQ(all.get_string(13), "text");
    EXPECT_EQ(all.get_bytes(14), std::string(2, '\0'));
    EXPECT_EQ(all.get_int(11), std::nullopt);
    EXPECT_EQ(all.get_bool(10), std::nullopt);
    EXPECT_EQ(all.get_string(14), std::nullopt);
    EXPECT_EQ(all.get_bytes(13), std::nullopt);
    EXPECT_EQ(all.get_int(99), std::nullopt);
    EXPECT_EQ(all.result(), std::nullopt);
}

TEST(StationMessage, GivesNoNumberFromAnAtomOfTheWrongLength)
{
    const message wrong =
        message(1).with_atom({10, AMT_VALUE_INT, "\x01\x02\x03"}).with_atom({11, AMT_VALUE_BOOL, "\x01\x01"});
    EXPECT_EQ(wrong.get_int(10), std::nullopt);
    EXPECT_EQ(wrong.get_bool(11), std::nullopt);
}

TEST(StationMessage, GivesTheFirstOfSeveralAtomsOfOneId)
{
    const message twice = message(1).with_int(1, 10).with_int(1, 20).with_string(2, "x").with_int(2, 30);
    EXPECT_EQ(twice.result(), 10U);
    EXPECT_EQ(twice.get_int(2), std::nullopt);
    EXPECT_EQ(twice.atoms().size(), 4U);
}

TEST(StationMessage, DiffersFromAnotherInAnyPart)
{
    const message one = message(1).with_int(2, 3);
    EXPECT_EQ(one, message(1).with_int(2, 3));
    EXPECT_NE(one, message(2).with_int(2, 3));
    EXPECT_NE(one, message(1).with_int(3, 3));
    EXPECT_NE(one, message(1).with_int(2, 4));
    EXPECT_NE(one, message(1).with_bytes(2, u8"\x03\x00\x00\x00"));
    EXPECT_NE(one, message(1));
}

TEST(StationMessage, CanBeBuiltWrongAndIsSentAsItWasBuilt)
{
    const message wrong = message(0x2D).with_atom({19, AMT_VALUE_INT, "\x01\x02"}).with_atom({20, 9, ""});
    EXPECT_EQ(station::in_hex(wrong.encode()), station::in_hex(bytes("1200bb2d0c00 ee13010200 0102 ee14090000")));
}

// In a message: 6 bytes of header and 5 of the atom's.
constexpr size_t k_around_value = 11;

TEST(StationMessage, FillsABufferToItsLastByteAndNotBeyond)
{
    const message bare = message(1).with_bytes(2, std::string(4096 - k_around_value, 'x'));
    EXPECT_EQ(bare.encode().size(), 4096U);
    EXPECT_EQ(*station::decode(bare.encode()).message, bare);
    EXPECT_THAT([&] { (void)bare.envelope(); },
                ThrowsMessage<std::invalid_argument>(HasSubstr("AMT_READFLASH_CMD (0x01) is too long")));

    const message wrapped = message(1).with_bytes(2, std::string(4080 - k_around_value, 'x'));
    EXPECT_EQ(wrapped.envelope().size(), 4096U);

    for (const size_t length : {size_t{4097 - k_around_value}, size_t{65536}, size_t{70000}}) {
        const message too_long = message(1).with_bytes(2, std::string(length, 'x'));
        EXPECT_THROW((void)too_long.encode(), std::invalid_argument) << length;
        EXPECT_THROW((void)too_long.envelope(), std::invalid_argument) << length;
    }
    message too_many(1);
    for (int i = 0; i < 500; ++i) {
        too_many.with_int(2, 3);
    }
    EXPECT_THROW((void)too_many.encode(), std::invalid_argument);
}

struct fault_row {
    const char *name;
    std::string bytes;
    const char *error;
};

TEST(StationMessage, IsNotReadFromBytesWithAFault)
{
    const fault_row rows[] = {
        {"nothing", "", "0 bytes are too few for a message"},
        {"half a header", k_valid.substr(0, 5), "5 bytes are too few for a message"},
        {"command head", broken(k_valid, 2, 0xBA), "command head 0xBA instead of 0xBB"},
        {"total length", broken(k_valid, 0, 0x24), "total length 36 of a message of 35 bytes"},
        {"total length below a header's", broken(k_valid, 0, 0x05), "total length 5 of a message of 35 bytes"},
        {"total length, high byte", broken(k_valid, 1, 0xFF), "total length 65315 of a message of 35 bytes"},
        {"body length", broken(k_valid, 4, 0x1C), "body length 28 of a message of 35 bytes"},
        {"bytes behind the message", k_valid + "x", "total length 35 of a message of 36 bytes"},
        {"first atom head", broken(k_valid, 6, 0xED), "atom head 0xED instead of 0xEE, at offset 6"},
        {"later atom head", broken(k_valid, 15, 0), "atom head 0x00 instead of 0xEE, at offset 15"},
        {"int of another length", broken(k_valid, 9, 5), "int atom 2 with length 5, at offset 6"},
        {"bool of another length", bytes("0b00bb550500 ee05040000"), "bool atom 5 with length 0, at offset 6"},
        {"type 0", broken(k_valid, 8, 0), "atom 2 of unknown type 0, at offset 6"},
        {"type 5", broken(k_valid, 31, 5), "atom 5 of unknown type 5, at offset 29"},
        {"value past the end", broken(k_valid, 32, 2), "atom 5 with length 2 where 1 bytes are left, at offset 29"},
        {"value far past the end", broken(k_valid, 10, 0xFF),
         "atom 2 with length 65284 where 24 bytes are left, at offset 6"},
        {"half an atom", bytes("0a00bb550400 ee050401"), "4 bytes are too few for an atom, at offset 6"},
    };
    ASSERT_TRUE(station::decode(k_valid).message) << station::decode(k_valid).error;
    for (const fault_row &row : rows) {
        const station::decoded read = station::decode(row.bytes);
        EXPECT_EQ(read.error, row.error) << row.name;
        EXPECT_FALSE(read.message) << row.name;
    }
}

// The lengths in the header made to fit, so that only the atoms tell.
std::string cut_to(const std::string &whole, size_t size)
{
    const auto total = static_cast<uint8_t>(size);
    return broken(broken(whole.substr(0, size), 0, total), 4, static_cast<uint8_t>(total - 6));
}

TEST(StationMessage, IsReadUpToAnAtomsEndOnlyWhereverItIsCut)
{
    const std::set<size_t> ends_of_atoms = {6, 15, 23, 29};
    for (size_t size = 6; size < k_valid.size(); ++size) {
        EXPECT_THAT(station::decode(k_valid.substr(0, size)).error, HasSubstr("total length")) << size;
        EXPECT_EQ(station::decode(cut_to(k_valid, size)).message.has_value(), ends_of_atoms.count(size) == 1) << size;
    }
}

} // namespace
