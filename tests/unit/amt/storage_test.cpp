#include "amt/device/storage.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/device_fakes.h"
#include "tests/unit/amt/handler_arguments.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;

constexpr char k_selector[] = "/data/etc/storage.config";
constexpr char k_mounts[] = "/proc/mounts";
constexpr char k_first[] = "/storage/sdcard0";
constexpr char k_second[] = "/storage/sdcard1";
const std::string k_request = message_of(137);

std::string answer_with(const std::string &number_hex)
{
    return "1800bb8a1200ee37010400" + number_hex + "ee0101040000000000";
}

std::string mount_of(const std::string &path)
{
    return "/dev/block/vold/179:65 " + path + " vfat rw,nosuid 0 0\n";
}

constexpr char k_other_mounts[] = "rootfs / rootfs ro 0 0\ntmpfs /dev tmpfs rw 0 0\n";

// Both are mounted; the first has 3 KiB, the second 5.
void insert_both(const device_handset &handset)
{
    handset.put(k_mounts, k_other_mounts + mount_of(k_first) + mount_of(k_second));
    g_fake.cards[k_first] = {3, 1024};
    g_fake.cards[k_second] = {5, 1024};
}

std::string steps_told(const std::string &step)
{
    return "info | amt_device_tf_card--->" + step;
}

const std::string k_told_opening = steps_told("will open storage config file: /data/etc/storage.config");

TEST(MemoryCard, IsToldWithItsSizeAndGoesOutBare)
{
    for (const uint8_t channel : k_both_channels_a) {
        in_child([channel] {
            const device_handset handset;
            handset.put(k_selector, "1\n");
            insert_both(handset);
            const outcome seen = handset.ask(amt_device_tf_card, channel, k_request);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(channel), ElementsAre(answer_with("03000000")));
            EXPECT_THAT(seen.events,
                        ElementsAre("read /data/etc/storage.config", "close /data/etc/storage.config",
                                    "read /proc/mounts", "close /proc/mounts", "size of /storage/sdcard0", "send"));
            EXPECT_THAT(seen.told,
                        ElementsAre(k_told_opening, steps_told("getted storage config value: 1"),
                                    steps_told("storage config value: 1"),
                                    steps_told("external sd card path: /storage/sdcard0"),
                                    "info | external tf card capability: 3 KB", "info | tf card capability: 3 KB"));
            EXPECT_TRUE(seen.is_response_clear);
        });
    }
}

struct selector_row {
    const char *name;
    const char *content;
    const char *told; // the value
    bool is_first;
};

// clang-format off
constexpr selector_row k_selectors_a[] = {
    {"1",                   "1",     "1",  true},
    {"1 and more",          "1 0\n", "1",  true},
    {"1 behind blanks",     "\n 1",  "1",  true},
    {"0",                   "0\n",   "0",  false},
    {"2",                   "2\n",   "2",  false},
    {"below 0",             "-1\n",  "-1", false},
    {"a number with a 1",   "10\n",  "10", false},
    {"a zero in front",     "010\n", "10", false},
    {"0 and text behind",   "0x1\n", "0",  false},
};
// clang-format on

TEST(MemoryCard, IsTheFirstStorageWhenTheHandsetSays1)
{
    for (const selector_row &row : k_selectors_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_selector, row.content);
            insert_both(handset);
            const outcome seen = handset.ask(amt_device_tf_card, AMT_CHANNEL_APP, k_request);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_APP),
                        ElementsAre(answer_with(row.is_first ? "03000000" : "05000000")));
            const std::string kib = row.is_first ? "3 KB" : "5 KB";
            EXPECT_THAT(seen.told,
                        ElementsAre(k_told_opening, steps_told("getted storage config value: ") + row.told,
                                    steps_told("storage config value: ") + row.told,
                                    steps_told("external sd card path: ") + (row.is_first ? k_first : k_second),
                                    "info | external tf card capability: " + kib, "info | tf card capability: " + kib));
        });
    }
}

struct no_selector_row {
    const char *name;
    void (*prepare)(const device_handset &handset);
};

// clang-format off
constexpr no_selector_row k_no_selectors_a[] = {
    {"no file",   [](const device_handset &) {}},
    {"empty",     [](const device_handset &handset) { handset.put(k_selector, ""); }},
    {"no number", [](const device_handset &handset) { handset.put(k_selector, "card\n"); }},
    {"a folder",  [](const device_handset &handset) { handset.make_folder(k_selector); }},
    {"a pipe",    [](const device_handset &handset) { handset.make_pipe(k_selector); }},
    {"denied",    [](const device_handset &handset) {
         handset.put(k_selector, "1\n");
         g_fake.refused["read /data/etc/storage.config"] = EACCES;
     }},
};
// clang-format on

TEST(MemoryCard, IsTheSecondStorageWhenTheHandsetSaysNothing)
{
    for (const no_selector_row &row : k_no_selectors_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            row.prepare(handset);
            insert_both(handset);
            const outcome seen = handset.ask(amt_device_tf_card, AMT_CHANNEL_APP, k_request);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(answer_with("05000000")));
            EXPECT_THAT(seen.told,
                        ElementsAre(k_told_opening, steps_told("storage config value: 0"),
                                    steps_told("external sd card path: /storage/sdcard1"),
                                    "info | external tf card capability: 5 KB", "info | tf card capability: 5 KB"));
        });
    }
}

TEST(MemoryCard, ThatIsNotMountedHasNoSize)
{
    for (const bool has_list : {true, false}) {
        in_child([has_list] {
            SCOPED_TRACE(has_list);
            const device_handset handset;
            if (has_list) {
                handset.put(k_mounts, k_other_mounts + mount_of(k_first)); // the other one is
            }
            g_fake.cards[k_second] = {5, 1024};
            const outcome seen = handset.ask(amt_device_tf_card, AMT_CHANNEL_APP, k_request);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(answer_with("00000000")));
            EXPECT_THAT(seen.told, ElementsAre(k_told_opening, steps_told("storage config value: 0"),
                                               steps_told("external sd card path: /storage/sdcard1"),
                                               "error | -104 - Not found | file system \"/storage/sdcard1\" has not "
                                               "been mounted",
                                               "info | tf card capability: 0 KB"));
        });
    }
}

TEST(MemoryCard, ThatDoesNotTellItsSizeHasNone)
{
    in_child([] {
        const device_handset handset;
        insert_both(handset);
        g_fake.refused["size of /storage/sdcard1"] = EIO;
        const outcome seen = handset.ask(amt_device_tf_card, AMT_CHANNEL_APP, k_request);
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(answer_with("00000000")));
        EXPECT_THAT(seen.told,
                    ElementsAre(k_told_opening, steps_told("storage config value: 0"),
                                steps_told("external sd card path: /storage/sdcard1"),
                                "sys error | statfs: 5 - Input/output error", "info | tf card capability: 0 KB"));
    });
}

struct card_row {
    const char *name;
    card_size size;
    const char *number_hex;
    const char *told;
};

// clang-format off
constexpr card_row k_cards_a[] = {
    {"16 GB",                                {3815424, 4096},      "00e0e800", "15261696 KB"},
    {"64 GB, in large blocks",               {1947648, 32768},     "0000b703", "62324736 KB"},
    {"blocks of half a KiB",                 {5, 512},             "02000000", "2 KB"},
    {"one that 32 bits cannot count",        {0x04000000, 4096},   "00000010", "268435456 KB"},
    {"the greatest of all",                  {0x3FFFFFFF, 4096},   "fcffffff", "4294967292 KB"},
    {"nothing",                              {0, 4096},            "00000000", "0 KB"},
};
// clang-format on

TEST(MemoryCard, IsMeasuredInKibibytes)
{
    for (const card_row &row : k_cards_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            insert_both(handset);
            g_fake.cards[k_second] = row.size;
            const outcome seen = handset.ask(amt_device_tf_card, AMT_CHANNEL_APP, k_request);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(answer_with(row.number_hex)));
            EXPECT_THAT(seen.told, Contains(std::string("info | external tf card capability: ") + row.told));
            EXPECT_EQ(seen.told.back(), std::string("info | tf card capability: ") + row.told);
        });
    }
}

TEST(MemoryCard, IsLookedForAnewWithEachRequest)
{
    in_child([] {
        const device_handset handset;
        insert_both(handset);
        (void)handset.ask(amt_device_tf_card, AMT_CHANNEL_APP, k_request);
        handset.put(k_mounts, k_other_mounts);
        const outcome seen = handset.ask(amt_device_tf_card, AMT_CHANNEL_APP, k_request);
        EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(answer_with("00000000")));
    });
}

TEST(MemoryCard, GivesTheResultOfItsAnswer)
{
    expect_result_of_sending(amt_device_tf_card, k_request, insert_both);
}

TEST(MemoryCard, RefusesBadArgumentsAndTellsWhich)
{
    expect_bad_arguments_refused(amt_device_tf_card, AMT_CHANNEL_APP, k_request);
}

} // namespace
