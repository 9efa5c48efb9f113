#include "amt/screen/screen.h"

#include <android/log.h>
#include <fcntl.h>
#include <linux/fb.h>
#include <linux/kd.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>

#include "amt/screen/amt-mode-picture.h"
#include "pub/base/scoped.h"

namespace {

constexpr char k_console[] = "/dev/tty0";
constexpr char k_framebuffer[] = "/dev/graphics/fb0";

// Requests of the display's driver.
constexpr auto VEXIOFB_IOCTL_EN_LAYER = _IOW('d', 9, int);
constexpr auto VEXIOFB_IOCTL_SET_LAYER_INPUT_FORMAT = _IOW('d', 1, int);
constexpr int k_layer_format = 1;

constexpr char k_no_tag[] = "";
constexpr char k_picture_tag[] = "CHARGE_ONLY_MODE";

constexpr uint32_t k_bits_per_pixel = 16;
constexpr int64_t k_pixel_size = 2;
constexpr int64_t k_page_pixel_size = 4; // the driver counts its pages in pixels of this size, whatever is drawn: keep

constexpr int k_gzip_window_bits = 15 + 16;

struct screen_state {
    int m_fd = -1;
    uint8_t *m_memory = nullptr; // of the fixed information's length
    fb_fix_screeninfo m_fixed = {};
    fb_var_screeninfo m_variable = {};
    uint8_t *m_picture = nullptr;
    uint32_t m_layer_enabled_count = 0;
};
screen_state g_screen;

void log_screen(const char *text, const char *tag = k_no_tag)
{
    (void)__android_log_print(ANDROID_LOG_DEBUG, tag, "%s", text); // a record that is lost is no reason to stop
}

// --- opening

// Has the text console stop drawing; a handset without one draws nothing.
void silence_console()
{
    const scoped_fd console(open(k_console, O_RDWR | O_SYNC | O_NOCTTY | O_CLOEXEC));
    if (console.is_open()) {
        (void)ioctl(console.get(), KDSETMODE, KD_GRAPHICS);
    }
}

bool read_information()
{
    if (ioctl(g_screen.m_fd, FBIOGET_FSCREENINFO, &g_screen.m_fixed) != 0) {
        log_screen("fb ioctl FBIOGET_FSCREENINFO failed \n");
        return false;
    }
    if (ioctl(g_screen.m_fd, FBIOGET_VSCREENINFO, &g_screen.m_variable) != 0) {
        log_screen("fb ioctl FBIOGET_VSCREENINFO failed \n");
        return false;
    }
    return true;
}

bool map_memory()
{
    void *memory = mmap(nullptr, g_screen.m_fixed.smem_len, PROT_READ | PROT_WRITE, MAP_SHARED, g_screen.m_fd, 0);
    if (memory == MAP_FAILED) {
        log_screen("fb mapping failed!\n");
        return false;
    }
    g_screen.m_memory = static_cast<uint8_t *>(memory);
    return true;
}

void close_framebuffer()
{
    (void)close(g_screen.m_fd); // nothing to be done about it here
    g_screen.m_fd = -1;
}

// --- the picture

size_t picture_size()
{
    return static_cast<size_t>(k_pixel_size * g_amt_mode_picture.m_width * g_amt_mode_picture.m_height);
}

// The stream has no end: inflating all of it leaves it open, which is Z_OK.
bool inflate_picture(uint8_t *pixels)
{
    z_stream stream = {};
    stream.next_in = const_cast<uint8_t *>(g_amt_mode_picture.m_stream); // only read, by an interface of its time
    stream.avail_in = g_amt_mode_picture.m_length;
    stream.next_out = pixels;
    stream.avail_out = static_cast<uInt>(picture_size());
    if (inflateInit2(&stream, k_gzip_window_bits) != Z_OK) {
        return false;
    }
    const int result = inflate(&stream, Z_PARTIAL_FLUSH);
    return inflateEnd(&stream) == Z_OK && result == Z_OK;
}

bool prepare_picture()
{
    auto *pixels = static_cast<uint8_t *>(malloc(picture_size()));
    if (pixels == nullptr) {
        log_screen("Out of memory\n", k_picture_tag);
        return false;
    }
    if (!inflate_picture(pixels)) {
        log_screen("Unexpected inflate error\n", k_picture_tag);
        free(pixels);
        return false;
    }
    g_screen.m_picture = pixels;
    return true;
}

// --- drawing

// A length that the kernel tells, in pixels; limited, so that nothing overflows.
int64_t side(uint32_t pixels)
{
    return std::min<uint32_t>(pixels, 1U << 30);
}

// What of the bytes from `start` on falls into the memory: the screen may be smaller than the picture.
struct visible_bytes {
    visible_bytes(int64_t start, int64_t length)
        : m_first(std::max<int64_t>(start, 0))
        , m_length(std::min<int64_t>(start + length, g_screen.m_fixed.smem_len) - m_first)
    {
    }
    [[nodiscard]] bool is_empty() const { return m_length <= 0; }
    int64_t m_first;
    int64_t m_length;
};

void clear(int64_t start, int64_t length)
{
    const visible_bytes visible(start, length);
    if (!visible.is_empty()) {
        memset(g_screen.m_memory + visible.m_first, 0, static_cast<size_t>(visible.m_length));
    }
}

void copy(int64_t start, const uint8_t *bytes, int64_t length)
{
    const visible_bytes visible(start, length);
    if (!visible.is_empty()) {
        memcpy(g_screen.m_memory + visible.m_first, bytes + (visible.m_first - start),
               static_cast<size_t>(visible.m_length));
    }
}

void flip_page()
{
    fb_var_screeninfo &variable = g_screen.m_variable;
    variable.yoffset = variable.yoffset == 0 ? variable.yres : 0;
    variable.bits_per_pixel = k_bits_per_pixel;
    variable.yres_virtual = variable.yres * 2;
}

void draw_picture()
{
    const int64_t width = side(g_screen.m_variable.xres);
    const int64_t height = side(g_screen.m_variable.yres);
    const int64_t page = width * side(g_screen.m_variable.yoffset) * k_page_pixel_size;
    const int64_t stride = width * k_pixel_size;
    clear(page, height * stride);

    const int64_t picture_stride = g_amt_mode_picture.m_width * k_pixel_size;
    const int64_t column = (width - g_amt_mode_picture.m_width) / 2;
    const int64_t row = (height - g_amt_mode_picture.m_height) / 2;
    const int64_t corner = page + row * stride + column * k_pixel_size;
    for (int64_t i = 0; i < g_amt_mode_picture.m_height; i++) {
        copy(corner + i * stride, g_screen.m_picture + i * picture_stride, picture_stride);
    }
}

// --- showing

bool enable_layer(int is_enabled)
{
    return ioctl(g_screen.m_fd, VEXIOFB_IOCTL_EN_LAYER, &is_enabled) == 0;
}

bool prepare_layer()
{
    if (!enable_layer(0)) {
        log_screen("fb ioctl VEXIOFB_IOCTL_EN_LAYER failed \n");
        return false;
    }
    int format = k_layer_format;
    if (ioctl(g_screen.m_fd, VEXIOFB_IOCTL_SET_LAYER_INPUT_FORMAT, &format) != 0) {
        log_screen("fb ioctl VEXIOFB_IOCTL_SET_LAYER_INPUT_FORMAT failed \n");
        (void)enable_layer(1); // what was there before is better than nothing
        return false;
    }
    return true;
}

bool show_layer()
{
    if (!enable_layer(1)) {
        log_screen("fb ioctl VEXIOFB_IOCTL_EN_LAYER failed \n");
        (void)enable_layer(1); // a second time may do, and is not asked about
        return false;
    }
    g_screen.m_layer_enabled_count++;
    return true;
}

} // namespace

int screen_init()
{
    silence_console();
    g_screen.m_fd = open(k_framebuffer, O_RDWR | O_CLOEXEC);
    if (g_screen.m_fd < 0) {
        log_screen("fb open failed!\n");
        return -1;
    }
    if (!read_information() || !map_memory()) {
        close_framebuffer();
        return -1;
    }
    if (!prepare_picture()) {
        (void)munmap(g_screen.m_memory, g_screen.m_fixed.smem_len);
        g_screen.m_memory = nullptr;
        close_framebuffer();
        return -1;
    }
    return 0;
}

int screen_update()
{
    flip_page();
    draw_picture();
    const bool is_layer_shown = g_screen.m_layer_enabled_count > 0;
    if (!is_layer_shown && !prepare_layer()) {
        return -1;
    }
    (void)ioctl(g_screen.m_fd, FBIOPUT_VSCREENINFO, &g_screen.m_variable); // the page is drawn; it may be the one shown
    return is_layer_shown || show_layer() ? 0 : -1;
}
