// The far end of a serial device, see tty.h.

#include "emulator/tty.h"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace emulator {

// While nobody inside has the device open the kernel reports a hang-up at once, always; so that is looked at in turns.
constexpr int k_look_ms = 5;

tty::tty(descriptor master)
    : m_master(std::move(master))
{
    const int flags = fcntl(m_master.get(), F_GETFL);
    if (flags < 0 || fcntl(m_master.get(), F_SETFL, flags | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot set up the far end of a tty");
    }
}

bool tty::opened() const
{
    pollfd end = {m_master.get(), 0, 0};
    return poll(&end, 1, 0) >= 0 && (end.revents & (POLLHUP | POLLNVAL)) == 0 && m_master;
}

void tty::wait_opened(deadline limit) const
{
    wait_until(
        "a program to open the tty", [&] { return opened(); }, limit);
}

void tty::wait_closed(deadline limit) const
{
    wait_until(
        "the programs to close the tty", [&] { return !opened(); }, limit);
}

void tty::write(std::string_view bytes, deadline limit) const
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(m_master.get(), bytes.data(), bytes.size());
        if (count > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
            continue;
        }
        if (count < 0 && errno != EAGAIN && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "cannot write to the tty");
        }
        if (limit.passed()) {
            throw std::runtime_error("the tty takes no more bytes, " + std::to_string(bytes.size()) + " are left");
        }
        pollfd end = {m_master.get(), POLLOUT, 0};
        (void)poll(&end, 1, std::min(limit.left_ms(), k_look_ms)); // room on the far side is not always announced
    }
}

// Adds what has arrived to what is held; false when nothing comes in time.
bool tty::fill(deadline limit)
{
    char bytes[4096];
    while (true) {
        const ssize_t count = ::read(m_master.get(), bytes, sizeof(bytes));
        if (count > 0) {
            m_held.append(bytes, static_cast<std::size_t>(count));
            return true;
        }
        if (count < 0 && errno != EAGAIN && errno != EINTR && errno != EIO) {
            throw std::system_error(errno, std::generic_category(), "cannot read from the tty");
        }
        const int left_ms = limit.left_ms();
        if (left_ms == 0) {
            return false;
        }
        if (count < 0 && errno == EIO) {
            (void)poll(nullptr, 0, std::min(left_ms, k_look_ms)); // nobody has it open now
        } else {
            pollfd end = {m_master.get(), POLLIN, 0};
            (void)poll(&end, 1, left_ms);
        }
    }
}

std::string tty::take(std::size_t count)
{
    std::string bytes = m_held.substr(0, count);
    m_held.erase(0, count);
    return bytes;
}

std::string tty::read(deadline limit)
{
    if (m_held.empty() && !fill(limit)) {
        throw std::runtime_error("nothing has arrived on the tty");
    }
    return take(m_held.size());
}

std::string tty::read_exactly(std::size_t count, deadline limit)
{
    while (m_held.size() < count) {
        if (!fill(limit)) {
            throw std::runtime_error("of " + std::to_string(count) + " bytes the tty has brought only " +
                                     std::to_string(m_held.size()) + ": \"" + m_held + "\"");
        }
    }
    return take(count);
}

std::string tty::read_until(std::string_view text, deadline limit)
{
    std::size_t at = 0;
    while ((at = m_held.find(text)) == std::string::npos) {
        if (!fill(limit)) {
            throw std::runtime_error("the tty has not brought \"" + std::string(text) + "\" but: \"" + m_held + "\"");
        }
    }
    return take(at + text.size());
}

std::string tty::read_all(std::chrono::milliseconds quiet)
{
    while (fill(quiet)) {
    }
    return take(m_held.size());
}

void tty::hang_up()
{
    m_master.reset();
}

} // namespace emulator
