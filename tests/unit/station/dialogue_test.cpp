#include "station/dialogue.h"

#include <gmock/gmock.h>

#include "station/text.h"
#include "tests/unit/station/cable.h"
#include "tests/unit/station/samples.h"

namespace {

using namespace std::chrono_literals;
using station::framing;
using station::message;
using station::passing;
using station_test::answering_handset;
using station_test::broken;
using station_test::cable;
using station_test::make_packets;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::ThrowsMessage;

using pieces = answering_handset::pieces;

// A version that the modem tells: of what is the handset's own more is asked, see below.
const message k_request = message(0x2D).with_int(19, 17);
const message k_answer = message(0x2E).with_int(19, 17).with_bytes(18, "KV").with_int(1, 0);
const message k_other = message(0xAD).with_int(1, 0);
const std::string k_framed = k_answer.envelope();
const std::string k_pre_response = station_test::bytes("AABBCCDD 08000000 02020000 764AEE1D");
const std::string k_ready = "\r\n^READY\r\n";
const std::string k_error = "\r\nERROR\r\n";

pieces byte_by_byte(const std::string &bytes)
{
    pieces all;
    for (const char byte : bytes) {
        all.emplace_back(1, byte);
    }
    return all;
}

// --- the answer among what comes

struct found_row {
    const char *name;
    pieces written;
    bool announced = false;
};

TEST(StationDialogue, FindsTheAnswerToAMessage)
{
    const found_row rows[] = {
        {"alone", {k_framed}},
        {"byte by byte", byte_by_byte(k_framed)},
        {"behind the pre-response", {k_pre_response, k_framed}, true},
        {"in one piece with the pre-response", {k_pre_response + k_framed}, true},
        {"behind the answer of another request", {k_other.envelope(), k_framed}},
        {"behind the request itself", {k_request.envelope() + k_framed}},
        {"behind an answer of the same values", {message(0x2F).with_int(19, 17).with_int(1, 0).envelope(), k_framed}},
        {"behind a line that the modem says", {k_ready, k_framed}},
        {"behind a line, in one piece", {k_ready + k_framed}},
        {"behind half a line", {"\r\n^READ", k_framed}},
        {"behind an OK of something else", {"\r\nOK\r\n", k_framed}},
        {"behind a line and its OK, in one piece", {k_ready + "\r\nOK\r\n" + k_framed}},
        {"behind all of these",
         {k_ready, k_other.envelope() + k_pre_response, k_ready + k_other.envelope(), k_framed},
         true},
    };
    for (const found_row &row : rows) {
        SCOPED_TRACE(row.name);
        const cable packets = make_packets();
        answering_handset other_end(packets, {row.written});
        station::dialogue handset(packets.station.get());
        EXPECT_EQ(handset.ask(k_request), k_answer);
        EXPECT_EQ(handset.was_announced(), row.announced);
        EXPECT_THAT(other_end.requests(), ElementsAre(k_request.envelope()));
    }
}

struct answered_row {
    const char *name;
    message request;
    message answer;
};

TEST(StationDialogue, KnowsWhichMessageAnswersWhich)
{
    const answered_row rows[] = {
        {"the id behind the request's", message(0xAC).with_int(110, 1), k_other},
        {"another id, by the catalogue", message(0xB0), message(0xAF).with_int(1, 0)},
        {"a refusal of the same", message(0xB0), message(0xB1).with_int(1, 1)},
        {"of a command without an answer", message(0x2A), message(0x2B).with_int(1, 1)},
        {"of what says something by itself", message(0xCC), message(0xCD).with_int(1, 1)},
        {"of an unknown command", message(0xFC), message(0xFD).with_int(1, 1)},
        {"of the last command", message(0xFF), message(0x00).with_int(1, 1)},
    };
    const message neither = message(0x70).with_int(1, 0);
    for (const answered_row &row : rows) {
        SCOPED_TRACE(row.name);
        const cable packets = make_packets();
        answering_handset other_end(packets, {{neither.envelope(), k_pre_response, row.answer.envelope()}});
        station::dialogue handset(packets.station.get());
        EXPECT_EQ(handset.ask(row.request), row.answer);
    }
}

TEST(StationDialogue, SpeaksBareMessagesAsAnApplication)
{
    const cable packets = make_packets();
    answering_handset other_end(packets, {{k_other.encode(), k_answer.encode()}});
    station::dialogue handset(packets.station.get(), framing::bare);
    EXPECT_EQ(handset.ask(k_request), k_answer);
    EXPECT_THAT(other_end.requests(), ElementsAre(k_request.encode()));
}

struct line_row {
    const char *name;
    pieces written;
    std::string text;
    bool announced = false;
};

TEST(StationDialogue, FindsTheAnswerToALine)
{
    const std::string value = "\r\n^DSVER: \"1\"\r\n\r\nOK\r\n";
    const line_row rows[] = {
        {"OK", {"\r\nOK\r\n"}, "\r\nOK\r\n"},
        {"a value", {value}, value},
        {"byte by byte", byte_by_byte(value), value},
        {"an error", {"\r\n+CME ERROR: 4\r\n"}, "\r\n+CME ERROR: 4\r\n"},
        {"up to the final result only", {value + k_ready}, value},
        {"behind a message", {k_other.envelope() + value}, value},
        {"behind the pre-response", {k_pre_response, value}, value, true},
        {"cut by a message", {"\r\n^DSVER: \"1\"\r\n", k_other.envelope(), "\r\nOK\r\n"}, value},
    };
    for (const line_row &row : rows) {
        SCOPED_TRACE(row.name);
        const cable packets = make_packets();
        answering_handset other_end(packets, {row.written});
        station::dialogue handset(packets.station.get());
        EXPECT_EQ(handset.ask_line("AT^DSVER"), row.text);
        EXPECT_EQ(handset.was_announced(), row.announced);
        EXPECT_THAT(other_end.requests(), ElementsAre("AT^DSVER\r"));
    }
}

struct raw_row {
    const char *name;
    pieces written;
    std::string told;
    bool announced = false;
};

TEST(StationDialogue, TakesAnyAnswerToRawBytesButThePreResponse)
{
    const raw_row rows[] = {
        {"a message", {k_other.envelope()}, station::describe(k_other)},
        {"a text", {k_error}, R"(text "\r\nERROR\r\n")"},
        {"a line cut by a message", {k_ready + k_framed}, R"(text "\r\n^READY\r\n")"},
        {"a message behind the pre-response", {k_pre_response, k_framed}, station::describe(k_answer), true},
    };
    const std::string bytes("\0\xFF\r\n", 4);
    for (const raw_row &row : rows) {
        SCOPED_TRACE(row.name);
        const cable packets = make_packets();
        answering_handset other_end(packets, {row.written});
        station::dialogue handset(packets.station.get());
        EXPECT_EQ(station::describe(handset.ask_raw(bytes)), row.told);
        EXPECT_EQ(handset.was_announced(), row.announced);
        EXPECT_THAT(other_end.requests(), ElementsAre(bytes));
    }
}

TEST(StationDialogue, AsksOneThingAfterTheOther)
{
    const cable packets = make_packets();
    answering_handset other_end(packets,
                                {{k_pre_response, k_framed}, {"\r\nOK\r\n"}, {k_pre_response, k_other.envelope()}});
    station::dialogue handset(packets.station.get());
    EXPECT_EQ(handset.ask(k_request), k_answer);
    EXPECT_TRUE(handset.was_announced());
    EXPECT_EQ(handset.ask_line("AT"), "\r\nOK\r\n");
    EXPECT_FALSE(handset.was_announced());
    EXPECT_EQ(handset.ask(message(0xAC)), k_other);
    EXPECT_THAT(other_end.requests(), ElementsAre(k_request.envelope(), "AT\r", message(0xAC).envelope()));
}

// --- what came before a request

TEST(StationDialogue, IsNotAnsweredByWhatCameBeforeTheRequest)
{
    const message stale = message(0x2E).with_int(19, 1).with_int(1, 0);
    const found_row rows[] = {
        {"an answer", {stale.envelope()}},
        {"two answers", {stale.envelope(), stale.envelope()}},
        {"a refusal of the modem", {k_error}},
        {"a damaged frame", {broken(stale.envelope(), 20, 0x55)}},
        {"half an answer", {stale.envelope().substr(0, 20)}},
        {"half a line", {"\r\n^REA"}},
        {"the pre-response", {k_pre_response}},
    };
    for (const found_row &row : rows) {
        SCOPED_TRACE(row.name);
        const cable packets = make_packets();
        station::dialogue handset(packets.station.get());
        for (const std::string &piece : row.written) {
            packets.handset_writes(piece);
        }
        answering_handset other_end(packets, {{k_framed}});
        EXPECT_EQ(handset.ask(k_request), k_answer);
        EXPECT_FALSE(handset.was_announced());
    }
}

TEST(StationDialogue, IsNotAnsweredByWhatCameBehindTheLastAnswer)
{
    const cable packets = make_packets();
    answering_handset other_end(packets, {{"\r\nOK\r\n\r\nERROR\r\n"}, {"\r\n+CSQ: 20,0\r\n\r\nOK\r\n"}});
    station::dialogue handset(packets.station.get());
    EXPECT_EQ(handset.ask_line("AT"), "\r\nOK\r\n");
    EXPECT_EQ(handset.ask_line("AT+CSQ"), "\r\n+CSQ: 20,0\r\n\r\nOK\r\n");
}

// --- refusals

TEST(StationDialogue, SaysThatTheModemAnsweredAMessage)
{
    const line_row rows[] = {
        {"ERROR", {k_error}, R"("\r\nERROR\r\n")"},
        {"behind an OK", {"\r\nOK\r\n", k_error}, R"("\r\nERROR\r\n")"},
        {"CMS error", {"\r\n+CMS ERROR: 3\r\n"}, R"("\r\n+CMS ERROR: 3\r\n")"},
        {"CME error", {"\r\n+CME ERROR: 100\r\n"}, R"("\r\n+CME ERROR: 100\r\n")"},
        {"behind a line of its own", {k_ready, k_error}, R"("\r\n^READY\r\n\r\nERROR\r\n")"},
        {"behind the answer of another request", {k_other.envelope(), k_error}, R"("\r\nERROR\r\n")"},
        {"before the answer", {k_error + k_framed}, R"("\r\nERROR\r\n")"},
    };
    for (const line_row &row : rows) {
        SCOPED_TRACE(row.name);
        const cable packets = make_packets();
        answering_handset other_end(packets, {row.written});
        station::dialogue handset(packets.station.get());
        EXPECT_THAT([&] { (void)handset.ask(k_request); },
                    ThrowsMessage<station::refused>(AllOf(HasSubstr("the modem"), HasSubstr("answered " + row.text))));
    }
}

TEST(StationDialogue, TakesEveryResultForAnAnswerUnlessItIsToSucceed)
{
    for (const uint32_t result : {1U, 10U, 256U}) {
        SCOPED_TRACE(result);
        const message failed = message(0x2E).with_int(1, result);
        const cable packets = make_packets();
        answering_handset other_end(packets, {{failed.envelope()}, {failed.envelope()}});
        station::dialogue handset(packets.station.get());
        EXPECT_EQ(handset.ask(k_request), failed);
        EXPECT_THAT([&] { (void)handset.ask_for_success(k_request); },
                    ThrowsMessage<station::refused>(
                        AllOf(HasSubstr("AMT_VERSION_RSPCMD (0x2E)"), HasSubstr("result=" + std::to_string(result)))));
    }
}

TEST(StationDialogue, ReturnsWhatSucceeded)
{
    const cable packets = make_packets();
    answering_handset other_end(packets, {{k_framed}, {"\r\n^DSVER: \"1\"\r\n\r\nOK\r\n"}});
    station::dialogue handset(packets.station.get());
    EXPECT_EQ(handset.ask_for_success(k_request), k_answer);
    EXPECT_EQ(handset.ask_line_for_success("AT^DSVER"), "\r\n^DSVER: \"1\"\r\n\r\nOK\r\n");
}

// The check of the SIM tells a result to an application only when it has failed.
TEST(StationDialogue, TakesAnAnswerWithoutAResultForASuccess)
{
    const message present = message(0x64).with_bool(41, true);
    const cable packets = make_packets();
    answering_handset other_end(packets, {{present.encode()}, {present.encode()}});
    station::dialogue handset(packets.station.get(), framing::bare);
    EXPECT_EQ(handset.ask(message(0x63)), present);
    EXPECT_EQ(handset.ask_for_success(message(0x63)), present);
}

// --- requests that are acknowledged twice

constexpr std::uint8_t k_start = 0xAA;
const message k_taken = message(0xAB).with_int(1, 0);
const message k_runs = message(0xAB).with_int(1, 0).with_int(9, 2);
const message k_does_not_run = message(0xAB).with_int(1, 1);

struct acknowledged_row {
    const char *name;
    pieces written;
    message answer;
};

TEST(StationDialogue, WaitsForTheLastAcknowledgementUnlessTheFirstIsARefusal)
{
    const acknowledged_row rows[] = {
        {"two", {k_pre_response, k_taken.envelope(), k_runs.envelope()}, k_runs},
        {"two in one piece", {k_pre_response + k_taken.envelope() + k_runs.envelope()}, k_runs},
        {"others between them", {k_pre_response + k_taken.envelope(), k_other.envelope(), k_runs.envelope()}, k_runs},
        {"a refusal behind the first", {k_pre_response, k_taken.envelope(), k_does_not_run.envelope()}, k_does_not_run},
        {"a refusal at once", {k_pre_response, k_does_not_run.envelope()}, k_does_not_run},
        {"a refusal without a pre-response", {k_does_not_run.envelope()}, k_does_not_run},
    };
    for (const acknowledged_row &row : rows) {
        SCOPED_TRACE(row.name);
        const cable packets = make_packets();
        answering_handset other_end(packets, {row.written});
        station::dialogue handset(packets.station.get());
        EXPECT_EQ(handset.ask(message(k_start)), row.answer);
    }
}

TEST(StationDialogue, WaitsForTheLastAcknowledgementAsAnApplication)
{
    const cable packets = make_packets();
    answering_handset other_end(packets, {{k_taken.encode(), k_runs.encode()}});
    station::dialogue handset(packets.station.get(), framing::bare);
    EXPECT_EQ(handset.ask(message(k_start)), k_runs);
}

// --- successes that the handset cannot have told

struct doubtful_row {
    const char *name;
    message request;
    message answer;
    const char *told; // null: it is good
    bool announced = true;
    framing how = framing::envelope;
};

TEST(StationDialogue, HoldsASuccessToWhatTheHandsetTells)
{
    const message version = message(0x2D).with_int(19, 16);
    const message full = message(0x2E).with_int(19, 16).with_bytes(18, "KV").with_int(1, 0);
    const message done = message(0xAF).with_int(1, 0);
    const char *k_unannounced = "the answer came without a pre-response, so it is not the handset's own, or "
                                "bytes were lost: AMT_";
    const doubtful_row rows[] = {
        {"all of it", version, full, nullptr},
        {"an item that may be missing", version, message(0x2E).with_int(19, 16).with_int(1, 0), nullptr},
        {"a required item missing", version, message(0x2E).with_bytes(18, "KV").with_int(1, 0),
         "the answer lacks module: AMT_VERSION_RSPCMD (0x2E): version=KV"},
        {"no pre-response", version, full, k_unannounced, false},
        {"no pre-response, of a test", message(0xB0), done, k_unannounced, false},
        {"nothing of it, as the modem does it", message(0xB2).with_int(141, 1), message(0xB3).with_int(1, 0),
         "the answer lacks ", false},
        {"a failure, which lacks all", version, message(0x2E).with_int(1, 1), nullptr, false},
        {"of the modem's versions", message(0x2D).with_int(19, 18), message(0x2E).with_int(1, 0), nullptr, false},
        {"of the modem's commands", message(0x75), message(0x76).with_int(1, 0), nullptr, false},
        {"of an application's command, which goes to the modem", message(0x09), message(0x0A).with_int(1, 0), nullptr,
         false},
        {"of an unknown command", message(0xFC), message(0xFD).with_int(1, 0), nullptr, false},
        {"to an application", version, full, nullptr, false, framing::bare},
        {"to an application, a modem's version", message(0x2D).with_int(19, 18), message(0x2E).with_int(1, 0),
         "the answer lacks module", false, framing::bare},
        {"to an application, its own", message(0x09), message(0x0A).with_int(1, 0), "the answer lacks voltage", false,
         framing::bare},
        {"to an application, a station's", message(0xE0), message(0xE1).with_int(1, 0), nullptr, false, framing::bare},
    };
    for (const doubtful_row &row : rows) {
        SCOPED_TRACE(row.name);
        const bool is_bare = row.how == framing::bare;
        const std::string written = is_bare ? row.answer.encode() : row.answer.envelope();
        const cable packets = make_packets();
        answering_handset other_end(packets, {{(row.announced && !is_bare ? k_pre_response : "") + written}});
        station::dialogue handset(packets.station.get(), row.how);
        if (row.told == nullptr) {
            EXPECT_EQ(handset.ask(row.request), row.answer);
        } else {
            EXPECT_THAT([&] { (void)handset.ask(row.request); },
                        ThrowsMessage<station::malformed>(AllOf(HasSubstr(row.told), Not(HasSubstr("\n")))));
        }
    }
}

TEST(StationDialogue, HoldsTheFirstAcknowledgementToThePreResponse)
{
    const cable packets = make_packets();
    answering_handset other_end(packets, {{k_taken.envelope(), k_pre_response, k_runs.envelope()}});
    station::dialogue handset(packets.station.get());
    EXPECT_THAT([&] { (void)handset.ask(message(k_start)); },
                ThrowsMessage<station::malformed>(HasSubstr("without a pre-response")));
}

TEST(StationDialogue, SaysThatTheHandsetCouldNotAnswerALine)
{
    const cable packets = make_packets();
    answering_handset other_end(packets, {{k_pre_response, message(0x00).with_int(1, 1).envelope()}});
    station::dialogue handset(packets.station.get());
    EXPECT_THAT([&] { (void)handset.ask_line("AT^DSVER"); },
                ThrowsMessage<station::refused>(HasSubstr("the handset could not answer the line")));
}

TEST(StationDialogue, RefusesALineThatDidNotSucceed)
{
    for (const std::string text : {"\r\nERROR\r\n", "\r\n+CME ERROR: 100\r\n", "\r\nOK to ask\r\n\r\nERROR\r\n"}) {
        SCOPED_TRACE(station::quoted(text));
        const cable packets = make_packets();
        answering_handset other_end(packets, {{text}});
        station::dialogue handset(packets.station.get());
        EXPECT_THAT([&] { (void)handset.ask_line_for_success("AT^DSVER"); },
                    ThrowsMessage<station::refused>(
                        AllOf(HasSubstr(R"("AT^DSVER")"), HasSubstr("is " + station::quoted(text)))));
    }
}

// --- what passes

struct passed {
    bool to_handset;
    std::string bytes;
    std::string meaning;
};

bool operator==(const passed &a, const passed &b)
{
    return a.to_handset == b.to_handset && a.bytes == b.bytes && a.meaning == b.meaning;
}

std::ostream &operator<<(std::ostream &stream, const passed &what)
{
    return stream << (what.to_handset ? "-> " : "<- ") << station::quoted(what.bytes) << ' ' << what.meaning;
}

TEST(StationDialogue, TellsAWatcherAllThatPassesInItsOrder)
{
    const cable packets = make_packets();
    station::dialogue handset(packets.station.get());
    std::vector<passed> all;
    handset.watch([&all](const passing &what) {
        all.push_back({what.to_handset, std::string(what.bytes), what.meaning});
    });
    packets.handset_writes(k_ready);
    answering_handset other_end(packets, {{k_pre_response, k_other.envelope(), k_framed + "\r\nleft"}, {"\r\nOK\r\n"}});
    (void)handset.ask(k_request);
    (void)handset.ask_line("AT");
    EXPECT_THAT(
        all,
        ElementsAre(passed{false, k_ready, "unasked, passed over"},
                    passed{true, k_request.envelope(), "AMT_VERSION_CMD (0x2D): module=17 (l1)"},
                    passed{false, k_pre_response, "pre-response"},
                    passed{false, k_other.envelope(), "AMT_BLUETOOTH_ADDRESS_RSPCMD (0xAD): result=0 (done)"},
                    passed{false, k_framed, "AMT_VERSION_RSPCMD (0x2E): module=17 (l1), version=KV, result=0 (done)"},
                    passed{false, "\r\nleft", "unasked, passed over"}, passed{true, "AT\r", R"("AT\r")"},
                    passed{false, "\r\nOK\r\n", R"(text "\r\nOK\r\n")"}));
}

TEST(StationDialogue, TellsAWatcherAlsoWhatIsDamagedAndWhatIsUnfinished)
{
    const cable packets = make_packets();
    station::dialogue handset(packets.station.get());
    handset.limit(1ms);
    std::string written = broken(k_framed, 30, 0);
    std::vector<passed> all;
    handset.watch([&](const passing &what) {
        if (what.to_handset) {
            packets.handset_writes(written);
        } else {
            all.push_back({false, std::string(what.bytes), what.meaning});
        }
    });
    EXPECT_THROW((void)handset.ask(k_request), station::malformed);
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0].bytes, written);
    EXPECT_THAT(all[0].meaning, HasSubstr("damaged frame (checksum"));

    all.clear();
    written = k_framed.substr(0, 20);
    EXPECT_THROW((void)handset.ask(k_request), station::malformed);
    EXPECT_THAT(all, ElementsAre(passed{false, written, "unfinished"}));
}

} // namespace
