#include "station/answer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/unit/station/samples.h"

namespace {

using station::answer;
using station::answer_kind;
using station::message;
using station_test::broken;
using station_test::bytes;
using station_test::frame_around;
using testing::IsEmpty;

const std::string k_magic = bytes("AABBCCDD");
const std::string k_pre_response = bytes("AABBCCDD 08000000 02020000 764AEE1D");
const std::string k_ok = message(0x2E).with_int(1, 0).envelope(); // 31 bytes
const std::string k_ok_told = "AMT_VERSION_RSPCMD (0x2E): 1=int 0";
const std::string k_text_ok = "\r\nOK\r\n";
const std::string k_text_ok_told = R"(text "\r\nOK\r\n")";
const std::string k_magic_inside = message(0x2E).with_bytes(4, k_magic + "xyz").envelope();
const std::string k_longest = message(0x30).with_bytes(4, std::string(4080 - 11, '\xAA')).envelope();

// A frame whose length field says another number; the checksum is left as it was.
std::string with_length(uint32_t length)
{
    return k_magic + station_test::u32(length) + k_ok.substr(8);
}

struct stream_row {
    const char *name;
    std::string bytes;
    std::vector<std::string> told;
    std::string unfinished{};
};

// clang-format off
std::vector<stream_row> rows()
{
    return {
        // What a handset sends.
        {"a message", k_ok, {k_ok_told}},
        {"a message without atoms", message(0x2E).envelope(), {"AMT_VERSION_RSPCMD (0x2E)"}},
        {"the longest frame", k_longest, {station::describe(*station::decode(k_longest.substr(12, 4080)).message)}},
        {"the pre-response", k_pre_response, {"pre-response"}},
        {"pre-response and message", k_pre_response + k_ok, {"pre-response", k_ok_told}},
        {"several messages", k_ok + k_ok + k_ok, {k_ok_told, k_ok_told, k_ok_told}},
        {"magic inside a message", k_magic_inside, {"AMT_VERSION_RSPCMD (0x2E): 4=bytes AA BB CC DD 78 79 7A"}},
        {"OK", k_text_ok, {k_text_ok_told}},
        {"ERROR", "\r\nERROR\r\n", {R"(text "\r\nERROR\r\n")"}},
        {"CME error", "\r\n+CME ERROR: 100\r\n", {R"(text "\r\n+CME ERROR: 100\r\n")"}},
        {"CME error without a code", "\r\n+CME ERROR\r\n", {R"(text "\r\n+CME ERROR\r\n")"}},
        {"CMS error", "\r\n+CMS ERROR: no network\r\n", {R"(text "\r\n+CMS ERROR: no network\r\n")"}},
        {"a value", "\r\n^DSVER: \"1\"\r\n\r\nOK\r\n", {R"(text "\r\n^DSVER: \"1\"\r\n\r\nOK\r\n")"}},
        {"an echo", "AT\r\r\nOK\r\n", {R"(text "AT\r\r\nOK\r\n")"}},
        {"two texts", "\r\nOK\r\n\r\nERROR\r\n", {k_text_ok_told, R"(text "\r\nERROR\r\n")"}},
        {"text and message", k_text_ok + k_ok + k_text_ok, {k_text_ok_told, k_ok_told, k_text_ok_told}},

        // No final result.
        {"nothing", "", {}},
        {"OK not at a line's beginning", "OK\r\n", {}, "OK\r\n"},
        {"OK as part of a line", "\r\nNOT OK\r\n", {}, "\r\nNOT OK\r\n"},
        {"a line that begins with OK", "\r\nOKAY\r\n", {}, "\r\nOKAY\r\n"},
        {"a line that begins with ERROR", "\r\nERRORS: 1\r\n", {}, "\r\nERRORS: 1\r\n"},
        {"OK and half a line end", "\r\nOK\r", {}, "\r\nOK\r"},
        {"something behind the result", "\r\nOK\r\n\r\nRI", {k_text_ok_told}, "\r\nRI"},
        {"part of a magic", "\xAA\xBB", {}, "\xAA\xBB"},

        // Garbage in front and between.
        {"garbage in front", "\x01\xAA\xBB" + k_ok, {R"(text "\x01\xAA\xBB")", k_ok_told}},
        {"an unfinished line in front", "\r\n^RING" + k_ok, {R"(text "\r\n^RING")", k_ok_told}},
        {"an error cut by a frame", "\r\n+CME ERROR" + k_ok + "\r\n", {R"(text "\r\n+CME ERROR")", k_ok_told}, "\r\n"},
        {"garbage between", k_ok + "\xDD\xCC" + k_ok, {k_ok_told, R"(text "\xDD\xCC")", k_ok_told}},
        {"a repeated beginning of the magic", "\xAA\xAA" + k_magic.substr(1) + k_ok.substr(4),
         {R"(text "\xAA")", k_ok_told}},

        // Lengths that cannot be.
        {"length 0", with_length(0) + k_ok,
         {"damaged frame (impossible length 0): AA BB CC DD", "text " + station::quoted(with_length(0).substr(4)),
          k_ok_told}},
        {"length 7", k_magic + bytes("07000000") + k_ok,
         {"damaged frame (impossible length 7): AA BB CC DD", R"(text "\x07\x00\x00\x00")", k_ok_told}},
        {"length 4089", k_magic + bytes("F90F0000") + k_text_ok,
         {"damaged frame (impossible length 4089): AA BB CC DD", R"(text "\xF9\x0F\x00\x00\r\nOK\r\n")"}},
        {"the greatest length", k_magic + bytes("FFFFFFFF"),
         {"damaged frame (impossible length 4294967295): AA BB CC DD"}, bytes("FFFFFFFF")},
        {"a magic in place of the length", k_magic + k_ok,
         {"damaged frame (impossible length 3721182122): AA BB CC DD", k_ok_told}},

        // Lengths that are wrong but could be: the checksum tells.
        {"length too small", with_length(22) + k_ok,
         {"damaged frame (checksum 0xD5976F00 instead of 0xBF12F1AE): " +
              station::in_hex(with_length(22).substr(0, 30)),
          R"(text "\xDD")", k_ok_told}},
        {"length too great", with_length(40) + k_ok,
         {"damaged frame (checksum 0x092EBB00 instead of 0x09E40B17): " + station::in_hex(with_length(40)), k_ok_told}},
        {"length beyond what comes", with_length(4088), {}, with_length(4088)},

        // Whole frames that are wrong inside.
        {"checksum", broken(k_ok, 30, 0) + k_ok,
         {"damaged frame (checksum 0x00D5976F instead of 0xDDD5976F): " + k_ok_told, k_ok_told}},
        {"a byte that the checksum covers", broken(k_ok, 8, 3),
         {"damaged frame (checksum 0xDDD5976F instead of 0x91BDA61A): " + k_ok_told}},
        {"command head", frame_around(bytes("0600BA2E0000")),
         {"damaged frame (command head 0xBA instead of 0xBB): " +
              station::in_hex(frame_around(bytes("0600BA2E0000")))}},
        {"too short for a message", frame_around("x"),
         {"damaged frame (1 bytes are too few for a message): " + station::in_hex(frame_around("x"))}},
        {"empty, but not the pre-response", frame_around(""),
         {"damaged frame (0 bytes are too few for a message): " + station::in_hex(frame_around(""))}},
        {"a broken pre-response", broken(k_pre_response, 15, 0) + k_ok,
         {"damaged frame (checksum 0x00EE4A76 instead of 0x1DEE4A76): " +
              station::in_hex(broken(k_pre_response, 15, 0)), k_ok_told}},
    };
}
// clang-format on

// What a stream makes of these reads.
struct outcome {
    std::vector<std::string> told;
    std::string unfinished;
    std::string bytes; // of all answers, and what is unfinished
};

outcome outcome_of(const std::vector<std::string> &reads, station::framing how = station::framing::envelope)
{
    outcome result;
    station::answer_stream stream(how);
    for (const std::string &read : reads) {
        stream.add(read);
        while (const std::optional<answer> next = stream.next()) {
            result.told.push_back(station::describe(*next));
            result.bytes += next->bytes;
        }
    }
    result.unfinished = stream.unfinished();
    result.bytes += result.unfinished;
    return result;
}

void expect_outcome(const stream_row &row, const std::vector<std::string> &reads)
{
    const outcome result = outcome_of(reads);
    ASSERT_EQ(result.told, row.told);
    ASSERT_EQ(station::quoted(result.unfinished), station::quoted(row.unfinished));
    ASSERT_EQ(result.bytes, row.bytes) << "some bytes were lost, or came twice";
}

TEST(StationAnswers, AreCutOutOfOneRead)
{
    for (const stream_row &row : rows()) {
        SCOPED_TRACE(row.name);
        expect_outcome(row, {row.bytes});
    }
}

TEST(StationAnswers, AreTheSameWhenTheBytesComeOneByOne)
{
    for (const stream_row &row : rows()) {
        SCOPED_TRACE(row.name);
        std::vector<std::string> reads;
        for (const char byte : row.bytes) {
            reads.emplace_back(1, byte);
        }
        expect_outcome(row, reads);
    }
}

TEST(StationAnswers, AreTheSameWhereverTheReadsAreCut)
{
    for (const stream_row &row : rows()) {
        for (size_t cut = 1; cut < row.bytes.size(); ++cut) {
            SCOPED_TRACE(testing::Message() << row.name << ", cut at " << cut);
            expect_outcome(row, {row.bytes.substr(0, cut), row.bytes.substr(cut)});
        }
    }
}

TEST(StationAnswers, WaitForTheLastByteOfAFrame)
{
    for (size_t count = 1; count < k_ok.size(); ++count) {
        const outcome result = outcome_of({k_ok.substr(0, count)});
        EXPECT_THAT(result.told, IsEmpty()) << count;
        EXPECT_EQ(result.unfinished, k_ok.substr(0, count)) << count;
    }
}

answer only_answer(const std::string &bytes)
{
    station::answer_stream stream;
    stream.add(bytes);
    return stream.next().value();
}

TEST(StationAnswers, CarryTheirKindTheirBytesAndTheMessage)
{
    const answer frame = only_answer(k_ok);
    EXPECT_EQ(frame.kind, answer_kind::message);
    EXPECT_EQ(frame.bytes, k_ok);
    EXPECT_EQ(frame.message, message(0x2E).with_int(1, 0));
    EXPECT_EQ(frame.error, "");

    const answer early = only_answer(k_pre_response);
    EXPECT_EQ(early.kind, answer_kind::pre_response);
    EXPECT_EQ(early.bytes, k_pre_response);
    EXPECT_FALSE(early.message);

    const answer text = only_answer(k_text_ok);
    EXPECT_EQ(text.kind, answer_kind::text);
    EXPECT_EQ(text.bytes, k_text_ok);
    EXPECT_FALSE(text.message);
    EXPECT_EQ(text.error, "");
}

TEST(StationAnswers, CarryWhatCanBeReadOfADamagedFrame)
{
    const answer readable = only_answer(broken(k_ok, 30, 0));
    EXPECT_EQ(readable.kind, answer_kind::damaged);
    EXPECT_EQ(readable.message, message(0x2E).with_int(1, 0));
    EXPECT_EQ(readable.error, "checksum 0x00D5976F instead of 0xDDD5976F");

    const answer unreadable = only_answer(broken(k_ok, 14, 0));
    EXPECT_EQ(unreadable.kind, answer_kind::damaged);
    EXPECT_EQ(unreadable.bytes, broken(k_ok, 14, 0));
    EXPECT_FALSE(unreadable.message);
}

TEST(StationAnswers, PrintAsTheyAreTold)
{
    std::ostringstream printed;
    printed << only_answer(k_ok) << '|' << only_answer(k_pre_response) << '|' << only_answer(k_text_ok);
    EXPECT_EQ(printed.str(), k_ok_told + "|pre-response|" + k_text_ok_told);
}

// --- the lines of a text

struct final_row {
    const char *name;
    const char *text;
    const char *final; // empty: none
    std::vector<std::string> before;
};

TEST(StationAnswers, TellTheFinalResultAndTheLinesBeforeIt)
{
    const final_row rows[] = {
        {"nothing", "", "", {}},
        {"OK", "\r\nOK\r\n", "OK", {}},
        {"ERROR", "\r\nERROR\r\n", "ERROR", {}},
        {"CME error", "\r\n+CME ERROR: 100\r\n", "+CME ERROR: 100", {}},
        {"CMS error", "\r\n+CMS ERROR: no network\r\n", "+CMS ERROR: no network", {}},
        {"a value", "\r\n^DSVER: \"1\"\r\n\r\nOK\r\n", "OK", {"^DSVER: \"1\""}},
        {"several values", "\r\na b\r\nc\r\n\r\n\r\n d \r\n\r\nERROR\r\n", "ERROR", {"a b", "c", " d "}},
        {"an echo", "AT\r\r\nOK\r\n", "OK", {"AT"}},
        {"a line without a final result", "\r\n^READY\r\n", "", {"^READY"}},
        {"half a line end behind it", "\r\nOK\r", "", {"OK"}},
        {"no line end before it", "OK\r\n", "", {"OK"}},
        {"something behind it", "\r\nOK\r\n\r\n^RING\r\n", "", {"OK", "^RING"}},
        {"as a part of a line", "\r\nNOT OK\r\n", "", {"NOT OK"}},
        {"empty lines", "\r\n\r\n", "", {}},
    };
    for (const final_row &row : rows) {
        EXPECT_EQ(station::ends_with_final_result(row.text), *row.final != '\0') << row.name;
        EXPECT_EQ(station::final_result(row.text), row.final) << row.name;
        EXPECT_EQ(station::lines_before_final_result(row.text), row.before) << row.name;
    }
}

TEST(StationAnswers, TellTextFromWhatIsNone)
{
    for (const std::string text : {"", "\r\n^DSVER: \"a\tb~\"\r\n", "\xC3\xA4", " "}) {
        EXPECT_TRUE(station::is_clean_text(text)) << station::quoted(text);
    }
    for (const std::string &text : {std::string(1, '\0'), std::string("OK\x1F"), std::string("\x7F"), k_ok.substr(4)}) {
        EXPECT_FALSE(station::is_clean_text(text)) << station::quoted(text);
    }
}

// --- what is unfinished

struct unfinished_row {
    const char *name;
    std::string bytes;
    const char *fault;
    station::framing how = station::framing::envelope;
};

constexpr const char *k_no_lines = "what came is neither a frame nor lines of text";

TEST(StationAnswers, TellHowFarAnUnfinishedOneHasCome)
{
    using station::framing;
    const std::string bare = message(0x2E).with_int(1, 0).encode(); // 15 bytes
    const unfinished_row rows[] = {
        {"nothing", "", ""},
        {"a whole answer", k_ok, ""},
        {"a line", "\r\n^READY\r\n", ""},
        {"two lines", "\r\n^READY\r\n\r\na\tb~\r\n", ""},
        {"half a line", "\r\n^READ", k_no_lines},
        {"half a line end", "\r\n^READY\r", k_no_lines},
        {"half a line behind a line", "\r\n^READY\r\n\r\n^RI", k_no_lines},
        {"a line of which the beginning is missing", "READY\r\n", k_no_lines},
        {"a line end alone", "\r\n", k_no_lines},
        {"lines with other bytes in them", "\r\n^RE\x01\x44Y\r\n", k_no_lines},
        {"lines beyond ASCII", "\r\n\xC3\xA4\r\n", ""},
        {"a part of a magic", k_magic.substr(0, 3), k_no_lines},
        {"a magic", k_magic, "a frame has begun, and only 4 bytes of it came"},
        {"a magic and half a length", k_ok.substr(0, 7), "a frame has begun, and only 7 bytes of it came"},
        {"up to the length", k_ok.substr(0, 8), "a frame has begun, and only 8 of the 31 bytes that it tells came"},
        {"all but one byte", k_ok.substr(0, 30), "a frame has begun, and only 30 of the 31 bytes that it tells came"},
        {"a frame behind a message", k_ok + k_ok.substr(0, 9),
         "a frame has begun, and only 9 of the 31 bytes that it tells came"},
        {"bare, nothing", "", "", framing::bare},
        {"bare, a whole message", bare, "", framing::bare},
        {"bare, one byte", bare.substr(0, 1), "a message has begun, and only 1 byte of it came", framing::bare},
        {"bare, the length", bare.substr(0, 2), "a message has begun, and only 2 of the 15 bytes that it tells came",
         framing::bare},
        {"bare, all but one byte", bare.substr(0, 14),
         "a message has begun, and only 14 of the 15 bytes that it tells came", framing::bare},
    };
    for (const unfinished_row &row : rows) {
        station::answer_stream stream(row.how);
        stream.add(row.bytes);
        while (stream.next()) {
        }
        EXPECT_EQ(stream.fault_of_unfinished(), row.fault) << row.name;
    }
}

TEST(StationAnswers, ForgetWhatIsUnfinished)
{
    station::answer_stream stream;
    stream.add(k_ok.substr(0, 20));
    EXPECT_FALSE(stream.next());
    stream.clear();
    EXPECT_EQ(stream.unfinished(), "");
    EXPECT_EQ(stream.fault_of_unfinished(), "");
    stream.add(k_text_ok);
    EXPECT_EQ(station::describe(stream.next().value()), k_text_ok_told);
}

// --- bare messages

const std::string k_bare = message(0x2E).with_int(1, 0).encode();
const std::string k_long_bare = message(0x30).with_bytes(4, std::string(4096 - 11, '\xBB')).encode();

std::vector<stream_row> bare_rows()
{
    return {
        {"a message", k_bare, {k_ok_told}},
        {"a message without atoms", message(0x2E).encode(), {"AMT_VERSION_RSPCMD (0x2E)"}},
        {"the longest message", k_long_bare, {station::describe(*station::decode(k_long_bare).message)}},
        {"several messages",
         k_bare + message(0x2E).encode() + k_bare,
         {k_ok_told, "AMT_VERSION_RSPCMD (0x2E)", k_ok_told}},
        {"half a message", k_bare.substr(0, 9), {}, k_bare.substr(0, 9)},
        {"half a message behind one", k_bare + k_bare.substr(0, 5), {k_ok_told}, k_bare.substr(0, 5)},
        {"an atom that cannot be",
         broken(k_bare, 6, 0xED) + k_bare,
         {"damaged frame (atom head 0xED instead of 0xEE, at offset 6): " + station::in_hex(broken(k_bare, 6, 0xED)),
          k_ok_told}},
        {"another body length",
         broken(k_bare, 4, 8) + k_bare,
         {"damaged frame (body length 8 of a message of 15 bytes): " + station::in_hex(broken(k_bare, 4, 8)),
          k_ok_told}},
    };
}

TEST(StationAnswers, AreBareMessagesOnAnApplicationsLinkWhereverTheReadsAreCut)
{
    for (const stream_row &row : bare_rows()) {
        for (size_t cut = 0; cut <= row.bytes.size(); ++cut) {
            SCOPED_TRACE(testing::Message() << row.name << ", cut at " << cut);
            const outcome result =
                outcome_of({row.bytes.substr(0, cut), row.bytes.substr(cut)}, station::framing::bare);
            ASSERT_EQ(result.told, row.told);
            ASSERT_EQ(result.unfinished, row.unfinished);
            ASSERT_EQ(result.bytes, row.bytes);
        }
    }
}

TEST(StationAnswers, AreDamagedTogetherWhenTheyDoNotBeginWithABareMessage)
{
    const stream_row rows[] = {
        {"a text", "\r\nERROR\r\n", {}},
        {"a frame", k_ok, {}},
        {"garbage and a message", "\x01" + k_bare, {}},
        {"a length below a header's", broken(k_bare, 0, 5), {}},
        {"another head", broken(k_bare, 2, 0xBA) + k_bare, {}},
    };
    for (const stream_row &row : rows) {
        SCOPED_TRACE(row.name);
        station::answer_stream stream(station::framing::bare);
        stream.add(row.bytes);
        const std::optional<answer> only = stream.next();
        ASSERT_TRUE(only);
        EXPECT_EQ(only->kind, answer_kind::damaged);
        EXPECT_EQ(only->bytes, row.bytes);
        EXPECT_NE(only->error, "");
        EXPECT_FALSE(only->message);
        EXPECT_FALSE(stream.next());
        stream.add(k_bare);
        EXPECT_EQ(station::describe(stream.next().value()), k_ok_told);
    }
}

} // namespace
