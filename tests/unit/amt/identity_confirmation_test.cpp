#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "amt/identity/identity-writes.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/device_fakes.h"
#include "tests/unit/amt/identity_steps.h"
#include "tests/unit/amt/noting_handset.h"
#include "tests/unit/amt/pending_notes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

// --- what confirms

TEST(IdentityConfirmation, SavesWhatWasNotedInTheFileOfItsChannel)
{
    for (const kind_row &row : k_kinds_a) {
        for (const int channel : {0, 1, 2, 255}) {
            in_child([&row, channel] {
                SCOPED_TRACE(std::string(row.name) + " of channel " + std::to_string(channel));
                const noting_handset handset(row.kind, channel);
                const std::string path = channel == 1 ? row.own_path : row.path;
                const outcome seen = handset.hear(k_confirmed);
                EXPECT_EQ(seen.result, ERR_NONE);
                EXPECT_THAT(handset.saved(), ElementsAre(path + ": " + row.text)) << "nothing but it, and no line end";
                EXPECT_THAT(seen.events, ElementsAreArray(writing_of(path)));
                EXPECT_THAT(seen.told, ElementsAreArray(steps{kind_told(row.kind)} + success_told(row, channel)));
                EXPECT_EQ(pending_kind(), AMT_PENDING_NONE) << "it waits no longer";
                EXPECT_EQ(pending_channel(), channel);
                EXPECT_EQ(noted(pending_imei()), k_imei) << "the texts stay noted";
                EXPECT_EQ(noted(pending_sn()), k_sn);
            });
        }
    }
}

TEST(IdentityConfirmation, IsToldInTheNamesOfItsSteps)
{
    in_child([] {
        const noting_handset handset(1);
        (void)handset.hear(k_confirmed);
        const std::vector<std::string> records = handset.log().records();
        const std::vector<std::string> functions = handset.log().functions();
        ASSERT_EQ(records.size(), functions.size());
        std::vector<std::string> entered;
        for (size_t i = 0; i < records.size(); i++) {
            if (records[i] == "func | ") {
                entered.push_back(functions[i]);
            }
        }
        EXPECT_THAT(entered,
                    ElementsAre("handle_amt_imei_and_sn_rsp", "handle_amt_imei_and_sn_save_file", "amt_write_pcba_sn"));
    });
}

TEST(IdentityConfirmation, ReplacesWhatTheFileHeld)
{
    in_child([] {
        const noting_handset handset(2, 1);
        handset.put("/amt/sn-2.txt", "an older and longer one\n");
        const ino_t inode = inode_of(handset, "/amt/sn-2.txt");
        EXPECT_EQ(handset.hear(k_confirmed).result, ERR_NONE);
        EXPECT_EQ(handset.content("/amt/sn-2.txt"), k_sn);
        EXPECT_EQ(inode_of(handset, "/amt/sn-2.txt"), inode);
    });
}

struct saying {
    const char *name;
    std::string text;
};

TEST(IdentityConfirmation, IsAnywhereInTheReading)
{
    const saying rows[] = {
        {"at its end", "\r\n^DMSN: 1\r\n\r\nOK\r\n"},
        {"at its begin", "\r\nOK\r\n\r\n+CREG: 1\r\n"},
        {"in its middle", "echo\r\r\nOK\r\nmore"},
        {"behind a refusal", "\r\nERROR\r\n\r\nOK\r\n"},
        {"behind bytes above 127", "\xff\xfe\r\nOK\r\n"},
        {"before a zero byte", std::string("\r\nOK\r\n\0", 7)},
        {"the last of a whole buffer", std::string(AMT_MESSAGE_SIZE - 6, 'x') + k_confirmed},
    };
    for (const saying &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const noting_handset handset(1);
            EXPECT_EQ(handset.hear(row.text).result, ERR_NONE);
            EXPECT_THAT(handset.saved(), ElementsAre("/amt/imei.txt: " + k_imei));
            EXPECT_EQ(pending_kind(), AMT_PENDING_NONE);
        });
    }
}

TEST(IdentityConfirmation, IsAMessageOfOneOfTwoCommandsWithResult0)
{
    for (const kind_row &row : k_kinds_a) {
        for (const uint8_t id : {uint8_t{6}, uint8_t{88}}) {
            in_child([&row, id] {
                SCOPED_TRACE(std::string(row.name) + " by message " + std::to_string(id));
                const noting_handset handset(row.kind, 1);
                const outcome seen = handset.hear_bytes(enveloped(result_of(id, 0)));
                EXPECT_EQ(seen.result, ERR_NONE);
                EXPECT_THAT(handset.saved(), ElementsAre(row.own_path + ": " + row.text));
                EXPECT_THAT(seen.events, ElementsAreArray(writing_of(row.own_path)));
                EXPECT_THAT(seen.told,
                            ElementsAreArray(steps{kind_told(row.kind), code_told("0")} + success_told(row, 1)));
                EXPECT_EQ(pending_kind(), AMT_PENDING_NONE);
            });
        }
    }
}

TEST(IdentityConfirmation, IsAMessageWithoutAResultOrWithOneAnywhere)
{
    const saying rows[] = {
        {"without an atom", enveloped(message_of(6))},
        {"with another atom", enveloped(message_of(6, int_atom(2, 7)))},
        {"behind another atom", enveloped(message_of(6, text_atom(21, k_imei) + int_atom(1, 0)))},
        {"of one byte", enveloped(message_of(88, bytes_atom(1, std::string(1, '\0'))))},
        {"before bytes of another", enveloped(result_of(6, 0)) + hex_of("\r\nERROR\r\n")},
    };
    for (const saying &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const noting_handset handset(1);
            const outcome seen = handset.hear_bytes(row.text);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(handset.saved(), ElementsAre("/amt/imei.txt: " + k_imei));
            EXPECT_EQ(seen.told.at(1), code_told("0"));
            EXPECT_EQ(pending_kind(), AMT_PENDING_NONE);
        });
    }
}

TEST(IdentityConfirmation, IsNeededOnlyOnce)
{
    in_child([] {
        const noting_handset handset(1);
        EXPECT_EQ(handset.hear(k_confirmed).result, ERR_NONE);
        const outcome again = handset.hear(k_confirmed);
        EXPECT_EQ(again.result, ERR_NOT_FOUND);
        EXPECT_THAT(again.events, IsEmpty());
        EXPECT_THAT(again.told, ElementsAre(kind_told(0)));
    });
}

TEST(IdentityConfirmation, OfNothingIsNobodys)
{
    for (const int kind : {0, 3, 7, 255}) {
        in_child([kind] {
            SCOPED_TRACE(kind);
            const noting_handset handset(kind, 1);
            for (const std::string &hex : {hex_of(k_confirmed), enveloped(result_of(6, 0)), hex_of("\r\nERROR\r\n")}) {
                const outcome seen = handset.hear_bytes(hex);
                EXPECT_EQ(seen.result, ERR_NOT_FOUND);
                EXPECT_THAT(seen.events, IsEmpty());
                EXPECT_THAT(seen.told, ElementsAre(kind_told(kind)));
                EXPECT_EQ(pending_kind(), kind);
            }
            EXPECT_THAT(handset.saved(), IsEmpty());
        });
    }
}

TEST(IdentityConfirmation, OfAnEmptyTextSavesNothing)
{
    for (const kind_row &row : k_kinds_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const noting_handset handset(row.kind);
            handset.put(row.path, "old");
            note_text(row.kind == 1 ? pending_imei() : pending_sn(), "");
            const outcome seen = handset.hear(k_confirmed);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.events, IsEmpty());
            EXPECT_THAT(seen.told, ElementsAre(kind_told(row.kind)));
            EXPECT_EQ(handset.content(row.path), "old");
            EXPECT_EQ(pending_kind(), AMT_PENDING_NONE);
        });
    }
}

TEST(IdentityConfirmation, SavesATextThatFillsItsStore)
{
    for (const kind_row &row : k_kinds_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const noting_handset handset(row.kind);
            const std::string text = "12345678901234567890X";
            note_text(row.kind == 1 ? pending_imei() : pending_sn(), text);
            EXPECT_EQ(handset.hear(k_confirmed).result, ERR_NONE);
            EXPECT_EQ(handset.content(row.path), text);
        });
    }
}

// --- what does not

TEST(IdentityConfirmation, IsNoOtherText)
{
    const saying rows[] = {
        {"a refusal", "\r\nERROR\r\n"},
        {"a refusal with a code", "\r\n+CME ERROR: 100\r\n"},
        {"without a line end in front", "OK\r\n"},
        {"without a carriage return in front", "\nOK\r\n"},
        {"without a line end behind", "\r\nOK"},
        {"without a line feed behind", "\r\nOK\r"},
        {"line feeds alone", "\nOK\n"},
        {"small letters", "\r\nok\r\n"},
        {"more in the line", "\r\nOK 1\r\n"},
        {"something before it in the line", "\r\nNOT OK\r\n"},
        {"a report", "\r\n+CREG: 1\r\n"},
        {"behind a zero byte", std::string("x\0\r\nOK\r\n", 8)},
        {"a byte", "x"},
        {"a whole buffer of others", std::string(AMT_MESSAGE_SIZE, 'x')},
        {"all but its last byte at the end of a buffer", std::string(AMT_MESSAGE_SIZE - 5, 'x') + "\r\nOK\r"},
    };
    for (const saying &row : rows) {
        for (const kind_row &kind : k_kinds_a) {
            in_child([&row, &kind] {
                SCOPED_TRACE(row.name);
                const noting_handset handset(kind.kind);
                handset.expect_unconfirmed(hex_of(row.text));
                EXPECT_THAT(handset.told(), ElementsAre(kind_told(kind.kind)));
                EXPECT_EQ(handset.hear(k_confirmed).result, ERR_NONE);
                EXPECT_THAT(handset.saved(), ElementsAre(kind.path + ": " + kind.text)) << "a later one does";
            });
        }
    }
}

TEST(IdentityConfirmation, DoesNotComeInTwoReadings)
{
    in_child([] {
        const noting_handset handset(1);
        const std::string text = k_confirmed;
        for (size_t at = 1; at < text.size(); at++) {
            SCOPED_TRACE(at);
            handset.expect_unconfirmed(hex_of(text.substr(0, at)));
            handset.expect_unconfirmed(hex_of(text.substr(at)));
        }
        EXPECT_EQ(handset.hear(text).result, ERR_NONE);
        EXPECT_THAT(handset.saved(), ElementsAre("/amt/imei.txt: " + k_imei));
    });
}

TEST(IdentityConfirmation, IsNoMessageOfAnotherCommand)
{
    in_child([] {
        const noting_handset handset(2);
        steps told;
        for (int id = 0; id <= 255; id++) {
            if (id != 6 && id != 88) {
                SCOPED_TRACE(id);
                handset.expect_unconfirmed(enveloped(result_of(static_cast<uint8_t>(id), 0)));
                told.push_back(kind_told(2));
            }
        }
        EXPECT_THAT(handset.told(), ElementsAreArray(told)) << "and no code of them is read";
    });
}

TEST(IdentityConfirmation, IsNoMessageWithAnotherResult)
{
    struct code_row {
        uint32_t code;
        const char *told;
    };
    const code_row rows[] = {{1, "1"}, {10, "10"}, {256, "256"}, {0x1000000, "16777216"}, {0xFFFFFFFF, "-1"}};
    for (const code_row &row : rows) {
        for (const uint8_t id : {uint8_t{6}, uint8_t{88}}) {
            in_child([&row, id] {
                SCOPED_TRACE(row.told);
                const noting_handset handset(1);
                handset.expect_unconfirmed(enveloped(result_of(id, row.code)));
                EXPECT_THAT(handset.told(), ElementsAre(kind_told(1), code_told(row.told)));
                EXPECT_EQ(handset.hear_bytes(enveloped(result_of(id, 0))).result, ERR_NONE);
                EXPECT_THAT(handset.saved(), ElementsAre("/amt/imei.txt: " + k_imei)) << "a later one does";
            });
        }
    }
}

TEST(IdentityConfirmation, IsNoTextInsideAMessage)
{
    in_child([] {
        const noting_handset handset(1);
        handset.expect_unconfirmed(enveloped(message_of(8, text_atom(21, k_confirmed) + int_atom(1, 0))));
        handset.expect_unconfirmed(enveloped(message_of(6, text_atom(21, k_confirmed) + int_atom(1, 1))));
    });
}

TEST(IdentityConfirmation, IsNoMessageWithoutItsEnvelope)
{
    in_child([] {
        const noting_handset handset(1);
        handset.expect_unconfirmed(result_of(6, 0));
        handset.expect_unconfirmed("00" + enveloped(result_of(6, 0)));
        handset.expect_unconfirmed("aabbccde" + enveloped(result_of(6, 0)).substr(8));
    });
}

TEST(IdentityConfirmation, IsNoMessageThatHasNotComeWhole)
{
    const saying rows[] = {
        {"a confirmation", enveloped(result_of(6, 0))},
        {"one with a text", enveloped(message_of(88, text_atom(38, k_sn) + int_atom(1, 0)))},
        {"one without a result", enveloped(message_of(6))},
    };
    for (const saying &row : rows) {
        in_child([&row] {
            const noting_handset handset(2, 1);
            for (size_t bytes = 1; bytes < row.text.size() / 2; bytes++) {
                SCOPED_TRACE(std::string(row.name) + ", cut to " + std::to_string(bytes));
                handset.expect_unconfirmed(row.text.substr(0, bytes * 2));
            }
            EXPECT_EQ(handset.hear_bytes(row.text).result, ERR_NONE);
            EXPECT_THAT(handset.saved(), ElementsAre("/amt/sn-2.txt: " + k_sn)) << "whole, it does";
        });
    }
}

TEST(IdentityConfirmation, IsNoMessageThatSaysItIsLongerByEitherOfItsLengths)
{
    const char *rows[] = {
        "1000bb060900ee0101040000000000", // in all
        "0f00bb060a00ee0101040000000000", // its body
    };
    for (const char *message : rows) {
        in_child([message] {
            SCOPED_TRACE(message);
            const noting_handset handset(1);
            handset.expect_unconfirmed(enveloped(message));
            EXPECT_EQ(handset.hear_bytes(enveloped("0f00bb060900ee0101040000000000")).result, ERR_NONE);
            EXPECT_THAT(handset.saved(), ElementsAre("/amt/imei.txt: " + k_imei));
        });
    }
}

TEST(IdentityConfirmation, BelievesNoByteBehindTheReading)
{
    in_child([] {
        const noting_handset handset(2);
        const std::string whole = enveloped(result_of(6, 0));
        amt_buffer answer = buffer_with(whole);
        for (uint32_t bytes = 1; bytes < whole.size() / 2; bytes++) {
            SCOPED_TRACE(bytes);
            answer.m_length = bytes; // what is behind is of an earlier reading
            const outcome seen = handset.watch([&] { return handle_amt_imei_and_sn_rsp(&answer); });
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.events, IsEmpty());
            EXPECT_EQ(pending_kind(), AMT_PENDING_SN);
        }
    });
}

} // namespace
