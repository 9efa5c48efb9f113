// Whether the handset can be switched into the factory test mode; the switch itself is tested in
// normal_to_amt_test.cpp.
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "amt/modem/normal-to-amt.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/exchange.h"
#include "tests/unit/amt/handler_arguments.h"
#include "tests/unit/amt/links.h"
#include "tests/unit/amt/port_fakes.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

const std::string k_end = "\r\n\r\nOK\r\n";

const std::string k_support_request = message_of(0xC5);

std::string dmcc(const std::string &parameter)
{
    return "\r\n^DMCC:" + parameter + k_end;
}

void expect_technology(const std::string &name, const std::vector<std::string> &modem, uint32_t technology)
{
    with_exchange(amt_query_amt_support, k_support_request, modem, [&](const exchange &seen) {
        EXPECT_EQ(seen.result, ERR_NONE) << name;
        EXPECT_THAT(seen.commands, ElementsAre("AT^DMCC?\r")) << name;
        EXPECT_THAT(seen.answers, ElementsAre(message_of(0xC6, int_atom(202, technology) + int_atom(1, 0)))) << name;
        EXPECT_THAT(seen.told,
                    Contains("info | getted nstandby0_rat:" + std::to_string(static_cast<int32_t>(technology)) + "."))
            << name;
    });
}

void expect_no_support(const std::string &name, const std::vector<std::string> &modem, const std::string &told = "",
                       const std::function<void()> &prepare = nullptr)
{
    with_exchange(
        amt_query_amt_support, k_support_request, modem,
        [&](const exchange &seen) {
            EXPECT_EQ(seen.result, ERR_NONE) << name;
            EXPECT_THAT(seen.answers, ElementsAre(result_of(0xC6, 10))) << name;
            EXPECT_THAT(seen.told, Not(Contains(HasSubstr("getted")))) << name;
            if (!told.empty()) {
                EXPECT_THAT(seen.told, Contains(HasSubstr(told))) << name;
            }
        },
        prepare);
}

TEST(AmtSupport, IsTheTechnologyOfTheFirstSim)
{
    expect_technology("usual", {dmcc(" 2,2,1,5")}, 5);
    expect_technology("without a blank", {dmcc("2,2,1,5")}, 5);
    expect_technology("with many", {dmcc("    2,2,1,5")}, 5);
    expect_technology("more fields", {dmcc("2,2,1,5,9,8")}, 5);
    expect_technology("text behind the number", {dmcc("2,2,1,5x")}, 5);
    expect_technology("no number", {dmcc("2,2,1,LTE")}, 0);
    expect_technology("a blank in front of it", {dmcc("2,2,1, 15")}, 15);
    expect_technology("below zero", {dmcc("2,2,1,-1")}, 0xFFFFFFFF);
    expect_technology("letters in the other fields", {dmcc("a,b,c,7")}, 7);
    expect_technology("empty fields do not count", {dmcc("2,,2,1,,5")}, 5);
    expect_technology("a field of a blank counts", {dmcc("2, ,1,5")}, 5);
    expect_technology("its line not ended", {"\r\n^DMCC: 2,2,1,5\r\nOK\r\n"}, 5);
    expect_technology("behind an echo", {"AT^DMCC?\r" + dmcc(" 2,2,1,5")}, 5);
    for (const std::vector<std::string> &pieces : split_everywhere(dmcc(" 2,2,1,5"))) {
        expect_technology("in pieces", pieces, 5);
    }
}

TEST(AmtSupport, WithoutAllOfItsFieldsIsAnError)
{
    expect_no_support("none", {dmcc("")}, "sim_num is null!!!");
    expect_no_support("only commas", {dmcc(",,,")}, "sim_num is null!!!");
    expect_no_support("one", {dmcc("2")}, "standby_num is null!!!");
    expect_no_support("two", {dmcc("2,2")}, "rf_set_num is null!!!");
    expect_no_support("three", {dmcc("2,2,1")}, "standby0_rat is null!!!");
    expect_no_support("three and a comma", {dmcc("2,2,1,")}, "standby0_rat is null!!!");
}

TEST(AmtSupport, IsToldInAtMost38Characters)
{
    const std::string head = "2,2,1,5,";
    expect_technology("37", {dmcc(head + std::string(29, '1'))}, 5);
    expect_technology("38", {dmcc(head + std::string(30, '1'))}, 5);
    expect_no_support("39", {dmcc(head + std::string(31, '1'))});
    expect_no_support("4000", {dmcc(head + std::string(3992, '1'))});
}

TEST(AmtSupport, CannotBeToldByAModemThatFails)
{
    for (const refusal_row &refusal : k_refusals) {
        expect_no_support(refusal.name, {refusal.text, dmcc("2,2,1,5")});
    }
    expect_no_support("only OK", {k_ok});
    expect_no_support("not at the beginning of a line", {"x^DMCC: 2,2,1,5" + k_end});
    expect_no_support("another line", {"\r\n^DMCD: 2,2,1,5" + k_end});
    expect_no_support("behind the OK", {k_ok + "\r\n^DMCC: 2,2,1,5\r\n"});
    expect_no_support("a full answer", {std::string(4096, 'x'), k_ok});
    expect_no_support("a failed command", {}, "", [] { fail_write(EAGAIN); });
    expect_no_support("a failed reading", {}, "", [] { fail_read(EAGAIN); });
}

TEST(AmtSupport, IsToldInTheLog)
{
    in_child([] {
        const links link;
        (void)open_port();
        const test_log log;
        modem_says({"\r\n^DMCC: 2,2,1,5", k_end});
        const amt_buffer request = buffer_with(k_support_request);
        amt_buffer response = {};
        EXPECT_EQ(amt_query_amt_support(AMT_CHANNEL_APP, &request, &response), ERR_NONE);
        EXPECT_THAT(log.text(), HasSubstr("amt_query_amt_support :\r\n^DMCC: 2,2,1,5\n"));
        EXPECT_THAT(log.text(), HasSubstr("amt_query_amt_support :\r\n^DMCC: 2,2,1,5\r\n\r\nOK\r\n\n"));
        EXPECT_THAT(log.text(), HasSubstr("amt_query_amt_support head_ptr=2,2,1,5\r\n\r\nOK\r\n\n"));
        EXPECT_THAT(log.text(), HasSubstr("amt_query_amt_support parameter=2,2,1,5\n"));
        EXPECT_LT(log.text().find("head_ptr="), log.text().find("parameter="));
    });
}

TEST(AmtSupport, GivesTheResultOfItsAnswer)
{
    for (const std::string &text : {dmcc("2,2,1,5"), std::string("\r\nERROR\r\n")}) {
        with_exchange(
            amt_query_amt_support, k_support_request, {text},
            [](const exchange &seen) { EXPECT_EQ(seen.result, ERR_UNKNOWN); },
            [] { handle_context_st.m_pty.m_ptm_fd = -1; });
    }
}

TEST(AmtSupport, IsRefusedWithoutAModem)
{
    expect_refused_without_modem(amt_query_amt_support, k_support_request);
}

TEST(AmtSupport, RefusesBadArgumentsAndTellsWhich)
{
    expect_bad_arguments_refused(amt_query_amt_support, AMT_CHANNEL_APP, k_support_request);
}

} // namespace
