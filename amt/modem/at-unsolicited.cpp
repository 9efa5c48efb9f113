// The first words on a modem port that has just been opened: what the modem says unasked must not stand in the answers
// of the transactions to come. Five tries, each a look at what arrives within 5 s, none of them adding to the other.
#include <errno.h>
#include <string.h>
#include <sys/select.h>
#include <time.h>

#include <initializer_list>

#include "amt/modem/at-channel.h"
#include "pub/base/wait.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr char k_command[] = "AT^DLKS=0\r";
constexpr int k_wait_seconds = 5;
constexpr int32_t k_tries = 5;

struct answer_area {
    char m_text_a[20]; // two more than are read: always terminated
};
constexpr size_t k_answer_max = 18;

int32_t wait_writable(int fd)
{
    fd_set writable;
    FD_ZERO(&writable);
    FD_SET(fd, &writable);
    timeval left = {k_wait_seconds, 0};
    const int ready = pub_util_select(fd + 1, nullptr, &writable, &left);
    if (ready < 0) {
        return log_sys_error("select");
    }
    if (ready == 0) {
        return log_error(ERR_TIMEOUT, "wait %d seconds to write time out", k_wait_seconds);
    }
    return FD_ISSET(fd, &writable) ? ERR_NONE : ERR_UNKNOWN;
}

int32_t write_command(int fd)
{
    constexpr size_t length = sizeof(k_command) - 1;
    const ssize_t written = pub_util_write(fd, k_command, length);
    if (written < 0) {
        return log_sys_error("write");
    }
    if (static_cast<size_t>(written) < length) {
        log_warning("write not completed: to write(%d) != written(%d)", static_cast<int>(length),
                    static_cast<int>(written));
        return ERR_WRITE_NOT_COMPLETED;
    }
    return ERR_NONE;
}

timespec wall_clock()
{
    timespec now = {};
    (void)clock_gettime(CLOCK_REALTIME, &now); // fails on an unknown clock only
    return now;
}

int32_t read_answer(int fd, answer_area *answer)
{
    return pub_util_read(fd, answer->m_text_a, k_answer_max) < 0 ? log_sys_error("read") : ERR_NONE;
}

// Waits for the port and reads once. A wait that ends with nothing within the second in which it began has not timed
// out, and goes on with the time that it left.
int32_t try_to_read(int fd, answer_area *answer)
{
    *answer = {};
    timeval left = {k_wait_seconds, 0};
    const timespec start = wall_clock();
    for (;;) {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(fd, &readable);
        const int ready = pub_util_select(fd + 1, &readable, nullptr, &left);
        if (ready < 0) {
            return log_sys_error("select");
        }
        if (ready > 0) {
            return FD_ISSET(fd, &readable) ? read_answer(fd, answer)
                                           : log_error(ERR_UNKNOWN, "select OK, but fd is not ready");
        }
        const timespec now = wall_clock();
        if (now.tv_sec != start.tv_sec) { // less, when the clock was set meanwhile: no reason to wait until it is back
            return log_error(ERR_UNKNOWN, "read time out: %ld:%ld -> %ld:%ld", static_cast<long>(start.tv_sec),
                             static_cast<long>(start.tv_nsec), static_cast<long>(now.tv_sec),
                             static_cast<long>(now.tv_nsec));
        }
    }
}

bool is_refusal(const answer_area &answer)
{
    for (const char *text : {"\r\nERROR\r\n", "\r\n+CME ERROR: ", "\r\n+CMS ERROR: "}) {
        if (strstr(answer.m_text_a, text) != nullptr) {
            return true;
        }
    }
    return false;
}

} // namespace

int32_t disable_unsolicited_code(int fd)
{
    log_func();
    if (fd < 1) {
        return log_error(ERR_INVALID_PARAM, "%d", fd < 1);
    }
    int32_t result = wait_writable(fd);
    if (result == ERR_NONE) {
        result = write_command(fd);
    }
    if (result != ERR_NONE) {
        return result;
    }
    for (int32_t i = 0; i < k_tries; i++) {
        answer_area answer;
        result = try_to_read(fd, &answer);
        if (strstr(answer.m_text_a, "\r\nOK\r\n") != nullptr) {
            return result;
        }
        if (is_refusal(answer)) {
            return ERR_UNKNOWN;
        }
        log_info("(%ld/%ld)tries. buf_a: \"%s\"", static_cast<long>(i), static_cast<long>(k_tries), answer.m_text_a);
    }
    return ERR_TIMEOUT;
}
