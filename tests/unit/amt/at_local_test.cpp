#include "amt/at-local/at-chain.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "amt/at-local/at-reply.h"
#include "amt/core/context.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/unit/amt/core_fakes.h"
#include "tests/unit/amt/links.h"
#include "tests/unit/platform/handset_root.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// --- lines that the handset answers itself

class LocalAt : public handset_root {
  protected:
    void SetUp() override
    {
        handset_root::SetUp();
        write_file("/dev/__properties__/ro.build.display.id", "KV");
    }
};

const std::string k_version_answer = hex_of("\r\n^DSVER: KV\r\n\r\nOK\r\n");

struct line_row {
    const char *name;
    std::string line;
    bool is_local;
};

const line_row k_lines_a[] = {
    {"the version", "AT^DSVER\r", true},
    {"the version, with a line feed", "AT^DSVER\r\n", true},
    {"the version behind another line", "ATI\r\nAT^DSVER\r", true},
    {"the version without a carriage return", "AT^DSVER", false},
    {"the version in small letters", "at^dsver\r", false},
    {"the version as a query", "AT^DSVER?\r", false},
    {"the version behind a zero byte", std::string("\0AT^DSVER\r", 10), false},
    {"another line", "ATI\r", false},
    {"nothing", "", false},
};

TEST_F(LocalAt, AnswersItsOwnLinesAndNoOthers)
{
    for (const line_row &row : k_lines_a) {
        in_child([&row] {
            const links link;
            amt_buffer &request = handle_context_st.m_request;
            request.m_length = static_cast<uint32_t>(row.line.size());
            memcpy(request.m_data_a, row.line.data(), row.line.size());
            EXPECT_EQ(amt_handle_local_at(), row.is_local ? ERR_NONE : ERR_NOT_FOUND) << row.name;
            if (row.is_local) {
                EXPECT_THAT(link.at_station(), ElementsAre(k_version_answer)) << row.name;
            } else {
                EXPECT_THAT(link.at_station(), IsEmpty()) << row.name;
            }
        });
    }
}

TEST_F(LocalAt, IsTheVersionBeforeARadioWhereverTheyStand)
{
    for (const char *line : {"AT^DSVER\rAT^DBTCTRL=1\r", "AT^DBTCTRL=1\rAT^DSVER\r"}) {
        in_child([line] {
            const links link;
            amt_buffer &request = handle_context_st.m_request;
            request.m_length = static_cast<uint32_t>(strlen(line));
            memcpy(request.m_data_a, line, request.m_length);
            EXPECT_EQ(amt_handle_local_at(), ERR_NONE);
            EXPECT_THAT(link.at_station(), ElementsAre(k_version_answer)) << line;
        });
    }
    EXPECT_EQ(calls().find("hwt_"), std::string::npos);
}

TEST_F(LocalAt, TestsARadioByItsLine)
{
    in_child([] {
        const links link;
        const std::string line = "AT^DBTCTRL=1\r";
        amt_buffer &request = handle_context_st.m_request;
        request.m_length = static_cast<uint32_t>(line.size());
        memcpy(request.m_data_a, line.data(), line.size());
        EXPECT_EQ(amt_handle_local_at(), ERR_NONE);
        EXPECT_THAT(link.at_station(), ElementsAre(hex_of("\r\nOK\r\n")));
    });
    EXPECT_THAT(calls(), ::testing::HasSubstr("hwt_btCtrl(1)\n"));
}

TEST_F(LocalAt, GivesTheResultOfTheHandlerThatClaimsTheLine)
{
    in_child([] {
        const links link;
        memcpy(handle_context_st.m_request.m_data_a, "AT^DSVER\r", 9);
        g_fake.write_fails_at = 1;
        g_fake.write_error = EIO;
        EXPECT_EQ(amt_handle_local_at(), ERR_C_FUNCTION);
        handle_context_st.m_fd_pc = 0;
        EXPECT_EQ(amt_handle_local_at(), ERR_UNKNOWN) << "the line is the handset's, and not for the modem";
    });
}

// --- answers to lines

TEST(LineReply, IsPlainTextToTheStationAlone)
{
    in_child([] {
        const links link;
        memset(handle_context_st.m_response.m_data_a, 'x', AMT_MESSAGE_SIZE); // of the last answer
        handle_context_st.m_response.m_length = 4000;
        EXPECT_EQ(amt_reply_to_line("\r\n^A: %d,%s\r\n", -7, "b"), ERR_NONE);
        EXPECT_THAT(link.at_station(), ElementsAre(hex_of("\r\n^A: -7,b\r\n")));
        EXPECT_THAT(link.at_application(), IsEmpty());
        EXPECT_TRUE(is_clear(handle_context_st.m_response));
    });
}

TEST(LineReply, IsCutTo4095Characters)
{
    for (const size_t length : {4095, 4096, 5000}) {
        in_child([length] {
            const links link;
            EXPECT_EQ(amt_reply_to_line("%s", std::string(length, 'y').c_str()), ERR_NONE);
            EXPECT_THAT(link.at_station(), ElementsAre(hex_of(std::string(4095, 'y')))) << length;
        });
    }
}

TEST(LineReply, WithoutATextIsNotSent)
{
    in_child([] {
        const links link;
        EXPECT_EQ(amt_reply_to_line("%s", ""), ERR_INVALID_PARAM);
        EXPECT_THAT(link.at_station(), IsEmpty());
    });
}

} // namespace
