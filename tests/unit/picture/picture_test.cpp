// Reading an image, its pixels on a display, and the stream and the source that are made of them.
#include "picture/picture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <png.h>
#include <stdio.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/temp_folder.h"
#include "tests/unit/picture/inflated.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

using byte_vector = std::vector<std::uint8_t>;

// Writes an image, with as many bytes for each pixel as its format has.
std::string png_of(const temp_folder &folder, unsigned width, unsigned height, unsigned format,
                   const byte_vector &bytes)
{
    png_image png = {};
    png.version = PNG_IMAGE_VERSION;
    png.width = width;
    png.height = height;
    png.format = format;
    std::string path = folder.path("image.png");
    EXPECT_NE(png_image_write_to_file(&png, path.c_str(), 0, bytes.data(), 0, nullptr), 0) << png.message;
    return path;
}

std::string message_of_reading(const std::string &path)
{
    try {
        (void)picture::read_png(path);
    } catch (const std::runtime_error &error) {
        return error.what();
    }
    return "(it was read)";
}

// --- the image

TEST(Image, IsReadRowByRowFromTheTop)
{
    const temp_folder folder;
    const byte_vector greys = {0, 1, 254, 255, 128, 7};
    const picture::image image = picture::read_png(png_of(folder, 3, 2, PNG_FORMAT_GRAY, greys));
    EXPECT_EQ(image.width, 3U);
    EXPECT_EQ(image.height, 2U);
    EXPECT_EQ(image.greys, greys);
}

TEST(Image, MayBeKeptInColoursOfWhichNoneIsSeen)
{
    const temp_folder folder;
    const picture::image image = picture::read_png(png_of(folder, 2, 1, PNG_FORMAT_RGB, {0, 0, 0, 255, 255, 255}));
    EXPECT_EQ(image.width, 2U);
    EXPECT_EQ(image.height, 1U);
    EXPECT_THAT(image.greys, ElementsAre(0, 255));
}

TEST(Image, ThatCannotBeReadIsToldInOneLineWithItsPath)
{
    const temp_folder folder;
    const std::string whole = read_whole_file(PICTURE_IMAGE);
    ASSERT_GT(whole.size(), 100U);
    std::string spoilt = whole;
    spoilt[whole.size() / 2] = static_cast<char>(~spoilt[whole.size() / 2]);
    const std::pair<const char *, std::string> rows[] = {
        {"missing", folder.path("missing.png")},
        {"a folder", folder.path()},
        {"empty", folder.with_file("empty.png", "")},
        {"no image", folder.with_file("text.png", "AMT MODE, white on black\n")},
        {"only the signature", folder.with_file("signature.png", whole.substr(0, 8))},
        {"only the beginning", folder.with_file("beginning.png", whole.substr(0, 60))},
        {"cut in its pixels", folder.with_file("cut.png", whole.substr(0, whole.size() / 2))},
        {"spoilt in its pixels", folder.with_file("spoilt.png", spoilt)},
    };
    for (const auto &[name, path] : rows) {
        const std::string message = message_of_reading(path);
        EXPECT_THAT(message, StartsWith(path + ": ")) << name;
        EXPECT_GT(message.size(), path.size() + 2) << name << ": and why";
        EXPECT_THAT(message, Not(HasSubstr("\n"))) << name;
    }
    EXPECT_EQ(message_of_reading("/missing.png"), "/missing.png: No such file or directory");
}

// --- the pixels

struct pixel_row {
    std::uint8_t grey;
    std::uint8_t low;
    std::uint8_t high;
};

TEST(Pixels, AreFiveBitsOfRedSixOfGreenAndFiveOfBlueWithTheLowByteFirst)
{
    const pixel_row rows[] = {
        {0, 0x00, 0x00},   {3, 0x00, 0x00},   {4, 0x20, 0x00},   {7, 0x20, 0x00},   {8, 0x41, 0x08},
        {12, 0x61, 0x08},  {127, 0xEF, 0x7B}, {128, 0x10, 0x84}, {248, 0xDF, 0xFF}, {247, 0xBE, 0xF7},
        {251, 0xDF, 0xFF}, {252, 0xFF, 0xFF}, {255, 0xFF, 0xFF},
    };
    for (const pixel_row &row : rows) {
        EXPECT_THAT(picture::pixels({1, 1, {row.grey}}), ElementsAre(row.low, row.high)) << +row.grey;
    }
    EXPECT_THAT(picture::pixels({2, 2, {0, 255, 8, 4}}), ElementsAre(0, 0, 0xFF, 0xFF, 0x41, 0x08, 0x20, 0x00));
    EXPECT_THAT(picture::pixels({}), IsEmpty());
}

TEST(Pixels, OfAGreyLeanToNoColour)
{
    for (unsigned grey = 0; grey < 256; grey++) {
        const byte_vector bytes = picture::pixels({1, 1, {static_cast<std::uint8_t>(grey)}});
        const unsigned pixel = bytes.at(0) | static_cast<unsigned>(bytes.at(1)) << 8;
        EXPECT_EQ(pixel >> 11, grey / 8) << grey;
        EXPECT_EQ(pixel >> 5 & 0x3F, grey / 4) << grey;
        EXPECT_EQ(pixel & 0x1F, grey / 8) << grey;
    }
}

// --- the stream

TEST(Stream, HoldsItsBytesAndLacksItsTrailerAlone)
{
    byte_vector noise;
    for (std::uint32_t i = 0, number = 1; i < 20'000; i++) {
        number = number * 1664525 + 1013904223;
        noise.push_back(static_cast<std::uint8_t>(number >> 24));
    }
    const std::pair<const char *, byte_vector> rows[] = {
        {"a byte", {7}}, {"zeroes", byte_vector(100'000)}, {"noise", noise}};
    for (const auto &[name, bytes] : rows) {
        const byte_vector stream = picture::compress(bytes);
        const inflated open = inflate_gzip(stream, bytes.size());
        EXPECT_EQ(open.result, Z_OK) << name;
        EXPECT_TRUE(open.bytes == bytes) << name;
        EXPECT_EQ(open.left, 0U) << name;
        byte_vector whole = stream;
        for (const std::uint8_t byte : gzip_trailer_of(bytes)) {
            whole.push_back(byte);
        }
        const inflated closed = inflate_gzip(whole, bytes.size());
        EXPECT_EQ(closed.result, Z_STREAM_END) << name;
        EXPECT_TRUE(closed.bytes == bytes) << name;
        EXPECT_EQ(closed.left, 0U) << name << ": and nothing more";
    }
}

TEST(Stream, IsTheSameEachTime)
{
    const byte_vector stream = picture::compress(byte_vector(5000, 3));
    EXPECT_EQ(picture::compress(byte_vector(5000, 3)), stream);
    ASSERT_GE(stream.size(), 10U);
    EXPECT_EQ(byte_vector(stream.begin() + 4, stream.begin() + 8), byte_vector(4)) << "no time of day in it";
}

// --- the source

TEST(Source, IsAWholeFileOfTheService)
{
    const std::string source = picture::source_of({2, 1, {0, 255}});
    const byte_vector stream = picture::compress({0, 0, 0xFF, 0xFF});
    std::string table;
    char number[8];
    for (std::size_t i = 0; i < stream.size(); i++) {
        (void)snprintf(number, sizeof(number), "0x%02X,", stream[i]);
        table += (i == 0 ? "    " : i % 19 == 0 ? "\n    " : " ") + std::string(number);
    }
    EXPECT_EQ(source, "// Made of picture/amt-mode.png by the program amt-mode-picture: change the image, not this.\n"
                      "#include \"amt/screen/amt-mode-picture.h\"\n"
                      "\n"
                      "namespace {\n"
                      "\n"
                      "// clang-format off\n"
                      "constexpr uint8_t k_stream_a[] = {\n" +
                          table +
                          "\n};\n"
                          "// clang-format on\n"
                          "\n"
                          "} // namespace\n"
                          "\n"
                          "const amt_picture g_amt_mode_picture = {2, 1, sizeof(k_stream_a), k_stream_a};\n");
}

} // namespace
