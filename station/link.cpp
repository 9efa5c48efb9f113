// The station's end of the link, see link.h.

#include "station/link.h"

#include "station/text.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <system_error>

namespace station {

using clock = std::chrono::steady_clock;

// Room on the far side of a tty is not always announced, so it is looked for in turns.
constexpr int k_look_ms = 5;

// Bytes that are passed over at a time, lest a handset that never falls silent is never asked again.
constexpr std::size_t k_most_discarded = 1 << 20;

// For poll(2): rounded up, and 0 only when the end has passed.
static int left_ms(clock::time_point end)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - clock::now()).count();
    return static_cast<int>(std::clamp<decltype(left)>(left, 0, 1'000'000'000));
}

timeout no_whole_answer(std::chrono::milliseconds limit, std::string_view rest)
{
    return timeout("no whole answer within " + std::to_string(limit.count()) + " ms, " +
                   (rest.empty() ? "nothing came" : "only " + quoted(rest)) +
                   ": see whether the handset is in test mode and knows the request");
}

[[noreturn]] static void fail(const std::string &what, int error)
{
    throw lost(what + ": " + std::generic_category().message(error) +
               "; see whether the handset is still connected and its service runs");
}

// Returns early for any reason: the caller looks again.
void link::wait(short events, int wait_ms) const
{
    pollfd either[] = {{m_tty, events, 0}, {m_stop, POLLIN, 0}};
    (void)poll(either, 2, wait_ms);
    if (either[1].revents != 0) {
        throw stopped();
    }
}

void link::send_raw(std::string_view bytes) const
{
    const clock::time_point end = clock::now() + k_default_wait;
    while (!bytes.empty()) {
        const ssize_t count = write(m_tty, bytes.data(), bytes.size());
        const int error = errno;
        if (count == static_cast<ssize_t>(bytes.size())) {
            return;
        }
        if (count > 0) {
            throw lost("the tty took only " + std::to_string(count) + " of the request's " +
                       std::to_string(bytes.size()) +
                       " bytes: the handset would take the rest for another request, so send it anew");
        }
        if (count < 0 && error != EAGAIN && error != EINTR) {
            fail("cannot send a request", error);
        }
        const int wait_ms = left_ms(end);
        if (wait_ms == 0) {
            throw timeout("the tty takes no request: see whether the handset's service still reads it");
        }
        wait(POLLOUT, std::min(wait_ms, k_look_ms));
    }
}

std::string as_line(std::string_view text)
{
    std::string line(text);
    if (line.find('\r') == std::string::npos) {
        line += '\r';
    }
    return line;
}

std::string link::bytes_of(const message &what) const
{
    return m_framing == framing::envelope ? what.envelope() : what.encode();
}

void link::send_line(std::string_view text) const
{
    send_raw(as_line(text));
}

void link::send(const message &request) const
{
    send_raw(bytes_of(request));
}

// Adds what comes within the time, if anything does.
void link::fill(int wait_ms)
{
    wait(POLLIN, wait_ms);
    pollfd ready = {m_tty, POLLIN, 0};
    if (poll(&ready, 1, 0) <= 0) { // the tty may block
        return;
    }
    char bytes[4096];
    const ssize_t count = read(m_tty, bytes, sizeof(bytes));
    if (count > 0) {
        m_stream.add({bytes, static_cast<std::size_t>(count)});
    } else if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
        const int error = count == 0 ? EIO : errno; // a tty that has hung up ends either way
        const std::string &rest = m_stream.unfinished();
        fail("no more answers can be received" +
                 (rest.empty() ? "" : ", and of the next one only " + quoted(rest) + " came"),
             error);
    }
}

std::optional<answer> link::receive_some(std::chrono::milliseconds limit)
{
    const clock::time_point end = clock::now() + limit;
    std::optional<answer> next = m_stream.next();
    for (bool in_time = true; !next && in_time; next = m_stream.next()) {
        const int wait_ms = left_ms(end);
        fill(wait_ms);
        in_time = wait_ms > 0;
    }
    return next;
}

answer link::receive(std::chrono::milliseconds limit)
{
    std::optional<answer> next = receive_some(limit);
    if (!next) {
        throw no_whole_answer(limit, m_stream.unfinished());
    }
    return *std::move(next);
}

std::string link::discard(std::chrono::milliseconds wait)
{
    std::string all;
    do {
        all += m_stream.unfinished();
        m_stream.clear();
        fill(static_cast<int>(wait.count()));
    } while (!m_stream.unfinished().empty() && all.size() < k_most_discarded);
    return all;
}

} // namespace station
