// The channels of the service without their ttys: what is read, written and opened is the test's to decide, nothing
// waits for real, and a worker that ends the service comes back to the test. Reset by assignment: g_fake = {};
#pragma once

#include <csetjmp>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "amt/core/context.h"

// One result of a read or of a write: a count (of a read: with its bytes), or -1 with an errno.
struct io_result {
    ssize_t count = 0;
    int error = 0;
    std::string bytes;
};

inline io_result data(const std::string &bytes)
{
    return {static_cast<ssize_t>(bytes.size()), 0, bytes};
}
inline io_result failed(int error)
{
    return {-1, error, ""};
}
inline io_result nothing()
{
    return {0, 0, ""};
}

struct written {
    int fd;
    std::string bytes;
};
inline bool operator==(const written &a, const written &b)
{
    return a.fd == b.fd && a.bytes == b.bytes;
}

struct channel_fakes {
    std::deque<io_result> reads;  // in order; when there are no more, a channel is lost: EBADF
    std::deque<io_result> writes; // in order; when there are no more, writes succeed
    std::vector<size_t> rooms;    // what each read asked for
    std::vector<written> sent;    // what was written, failed attempts included
    std::function<void()> on_read;

    std::deque<int> opened;              // descriptor of each opening, 0: it fails; when there are no more, they fail
    std::vector<std::string> open_calls; // "path, attempts, interval"
    std::function<void()> on_open;

    std::deque<int32_t> pty_opened; // result of each opening of the pseudo-terminal
    int pty_closings = 0;

    std::vector<uint32_t> slept_ms;
    std::function<void()> on_sleep; // a sleep of milliseconds
    std::vector<uint32_t> slept_seconds;

    int thread_fails_at = 0;         // the n-th worker from now, 1 is the next one
    std::function<void()> on_thread; // the start of a worker, whether it succeeds or not
    std::vector<void (*)()> started;

    std::vector<std::string> lines; // "fd, baud" of each serial line that was set
    int32_t disable_result = 0;     // of switching the modem's reports off
    int disable_calls = 0;
    std::vector<std::string> prepared; // identities at the start: paths of folders, and "WiFi parameters"
    std::function<void()> on_prepare;  // each of them
    int32_t folder_result = 0;
    int32_t wifi_result = 0; // of the parameters

    std::vector<std::string> confirming; // what the modem said, as it was looked at for a confirmation
    std::function<void()> on_confirming;
    int32_t confirming_result = 0;

    int power_offs = 0; // of the handset

    pub_util_thread *ended_by = nullptr; // the handle of the worker that ended the service
    std::jmp_buf end;                    // where it comes back to
};

extern channel_fakes g_fake;

// Descriptors that no read or write ever reaches.
constexpr int k_fd_pc = 1001;
constexpr int k_fd_modem = 1002;
constexpr int k_fd_app = 1003;

// A handler that notes what it is given, and what it gives back.
struct noting_handler {
    uint8_t channel = 0; // on which it must be called
    int32_t result = 0;
    std::vector<std::string> handled;
};
extern noting_handler g_handler;
int32_t handler(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// A cleared context with all channels open, and default fakes.
void open_channels();

// Runs the body of a worker until it ends the service. False when it just returns.
bool runs_until_end(void (*body)());

// Bytes of a message in its envelope, and bare.
std::string bare(uint8_t id, const std::function<void(uint8_t *)> &append = nullptr);
std::string enveloped(uint8_t id, const std::function<void(uint8_t *)> &append = nullptr);

// A plain answer, enveloped or bare.
std::string enveloped_result(uint8_t id, uint32_t code);
std::string bare_result(uint8_t id, uint32_t code);
