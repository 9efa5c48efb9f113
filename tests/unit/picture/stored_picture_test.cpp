// The picture that the service holds: what the image shows, and what an operator is to read.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "amt/screen/amt-mode-picture.h"
#include "picture/picture.h"
#include "tests/support/temp_folder.h"
#include "tests/unit/picture/inflated.h"

namespace {

constexpr unsigned k_width = 346;
constexpr unsigned k_height = 390;
constexpr std::size_t k_size = 269'880;

// The lettering, to the last row and column.
constexpr unsigned k_top = 152;
constexpr unsigned k_bottom = 193;
constexpr unsigned k_left = 25;
constexpr unsigned k_right = 315;

std::vector<std::uint8_t> stored_stream()
{
    return {g_amt_mode_picture.m_stream, g_amt_mode_picture.m_stream + g_amt_mode_picture.m_length};
}

class StoredPicture : public ::testing::Test {
  protected:
    StoredPicture()
        : m_bytes(inflate_gzip(stored_stream(), k_size).bytes)
    {
        m_bytes.resize(k_size);
    }

    [[nodiscard]] unsigned pixel(unsigned column, unsigned row) const
    {
        const std::size_t at = (std::size_t{row} * k_width + column) * 2;
        return m_bytes[at] | static_cast<unsigned>(m_bytes[at + 1]) << 8;
    }

    [[nodiscard]] bool is_black_column(unsigned column) const
    {
        for (unsigned row = 0; row < k_height; row++) {
            if (pixel(column, row) != 0) {
                return false;
            }
        }
        return true;
    }

    [[nodiscard]] bool is_black_row(unsigned row) const
    {
        for (unsigned column = 0; column < k_width; column++) {
            if (pixel(column, row) != 0) {
                return false;
            }
        }
        return true;
    }

    std::vector<std::uint8_t> m_bytes;
};

TEST_F(StoredPicture, IsMadeOfTheImage)
{
    EXPECT_TRUE(picture::source_of(picture::read_png(PICTURE_IMAGE)) == read_whole_file(PICTURE_SOURCE))
        << "make it anew: amt-mode-picture " << PICTURE_IMAGE << " " << PICTURE_SOURCE
        << "; unless another zlib than the one it was made with compresses otherwise";
}

TEST_F(StoredPicture, IsAStreamThatIsStillOpenWhenAllOfItIsThere)
{
    EXPECT_EQ(g_amt_mode_picture.m_width, 346);
    EXPECT_EQ(g_amt_mode_picture.m_height, 390);
    const inflated seen = inflate_gzip(stored_stream(), k_size + 1); // it does not end for want of room
    EXPECT_EQ(seen.result, Z_OK);
    EXPECT_EQ(seen.bytes.size(), k_size);
    EXPECT_EQ(seen.left, 0U);
}

TEST_F(StoredPicture, LacksTheTrailerOfItsStreamAlone)
{
    std::vector<std::uint8_t> stream = stored_stream();
    for (const std::uint8_t byte : gzip_trailer_of(m_bytes)) {
        EXPECT_EQ(inflate_gzip(stream, k_size).result, Z_OK) << "before the last of eight";
        stream.push_back(byte);
    }
    const inflated seen = inflate_gzip(stream, k_size);
    EXPECT_EQ(seen.result, Z_STREAM_END);
    EXPECT_EQ(seen.left, 0U);
}

TEST_F(StoredPicture, ShowsTheGreysOfTheImage)
{
    const picture::image image = picture::read_png(PICTURE_IMAGE);
    ASSERT_EQ(image.width, k_width);
    ASSERT_EQ(image.height, k_height);
    for (unsigned row = 0; row < k_height; row++) {
        for (unsigned column = 0; column < k_width; column++) {
            const unsigned grey = image.greys[std::size_t{row} * k_width + column];
            ASSERT_EQ(pixel(column, row), grey / 8 * 2048 + grey / 4 * 32 + grey / 8) << column << ", " << row;
        }
    }
}

TEST_F(StoredPicture, IsBlackAroundItsLetteringAndTheLetteringTouchesAllSides)
{
    for (unsigned row = 0; row < k_height; row++) {
        for (unsigned column = 0; column < k_width; column++) {
            if (row < k_top || row > k_bottom || column < k_left || column > k_right) {
                ASSERT_EQ(pixel(column, row), 0U) << column << ", " << row;
            }
        }
    }
    EXPECT_FALSE(is_black_row(k_top));
    EXPECT_FALSE(is_black_row(k_bottom));
    EXPECT_FALSE(is_black_column(k_left));
    EXPECT_FALSE(is_black_column(k_right));
}

TEST_F(StoredPicture, IsWhiteOnBlackWithGreyEdges)
{
    std::size_t white = 0;
    std::size_t grey = 0;
    for (unsigned row = k_top; row <= k_bottom; row++) {
        for (unsigned column = k_left; column <= k_right; column++) {
            const unsigned seen = pixel(column, row);
            EXPECT_EQ(seen >> 11, seen & 0x1F) << "as much red as blue: " << column << ", " << row;
            EXPECT_EQ(seen >> 6 & 0x1F, seen & 0x1F) << "and green: " << column << ", " << row;
            white += seen == 0xFFFF ? 1 : 0;
            grey += seen != 0 && seen != 0xFFFF ? 1 : 0;
        }
    }
    EXPECT_GT(white, 2000U);
    EXPECT_GT(grey, 100U);
    EXPECT_LT(grey, white) << "edges";
}

// Letters beside one another have black columns in between.
TEST_F(StoredPicture, HasSevenLettersInTwoWords)
{
    std::vector<unsigned> gaps;
    unsigned gap = 0;
    for (unsigned column = k_left; column <= k_right; column++) {
        if (is_black_column(column)) {
            gap++;
        } else if (gap > 0) {
            gaps.push_back(gap);
            gap = 0;
        }
    }
    ASSERT_EQ(gaps.size(), 6U) << ::testing::PrintToString(gaps);
    const unsigned between_words = gaps[2]; // behind the third letter
    gaps.erase(gaps.begin() + 2);
    const auto [narrowest, widest] = std::minmax_element(gaps.begin(), gaps.end());
    EXPECT_LE(*widest - *narrowest, 2U) << ::testing::PrintToString(gaps) << ": evenly spaced";
    EXPECT_GE(between_words, 2 * *widest) << ::testing::PrintToString(gaps);
}

} // namespace
