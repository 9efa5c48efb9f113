// What the emulated framebuffer shows from outside.

#include "fixture.h"

#include "emulator/screen.h"
#include "tests/support/temp_folder.h"

#include <png.h>

using namespace emulator_test;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

// The files of a handset with a display of two by two pixels, which need not be on.
class Screen : public testing::Test {
  protected:
    Screen()
        : m_files(m_folder.path("root"))
    {
        m_files.write("/handset/control/fb", "width=2\nheight=2\n");
    }

    void draw(const std::string &memory, const std::string &state)
    {
        m_files.write("/handset/fb0", memory);
        m_files.write("/handset/fb0.state", state);
    }

    temp_folder m_folder;
    emulator::files m_files;
};

TEST_F(Screen, IsBlackAndOfTheDefaultSizeBeforeAnybodyDraws)
{
    m_files.remove("/handset/control/fb");
    const emulator::screen screen = emulator::read_screen(m_files);
    EXPECT_EQ(screen.width, 720U);
    EXPECT_EQ(screen.height, 1280U);
    EXPECT_EQ(screen.rgb.size(), 720U * 1280 * 3);
    EXPECT_THAT(screen.rgb, Each(0));
}

TEST_F(Screen, IsOfTheDefaultSizeWhenItsGeometryIsNone)
{
    for (const char *geometry : {"width=0\nheight=-1\n", "width=16385\nheight=much\n", "breadth=2\n", ""}) {
        m_files.write("/handset/control/fb", geometry);
        EXPECT_EQ(emulator::read_screen(m_files).width, 720U) << geometry;
        EXPECT_EQ(emulator::read_screen(m_files).height, 1280U) << geometry;
    }
}

TEST_F(Screen, ShowsPixelsOfFourBytesBlueFirst)
{
    m_files.write("/handset/fb0", std::string("\x01\x02\x03\0\x04\x05\x06\0\x07\x08\x09\0\x0A\x0B\x0C\0", 16));
    EXPECT_THAT(emulator::read_screen(m_files).rgb, ElementsAre(3, 2, 1, 6, 5, 4, 9, 8, 7, 12, 11, 10));
}

TEST_F(Screen, ShowsPixelsOfTwoBytesOneAfterTheOther)
{
    draw(std::string("\x00\xF8\xE0\x07\x1F\x00\xFF\xFF", 8), "yoffset=0\nbits_per_pixel=16\n");
    EXPECT_THAT(emulator::read_screen(m_files).rgb, ElementsAre(255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255));
}

TEST_F(Screen, ShowsGreysAsGreys)
{
    draw(std::string("\x10\x84\xEF\x7B\x41\x08\x00\x00", 8), "yoffset=0\nbits_per_pixel=16\n");
    EXPECT_THAT(emulator::read_screen(m_files).rgb, ElementsAre(131, 131, 131, 123, 123, 123, 8, 8, 8, 0, 0, 0));
}

TEST_F(Screen, ShowsThePageThatWasPutLast)
{
    const std::string first(16, '\0');
    draw(first + std::string(8, '\xFF') + std::string(8, '\0'), "yoffset=2\nbits_per_pixel=16\n");
    EXPECT_THAT(emulator::read_screen(m_files).rgb, Each(255)) << "pages are counted in pixels of four bytes";
}

TEST_F(Screen, IsBlackWhereTheMemoryEnds)
{
    draw(std::string(18, '\xFF'), "yoffset=2\nbits_per_pixel=16\n");
    EXPECT_THAT(emulator::read_screen(m_files).rgb, ElementsAre(255, 255, 255, 0, 0, 0, 0, 0, 0, 0, 0, 0));
}

TEST_F(Screen, IsWrittenAsAnImage)
{
    draw(std::string("\x00\xF8\xE0\x07\x1F\x00\xFF\xFF", 8), "yoffset=0\nbits_per_pixel=16\n");
    const std::string path = m_folder.path("screen.png");
    emulator::write_png(emulator::read_screen(m_files), path);
    png_image png = {};
    png.version = PNG_IMAGE_VERSION;
    ASSERT_NE(png_image_begin_read_from_file(&png, path.c_str()), 0);
    png.format = PNG_FORMAT_RGB;
    ASSERT_EQ(png.width, 2U);
    ASSERT_EQ(png.height, 2U);
    std::vector<std::uint8_t> rgb(PNG_IMAGE_SIZE(png));
    ASSERT_NE(png_image_finish_read(&png, nullptr, rgb.data(), 0, nullptr), 0);
    EXPECT_THAT(rgb, ElementsAre(255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255));
}

TEST_F(Screen, ThatCannotBeWrittenIsToldWithItsPath)
{
    const std::string path = m_folder.path("missing/screen.png");
    try {
        emulator::write_png(emulator::read_screen(m_files), path);
        FAIL() << "it was written";
    } catch (const std::runtime_error &error) {
        EXPECT_THAT(error.what(), AllOf(HasSubstr("cannot write " + path), HasSubstr("No such file")));
    }
}

using RunningScreen = running_handset;

TEST_F(RunningScreen, IsThatOfTheHandset)
{
    (void)probe_output({"show-page"}); // which has put the second page, and drawn nothing on it
    EXPECT_THAT(m_handset.screen().rgb, Each(0));
    std::string memory = m_handset.files.read("/handset/fb0");
    memory[std::size_t{720} * 1280 * 4] = '\x1F';
    m_handset.files.write("/handset/fb0", memory);
    const temp_folder folder;
    m_handset.save_screen(folder.path("screen.png"));
    EXPECT_TRUE(std::filesystem::exists(folder.path("screen.png")));
    const std::vector<std::uint8_t> rgb = m_handset.screen().rgb;
    EXPECT_EQ(rgb[2], 255) << "the first pixel of that page is blue";
}

} // namespace
