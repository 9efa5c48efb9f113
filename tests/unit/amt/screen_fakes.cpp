#include "tests/unit/amt/screen_fakes.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <zlib.h>

#include "amt/screen/amt-mode-picture.h"

screen_fakes g_fake;

namespace {

constexpr int k_tty = 7001; // no descriptors of this process
constexpr int k_framebuffer = 7002;

constexpr std::ptrdiff_t k_guard = 1 << 20; // on either side of the display's memory
constexpr uint8_t k_guard_byte = 0xA5;

bool g_is_watching = false;

// Writes the event down; false, with errno, when it is to fail.
bool happens(const std::string &event)
{
    if (g_fake.on_event) {
        g_fake.on_event(event);
    }
    g_fake.events.push_back(event);
    errno = EXDEV; // a call that succeeds may leave anything there
    const auto failure = g_fake.failing.find(event);
    if (failure == g_fake.failing.end() || failure->second == 0) {
        return true;
    }
    failure->second--;
    return false;
}

std::string name_of(int fd)
{
    return fd == k_tty ? "tty" : "fb";
}

bool is_display(int fd)
{
    return fd == k_tty || fd == k_framebuffer;
}

} // namespace

extern "C" {

int __wrap_open(const char *path, int flags, ...)
{
    const bool is_tty = strcmp(path, "/dev/tty0") == 0;
    EXPECT_TRUE(is_tty || strcmp(path, "/dev/graphics/fb0") == 0) << path;
    EXPECT_EQ(flags & O_ACCMODE, O_RDWR) << path;
    EXPECT_EQ(flags & O_SYNC, is_tty ? O_SYNC : 0) << path;
    EXPECT_EQ(flags & (O_CREAT | O_TRUNC | O_APPEND | O_NONBLOCK | O_EXCL | O_DIRECTORY), 0) << path;
    EXPECT_NE(flags & O_CLOEXEC, 0) << "no command of the shell is to have " << path;
    EXPECT_TRUE(!is_tty || (flags & O_NOCTTY) != 0) << "the console is not to become the service's own";
    return !happens(std::string("open ") + path) ? -1 : is_tty ? k_tty : k_framebuffer;
}

int __real_close(int fd);
int __wrap_close(int fd)
{
    if (!is_display(fd)) {
        return __real_close(fd);
    }
    return happens("close " + name_of(fd)) ? 0 : -1;
}

int __wrap_ioctl(int fd, unsigned long request, ...)
{
    EXPECT_TRUE(is_display(fd)) << "no driver is behind " << fd;
    va_list arguments;
    va_start(arguments, request);
    const int number = fd == k_tty ? va_arg(arguments, int) : 0;
    void *record = fd == k_tty ? nullptr : va_arg(arguments, void *);
    va_end(arguments);
    char event[60];
    if (fd == k_tty) {
        (void)snprintf(event, sizeof(event), "ioctl tty %04lx %d", request, number);
    } else if (request >> 16 == 0) { // the framebuffer's own
        (void)snprintf(event, sizeof(event), "ioctl fb %04lx", request);
    } else {
        int value = 0;
        memcpy(&value, record, sizeof(value));
        (void)snprintf(event, sizeof(event), "ioctl fb %04lx %d", request, value);
    }
    const bool succeeds = happens(event);
    if (fd == k_framebuffer && request == 0x4602 && succeeds) {
        memcpy(record, &g_fake.fixed, sizeof(g_fake.fixed));
    } else if (fd == k_framebuffer && request == 0x4600 && succeeds) {
        memcpy(record, &g_fake.variable, sizeof(g_fake.variable));
    } else if (fd == k_framebuffer && request == 0x4601) {
        memcpy(&g_fake.put.emplace_back(), record, sizeof(fb_var_screeninfo));
    }
    return succeeds ? 0 : -1;
}

void *__wrap_mmap(void *address, size_t length, int protection, int flags, int fd, off_t offset)
{
    EXPECT_EQ(address, nullptr);
    EXPECT_EQ(protection, PROT_READ | PROT_WRITE);
    EXPECT_EQ(flags, MAP_SHARED);
    EXPECT_EQ(fd, k_framebuffer);
    EXPECT_EQ(offset, 0);
    return happens("map " + std::to_string(length)) ? g_fake.memory.data() + g_fake.memory_at : MAP_FAILED;
}

int __wrap_munmap(void *address, size_t length)
{
    EXPECT_EQ(address, g_fake.memory.data() + g_fake.memory_at);
    return happens("unmap " + std::to_string(length)) ? 0 : -1;
}

void *__real_malloc(size_t size);
void *__wrap_malloc(size_t size)
{
    if (!g_is_watching) {
        return __real_malloc(size);
    }
    if (!happens("allocate " + std::to_string(size))) {
        return nullptr;
    }
    g_fake.picture = __real_malloc(size);
    memset(g_fake.picture, 0x77, size);
    return g_fake.picture;
}

void __real_free(void *memory);
void __wrap_free(void *memory)
{
    if (memory != nullptr && memory == g_fake.picture) {
        g_fake.picture = nullptr;
        (void)happens("free");
    }
    __real_free(memory);
}

int __real_inflateInit2_(z_streamp stream, int window_bits, const char *version, int stream_size);
int __wrap_inflateInit2_(z_streamp stream, int window_bits, const char *version, int stream_size)
{
    if (g_is_watching && !happens("inflate with " + std::to_string(window_bits))) {
        return Z_MEM_ERROR;
    }
    return __real_inflateInit2_(stream, window_bits, version, stream_size);
}

int __real_inflate(z_streamp stream, int flush);
int __wrap_inflate(z_streamp stream, int flush)
{
    if (!g_is_watching) {
        return __real_inflate(stream, flush);
    }
    EXPECT_EQ(stream->next_in, g_amt_mode_picture.m_stream);
    EXPECT_EQ(stream->avail_in, g_amt_mode_picture.m_length);
    EXPECT_EQ(stream->next_out, g_fake.picture);
    EXPECT_EQ(stream->avail_out, 269'880U);
    (void)happens("inflate flushing " + std::to_string(flush));
    const int result = __real_inflate(stream, flush);
    return g_fake.inflating.value_or(result);
}

int __real_inflateEnd(z_streamp stream);
int __wrap_inflateEnd(z_streamp stream)
{
    if (!g_is_watching) {
        return __real_inflateEnd(stream);
    }
    (void)happens("inflate end");
    const int result = __real_inflateEnd(stream);
    return g_fake.cleaning_up.value_or(result);
}

__attribute__((format(printf, 3, 4))) int __wrap___android_log_print(int prio, const char *tag, const char *format, ...)
{
    char text[200];
    va_list arguments;
    va_start(arguments, format);
    (void)vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    (void)happens("log " + std::to_string(prio) + " [" + (tag == nullptr ? "(null)" : tag) + "] " + text);
    return -1; // the record is lost: nobody is to care
}
}

void put_display(uint32_t width, uint32_t height, uint32_t yoffset, uint32_t memory_size)
{
    g_fake = {};
    memset(&g_fake.fixed, 0x3C, sizeof(g_fake.fixed));
    g_fake.fixed.smem_len = memory_size;
    memset(&g_fake.variable, 0x5D, sizeof(g_fake.variable));
    g_fake.variable.xres = width;
    g_fake.variable.yres = height;
    g_fake.variable.yoffset = yoffset;
    const byte_vector fresh = fresh_memory(memory_size);
    g_fake.memory.assign(static_cast<size_t>(k_guard), k_guard_byte);
    g_fake.memory.insert(g_fake.memory.end(), fresh.begin(), fresh.end());
    g_fake.memory.insert(g_fake.memory.end(), static_cast<size_t>(k_guard), k_guard_byte);
    g_fake.memory_at = k_guard;
}

byte_vector display_memory()
{
    const auto begin = g_fake.memory.begin() + g_fake.memory_at;
    const auto end = g_fake.memory.end() - g_fake.memory_at;
    const byte_vector guard(static_cast<size_t>(k_guard), k_guard_byte);
    EXPECT_TRUE(byte_vector(g_fake.memory.begin(), begin) == guard) << "something was written before the memory";
    EXPECT_TRUE(byte_vector(end, g_fake.memory.end()) == guard) << "something was written behind the memory";
    return {begin, end};
}

byte_vector fresh_memory(uint32_t size)
{
    byte_vector bytes(size);
    for (size_t i = 0; i < size; i++) {
        bytes[i] = static_cast<uint8_t>(1 + i % 251); // never 0
    }
    return bytes;
}

byte_vector inflated_picture(int *result)
{
    byte_vector pixels(size_t{346} * 390 * 2, 0x99);
    z_stream stream = {};
    stream.next_in = const_cast<uint8_t *>(g_amt_mode_picture.m_stream);
    stream.avail_in = g_amt_mode_picture.m_length;
    stream.next_out = pixels.data();
    stream.avail_out = static_cast<uInt>(pixels.size());
    EXPECT_EQ(inflateInit2(&stream, 15 + 16), Z_OK);
    const int told = inflate(&stream, Z_PARTIAL_FLUSH);
    EXPECT_EQ(stream.total_out, pixels.size());
    EXPECT_EQ(inflateEnd(&stream), Z_OK);
    if (result != nullptr) {
        *result = told;
    }
    return pixels;
}

steps events_of(int (*call)(), int *result)
{
    g_fake.events.clear();
    g_is_watching = true;
    errno = EXDEV; // of something before
    const int returned = call();
    g_is_watching = false;
    if (result != nullptr) {
        *result = returned;
    }
    return g_fake.events;
}
