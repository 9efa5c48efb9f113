// A display of the test's own: its driver, its memory, the console and the log of the platform stand in place of the
// machine's, and what happens is written down in order. Set up by assignment: g_fake = {}; only inside in_child.
#pragma once

#include <linux/fb.h>
#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/hex_bytes.h"

using steps = std::vector<std::string>;

struct screen_fakes {
    fb_fix_screeninfo fixed = {}; // as the driver tells them
    fb_var_screeninfo variable = {};

    byte_vector memory;           // what is mapped, with as much again of the guard on either side
    std::ptrdiff_t memory_at = 0; // where in it the mapping begins

    // Events, as below, and how often from now on they fail.
    std::map<std::string, int> failing;
    std::optional<int> inflating;   // what the call that inflates tells instead of its own result
    std::optional<int> cleaning_up; // likewise, behind it

    // What happened, in order:
    //     "open /dev/tty0", "ioctl tty REQUEST NUMBER", "close tty"        requests in hex, of four digits at least
    //     "open /dev/graphics/fb0", "ioctl fb REQUEST NUMBER", "close fb"  of those with a record no number
    //     "map BYTES", "unmap BYTES", "allocate BYTES", "free"             of the picture's memory
    //     "inflate with WINDOW", "inflate flushing FLUSH", "inflate end"
    //     "log PRIORITY [TAG] TEXT"
    steps events;
    std::function<void(const std::string &event)> on_event; // happens before each

    std::vector<fb_var_screeninfo> put; // the variable information, each time that it was written
    void *picture = nullptr;            // what was allocated last and is not free
};
extern screen_fakes g_fake;

// A display of so many pixels that shows the page at `yoffset`, with so much memory. Its records are full of numbers
// that nobody is to touch, its memory of bytes of which no two neighbours are alike.
void put_display(uint32_t width, uint32_t height, uint32_t yoffset, uint32_t memory_size);

// The bytes of the display's memory; those around it have to be as they were.
byte_vector display_memory();

// Those that put_display has put there.
byte_vector fresh_memory(uint32_t size);

// The picture's pixels, inflated by the test; *result is what the call told.
byte_vector inflated_picture(int *result = nullptr);

// What happens in a call, and its result.
steps events_of(int (*call)(), int *result = nullptr);
