#include "picture/picture.h"

#include <png.h>
#include <zlib.h>

#include <cstdio>
#include <stdexcept>

namespace picture {

namespace {

constexpr std::size_t k_gzip_trailer = 8;
constexpr int k_gzip_window_bits = 15 + 16;
constexpr int k_memory_level = 9;
constexpr std::size_t k_bytes_per_line = 19;

std::uint16_t rgb565(std::uint8_t grey)
{
    return static_cast<std::uint16_t>(((grey >> 3) << 11) | ((grey >> 2) << 5) | (grey >> 3));
}

std::string table_of(const std::vector<std::uint8_t> &bytes)
{
    std::string text;
    char number[8];
    for (std::size_t i = 0; i < bytes.size(); i++) {
        (void)std::snprintf(number, sizeof(number), "0x%02X,", bytes[i]);
        text += i % k_bytes_per_line == 0 ? "\n    " : " ";
        text += number;
    }
    return text + "\n";
}

} // namespace

image read_png(const std::string &path)
{
    png_image png = {};
    png.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&png, path.c_str()) == 0) {
        throw std::runtime_error(path + ": " + png.message);
    }
    png.format = PNG_FORMAT_GRAY;
    image result{png.width, png.height, std::vector<std::uint8_t>(PNG_IMAGE_SIZE(png))};
    if (png_image_finish_read(&png, nullptr, result.greys.data(), 0, nullptr) == 0) {
        throw std::runtime_error(path + ": " + png.message);
    }
    return result;
}

std::vector<std::uint8_t> pixels(const image &image)
{
    std::vector<std::uint8_t> bytes;
    for (const std::uint8_t grey : image.greys) {
        bytes.push_back(static_cast<std::uint8_t>(rgb565(grey) & 0xFF));
        bytes.push_back(static_cast<std::uint8_t>(rgb565(grey) >> 8));
    }
    return bytes;
}

std::vector<std::uint8_t> compress(const std::vector<std::uint8_t> &bytes)
{
    z_stream stream = {};
    if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, k_gzip_window_bits, k_memory_level, Z_DEFAULT_STRATEGY) !=
        Z_OK) {
        throw std::runtime_error("the picture cannot be compressed");
    }
    std::vector<std::uint8_t> result(deflateBound(&stream, bytes.size()));
    stream.next_in = const_cast<Bytef *>(bytes.data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = result.data();
    stream.avail_out = static_cast<uInt>(result.size());
    const int end = deflate(&stream, Z_FINISH);
    const std::size_t length = stream.total_out;
    (void)deflateEnd(&stream);
    if (end != Z_STREAM_END) {
        throw std::runtime_error("the picture cannot be compressed");
    }
    result.resize(length - k_gzip_trailer);
    return result;
}

std::string source_of(const image &image)
{
    return "// Made of picture/amt-mode.png by the program amt-mode-picture: change the image, not this.\n"
           "#include \"amt/screen/amt-mode-picture.h\"\n"
           "\n"
           "namespace {\n"
           "\n"
           "// clang-format off\n"
           "constexpr uint8_t k_stream_a[] = {" +
           table_of(compress(pixels(image))) +
           "};\n"
           "// clang-format on\n"
           "\n"
           "} // namespace\n"
           "\n"
           "const amt_picture g_amt_mode_picture = {" +
           std::to_string(image.width) + ", " + std::to_string(image.height) + ", sizeof(k_stream_a), k_stream_a};\n";
}

} // namespace picture
