// The framebuffer from outside, see screen.h. The preloaded library keeps its memory and its state in these files.

#include "emulator/screen.h"

#include "emulator/preload/framebuffer.h"

#include <png.h>

#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <string>

namespace emulator {

constexpr std::size_t k_channels = 3;

// The number of a KEY=VALUE line; `missing` when there is none that a display could have.
static unsigned number_in(const files &files, const std::string &path, const std::string &key, unsigned missing)
{
    std::istringstream lines(files.read_or(path, ""));
    for (std::string line; std::getline(lines, line);) {
        if (line.compare(0, key.size() + 1, key + "=") == 0) {
            const long number = std::strtol(line.c_str() + key.size() + 1, nullptr, 0);
            return number > 0 && number <= k_framebuffer_largest_side ? static_cast<unsigned>(number) : missing;
        }
    }
    return missing;
}

// The colours of the pixel in these bytes; those of 4 bytes are blue first.
static void append_pixel(std::vector<std::uint8_t> &rgb, const std::uint8_t *bytes, unsigned size)
{
    if (size == 4) {
        rgb.insert(rgb.end(), {bytes[2], bytes[1], bytes[0]});
        return;
    }
    const unsigned pixel = bytes[0] | static_cast<unsigned>(bytes[1]) << 8;
    for (const unsigned five_bits : {pixel >> 11, (pixel >> 6) & 0x1F, pixel & 0x1F}) {
        rgb.push_back(static_cast<std::uint8_t>(five_bits * 255 / 31));
    }
}

screen read_screen(const files &files)
{
    screen result;
    result.width = number_in(files, k_framebuffer_geometry, "width", k_framebuffer_width);
    result.height = number_in(files, k_framebuffer_geometry, "height", k_framebuffer_height);
    const bool is_short = number_in(files, k_framebuffer_state, "bits_per_pixel", 0) == 16;
    const std::size_t size = is_short ? 2 : k_framebuffer_pixel_size;
    const std::size_t page = std::size_t{result.width} * number_in(files, k_framebuffer_state, "yoffset", 0);
    const std::size_t pixels = std::size_t{result.width} * result.height;
    std::string memory = files.read_or(k_framebuffer_memory, "");
    memory.resize(page * k_framebuffer_pixel_size + pixels * size);
    const auto *bytes = reinterpret_cast<const std::uint8_t *>(memory.data()) + page * k_framebuffer_pixel_size;
    result.rgb.reserve(pixels * k_channels);
    for (std::size_t i = 0; i < pixels; ++i) {
        append_pixel(result.rgb, bytes + i * size, static_cast<unsigned>(size));
    }
    return result;
}

void write_png(const screen &screen, const std::filesystem::path &path)
{
    png_image png = {};
    png.version = PNG_IMAGE_VERSION;
    png.format = PNG_FORMAT_RGB;
    png.width = screen.width;
    png.height = screen.height;
    if (png_image_write_to_file(&png, path.c_str(), 0, screen.rgb.data(), 0, nullptr) == 0) {
        throw std::runtime_error("cannot write " + path.string() + ": " + png.message);
    }
}

} // namespace emulator
