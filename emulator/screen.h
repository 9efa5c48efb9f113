// What the handset's framebuffer shows, and that as an image for people to look at. Failures throw std::runtime_error
// with one line. Any thread; while a program draws, half of a picture may be seen.

#pragma once

#include "emulator/files.h"

#include <cstdint>
#include <filesystem>
#include <vector>

namespace emulator {

struct screen {
    unsigned width = 0;            // pixels
    unsigned height = 0;           // pixels
    std::vector<std::uint8_t> rgb; // 3 bytes per pixel, rows from top to bottom
};

// The page at the vertical offset that was put last. The driver counts pages in pixels of 4 bytes, also while those
// drawn have 2: the second page begins in the middle of the memory. Where nobody has drawn it is black.
screen read_screen(const files &files);

// Writes it as a PNG file of this machine, in place of what is there.
void write_png(const screen &screen, const std::filesystem::path &path);

} // namespace emulator
