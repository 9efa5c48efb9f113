// The emulated framebuffer, see framebuffer.h.

#include "emulator/preload/framebuffer.h"

#include "emulator/preload/controls.h"

#include <fcntl.h>
#include <linux/fb.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

constexpr unsigned k_pages = 2;

// The fields that are kept, by the names of the kernel's record.
constexpr struct {
    const char *key;
    __u32 fb_var_screeninfo::*field;
} k_fields[] = {
    {"xres", &fb_var_screeninfo::xres},
    {"yres", &fb_var_screeninfo::yres},
    {"xres_virtual", &fb_var_screeninfo::xres_virtual},
    {"yres_virtual", &fb_var_screeninfo::yres_virtual},
    {"xoffset", &fb_var_screeninfo::xoffset},
    {"yoffset", &fb_var_screeninfo::yoffset},
    {"bits_per_pixel", &fb_var_screeninfo::bits_per_pixel},
    {"activate", &fb_var_screeninfo::activate},
};

static unsigned side(const char *key, unsigned missing)
{
    const long length = control_read_number(k_framebuffer_geometry, key, missing);
    return length > 0 && length <= k_framebuffer_largest_side ? static_cast<unsigned>(length) : missing;
}

static unsigned memory_size()
{
    return side("width", k_framebuffer_width) * side("height", k_framebuffer_height) * k_pages *
           k_framebuffer_pixel_size;
}

int framebuffer_open(const char *file, int flags)
{
    const long fd = syscall(SYS_openat, AT_FDCWD, file, flags | O_CREAT, 0644);
    if (fd >= 0 && syscall(SYS_ftruncate, fd, static_cast<long>(memory_size())) != 0) {
        const int truncate_errno = errno;
        (void)syscall(SYS_close, fd);
        errno = truncate_errno;
        return -1;
    }
    return static_cast<int>(fd);
}

void framebuffer_variable(fb_var_screeninfo &variable)
{
    variable = {};
    variable.xres = side("width", k_framebuffer_width);
    variable.yres = side("height", k_framebuffer_height);
    variable.xres_virtual = variable.xres;
    variable.yres_virtual = variable.yres * k_pages;
    variable.bits_per_pixel = 8 * k_framebuffer_pixel_size;
    char text[512];
    if (control_read_file(k_framebuffer_state, text, sizeof(text)) <= 0) {
        return; // nobody has changed it
    }
    for (const auto &row : k_fields) {
        long number = 0;
        if (control_find_number(text, row.key, number)) {
            variable.*row.field = static_cast<__u32>(number);
        }
    }
}

void framebuffer_fixed(fb_fix_screeninfo &fixed)
{
    fb_var_screeninfo variable;
    framebuffer_variable(variable);
    fixed = {};
    (void)snprintf(fixed.id, sizeof(fixed.id), "handset");
    fixed.smem_len = memory_size();
    fixed.type = FB_TYPE_PACKED_PIXELS;
    fixed.visual = FB_VISUAL_TRUECOLOR;
    fixed.line_length = variable.xres_virtual * variable.bits_per_pixel / 8;
}

int framebuffer_keep(const fb_var_screeninfo &variable)
{
    char text[512];
    int length = 0;
    for (const auto &row : k_fields) {
        length += snprintf(text + length, sizeof(text) - static_cast<size_t>(length), "%s=%u\n", row.key,
                           variable.*row.field);
    }
    char fresh[64]; // renamed into place, so that no reader sees half of it
    (void)snprintf(fresh, sizeof(fresh), "%s.%ld", k_framebuffer_state, syscall(SYS_gettid));
    const long fd = syscall(SYS_openat, AT_FDCWD, fresh, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        return -1;
    }
    const long written = syscall(SYS_write, fd, text, length);
    (void)syscall(SYS_close, fd);
    if (written != length) {
        errno = ENOSPC;
        return -1;
    }
    return static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, fresh, AT_FDCWD, k_framebuffer_state, 0));
}
