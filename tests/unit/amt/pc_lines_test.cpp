// Lines of the station on their way through the dispatcher: who answers, and what the modem gets.
#include "amt/channels/pc-dispatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "amt/at-local/version.h"
#include "amt/core/registry.h"
#include "amt/identity/identity-writes.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/unit/amt/line_fakes.h"
#include "tests/unit/amt/pending_notes.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

// The message that says no more than that something failed: of no command, the result 1.
const std::string k_failure = "aabbccdd1700000002000000"
                              "0f00bb000900ee0101040001000000";

class PcLine : public misc_library {
  protected:
    void SetUp() override
    {
        misc_library::SetUp();
        write_file("/dev/__properties__/ro.build.display.id", "KV");
    }
};

// An answer without the checksum at its end, in hex.
std::string without_checksum(const std::string &answer)
{
    const std::string hex = hex_of(answer);
    return hex.substr(0, hex.size() < 8 ? 0 : hex.size() - 8);
}

TEST_F(PcLine, WithoutAMandatoryFieldIsAnsweredByOneMessageAndNoText)
{
    for (const char *line : {"AT^DPCBACTRL=", "AT^DPCBACTRL=\r", "AT^DPCBACTRL=\r\n", "AT^DPCBACTRL=,\r",
                             "AT^DPCBACTRL=2", "AT^DPCBACTRL=2\r", "AT^DPCBACTRL=2,\r", "AT^DPCBACTRL=2,,\r\n",
                             "AT^DAMT1=", "AT^DAMT1=\r", "AT^DAMT1=\r\n", "AT^DAMT1=,\r"}) {
        in_child([line] {
            SCOPED_TRACE(line);
            const device_handset handset;
            const modem_link modem;
            const outcome seen = say(handset, handle_amt_pc_req, line);
            EXPECT_EQ(seen.result, ERR_NONE) << "the station has been told";
            ASSERT_EQ(seen.at_station.size(), 1U);
            EXPECT_EQ(without_checksum(seen.at_station[0]), k_failure);
            EXPECT_EQ(hex_of(seen.at_station[0]), enveloped(result_of(0, 1)));
            EXPECT_THAT(modem.arrived(), IsEmpty());
            EXPECT_THAT(seen.events, ElementsAre("send"));
            EXPECT_TRUE(seen.is_response_clear);
        });
    }
}

TEST_F(PcLine, ThatFailsForAnotherReasonIsAnsweredByItsTextAlone)
{
    const std::pair<const char *, const char *> rows[] = {
        {"AT^DBTADDR?\r", k_cme_line},      {"AT^DBTADDR=\"00:11\"\r", k_cme_line},
        {"AT^DWIFIADDR?\r", k_cme_line},    {"AT^DWIFIADDR=\"\"\r", k_cme_line},
        {"AT^DPCBACTRL=1\r", k_error_line}, {"AT^DPCBACTRL=2,1\r", k_error_line},
        {"AT^DPCBACTRL=0\r", k_error_line}, {"AT^DAMT1=0\r", k_error_line},
        {"AT^DAMT1=3\r", k_error_line},
    };
    for (const auto &[line, answer] : rows) {
        in_child([line = line, answer = answer] {
            const device_handset handset;
            const modem_link modem;
            const outcome seen = say(handset, handle_amt_pc_req, line);
            EXPECT_EQ(seen.result, ERR_NONE) << line;
            EXPECT_THAT(seen.at_station, ElementsAre(answer)) << line;
            EXPECT_THAT(modem.arrived(), IsEmpty()) << line;
        });
    }
}

TEST_F(PcLine, OfTheHandsetsOwnDoesNotReachTheModem)
{
    in_child([] {
        const device_handset handset;
        const modem_link modem;
        handset.put("/amt/BT/BT_Address.txt", "old\n");
        const outcome seen = say(handset, handle_amt_pc_req, "AT^DBTADDR=\"00:11:22:33:44:55\"\r");
        EXPECT_THAT(seen.at_station, ElementsAre(k_ok_line));
        EXPECT_EQ(handset.content("/amt/BT/BT_Address.txt"), "00:11:22:33:44:55\n");
        EXPECT_THAT(say(handset, handle_amt_pc_req, "AT^DAMT1=2\r").at_station,
                    ElementsAre("\r\n^DAMT1: 1\r\n\r\nOK\r\n"));
        EXPECT_THAT(say(handset, handle_amt_pc_req, "AT^DSVER\rAT^DAMTOFF\r").at_station,
                    ElementsAre("\r\n^DSVER: KV\r\n\r\nOK\r\n"));
        EXPECT_THAT(modem.arrived(), IsEmpty());
        EXPECT_THAT(g_fake.events, Not(Contains("power off")));
    });
}

TEST_F(PcLine, SwitchesTheHandsetOffBehindItsAnswer)
{
    in_child([] {
        const device_handset handset;
        const modem_link modem;
        const outcome seen = say(handset, handle_amt_pc_req, "AT^DAMTOFF\r");
        EXPECT_THAT(seen.at_station, ElementsAre(k_ok_line));
        EXPECT_THAT(seen.events, ElementsAre("send", "pause 2 s", "power off"));
        EXPECT_THAT(modem.arrived(), IsEmpty());
    });
}

TEST_F(PcLine, OfNobodyOnTheHandsetGoesToTheModemAsItIs)
{
    for (const std::string line :
         {"AT^DBTADDR?", "AT^DWIFIADDR?", "AT^DSVER", "AT^DAMTOFF", "AT^DAMTOFF\n", "AT^DBTADDR=00:11\r", "at^dsver\r",
          "AT^DCGSNW=490154203237518\r", "AT^DMSN=1\r", "AT^DMPCHN=1\r"}) {
        in_child([&line] {
            const device_handset handset;
            const modem_link modem;
            const outcome seen = say(handset, handle_amt_pc_req, line);
            EXPECT_EQ(seen.result, ERR_NONE) << line;
            EXPECT_THAT(modem.arrived(), ElementsAre(line));
            EXPECT_THAT(seen.at_station, IsEmpty()) << line;
            EXPECT_THAT(seen.events, IsEmpty()) << line;
        });
    }
}

// The two share their text: what is noted of the request does not depend on who answers it.
TEST_F(PcLine, OfTheHandsetsOwnIsNotedWhenItAlsoWritesAnIdentity)
{
    in_child([] {
        const device_handset handset;
        const modem_link modem;
        amt_clear_pending_identity();
        const outcome seen = say(handset, handle_amt_pc_req, "AT^DMSN=KV01\rAT^DSVER\r");
        EXPECT_THAT(seen.at_station, ElementsAre("\r\n^DSVER: KV\r\n\r\nOK\r\n"));
        EXPECT_THAT(modem.arrived(), IsEmpty());
        EXPECT_EQ(noted(pending_sn()), "KV01");
    });
}

TEST_F(PcLine, WhoseAnswerDoesNotGetOutIsAFailureOfTheLink)
{
    in_child([] {
        const device_handset handset;
        const modem_link modem;
        g_fake.is_send_cut = true;
        const outcome seen = say(handset, handle_amt_pc_req, "AT^DSVER\r");
        EXPECT_EQ(seen.result, ERR_WRITE_NOT_COMPLETED);
        EXPECT_THAT(seen.events, ElementsAre("send", "send")) << "the answer, then that it failed";
        EXPECT_THAT(modem.arrived(), IsEmpty());
    });
}

TEST_F(PcLine, IsNotLookedForInAMessage)
{
    in_child([] {
        const device_handset handset;
        const modem_link modem;
        const std::string message = enveloped(message_of(0x13, text_atom(9, "AT^DAMTOFF\r")));
        const byte_vector bytes = from_hex(message);
        const std::string request(bytes.begin(), bytes.end());
        const outcome seen = say(handset, handle_amt_pc_req, request);
        EXPECT_THAT(modem.arrived(), ElementsAre(request));
        EXPECT_THAT(seen.events, IsEmpty());
    });
}

// --- versions in messages

class PcVersion : public PcLine {};

std::string version_request(uint32_t type)
{
    const byte_vector bytes = from_hex(enveloped(message_of(0x2D, int_atom(19, type))));
    return {bytes.begin(), bytes.end()};
}

TEST_F(PcVersion, OfTheModemGoesToTheModem)
{
    for (const uint32_t type : {17, 18}) {
        in_child([type] {
            const device_handset handset;
            const modem_link modem;
            (void)amt_handle_reg_handle_func(AMT_CHANNEL_PC, 0x2D, handle_amt_pc_req_version);
            const outcome seen = say(handset, handle_amt_pc_req, version_request(type));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(modem.arrived(), ElementsAre(version_request(type))) << "envelope and all";
            EXPECT_THAT(seen.at_station, IsEmpty()) << "not even a pre-response";
        });
    }
}

TEST_F(PcVersion, ThatNobodyKnowsIsToldAsAFailedVersionRequest)
{
    for (const uint32_t type : {5, 0, 272}) {
        in_child([type] {
            const device_handset handset;
            const modem_link modem;
            (void)amt_handle_reg_handle_func(AMT_CHANNEL_PC, 0x2D, handle_amt_pc_req_version);
            const outcome seen = say(handset, handle_amt_pc_req, version_request(type));
            EXPECT_EQ(seen.result, ERR_NONE);
            ASSERT_EQ(seen.at_station.size(), 1U);
            EXPECT_EQ(hex_of(seen.at_station[0]), enveloped("0f00bb2e0900ee0101040001000000")) << type;
            EXPECT_THAT(modem.arrived(), IsEmpty());
        });
    }
}

TEST_F(PcVersion, OfTheHandsetIsAnsweredBehindOnePreResponse)
{
    in_child([] {
        const device_handset handset;
        const modem_link modem;
        (void)amt_handle_reg_handle_func(AMT_CHANNEL_PC, 0x2D, handle_amt_pc_req_version);
        const outcome seen = say(handset, handle_amt_pc_req, version_request(16));
        ASSERT_EQ(seen.at_station.size(), 2U) << "one pre-response, one answer";
        EXPECT_EQ(hex_of(seen.at_station[0]), "aabbccdd0800000002020000764aee1d");
        EXPECT_EQ(hex_of(seen.at_station[1]), enveloped("1f00bb2e1900ee1301040010000000"
                                                        "ee120302004b56"
                                                        "ee0101040000000000"));
        EXPECT_THAT(modem.arrived(), IsEmpty());
    });
}

} // namespace
