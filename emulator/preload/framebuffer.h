// The emulated framebuffer: a memory file, /handset/fb0, that is mapped like the real thing and read from outside as a
// plain file; its geometry comes from /handset/control/fb (width, height), its variable screen information lives as
// text in /handset/fb0.state. Called by the device table on whatever thread makes the call.

#pragma once

// The display unless the geometry says otherwise, in pixels, and the bytes of a pixel by which the memory is measured.
constexpr unsigned k_framebuffer_width = 720;
constexpr unsigned k_framebuffer_height = 1280;
constexpr unsigned k_framebuffer_pixel_size = 4;

// Where its memory, its state and its geometry are.
constexpr char k_framebuffer_memory[] = "/handset/fb0";
constexpr char k_framebuffer_state[] = "/handset/fb0.state";
constexpr char k_framebuffer_geometry[] = "/handset/control/fb";

constexpr long k_framebuffer_largest_side = 16384; // a geometry that says otherwise is ignored

struct fb_fix_screeninfo;
struct fb_var_screeninfo;

// Opens the memory file and gives it its size, two pages of 4-byte pixels. A descriptor, or -1 with errno set.
int framebuffer_open(const char *file, int flags);

// The fixed and the variable screen information, as their ioctls return them.
void framebuffer_fixed(fb_fix_screeninfo &fixed);
void framebuffer_variable(fb_var_screeninfo &variable);

// Keeps the variable screen information. 0, or -1 with errno set.
int framebuffer_keep(const fb_var_screeninfo &variable);
