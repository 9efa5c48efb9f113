// A stream of the status screen's picture, inflated by the tests themselves.
#pragma once

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdint>
#include <string>
#include <vector>

struct inflated {
    int result = Z_STREAM_ERROR; // of the one call
    std::vector<std::uint8_t> bytes;
    unsigned left = 0; // of the stream
};

// With room for so many bytes.
inline inflated inflate_gzip(const std::vector<std::uint8_t> &stream, std::size_t room)
{
    inflated seen;
    seen.bytes.resize(room);
    z_stream state = {};
    state.next_in = const_cast<Bytef *>(stream.data());
    state.avail_in = static_cast<uInt>(stream.size());
    state.next_out = seen.bytes.data();
    state.avail_out = static_cast<uInt>(room);
    EXPECT_EQ(inflateInit2(&state, 15 + 16), Z_OK);
    seen.result = inflate(&state, Z_PARTIAL_FLUSH);
    seen.left = state.avail_in;
    seen.bytes.resize(state.total_out);
    EXPECT_EQ(inflateEnd(&state), Z_OK);
    return seen;
}

// The eight bytes that end a gzip stream of these.
inline std::vector<std::uint8_t> gzip_trailer_of(const std::vector<std::uint8_t> &bytes)
{
    const auto checksum = static_cast<std::uint32_t>(crc32(0, bytes.data(), static_cast<uInt>(bytes.size())));
    std::vector<std::uint8_t> trailer;
    for (const std::uint32_t number : {checksum, static_cast<std::uint32_t>(bytes.size())}) {
        for (unsigned shift = 0; shift < 32; shift += 8) {
            trailer.push_back(static_cast<std::uint8_t>(number >> shift));
        }
    }
    return trailer;
}
