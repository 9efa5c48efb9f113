// What is drawn into the display's memory, and what its driver is asked for to show it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "amt/screen/screen.h"
#include "tests/support/in_child.h"
#include "tests/unit/amt/screen_fakes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

using wide = __int128; // no product of sizes is too large for it

constexpr int k_picture_width = 346;
constexpr int k_picture_height = 390;

struct place {
    wide column; // of the picture's first pixel, from that of the screen
    wide row;
};

void set_if_there(byte_vector &memory, wide at, uint8_t byte)
{
    if (at >= 0 && at < static_cast<wide>(memory.size())) {
        memory[static_cast<size_t>(at)] = byte;
    }
}

// What the memory holds behind a drawing, made pixel by pixel.
byte_vector drawn(byte_vector memory, uint32_t width, uint32_t height, uint32_t yoffset, const place &corner)
{
    const byte_vector picture = inflated_picture();
    const wide page = static_cast<wide>(width) * yoffset * 4;
    const wide page_end = page + static_cast<wide>(width) * height * 2;
    const auto size = static_cast<wide>(memory.size());
    std::fill(memory.begin() + static_cast<std::ptrdiff_t>(std::min(page, size)),
              memory.begin() + static_cast<std::ptrdiff_t>(std::min(page_end, size)), uint8_t{0});
    for (int y = 0; y < k_picture_height; y++) {
        for (int x = 0; x < k_picture_width; x++) {
            const wide at = page + ((corner.row + y) * width + corner.column + x) * 2;
            const auto pixel = static_cast<size_t>(y * k_picture_width + x) * 2;
            set_if_there(memory, at, picture[pixel]);
            set_if_there(memory, at + 1, picture[pixel + 1]);
        }
    }
    return memory;
}

// Compares without telling megabytes when they differ.
void expect_memory(const byte_vector &expected, const char *name)
{
    const byte_vector memory = display_memory();
    ASSERT_EQ(memory.size(), expected.size()) << name;
    const auto [seen, wanted] = std::mismatch(memory.begin(), memory.end(), expected.begin());
    if (seen != memory.end()) {
        FAIL() << name << ": byte " << seen - memory.begin() << " is " << +*seen << " and not " << +*wanted;
    }
}

int updated()
{
    int result = 1;
    (void)events_of(screen_update, &result);
    return result;
}

void open_display()
{
    int result = 1;
    (void)events_of(screen_init, &result);
    ASSERT_EQ(result, 0);
}

// --- the drawing

TEST(ScreenDrawing, PutsThePictureInTheMiddleOfTheOtherPage)
{
    in_child([] {
        constexpr uint32_t k_size = 720 * 1280 * 4 + 720 * 1280 * 2 + 4096;
        put_display(720, 1280, 0, k_size);
        open_display();
        EXPECT_EQ(updated(), 0);
        // Byte for byte, where an operator looks for it: column 187 and row 445.
        const byte_vector memory = display_memory();
        const byte_vector picture = inflated_picture();
        const size_t page = size_t{720} * 1280 * 4;
        for (size_t y = 0; y < 390; y++) {
            const auto shown = memory.begin() + static_cast<std::ptrdiff_t>(page + ((445 + y) * 720 + 187) * 2);
            const auto row = picture.begin() + static_cast<std::ptrdiff_t>(y * 692);
            ASSERT_TRUE(std::equal(shown, shown + 692, row)) << y;
        }
        expect_memory(drawn(fresh_memory(k_size), 720, 1280, 1280, {187, 445}), "and nothing else but black");
    });
}

TEST(ScreenDrawing, IsTheSameOnEitherPage)
{
    for (const uint32_t shown : {420U, 1U, 210U, UINT32_MAX}) { // any but the first: the first is next
        in_child([shown] {
            constexpr uint32_t k_size = 400 * 420 * 8;
            put_display(400, 420, shown, k_size);
            open_display();
            EXPECT_EQ(updated(), 0);
            const byte_vector first = drawn(fresh_memory(k_size), 400, 420, 0, {27, 15});
            expect_memory(first, "the first page");
            EXPECT_EQ(updated(), 0);
            expect_memory(drawn(first, 400, 420, 420, {27, 15}), "then the second");
            EXPECT_EQ(updated(), 0);
            expect_memory(drawn(first, 400, 420, 420, {27, 15}), "and the first again");
            EXPECT_EQ(g_fake.put.size(), 3U);
            EXPECT_EQ(g_fake.put.at(0).yoffset, 0U);
            EXPECT_EQ(g_fake.put.at(1).yoffset, 420U);
            EXPECT_EQ(g_fake.put.at(2).yoffset, 0U);
        });
    }
}

struct size_row {
    const char *name;
    uint32_t width;
    uint32_t height;
    place corner;
};

constexpr size_row k_sizes_a[] = {
    {"the picture's own", 346, 390, {0, 0}},
    {"one pixel more", 347, 391, {0, 0}},
    {"two pixels more", 348, 392, {1, 1}},
    {"an odd number more", 351, 393, {2, 1}},
    {"one pixel less", 345, 389, {0, 0}},
    {"two pixels less", 344, 388, {-1, -1}},
    {"an odd number less", 343, 385, {-1, -2}},
    {"narrower", 240, 400, {-53, 5}},
    {"lower", 480, 320, {67, -35}},
    {"much smaller", 100, 100, {-123, -145}},
    {"letters cut by the top of the memory", 300, 50, {-23, -170}},
    {"and more of them", 200, 53, {-73, -168}},
    {"a pixel", 1, 1, {-172, -194}},
    {"a line", 800, 1, {227, -194}},
    {"a column", 1, 800, {-172, 205}},
    {"no width", 0, 800, {-173, 205}},
    {"no height", 800, 0, {227, -195}},
    {"nothing", 0, 0, {-173, -195}},
    {"odd", 721, 1281, {187, 445}},
    {"turned", 1280, 720, {467, 165}},
    {"millions in a line", 3'000'000, 1, {1'499'827, -194}},
    {"millions in a column", 1, 3'000'000, {-172, 1'499'805}},
};

// Bytes up to the end of what is drawn on the second page.
uint32_t two_pages(const size_row &row)
{
    return row.width * row.height * 6 + 5000;
}

TEST(ScreenDrawing, CutsHalvesOffTowardsTheMiddleAndIsNotClippedToTheScreen)
{
    for (const size_row &row : k_sizes_a) {
        for (const bool is_second_page : {false, true}) {
            in_child([&row, is_second_page] {
                const uint32_t size = two_pages(row);
                put_display(row.width, row.height, is_second_page ? 0 : 1, size);
                open_display();
                EXPECT_EQ(updated(), 0) << row.name;
                const uint32_t yoffset = is_second_page ? row.height : 0;
                expect_memory(drawn(fresh_memory(size), row.width, row.height, yoffset, row.corner), row.name);
            });
        }
    }
}

TEST(ScreenDrawing, EndsWhereTheMemoryDoes)
{
    constexpr uint32_t k_page = 720 * 1280 * 2;
    const std::pair<const char *, uint32_t> rows[] = {
        {"a byte", 1},
        {"no picture", 720 * 445 * 2},
        {"not a whole pixel", 720 * 640 * 2 + 187 * 2 + 201},
        {"not a whole row of letters", 720 * (445 + 170) * 2 + 187 * 2 + 301},
        {"all but a byte of the page", k_page - 1},
        {"a page", k_page},
        {"not quite to the second page", k_page * 2},
        {"a byte of the second page", k_page * 2 + 1},
        {"half of the second page's letters", k_page * 2 + 720 * (445 + 170) * 2 + 187 * 2 + 301},
        {"all but a byte of two pages", k_page * 3 - 1},
    };
    for (const auto &[name, size] : rows) {
        for (const uint32_t yoffset : {0U, 1280U}) {
            in_child([name = name, size = size, yoffset] {
                put_display(720, 1280, 1280 - yoffset, size);
                open_display();
                EXPECT_EQ(updated(), 0) << name;
                expect_memory(drawn(fresh_memory(size), 720, 1280, yoffset, {187, 445}), name);
            });
        }
    }
}

// Toward zero, as the driver's other users round.
wide middle(uint32_t screen, int picture)
{
    const wide room = static_cast<wide>(screen) - picture;
    return room < 0 ? -((picture - static_cast<wide>(screen)) >> 1) : room >> 1;
}

TEST(ScreenDrawing, TakesSizesThatNoDisplayHas)
{
    constexpr uint32_t k_size = 100'000;
    const uint32_t sides_a[] = {0, 1, 345, 720, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFE, UINT32_MAX};
    for (const uint32_t width : sides_a) {
        for (const uint32_t height : sides_a) {
            for (const uint32_t shown : {0U, 1U}) {
                in_child([width, height, shown] {
                    SCOPED_TRACE(std::to_string(width) + " by " + std::to_string(height));
                    put_display(width, height, shown, k_size);
                    open_display();
                    EXPECT_EQ(updated(), 0);
                    const place corner = {middle(width, k_picture_width), middle(height, k_picture_height)};
                    expect_memory(drawn(fresh_memory(k_size), width, height, shown == 0 ? height : 0, corner),
                                  "memory");
                    ASSERT_EQ(g_fake.put.size(), 1U);
                    EXPECT_EQ(g_fake.put.at(0).yoffset, shown == 0 ? height : 0);
                    EXPECT_EQ(g_fake.put.at(0).yres_virtual, height * 2);
                });
            }
        }
    }
}

// --- what the driver is told

TEST(ScreenInformation, IsPutBackAsItWasReadButForThePage)
{
    for (const uint32_t shown : {0U, 1280U, 3U}) {
        in_child([shown] {
            put_display(720, 1280, shown, 4096);
            fb_var_screeninfo expected = g_fake.variable;
            open_display();
            EXPECT_EQ(updated(), 0);
            ASSERT_EQ(g_fake.put.size(), 1U);
            expected.yoffset = shown == 0 ? 1280 : 0;
            expected.bits_per_pixel = 16;
            expected.yres_virtual = 2560;
            EXPECT_EQ(memcmp(&g_fake.put[0], &expected, sizeof(expected)), 0) << shown;
        });
    }
}

const steps k_first_update = {"ioctl fb 40046409 0", "ioctl fb 40046401 1", "ioctl fb 4601", "ioctl fb 40046409 1"};
const steps k_later_update = {"ioctl fb 4601"};

TEST(ScreenLayer, IsSwitchedOffPreparedAndSwitchedOnAgainByTheFirstUpdateAlone)
{
    in_child([] {
        put_display(720, 1280, 0, 4096);
        open_display();
        int result = 1;
        EXPECT_THAT(events_of(screen_update, &result), ElementsAreArray(k_first_update));
        EXPECT_EQ(result, 0);
        for (int i = 0; i < 3; i++) {
            EXPECT_THAT(events_of(screen_update, &result), ElementsAreArray(k_later_update));
            EXPECT_EQ(result, 0);
        }
    });
}

TEST(ScreenLayer, IsNotTouchedBeforeThePageIsDrawn)
{
    in_child([] {
        constexpr uint32_t k_size = 720 * 1280 * 6;
        put_display(720, 1280, 0, k_size);
        open_display();
        int events = 0;
        const byte_vector expected = drawn(fresh_memory(k_size), 720, 1280, 1280, {187, 445});
        g_fake.on_event = [&](const std::string &event) {
            events++;
            expect_memory(expected, event.c_str());
        };
        EXPECT_EQ(updated(), 0);
        EXPECT_EQ(events, 4);
    });
}

struct layer_row {
    const char *name;
    std::vector<std::pair<const char *, int>> failing; // and how often
    steps expected;
};

const std::string k_layer_told = "log 3 [] fb ioctl VEXIOFB_IOCTL_EN_LAYER failed \n";
const std::string k_format_told = "log 3 [] fb ioctl VEXIOFB_IOCTL_SET_LAYER_INPUT_FORMAT failed \n";

const layer_row k_layer_rows[] = {
    {"it cannot be switched off", {{"ioctl fb 40046409 0", 1}}, {"ioctl fb 40046409 0", k_layer_told}},
    {"nor prepared",
     {{"ioctl fb 40046401 1", 1}},
     {"ioctl fb 40046409 0", "ioctl fb 40046401 1", k_format_told, "ioctl fb 40046409 1"}},
    {"neither prepared nor switched on again",
     {{"ioctl fb 40046401 1", 1}, {"ioctl fb 40046409 1", 1}},
     {"ioctl fb 40046409 0", "ioctl fb 40046401 1", k_format_told, "ioctl fb 40046409 1"}},
    {"it is switched on the second time",
     {{"ioctl fb 40046409 1", 1}},
     {"ioctl fb 40046409 0", "ioctl fb 40046401 1", "ioctl fb 4601", "ioctl fb 40046409 1", k_layer_told,
      "ioctl fb 40046409 1"}},
    {"it is not switched on at all",
     {{"ioctl fb 40046409 1", 2}},
     {"ioctl fb 40046409 0", "ioctl fb 40046401 1", "ioctl fb 4601", "ioctl fb 40046409 1", k_layer_told,
      "ioctl fb 40046409 1"}},
};

TEST(ScreenLayer, ThatRefusesIsToldAndTriedAgainByTheNextUpdate)
{
    for (const layer_row &row : k_layer_rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            put_display(720, 1280, 0, 4096);
            open_display();
            int result = 1;
            for (int i = 0; i < 2; i++) { // each time anew
                for (const auto &[event, count] : row.failing) {
                    g_fake.failing[event] = count;
                }
                EXPECT_THAT(events_of(screen_update, &result), ElementsAreArray(row.expected));
                EXPECT_EQ(result, -1);
            }
            EXPECT_THAT(events_of(screen_update, &result), ElementsAreArray(k_first_update)) << "all of it";
            EXPECT_EQ(result, 0);
            EXPECT_EQ(g_fake.put.back().yoffset, 1280U) << "each of the three has drawn a page";
            EXPECT_THAT(events_of(screen_update, &result), ElementsAreArray(k_later_update));
            EXPECT_EQ(result, 0);
        });
    }
}

TEST(ScreenLayer, ThatRefusesHasThePageDrawnAllTheSame)
{
    in_child([] {
        constexpr uint32_t k_size = 720 * 1280 * 6;
        put_display(720, 1280, 0, k_size);
        open_display();
        g_fake.failing = {{"ioctl fb 40046409 0", 1}};
        EXPECT_EQ(updated(), -1);
        expect_memory(drawn(fresh_memory(k_size), 720, 1280, 1280, {187, 445}), "memory");
    });
}

TEST(ScreenLayer, IsShownAlsoWhenTheDriverDoesNotTakeTheInformation)
{
    in_child([] {
        put_display(720, 1280, 0, 4096);
        open_display();
        g_fake.failing = {{"ioctl fb 4601", 2}};
        int result = 1;
        EXPECT_THAT(events_of(screen_update, &result), ElementsAreArray(k_first_update));
        EXPECT_EQ(result, 0);
        EXPECT_THAT(events_of(screen_update, &result), ElementsAre("ioctl fb 4601"));
        EXPECT_EQ(result, 0);
        ASSERT_EQ(g_fake.put.size(), 2U);
        EXPECT_EQ(g_fake.put[1].yoffset, 0U) << "the pages go on turning";
    });
}

} // namespace
