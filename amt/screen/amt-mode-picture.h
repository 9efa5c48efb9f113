// The words AMT MODE, white on black, as a part of the service itself.
#pragma once

#include <stdint.h>

struct amt_picture {
    int32_t m_width;  // pixels
    int32_t m_height; // pixels

    // A gzip stream of so many bytes, without its trailer. Inflated: pixels of RGB565, low byte first, rows from the
    // top.
    uint32_t m_length;
    const uint8_t *m_stream;
};

extern const amt_picture g_amt_mode_picture;
