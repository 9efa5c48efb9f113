#include "amt/identity/bt-address.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "amt/device/bluetooth.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/device_fakes.h"
#include "tests/unit/amt/identity_steps.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

constexpr char k_file[] = "/amt/BT/BT_Address.txt";
constexpr char k_other_file[] = "/mnt/opl/nvm/BT_Address.txt";

struct place_row {
    const char *name;
    std::vector<const char *> files;
    const char *chosen;
};

TEST(BtAddressFile, IsTheFirstOfTwoThatExists)
{
    const place_row rows[] = {
        {"its own", {k_file}, k_file},
        {"the other", {k_other_file}, k_other_file},
        {"both", {k_file, k_other_file}, k_file},
    };
    for (const place_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            for (const char *file : row.files) {
                handset.put(file, ""); // whatever it holds
            }
            EXPECT_STREQ(get_bt_addr_file(), row.chosen);
            EXPECT_THAT(handset.log().records(), ElementsAre("func | "));
            EXPECT_THAT(g_fake.events, IsEmpty()) << "it is not opened";
        });
    }
}

TEST(BtAddressFile, IsNoneOnAHandsetThatHasNeither)
{
    in_child([] {
        const device_handset handset;
        handset.make_folder("/amt/BT");
        handset.make_folder("/mnt/opl/nvm");
        EXPECT_EQ(get_bt_addr_file(), nullptr);
        EXPECT_THAT(handset.log().records(),
                    ElementsAre("func | ", k_failed_call + "can not access file \"/amt/BT/BT_Address.txt\" or "
                                                           "\"/mnt/opl/nvm/BT_Address.txt\""));
        EXPECT_EQ(handset.content(k_file), "(missing)") << "and none is made";
        EXPECT_EQ(handset.content(k_other_file), "(missing)");
    });
}

TEST(BtAddressFile, IsLookedForEachTime)
{
    in_child([] {
        const device_handset handset;
        EXPECT_EQ(get_bt_addr_file(), nullptr);
        handset.put(k_other_file, "");
        EXPECT_STREQ(get_bt_addr_file(), k_other_file);
        handset.put(k_file, "");
        EXPECT_STREQ(get_bt_addr_file(), k_file);
    });
}

// The message that makes the first of the two.
TEST(BtAddressFile, ThatTheDiskRefusesAtTheEndIsAFailure)
{
    in_child([] {
        const device_handset handset;
        handset.make_folder("/amt/BT");
        g_fake.refused = {{std::string("close ") + k_file, EDQUOT}};
        const std::string request = message_of(172, int_atom(110, 2) + text_atom(111, "00:11"));
        const outcome seen = handset.ask(amt_device_bt_address, AMT_CHANNEL_PC, request);
        EXPECT_EQ(seen.result, ERR_C_FUNCTION);
        EXPECT_THAT(seen.at_station, IsEmpty());
        EXPECT_EQ(seen.told.back(), k_failed_call + "fputs() fail");
        EXPECT_THAT(seen.events,
                    ElementsAreArray(steps{"read and write " + std::string(k_file), "bytes to " + std::string(k_file),
                                           "run chmod -R 555 /amt/BT", "close " + std::string(k_file)} +
                                     k_syncing));
    });
}

} // namespace
