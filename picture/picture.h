// Makes the status screen's picture, as the service holds it, from the image that people edit.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace picture {

struct image {
    unsigned width = 0;              // pixels
    unsigned height = 0;             // pixels
    std::vector<std::uint8_t> greys; // rows from top to bottom, 0 is black
};

// Reads its greys. Throws std::runtime_error with one line when that is no such image.
image read_png(const std::string &path);

// RGB565, the low byte first.
std::vector<std::uint8_t> pixels(const image &image);

// A gzip stream without the eight bytes of its trailer. Throws std::runtime_error.
std::vector<std::uint8_t> compress(const std::vector<std::uint8_t> &bytes);

// The text of amt/screen/amt-mode-picture.cpp.
std::string source_of(const image &image);

} // namespace picture
