#include "amt/core/command-names.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <string>

namespace {

// clang-format off
constexpr uint8_t k_without_name_a[] = {
    0x2C,
    0x9D, 0x9E, 0x9F, 0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9,
    0xB6, 0xB7, 0xB8, 0xBD, 0xBE, 0xBF, 0xC0, 0xC7, 0xC8, 0xCB,
    0xD7, 0xD8, 0xD9, 0xDA, 0xDE, 0xDF,
    0xE0, 0xE1, 0xE2, 0xE3, 0xE4, 0xE5, 0xE6, 0xE7, 0xE8, 0xE9, 0xEA, 0xEB, 0xEC, 0xED,
    0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9, 0xFA, 0xFB, 0xFC, 0xFD, 0xFE, 0xFF,
};

struct name_row {
    uint8_t id;
    const char *name;
};

// The first and the last, those at the edges of the gaps, the oddly spelled ones, and some between.
constexpr name_row k_names_a[] = {
    {0x00, "AMT_NONE_CMD"},                       {0x01, "AMT_READFLASH_CMD"},
    {0x05, "AMT_WRITEIMEI_CMD"},                  {0x07, "AMT_READIMEI_CMD"},
    {0x13, "AMT_STARTRX_CMD"},                    {0x2A, "AMT_KEYBOARD_RSPCMD"},
    {0x2B, "AMT_KEYVALUE_CMD"},                   {0x2D, "AMT_VERSION_CMD"},
    {0x2E, "AMT_VERSION_RSPCMD"},                 {0x41, "AMT_READ_OUTDATE_CMD"},
    {0x46, "AMT_READ_FLUSHDATE_RSPCMD"},          {0x57, "AMT_WRITE_BOARD_CMD"},
    {0x59, "AMT_READ_TEST_RESULT_CMD"},           {0x63, "AMT_USIMCHECK_CMD"},
    {0x71, "AMT_GSM_READTABLE_MEMORY_CMD"},       {0x7F, "AMT_WRITE_MIC_GAININ_CMD"},
    {0x89, "AMT_READCAPABILITY_CARD_CMD"},        {0x8D, "AMT_CAMERA_SNAPSHOT_CMD"},
    {0x9B, "AMT_EDGE_REFRESHTABLE_MEMORY_TO_FLASH_CMD"},
    {0xAE, "AMT_GPS_CONTROL_CMD"},                {0xB9, "AMT_WIFI_TEST_CMD"},
    {0xC5, "AMT_NORMAL_TO_AMT_SUPPORT_CMD"},      {0xC9, "CELL_SWITCH_MODE_CMD"},
    {0xCA, "CELL_SWITCH_MODE_RSPCMD"},            {0xCC, "CELL_RECIEVE_RSPDATA"},
    {0xD0, "CELL_READ_IDEN_RSPCMD"},              {0xD6, "CELL_CAMP_ON_CELL_CONTROL_RSPCMD"},
    {0xDC, "AMT_DAMT1_RSPCMD"},                   {0xEF, "AMT_READ_DEV_INFO_RSPCMD"},
    {0xF1, "AMT_ENTER_IDLE_RSPCMD"},
};
// clang-format on

bool has_no_name(int id)
{
    return std::string(amt_get_command_name(static_cast<uint8_t>(id))) == "(undefined)";
}

TEST(CommandNames, AreThoseThatTheLinesLogsKnow)
{
    for (const name_row &row : k_names_a) {
        EXPECT_STREQ(amt_get_command_name(row.id), row.name) << "id " << static_cast<int>(row.id);
    }
}

TEST(CommandNames, AreMissingFor58Ids)
{
    ASSERT_EQ(std::size(k_without_name_a), 58U);
    for (int id = 0; id < 256; id++) {
        const bool is_listed = std::count(std::begin(k_without_name_a), std::end(k_without_name_a), id) == 1;
        EXPECT_EQ(has_no_name(id), is_listed)
            << "id " << id << " is " << amt_get_command_name(static_cast<uint8_t>(id));
    }
}

TEST(CommandNames, BelongToOneIdEach)
{
    std::set<std::string> names;
    for (int id = 0; id < 256; id++) {
        if (!has_no_name(id)) {
            const std::string name = amt_get_command_name(static_cast<uint8_t>(id));
            EXPECT_TRUE(names.insert(name).second) << name << " is also that of another than " << id;
            EXPECT_TRUE(name.rfind("AMT_", 0) == 0 || name.rfind("CELL_", 0) == 0) << name;
        }
    }
    EXPECT_EQ(names.size(), 198U);
}

} // namespace
