// How a request ends without an answer, and that the next one begins afresh.
#include <gmock/gmock.h>

#include "station/dialogue.h"
#include "station/text.h"
#include "tests/unit/station/cable.h"
#include "tests/unit/station/samples.h"

namespace {

using namespace std::chrono_literals;
using clock = std::chrono::steady_clock;
using station::framing;
using station::message;
using station::passing;
using station_test::answering_handset;
using station_test::broken;
using station_test::cable;
using station_test::frame_around;
using station_test::interrupt;
using station_test::make_packets;
using station_test::make_tty;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::ThrowsMessage;

// A version that the modem tells, without a pre-response.
const message k_request = message(0x2D).with_int(19, 17);
const message k_answer = message(0x2E).with_int(19, 17).with_int(1, 0);
const std::string k_framed = k_answer.envelope(); // 40 bytes
const std::string k_pre_response = station_test::bytes("AABBCCDD 08000000 02020000 764AEE1D");

// Writes as the handset at the moment a request is sent, in one piece: what comes is there before a wait begins, so
// that a wait may be short.
void answer_at_once(station::dialogue &handset, const cable &packets, const std::string &bytes)
{
    handset.watch([&packets, bytes](const passing &what) {
        if (what.to_handset && !bytes.empty()) {
            packets.handset_writes(bytes);
        }
    });
}

// Each way of asking, since each has to fail alike.
struct asking {
    const char *name;
    void (*ask)(station::dialogue &handset);
};

const asking k_askings[] = {
    {"a message", [](station::dialogue &handset) { (void)handset.ask(k_request); }},
    {"a message to succeed", [](station::dialogue &handset) { (void)handset.ask_for_success(k_request); }},
    {"a line", [](station::dialogue &handset) { (void)handset.ask_line("AT^DSVER"); }},
    {"a line to succeed", [](station::dialogue &handset) { (void)handset.ask_line_for_success("AT^DSVER"); }},
    {"bytes", [](station::dialogue &handset) { (void)handset.ask_raw("AT\r"); }},
};

struct fault_row {
    const char *name;
    std::string written;
    const char *told;
    framing how = framing::envelope;
};

TEST(StationDialogueFailure, IsWhatIsWrongWithADamagedAnswer)
{
    const fault_row rows[] = {
        {"checksum", broken(k_framed, 39, 0), "a damaged answer came, checksum 0x"},
        {"an impossible length", broken(k_framed, 6, 1), "impossible length 65568"},
        {"command head", frame_around(station_test::bytes("0600BA2E0000")), "command head 0xBA instead of 0xBB"},
        {"behind the pre-response", k_pre_response + broken(k_framed, 39, 0), "checksum 0x"},
        {"before a whole answer", broken(k_framed, 39, 0) + k_framed, "checksum 0x"},
        {"a frame without its beginning", k_framed.substr(9) + k_framed, "neither a frame nor text: "},
        {"a text with other bytes in it", "\r\n^DS\x01\r\n\r\nOK\r\n", "neither a frame nor text: "},
        {"bare, a text", "\r\nERROR\r\n", "command head 0x45 instead of 0xBB", framing::bare},
        {"bare, a frame", k_framed, "command head 0xCC instead of 0xBB", framing::bare},
    };
    for (const fault_row &row : rows) {
        SCOPED_TRACE(row.name);
        const cable packets = make_packets();
        station::dialogue handset(packets.station.get(), row.how);
        answer_at_once(handset, packets, row.written);
        EXPECT_THAT([&] { (void)handset.ask(k_request); },
                    ThrowsMessage<station::malformed>(AllOf(HasSubstr(row.told), Not(HasSubstr("\n")))));
    }
}

TEST(StationDialogueFailure, IsADamagedAnswerWhateverIsAsked)
{
    for (const asking &each : k_askings) {
        SCOPED_TRACE(each.name);
        const cable packets = make_packets();
        station::dialogue handset(packets.station.get());
        answer_at_once(handset, packets, broken(k_framed, 39, 0));
        EXPECT_THROW(each.ask(handset), station::malformed);
    }
}

TEST(StationDialogueFailure, PassesOverWhatComesShortlyBehindADamagedAnswer)
{
    const cable packets = make_packets();
    station::dialogue handset(packets.station.get());
    const std::string damaged = broken(k_framed, 39, 0);
    std::vector<std::string> passed_over;
    handset.watch([&](const passing &what) {
        if (what.to_handset) {
            packets.handset_writes(damaged);
        } else if (what.bytes == damaged) {
            packets.handset_writes(k_framed);
        } else {
            passed_over.emplace_back(what.bytes);
        }
    });
    EXPECT_THROW((void)handset.ask(k_request), station::malformed);
    EXPECT_THAT(passed_over, testing::ElementsAre(k_framed));
}

TEST(StationDialogueFailure, ShowsTheBeginningOfADamagedAnswer)
{
    const std::string longest = message(0x2E).with_bytes(4, std::string(3000, 'Z')).envelope();
    const cable packets = make_packets();
    station::dialogue handset(packets.station.get());
    answer_at_once(handset, packets, broken(longest, 50, 0));
    EXPECT_THAT([&] { (void)handset.ask(k_request); },
                ThrowsMessage<station::malformed>(AllOf(HasSubstr(": AA BB CC DD"), HasSubstr("5A ... (2979 more)"))));
}

TEST(StationDialogueFailure, IsThatAPieceOfAnAnswerCame)
{
    const fault_row rows[] = {
        {"a frame but for its last byte", k_framed.substr(0, 39), "only 39 of the 40 bytes that it tells came"},
        {"a frame before its length", k_framed.substr(0, 6), "a frame has begun, and only 6 bytes of it came"},
        {"half a frame behind the pre-response", k_pre_response + k_framed.substr(0, 9), "only 9 of the 40 bytes"},
        {"half a line", "\r\n^DSVER: \"1", "neither a frame nor lines of text"},
        {"a line without its end", "\r\n^DSVER: 1", "neither a frame nor lines of text"},
        {"a part of a magic", "\xAA\xBB", "neither a frame nor lines of text"},
        {"garbage", std::string("\0\x01\xFF", 3), "neither a frame nor lines of text"},
        {"half a bare message", k_answer.encode().substr(0, 23), "only 23 of the 24 bytes that it tells came",
         framing::bare},
        {"a byte of a bare message", k_answer.encode().substr(0, 1), "only 1 byte of it came", framing::bare},
    };
    for (const fault_row &row : rows) {
        for (const asking &each : k_askings) {
            SCOPED_TRACE(testing::Message() << row.name << ", " << each.name);
            const cable packets = make_packets();
            station::dialogue handset(packets.station.get(), row.how);
            handset.limit(1ms);
            answer_at_once(handset, packets, row.written);
            EXPECT_THAT([&] { each.ask(handset); },
                        ThrowsMessage<station::malformed>(AllOf(HasSubstr(row.told), HasSubstr("within 1 ms"))));
        }
    }
}

TEST(StationDialogueFailure, IsThatNoAnswerCameInTime)
{
    const fault_row rows[] = {
        {"nothing", "", "nothing came"},
        {"the pre-response only", k_pre_response, "nothing came"},
        {"a line of the modem's own", "\r\n^READY\r\n", R"(only "\r\n^READY\r\n")"},
        {"lines without a final result", "\r\na\r\n\r\nb\r\n", R"(only "\r\na\r\n\r\nb\r\n")"},
        {"bare, nothing", "", "nothing came", framing::bare},
    };
    for (const fault_row &row : rows) {
        for (const asking &each : k_askings) {
            SCOPED_TRACE(testing::Message() << row.name << ", " << each.name);
            const cable packets = make_packets();
            station::dialogue handset(packets.station.get(), row.how);
            handset.limit(1ms);
            answer_at_once(handset, packets, row.written);
            EXPECT_THAT([&] { each.ask(handset); },
                        ThrowsMessage<station::timeout>(AllOf(HasSubstr("no whole answer"), HasSubstr(row.told))));
        }
    }
}

TEST(StationDialogueFailure, IsThatOnlyAnOkCameInAnswerToAMessage)
{
    const cable packets = make_packets();
    station::dialogue handset(packets.station.get());
    handset.limit(100ms);
    answer_at_once(handset, packets, "\r\nOK\r\n");
    EXPECT_THROW((void)handset.ask(k_request), station::timeout);
}

TEST(StationDialogueFailure, IsThatTheSecondAcknowledgementDidNotComeInTime)
{
    const cable packets = make_packets();
    station::dialogue handset(packets.station.get());
    handset.limit(100ms);
    bool has_come = false;
    handset.watch([&](const passing &what) {
        if (what.to_handset) {
            packets.handset_writes(k_pre_response + message(0xAB).with_int(1, 0).envelope());
        }
        has_come = has_come || what.meaning == "AMT_BLUETOOTH_RSPCMD (0xAB): result=0 (done)";
    });
    EXPECT_THROW((void)handset.ask(message(0xAA)), station::timeout);
    EXPECT_TRUE(has_come);
}

TEST(StationDialogueFailure, IsWhatIsWrongAlsoWhenTheHandsetIsGoneBehindIt)
{
    cable tty = make_tty(O_NONBLOCK);
    station::dialogue handset(tty.station.get());
    handset.watch([&](const passing &what) {
        if (what.to_handset) {
            tty.handset_writes(broken(k_framed, 39, 0));
        } else if (what.bytes.size() == k_framed.size()) {
            tty.handset.reset();
        }
    });
    EXPECT_THAT([&] { (void)handset.ask(k_request); },
                ThrowsMessage<station::malformed>(HasSubstr("a damaged answer came")));
    EXPECT_THROW((void)handset.ask(k_request), station::lost);
}

TEST(StationDialogueFailure, IsThatOnlyOtherMessagesCameInTime)
{
    const cable packets = make_packets();
    station::dialogue handset(packets.station.get());
    handset.limit(1ms);
    answer_at_once(handset, packets, message(0xAD).with_int(1, 0).envelope());
    EXPECT_THROW((void)handset.ask(k_request), station::timeout);
    EXPECT_THROW((void)handset.ask_line("AT"), station::timeout);
}

void let_pass(std::chrono::milliseconds time)
{
    for (const auto end = clock::now() + time; clock::now() < end;) {
    }
}

TEST(StationDialogueFailure, TellsTheWholeWaitAlsoBehindThePreResponse)
{
    const cable packets = make_packets();
    station::dialogue handset(packets.station.get());
    handset.limit(40ms);
    handset.watch([&](const passing &what) {
        if (what.to_handset) {
            packets.handset_writes(k_pre_response);
        } else {
            let_pass(3ms);
        }
    });
    EXPECT_THAT([&] { (void)handset.ask(k_request); }, ThrowsMessage<station::timeout>(HasSubstr("within 40 ms")));
}

// A handset that always has something else to say.
TEST(StationDialogueFailure, IsTheEndOfTheWaitHoweverMuchElseComes)
{
    const cable packets = make_packets();
    station::dialogue handset(packets.station.get());
    handset.limit(5ms);
    const auto patience = clock::now() + 5s;
    handset.watch([&](const passing &) {
        packets.handset_writes(clock::now() < patience ? message(0xAD).with_int(1, 0).envelope() : k_framed);
    });
    EXPECT_THROW((void)handset.ask(k_request), station::timeout);
}

TEST(StationDialogueFailure, CountsTheTimeFromTheRequest)
{
    const cable packets = make_packets();
    station::dialogue handset(packets.station.get());
    handset.watch([&](const passing &what) {
        if (what.to_handset) {
            packets.handset_writes(k_pre_response + k_framed);
        } else if (what.bytes == k_pre_response) {
            let_pass(3ms);
        }
    });
    const auto begun = clock::now();
    (void)handset.ask(k_request);
    EXPECT_GE(handset.took(), 3ms);
    EXPECT_LE(handset.took(), clock::now() - begun);
}

// --- the handset is gone

TEST(StationDialogueFailure, IsThatTheHandsetIsGone)
{
    for (const asking &each : k_askings) {
        SCOPED_TRACE(each.name);
        cable tty = make_tty(O_NONBLOCK);
        station::dialogue handset(tty.station.get());
        tty.handset.reset();
        EXPECT_THROW(each.ask(handset), station::lost);
    }
}

TEST(StationDialogueFailure, IsThatTheHandsetWentWhileItsAnswerWasAwaited)
{
    for (const asking &each : k_askings) {
        SCOPED_TRACE(each.name);
        cable tty = make_tty(O_NONBLOCK);
        station::dialogue handset(tty.station.get());
        std::thread user([&] {
            EXPECT_NE(tty.handset_reads(), "");
            tty.handset.reset();
        });
        EXPECT_THAT([&] { each.ask(handset); }, ThrowsMessage<station::lost>(HasSubstr("still connected")));
        user.join();
    }
}

// --- interrupts

TEST(StationDialogueFailure, IsAnInterruptWhileAnAnswerIsAwaited)
{
    for (const asking &each : k_askings) {
        SCOPED_TRACE(each.name);
        const cable packets = make_packets();
        const interrupt stop;
        station::dialogue handset(packets.station.get());
        handset.stop_at(stop.fd());
        std::thread user([&] {
            EXPECT_NE(packets.handset_reads(), "");
            packets.handset_writes(k_pre_response);
            stop.come();
        });
        EXPECT_THROW(each.ask(handset), station::stopped);
        user.join();
    }
}

TEST(StationDialogueFailure, IsAnInterruptThatHasComeAndThenNothingIsSent)
{
    const cable packets = make_packets();
    const interrupt stop;
    station::dialogue handset(packets.station.get());
    handset.stop_at(stop.fd());
    stop.come();
    for (const asking &each : k_askings) {
        EXPECT_THROW(each.ask(handset), station::stopped) << each.name;
    }
    answering_handset other_end(packets, {{}});
    EXPECT_THAT(other_end.requests(), IsEmpty());
}

TEST(StationDialogueFailure, IsAnInterruptWhileTheHandsetTakesNoRequest)
{
    const cable packets = make_packets();
    while (send(packets.station.get(), "x", 1, MSG_DONTWAIT) == 1) {
    }
    ASSERT_EQ(fcntl(packets.station.get(), F_SETFL, O_NONBLOCK), 0);
    const interrupt stop;
    station::dialogue handset(packets.station.get());
    handset.stop_at(stop.fd());
    handset.watch([&](const passing &what) {
        if (what.to_handset) {
            stop.come();
        }
    });
    EXPECT_THROW((void)handset.ask(k_request), station::stopped);
}

// --- afresh

struct failure_row {
    const char *name;
    std::string written; // in answer to the first request
    std::string late;    // before the second one
};

TEST(StationDialogueFailure, LeavesNothingBehindForTheNextRequest)
{
    const message stale = message(0x2E).with_int(19, 1).with_int(1, 0);
    const std::string old = stale.envelope();
    const failure_row rows[] = {
        {"no answer", "", ""},
        {"an answer that came too late", "", old},
        {"half an answer", old.substr(0, 20), ""},
        {"half an answer, and its rest too late", old.substr(0, 20), old.substr(20)},
        {"half a line", "\r\n^DSV", ""},
        {"a damaged answer", broken(old, 39, 0), ""},
        {"a damaged answer and another", broken(old, 39, 0) + old, ""},
        {"a damaged answer and half another", broken(old, 39, 0) + old.substr(0, 9), old.substr(9)},
        {"a refusal of the modem, and the answer", "\r\nERROR\r\n" + old, ""},
        {"a refusal, and half a line", "\r\nERROR\r\n\r\n^DS", ""},
        {"the pre-response", k_pre_response, ""},
    };
    for (const failure_row &row : rows) {
        SCOPED_TRACE(row.name);
        const cable packets = make_packets();
        station::dialogue handset(packets.station.get());
        handset.limit(1ms);
        answer_at_once(handset, packets, row.written);
        EXPECT_THROW((void)handset.ask_for_success(k_request), std::runtime_error);
        EXPECT_EQ(packets.handset_reads(), k_request.envelope());
        if (!row.late.empty()) {
            packets.handset_writes(row.late);
        }
        answer_at_once(handset, packets, k_framed);
        handset.limit(30s);
        EXPECT_EQ(handset.ask_for_success(k_request), k_answer);
        EXPECT_FALSE(handset.was_announced());
        EXPECT_EQ(packets.handset_reads(), k_request.envelope());
    }
}

TEST(StationDialogueFailure, LeavesNothingBehindAfterAnInterrupt)
{
    const cable packets = make_packets();
    const interrupt stop;
    station::dialogue handset(packets.station.get());
    handset.stop_at(stop.fd());
    std::thread user([&] {
        EXPECT_EQ(packets.handset_reads(), k_request.envelope());
        packets.handset_writes(k_pre_response + k_framed.substr(0, 20));
        stop.come();
    });
    EXPECT_THROW((void)handset.ask(k_request), station::stopped);
    user.join();
    stop.take_back();
    answering_handset other_end(packets, {{"\r\nOK\r\n"}});
    EXPECT_EQ(handset.ask_line("AT"), "\r\nOK\r\n");
    EXPECT_FALSE(handset.was_announced());
}

} // namespace
