#include "amt/core/registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include <memory>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;

int32_t first_handler(uint8_t, const amt_buffer *, amt_buffer *)
{
    return 1;
}

int32_t second_handler(uint8_t, const amt_buffer *, amt_buffer *)
{
    return 2;
}

// Both tables, to be compared as a whole.
struct tables {
    amt_handle_func m_pc_a[AMT_HANDLER_COUNT];
    amt_handle_func m_app_a[AMT_HANDLER_COUNT];
};

std::unique_ptr<tables> current_tables()
{
    auto copy = std::make_unique<tables>();
    memcpy(copy->m_pc_a, handle_context_st.m_handle_pc_func_a, sizeof(copy->m_pc_a));
    memcpy(copy->m_app_a, handle_context_st.m_handle_app_func_a, sizeof(copy->m_app_a));
    return copy;
}

bool operator==(const tables &a, const tables &b)
{
    return memcmp(&a, &b, sizeof(a)) == 0;
}

TEST(Registry, KeepsTheStationsHandlersApartFromTheApplications)
{
    in_child([] {
        amt_context_clear();
        const test_log log;
        auto expected = current_tables();
        EXPECT_EQ(amt_handle_reg_handle_func(AMT_CHANNEL_PC, 0x2D, first_handler), ERR_NONE);
        expected->m_pc_a[0x2D] = first_handler;
        EXPECT_TRUE(*current_tables() == *expected);
        EXPECT_EQ(amt_handle_reg_handle_func(AMT_CHANNEL_APP, 0x07, second_handler), ERR_NONE);
        expected->m_app_a[0x07] = second_handler;
        EXPECT_TRUE(*current_tables() == *expected);
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "info | PC register command id: 45(0x2d) - AMT_VERSION_CMD", "func | ",
                                "info | APP register command id: 7(0x07) - AMT_READIMEI_CMD"));
    });
}

constexpr uint8_t k_other_channels_a[] = {0, 2, 3, 255};

TEST(Registry, TakesEveryChannelButTheStationsForTheApplications)
{
    for (const uint8_t channel : k_other_channels_a) {
        in_child([channel] {
            amt_context_clear();
            const test_log log;
            EXPECT_EQ(amt_handle_reg_handle_func(channel, 0xC3, first_handler), ERR_NONE);
            EXPECT_EQ(handle_context_st.m_handle_app_func_a[0xC3], first_handler) << "channel " << int{channel};
            EXPECT_EQ(handle_context_st.m_handle_pc_func_a[0xC3], nullptr);
            EXPECT_THAT(log.records(), Contains("info | APP register command id: 195(0xc3) - AMT_NORMAL_TO_AMT_CMD"));
        });
    }
}

TEST(Registry, TakesTheFirstIdAndTheLast)
{
    in_child([] {
        amt_context_clear();
        const test_log log;
        EXPECT_EQ(amt_handle_reg_handle_func(AMT_CHANNEL_PC, 0, first_handler), ERR_NONE);
        EXPECT_EQ(amt_handle_reg_handle_func(AMT_CHANNEL_PC, 254, second_handler), ERR_NONE);
        EXPECT_EQ(handle_context_st.m_handle_pc_func_a[0], first_handler);
        EXPECT_EQ(handle_context_st.m_handle_pc_func_a[254], second_handler);
        EXPECT_THAT(log.records(), ElementsAre("func | ", "info | PC register command id: 0(0x00) - AMT_NONE_CMD",
                                               "func | ", "info | PC register command id: 254(0xfe) - (undefined)"));
    });
}

TEST(Registry, RefusesAllIdsAbove254AndChangesNothing)
{
    for (const uint32_t id : {255U, 256U, 0x12DU, UINT32_MAX}) {
        for (const uint8_t channel : {AMT_CHANNEL_PC, AMT_CHANNEL_APP}) {
            in_child([id, channel] {
                amt_context_clear();
                handle_context_st.m_handle_pc_func_a[254] = first_handler;
                handle_context_st.m_handle_app_func_a[0] = second_handler;
                const auto before = current_tables();
                const test_log log;
                EXPECT_EQ(amt_handle_reg_handle_func(channel, id, first_handler), ERR_INVALID_PARAM) << id;
                EXPECT_TRUE(*current_tables() == *before) << id;
                EXPECT_THAT(log.records(), ElementsAre("func | ", "error | -101 - Invalid parameter | 1"));
            });
        }
    }
}

TEST(Registry, LetsALaterHandlerReplaceAnEarlierOneAndWarns)
{
    in_child([] {
        amt_context_clear();
        (void)amt_handle_reg_handle_func(AMT_CHANNEL_APP, 0xDB, first_handler);
        const test_log log;
        EXPECT_EQ(amt_handle_reg_handle_func(AMT_CHANNEL_APP, 0xDB, second_handler), ERR_NONE);
        EXPECT_EQ(handle_context_st.m_handle_app_func_a[0xDB], second_handler);
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "warning | re-register the handle function of request id: 219",
                                "info | APP register command id: 219(0xdb) - AMT_DAMT1_CMD"));
    });
}

TEST(Registry, DoesNotWarnOfTheSameIdInTheOtherTable)
{
    in_child([] {
        amt_context_clear();
        (void)amt_handle_reg_handle_func(AMT_CHANNEL_APP, 0xDB, first_handler);
        const test_log log;
        EXPECT_EQ(amt_handle_reg_handle_func(AMT_CHANNEL_PC, 0xDB, second_handler), ERR_NONE);
        EXPECT_EQ(handle_context_st.m_handle_app_func_a[0xDB], first_handler);
        EXPECT_THAT(log.records(), ElementsAre("func | ", "info | PC register command id: 219(0xdb) - AMT_DAMT1_CMD"));
    });
}

TEST(Registry, EmptiesASlotByANullHandlerWithBothWarnings)
{
    in_child([] {
        amt_context_clear();
        (void)amt_handle_reg_handle_func(AMT_CHANNEL_PC, 0xBF, first_handler);
        const test_log log;
        EXPECT_EQ(amt_handle_reg_handle_func(AMT_CHANNEL_PC, 0xBF, nullptr), ERR_NONE);
        EXPECT_EQ(handle_context_st.m_handle_pc_func_a[0xBF], nullptr);
        EXPECT_THAT(log.records(), ElementsAre("func | ", "warning | clean the handle function of request id: 191",
                                               "warning | re-register the handle function of request id: 191",
                                               "info | PC register command id: 191(0xbf) - (undefined)"));
    });
}

TEST(Registry, WarnsOnceOfANullHandlerForAnEmptySlot)
{
    in_child([] {
        amt_context_clear();
        const test_log log;
        EXPECT_EQ(amt_handle_reg_handle_func(AMT_CHANNEL_PC, 1, nullptr), ERR_NONE);
        EXPECT_EQ(handle_context_st.m_handle_pc_func_a[1], nullptr);
        EXPECT_THAT(log.records(), ElementsAre("func | ", "warning | clean the handle function of request id: 1",
                                               "info | PC register command id: 1(0x01) - AMT_READFLASH_CMD"));
    });
}

} // namespace
