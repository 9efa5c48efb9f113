// Inflating, as far as the system's library is asked for it.
#pragma once

#include <stddef.h>

using Bytef = unsigned char;
using uInt = unsigned;
using uLong = unsigned long;

struct z_stream {
    Bytef *next_in;
    uInt avail_in;
    uLong total_in;
    Bytef *next_out;
    uInt avail_out;
    uLong total_out;
    const char *msg;
    void *state;
    void *(*zalloc)(void *, uInt, uInt);
    void (*zfree)(void *, void *);
    void *opaque;
    int data_type;
    uLong adler;
    uLong reserved;
};

#define ZLIB_VERSION "1.2.8"
#define Z_OK 0
#define Z_PARTIAL_FLUSH 1

extern "C" {
int inflate(z_stream *stream, int flush);
int inflateEnd(z_stream *stream);
int inflateInit2_(z_stream *stream, int window_bits, const char *version, int size);
}

#define inflateInit2(stream, window_bits)                                                                              \
    inflateInit2_(stream, window_bits, ZLIB_VERSION, static_cast<int>(sizeof(z_stream)))
