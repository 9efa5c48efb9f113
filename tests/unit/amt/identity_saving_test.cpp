#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
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

std::function<void()> g_on_look; // happens when a message is looked for in what the modem says

} // namespace

extern "C" {

int32_t __real__Z20amt_convert_pc_2_appP10amt_buffer(amt_buffer *buffer);
int32_t __wrap__Z20amt_convert_pc_2_appP10amt_buffer(amt_buffer *buffer)
{
    if (g_on_look) {
        g_on_look();
    }
    return __real__Z20amt_convert_pc_2_appP10amt_buffer(buffer);
}
}

namespace {

// --- what cannot be saved

TEST(IdentityConfirmation, IsUsedUpAlsoWhenNothingCanBeSaved)
{
    for (const kind_row &row : k_kinds_a) {
        for (const std::string &answer : {hex_of(k_confirmed), enveloped(result_of(6, 0))}) {
            in_child([&row, &answer] {
                SCOPED_TRACE(std::string(row.name) + " by " + answer);
                const noting_handset handset(row.kind, 1);
                const std::string opening = "read and write " + row.own_path;
                g_fake.refused = {{opening, EACCES}};
                const outcome seen = handset.hear_bytes(answer);
                EXPECT_EQ(seen.result, ERR_UNKNOWN);
                EXPECT_EQ(pending_kind(), AMT_PENDING_NONE);
                EXPECT_THAT(seen.events, ElementsAre(opening));
                const bool is_text = answer == hex_of(k_confirmed);
                EXPECT_THAT(seen.told,
                            ElementsAreArray(
                                steps{kind_told(row.kind)} + (is_text ? steps{} : steps{code_told("0")}) +
                                steps{k_failed_call + "open(\"" + row.own_path + "\") fail: 13 - Permission denied",
                                      saving_told(row, 1), k_failed + "write " + row.log_name + " error."}));
                EXPECT_EQ(handset.hear(k_confirmed).result, ERR_NOT_FOUND) << "there is no second try";
            });
        }
    }
}

TEST(IdentityConfirmation, TellsOfADiskThatDoesNotTakeTheText)
{
    for (const kind_row &row : k_kinds_a) {
        for (const write_failure &failure : k_write_failures) {
            in_child([&row, &failure] {
                SCOPED_TRACE(std::string(row.name) + ": " + failure.name);
                const noting_handset handset(row.kind, 2);
                fail_writing(row.path, failure);
                const outcome seen = handset.hear(k_confirmed);
                EXPECT_EQ(seen.result, ERR_UNKNOWN);
                EXPECT_EQ(pending_kind(), AMT_PENDING_NONE);
                EXPECT_THAT(seen.events, ElementsAreArray(writing_of(row.path)));
                EXPECT_THAT(seen.told,
                            ElementsAre(kind_told(row.kind), k_failed_call + "fputs fail: " + failure.told,
                                        saving_told(row, 2), k_failed + "write " + row.log_name + " error."));
            });
        }
    }
}

// --- a write that is noted meanwhile

TEST(IdentityConfirmation, LosesNoWriteThatIsNotedWhileItSaves)
{
    for (const std::string &moment : writing_of("/amt/imei.txt")) {
        for (const kind_row &row : k_kinds_a) {
            in_child([&moment, &row] {
                SCOPED_TRACE(std::string(row.name) + " at " + moment);
                const noting_handset handset(AMT_PENDING_IMEI);
                g_fake.on_event = [&](const std::string &event) {
                    if (event == moment) {
                        note_text(row.kind == 1 ? pending_imei() : pending_sn(), "NEW");
                        pending_kind() = static_cast<uint8_t>(row.kind);
                    }
                };
                EXPECT_EQ(handset.hear(k_confirmed).result, ERR_NONE);
                EXPECT_EQ(handset.content("/amt/imei.txt"), k_imei);
                EXPECT_EQ(pending_kind(), row.kind) << "it waits for a confirmation of its own";
                g_fake.on_event = nullptr;
                EXPECT_EQ(handset.hear(k_confirmed).result, ERR_NONE);
                EXPECT_EQ(handset.content(row.path), "NEW");
                EXPECT_EQ(pending_kind(), AMT_PENDING_NONE);
            });
        }
    }
}

TEST(IdentityConfirmation, SavesForTheChannelThatItBeganWith)
{
    for (const std::string &moment : writing_of("/amt/imei.txt")) {
        in_child([&moment] {
            SCOPED_TRACE(moment);
            const noting_handset handset(AMT_PENDING_IMEI, 2);
            g_fake.on_event = [&moment](const std::string &event) {
                if (event == moment) {
                    pending_channel() = 1;
                }
            };
            const outcome seen = handset.hear(k_confirmed);
            EXPECT_THAT(handset.saved(), ElementsAre("/amt/imei.txt: " + k_imei));
            EXPECT_THAT(seen.told, ElementsAreArray(steps{kind_told(1)} + success_told(k_kinds_a[0], 2)));
            EXPECT_EQ(pending_channel(), 1) << "the next one is for the other";
        });
    }
}

TEST(IdentityConfirmation, IsNotOfAWriteThatIsNotedWhileItIsLookedAt)
{
    for (const int kind : {AMT_PENDING_NONE, AMT_PENDING_SN}) {
        in_child([kind] {
            SCOPED_TRACE(kind);
            const noting_handset handset(AMT_PENDING_IMEI);
            g_on_look = [kind] { pending_kind() = static_cast<uint8_t>(kind); };
            const outcome seen = handset.hear_bytes(enveloped(result_of(6, 0)));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.events, IsEmpty());
            EXPECT_THAT(handset.saved(), IsEmpty());
            EXPECT_EQ(pending_kind(), kind) << "it waits for a confirmation of its own";
        });
    }
}

// --- the saving alone

TEST(IdentitySaving, IsOfTheKindThatIsAskedFor)
{
    for (const kind_row &row : k_kinds_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const noting_handset handset(AMT_PENDING_NONE, 1);
            const outcome seen =
                handset.watch([&] { return handle_amt_imei_and_sn_save_file(static_cast<uint8_t>(row.kind)); });
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(handset.saved(), ElementsAre(row.own_path + ": " + row.text));
            EXPECT_THAT(seen.events, ElementsAreArray(writing_of(row.own_path)));
            EXPECT_THAT(seen.told, ElementsAreArray(success_told(row, 1)));
        });
    }
}

TEST(IdentitySaving, KnowsNoOtherKind)
{
    for (const int kind : {0, 3, 255}) {
        in_child([kind] {
            const noting_handset handset(AMT_PENDING_IMEI);
            const outcome seen =
                handset.watch([&] { return handle_amt_imei_and_sn_save_file(static_cast<uint8_t>(kind)); });
            EXPECT_EQ(seen.result, ERR_INVALID_PARAM);
            EXPECT_THAT(seen.events, IsEmpty());
            EXPECT_THAT(seen.told, ElementsAre(k_bad_argument + std::to_string(kind)));
            EXPECT_EQ(pending_kind(), AMT_PENDING_IMEI);
        });
    }
}

} // namespace
