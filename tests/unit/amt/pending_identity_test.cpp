#include "amt/identity/pending-identity.h"

#include <gtest/gtest.h>
#include <stddef.h>
#include <string.h>

#include <string>

#include "tests/support/in_child.h"
#include "tests/unit/amt/pending_notes.h"

namespace {

bool g_has_no_memory = false;

} // namespace

extern "C" {

void *__real__Z21pub_util_share_memorym(size_t size);
void *__wrap__Z21pub_util_share_memorym(size_t size)
{
    return g_has_no_memory ? nullptr : __real__Z21pub_util_share_memorym(size);
}
}

namespace {

void note_all()
{
    note_text(pending_imei(), "490154203237518");
    note_text(pending_sn(), "123456789012345678901");
    pending_kind() = AMT_PENDING_SN;
    pending_channel() = 255;
}

void expect_all_noted()
{
    EXPECT_EQ(noted(pending_imei()), "490154203237518");
    EXPECT_EQ(noted(pending_sn()), "123456789012345678901");
    EXPECT_EQ(pending_kind(), AMT_PENDING_SN);
    EXPECT_EQ(pending_channel(), 255);
}

void expect_nothing_noted()
{
    EXPECT_EQ(noted(pending_imei()), "");
    EXPECT_EQ(noted(pending_sn()), "");
    EXPECT_EQ(pending_kind(), AMT_PENDING_NONE);
    EXPECT_EQ(pending_channel(), 0);
}

TEST(PendingIdentity, IsNothingAtFirstAndKeptUntilItIsForgotten)
{
    in_child([] {
        expect_nothing_noted();
        note_all();
        expect_all_noted();
        amt_clear_pending_identity();
        expect_nothing_noted();
    });
}

TEST(PendingIdentity, IsTheSameForTheServiceAndItsCopies)
{
    in_child([] {
        amt_clear_pending_identity();
        in_child(note_all);
        expect_all_noted();
        in_child(expect_all_noted);
        in_child(amt_clear_pending_identity);
        expect_nothing_noted();
    });
}

TEST(PendingIdentity, IsTheServicesOwnWhenNoMemoryCanBeShared)
{
    in_child([] {
        g_has_no_memory = true;
        amt_clear_pending_identity();
        in_child(note_all);
        expect_nothing_noted();
        note_all();
        expect_all_noted();
        amt_clear_pending_identity();
        expect_nothing_noted();
    });
}

TEST(PendingText, IsReplacedAsAWhole)
{
    in_child([] {
        pending_text text = {};
        note_text(text, "123456789012345678901");
        note_text(text, "1");
        pending_copy copy;
        text.get(copy);
        EXPECT_EQ(std::string(copy, sizeof(copy)), "1" + std::string(AMT_PENDING_SIZE, '\0'));
    });
}

TEST(PendingText, EndsWhateverItIsSetTo)
{
    in_child([] {
        pending_text text = {};
        pending_copy copy;
        memset(copy, 'x', sizeof(copy));
        text.set(copy);
        text.get(copy);
        EXPECT_EQ(std::string(copy, sizeof(copy)), std::string(AMT_PENDING_SIZE, 'x') + '\0');
    });
}

} // namespace
