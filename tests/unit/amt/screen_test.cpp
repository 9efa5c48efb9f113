// Opening the display and keeping the picture for it.
#include "amt/screen/screen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <optional>
#include <string>
#include <vector>

#include "amt/screen/amt-mode-picture.h"
#include "tests/support/in_child.h"
#include "tests/unit/amt/screen_fakes.h"

namespace {

using ::testing::ElementsAreArray;

constexpr uint32_t k_memory_size = 720 * 1280 * 4 * 2;

// The whole of a start that succeeds.
const steps k_console_steps = {"open /dev/tty0", "ioctl tty 4b3a 1", "close tty"};
const steps k_display_steps = {"open /dev/graphics/fb0", "ioctl fb 4602", "ioctl fb 4600", "map 7372800"};
const steps k_picture_steps = {"allocate 269880", "inflate with 31", "inflate flushing 1", "inflate end"};

steps joined(const std::vector<steps> &parts)
{
    steps all;
    for (const steps &part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

// The first steps of a list.
steps first_of(size_t count, steps all)
{
    all.resize(count);
    return all;
}

void put_handset_display()
{
    put_display(720, 1280, 0, k_memory_size);
}

TEST(Screen, HoldsAPictureWhoseStreamIsStillOpenWhenAllOfItIsThere)
{
    EXPECT_EQ(g_amt_mode_picture.m_width, 346);
    EXPECT_EQ(g_amt_mode_picture.m_height, 390);
    int result = Z_STREAM_END;
    EXPECT_EQ(inflated_picture(&result).size(), 269'880U);
    EXPECT_EQ(result, Z_OK);
}

TEST(Screen, SilencesTheConsoleThenOpensAndMapsTheDisplayThenInflatesThePicture)
{
    in_child([] {
        put_handset_display();
        int result = 1;
        const steps seen = events_of(screen_init, &result);
        EXPECT_EQ(result, 0);
        EXPECT_THAT(seen, ElementsAreArray(joined({k_console_steps, k_display_steps, k_picture_steps})));
        ASSERT_NE(g_fake.picture, nullptr) << "it is kept";
        const auto *pixels = static_cast<const uint8_t *>(g_fake.picture);
        EXPECT_EQ(byte_vector(pixels, pixels + 269'880), inflated_picture());
        EXPECT_EQ(display_memory(), fresh_memory(k_memory_size)) << "nothing is drawn yet";
    });
}

TEST(Screen, MapsAsMuchAsTheDisplayHasWhateverItShows)
{
    for (const uint32_t size : {1U, 4095U, 1'000'003U}) {
        in_child([size] {
            put_display(720, 1280, 0, size);
            int result = 1;
            EXPECT_THAT(events_of(screen_init, &result), ::testing::Contains("map " + std::to_string(size)));
            EXPECT_EQ(result, 0);
        });
    }
}

struct console_row {
    const char *name;
    const char *failing;
    steps expected;
};

TEST(Screen, DoesWithoutAConsole)
{
    const console_row rows[] = {
        {"there is none", "open /dev/tty0", {"open /dev/tty0"}},
        {"it cannot be switched", "ioctl tty 4b3a 1", k_console_steps},
        {"it cannot be closed", "close tty", k_console_steps},
    };
    for (const console_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            put_handset_display();
            g_fake.failing = {{row.failing, 1}};
            int result = 1;
            EXPECT_THAT(events_of(screen_init, &result),
                        ElementsAreArray(joined({row.expected, k_display_steps, k_picture_steps})));
            EXPECT_EQ(result, 0);
        });
    }
}

struct failure_row {
    const char *name;
    const char *failing; // null: none of the steps
    std::optional<int> inflating;
    std::optional<int> cleaning_up;
    steps expected; // behind the console's
};

std::vector<failure_row> failure_rows()
{
    const steps undone = {"unmap 7372800", "close fb"};
    const steps spoilt = {"log 3 [CHARGE_ONLY_MODE] Unexpected inflate error\n", "free"};
    const steps inflated = joined({k_display_steps, k_picture_steps, spoilt, undone});
    const auto told = [](const std::string &text) { return "log 3 [] " + text; };
    return {
        {"no framebuffer", "open /dev/graphics/fb0", {}, {}, {k_display_steps[0], told("fb open failed!\n")}},
        {"no fixed information",
         "ioctl fb 4602",
         {},
         {},
         joined({first_of(2, k_display_steps), {told("fb ioctl FBIOGET_FSCREENINFO failed \n"), "close fb"}})},
        {"no variable information",
         "ioctl fb 4600",
         {},
         {},
         joined({first_of(3, k_display_steps), {told("fb ioctl FBIOGET_VSCREENINFO failed \n"), "close fb"}})},
        {"no mapping", "map 7372800", {}, {}, joined({k_display_steps, {told("fb mapping failed!\n"), "close fb"}})},
        {"no memory",
         "allocate 269880",
         {},
         {},
         joined({k_display_steps, {"allocate 269880", "log 3 [CHARGE_ONLY_MODE] Out of memory\n"}, undone})},
        {"no inflating at all",
         "inflate with 31",
         {},
         {},
         joined({k_display_steps, first_of(2, k_picture_steps), spoilt, undone})},
        {"a stream that ends", nullptr, Z_STREAM_END, {}, inflated},
        {"a spoilt stream", nullptr, Z_DATA_ERROR, {}, inflated},
        {"a short stream", nullptr, Z_BUF_ERROR, {}, inflated},
        {"a stream that wants a dictionary", nullptr, Z_NEED_DICT, {}, inflated},
        {"no memory to inflate in", nullptr, Z_MEM_ERROR, {}, inflated},
        {"no cleaning up", nullptr, {}, Z_STREAM_ERROR, inflated},
        {"neither", nullptr, Z_DATA_ERROR, Z_STREAM_ERROR, inflated},
    };
}

void put_failing_display(const failure_row &row)
{
    put_handset_display();
    if (row.failing != nullptr) {
        g_fake.failing = {{row.failing, 1}};
    }
    g_fake.inflating = row.inflating;
    g_fake.cleaning_up = row.cleaning_up;
}

TEST(Screen, TellsEachFailureAndLeavesNothingBehind)
{
    for (const failure_row &row : failure_rows()) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            put_failing_display(row);
            int result = 1;
            EXPECT_THAT(events_of(screen_init, &result), ElementsAreArray(joined({k_console_steps, row.expected})));
            EXPECT_EQ(result, -1);
            EXPECT_EQ(g_fake.picture, nullptr);
            EXPECT_EQ(display_memory(), fresh_memory(k_memory_size));
        });
    }
}

TEST(Screen, StillFailsWhenTheUndoingDoes)
{
    in_child([] {
        put_handset_display();
        g_fake.failing = {{"allocate 269880", 1}, {"unmap 7372800", 1}, {"close fb", 1}};
        int result = 1;
        EXPECT_THAT(events_of(screen_init, &result),
                    ElementsAreArray(joined({k_console_steps,
                                             k_display_steps,
                                             {"allocate 269880", "log 3 [CHARGE_ONLY_MODE] Out of memory\n",
                                              "unmap 7372800", "close fb"}})));
        EXPECT_EQ(result, -1);
    });
}

TEST(Screen, CanBeOpenedBehindAFailure)
{
    for (const failure_row &row : failure_rows()) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            put_failing_display(row);
            int result = 1;
            (void)events_of(screen_init, &result);
            EXPECT_EQ(result, -1);
            g_fake.inflating.reset();
            g_fake.cleaning_up.reset();
            EXPECT_THAT(events_of(screen_init, &result),
                        ElementsAreArray(joined({k_console_steps, k_display_steps, k_picture_steps})));
            EXPECT_EQ(result, 0);
        });
    }
}

} // namespace
