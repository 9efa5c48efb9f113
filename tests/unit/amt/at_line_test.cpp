// What the handlers of AT lines share.
#include "amt/at-local/at-line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "amt/core/context.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/unit/amt/line_fakes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// --- answers

TEST(LineReply, IsPlainTextToTheStationAlone)
{
    in_child([] {
        const device_handset handset;
        const auto reply = [] { return amt_reply_to_line("\r\n^A: %d,%s\r\n", -7, "b"); };
        const outcome seen = say(handset, reply, "AT^A\r");
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_THAT(seen.at_station, ElementsAre("\r\n^A: -7,b\r\n"));
        EXPECT_THAT(seen.events, ElementsAre("send")) << "in one write";
        EXPECT_TRUE(seen.is_response_clear);
        EXPECT_THAT(handset.log().records(),
                    ElementsAre("func | ", "data | send PC rsp data: (data len = 12) 0D0A5E413A202D372C620D0A"));
    });
}

std::string g_text; // of the next answer

int32_t reply_with_text()
{
    return amt_reply_to_line("%s", g_text.c_str());
}

TEST(LineReply, IsCutTo4095Characters)
{
    const std::pair<size_t, size_t> rows[] = {{1, 1}, {4094, 4094}, {4095, 4095}, {4096, 4095}, {5000, 4095}};
    for (const auto &[length, sent] : rows) {
        in_child([length = length, sent = sent] {
            const device_handset handset;
            g_text = std::string(length - 1, 'y') + "z";
            const outcome seen = say(handset, reply_with_text, "AT^A\r");
            EXPECT_EQ(seen.result, ERR_NONE) << length;
            EXPECT_THAT(seen.at_station, ElementsAre(g_text.substr(0, sent))) << length;
            EXPECT_TRUE(seen.is_response_clear);
        });
    }
}

TEST(LineReply, WithoutATextIsNotSent)
{
    in_child([] {
        const device_handset handset;
        g_text = "";
        const outcome seen = say(handset, reply_with_text, "AT^A\r");
        EXPECT_EQ(seen.result, ERR_INVALID_PARAM);
        EXPECT_THAT(seen.at_station, IsEmpty());
    });
}

TEST(LineReply, WithoutATextIsNotSentAsTheMessageThatWasLeftThere)
{
    in_child([] {
        const device_handset handset;
        const auto reply = [] {
            g_text = "";
            handle_context_st.m_response.m_data_a[1] = 1; // by which it would have 256 bytes
            return reply_with_text();
        };
        const outcome seen = say(handset, reply, "AT^A\r");
        EXPECT_EQ(seen.result, ERR_INVALID_PARAM);
        EXPECT_THAT(seen.at_station, IsEmpty());
    });
}

struct reply_row {
    const char *name;
    line_handler reply;
    const char *hex;
};

constexpr reply_row k_replies_a[] = {
    {"OK", amt_reply_ok, "0d0a4f4b0d0a"},
    {"ERROR", amt_reply_error, "0d0a4552524f520d0a"},
    {"+CME ERROR", amt_reply_cme_error, "0d0a2b434d45204552524f523a203130300d0a"},
};

TEST(LineReply, WithoutAValueIsOneOfThree)
{
    for (const reply_row &row : k_replies_a) {
        in_child([&row] {
            const device_handset handset;
            const outcome seen = say(handset, row.reply, "AT^A\r");
            EXPECT_EQ(seen.result, ERR_NONE) << row.name;
            ASSERT_EQ(seen.at_station.size(), 1U) << row.name;
            EXPECT_EQ(hex_of(seen.at_station[0]), row.hex) << row.name;
            EXPECT_TRUE(seen.is_response_clear);
        });
    }
}

int32_t g_result; // that is answered

TEST(LineReply, ToAResultIsOkOrError)
{
    const std::pair<int32_t, const char *> rows[] = {
        {ERR_NONE, k_ok_line}, {ERR_UNKNOWN, k_error_line}, {ERR_NOT_FOUND, k_error_line}, {1, k_error_line}};
    for (const auto &[result, answer] : rows) {
        in_child([result = result, answer = answer] {
            SCOPED_TRACE(result);
            const device_handset handset;
            g_result = result;
            expect_answered(say(
                                handset, [] { return amt_reply_result(g_result); }, "AT^A\r"),
                            answer);
        });
    }
}

TEST(LineReply, GivesTheResultOfItsSending)
{
    for (const reply_row &row : k_replies_a) {
        in_child([&row] {
            const device_handset handset;
            g_fake.is_send_cut = true;
            EXPECT_EQ(say(handset, row.reply, "AT^A\r").result, ERR_WRITE_NOT_COMPLETED) << row.name;
            const int station = handle_context_st.m_fd_pc.exchange(0);
            EXPECT_EQ(say(handset, row.reply, "AT^A\r").result, ERR_UNKNOWN) << row.name;
            handle_context_st.m_fd_pc = station;
        });
    }
}

// --- the text behind a prefix

struct behind_row {
    const char *name;
    std::string request;
    const char *prefix;
    std::string behind;
};

void ask_for(const std::string &request)
{
    handle_context_st.m_request = buffer_with(hex_of(request));
}

TEST(TextBehind, IsWhatFollowsTheFirstOfItsKind)
{
    const behind_row rows[] = {
        {"usual", "AT^A=1,2\r", "AT^A=", "1,2\r"},
        {"behind others", "ATI\rAT^A=1", "AT^A=", "1"},
        {"twice", "AT^A=1\rAT^A=2\r", "AT^A=", "1\rAT^A=2\r"},
        {"nothing", "AT^A=", "AT^A=", ""},
        {"up to a zero byte", std::string("AT^A=1\0002", 8), "AT^A=", "1"},
        {"at the end of the longest request", std::string(4090, 'x') + "AT^A=", "AT^A=", ""},
        {"at the end of a full buffer", std::string(4090, 'x') + "AT^A=1", "AT^A=", "1"},
        {"nothing in front", "ATI\r", "", "ATI\r"},
    };
    for (const behind_row &row : rows) {
        in_child([&row] {
            amt_context_clear();
            ask_for(row.request);
            EXPECT_EQ(amt_behind(row.prefix), row.behind) << row.name;
        });
    }
}

// --- rows

std::string g_called; // the handlers, in the order in which they were
int32_t g_results_a[3] = {};

int32_t first()
{
    g_called += "1";
    return g_results_a[0];
}

int32_t second()
{
    g_called += "2";
    return g_results_a[1];
}

int32_t third()
{
    g_called += "3";
    return g_results_a[2];
}

constexpr at_row k_rows_a[] = {{"AT^A", first}, {"", second}, {"AT^B", third}};

struct answer_row {
    const char *name;
    const char *request;
    int32_t results_a[3];
    const char *called;
    int32_t result;
};

TEST(LineRows, AreTriedInTheirOrderUntilOneDoesNotDecline)
{
    constexpr int32_t k_no = ERR_NOT_FOUND;
    const answer_row rows[] = {
        {"the first answers", "AT^A\r", {0, 7, 7}, "1", 0},
        {"the first fails", "AT^A\r", {ERR_UNKNOWN, 0, 0}, "1", ERR_UNKNOWN},
        {"the first gives a number", "AT^A\r", {5, 0, 0}, "1", 5},
        {"the first declines", "AT^A\r", {k_no, 3, 7}, "12", 3},
        {"the order is the rows'", "AT^B AT^A\r", {k_no, k_no, 4}, "123", 4},
        {"the order is the rows', at once", "AT^B AT^A\r", {2, 3, 4}, "1", 2},
        {"one without a text is always asked", "ATI\r", {0, -7, 0}, "2", -7},
        {"also of nothing", "", {0, ERR_INVALID_PARAM, 0}, "2", ERR_INVALID_PARAM},
        {"only those whose text is there", "AT^B\r", {0, k_no, ERR_C_FUNCTION}, "23", ERR_C_FUNCTION},
        {"the last declines", "AT^B\r", {0, k_no, k_no}, "23", k_no},
        {"all decline", "AT^AAT^B\r", {k_no, k_no, k_no}, "123", k_no},
        {"none of them", "at^a at^b\r", {0, k_no, 0}, "2", k_no},
        {"a part of a text", "AT^", {0, k_no, 0}, "2", k_no},
    };
    for (const answer_row &row : rows) {
        in_child([&row] {
            const device_handset handset;
            memcpy(g_results_a, row.results_a, sizeof(g_results_a));
            const outcome seen = say(
                handset, [] { return amt_answer_line(k_rows_a); }, row.request);
            EXPECT_EQ(seen.result, row.result) << row.name;
            EXPECT_EQ(g_called, row.called) << row.name;
            EXPECT_THAT(seen.events, IsEmpty()) << "the answers are the handlers'";
            EXPECT_THAT(handset.log().records(), IsEmpty());
        });
    }
}

TEST(LineRows, AreFoundByTheirTexts)
{
    const std::pair<const char *, const at_row *> rows[] = {
        {"AT^A\r", k_rows_a}, {"AT^BAT^A\r", k_rows_a}, {"AT^B\r", k_rows_a + 1}, {"", k_rows_a + 1}};
    for (const auto &[request, row] : rows) {
        in_child([request = request, row = row] {
            ask_for(request);
            EXPECT_EQ(amt_find_row(k_rows_a), row) << request;
        });
    }
    in_child([] {
        ask_for("AT^B\r");
        EXPECT_EQ(amt_find_row(k_rows_a, 1), nullptr);
        EXPECT_EQ(amt_find_row(k_rows_a, 0), nullptr);
        EXPECT_EQ(amt_find_row(k_rows_a + 2, 1), k_rows_a + 2);
        EXPECT_EQ(g_called, "") << "nobody is asked";
    });
}

TEST(LineRows, MayBeCounted)
{
    in_child([] {
        const device_handset handset;
        g_results_a[0] = ERR_NOT_FOUND;
        EXPECT_EQ(say(
                      handset, [] { return amt_answer_line(k_rows_a, 1); }, "AT^A\r")
                      .result,
                  ERR_NOT_FOUND);
        EXPECT_EQ(say(
                      handset, [] { return amt_answer_line(k_rows_a, 0); }, "AT^A\r")
                      .result,
                  ERR_NOT_FOUND);
        EXPECT_EQ(g_called, "1");
    });
}

} // namespace
