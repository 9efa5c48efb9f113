// Passing bytes between two ttys, see cable.h. One thread waits for both ttys and for the eventfd that tells it of a
// change; it alone reads, writes and closes them, always under the mutex.

#include "emulator/cable.h"

#include "emulator/deadline.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace emulator {

using namespace std::chrono_literals;

constexpr std::size_t k_most_at_once = 4096;

// More than this a tty takes in several steps; whoever reads in between finds a part.
constexpr std::size_t k_one_step = 1792;
constexpr int k_next_step_ms = 2;

// Kept on the way to an end that takes nothing; from there on its sender has to wait.
constexpr std::size_t k_most_kept = 1024 * std::size_t{1024};

// While nobody has a tty open the kernel reports a hang-up at once, always, and room for more bytes it does not always
// report; so both are looked at in turns. So is what nothing announces, that a piece has been taken.
constexpr int k_look_ms = 5;

// Until then what was written may not have come to where it is looked for.
constexpr auto k_settle_time = 5ms;

// Between pieces when it cannot be told whether one has been taken.
constexpr auto k_blind_time = 25ms;

cable::cable()
    : m_wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!m_wake) {
        throw std::system_error(errno, std::generic_category(), "cannot make an eventfd for the cable");
    }
    m_thread = std::thread(&cable::serve, this);
}

cable::~cable()
{
    {
        const std::lock_guard lock(m_mutex);
        m_stop = true;
    }
    wake();
    m_thread.join();
}

void cable::wake() const
{
    (void)eventfd_write(m_wake.get(), 1); // it fails only when it counts wake-ups enough already
}

void cable::attach(cable_end end, descriptor tty)
{
    const int flags = fcntl(tty.get(), F_GETFL);
    if (flags < 0 || fcntl(tty.get(), F_SETFL, flags | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot set up an end of the cable");
    }
    replace(end, std::move(tty), false);
}

void cable::detach(cable_end end)
{
    replace(end, descriptor(), true);
}

void cable::replace(cable_end end, descriptor tty, bool forget)
{
    std::unique_lock lock(m_mutex);
    side &replaced = at(end);
    if (forget) {
        replaced.queue.clear();
        replaced.kept = 0;
    }
    replaced.next = std::move(tty);
    wake();
    m_changed.wait(lock, [&] { return !replaced.next; });
}

bool cable::answers(cable_end end) const
{
    const std::lock_guard lock(m_mutex);
    return at(end).tty && !at(end).nobody_there;
}

void cable::flip(cable_end to, std::size_t count, std::size_t after)
{
    const std::lock_guard lock(m_mutex);
    at(to).faults.flip += count;
    at(to).faults.flip_after = after;
}

void cable::drop(cable_end to, std::size_t count, std::size_t after)
{
    const std::lock_guard lock(m_mutex);
    at(to).faults.drop += count;
    at(to).faults.drop_after = after;
}

void cable::split(cable_end to, std::size_t size)
{
    const std::lock_guard lock(m_mutex);
    at(to).faults.split = size;
}

void cable::stall(cable_end to, bool on)
{
    const std::lock_guard lock(m_mutex);
    at(to).faults.stalled = on;
    at(to).stalled_until.reset();
    wake();
}

void cable::stall_for(cable_end to, std::chrono::milliseconds time)
{
    const std::lock_guard lock(m_mutex);
    at(to).faults.stalled = true;
    at(to).stalled_until = clock::now() + time;
    wake();
}

void cable::clear()
{
    const std::lock_guard lock(m_mutex);
    for (side &each : m_sides) {
        each.faults = {};
        each.stalled_until.reset();
    }
    wake();
}

cable_faults cable::faults(cable_end to) const
{
    const std::lock_guard lock(m_mutex);
    return at(to).faults;
}

std::size_t cable::passed(cable_end to) const
{
    const std::lock_guard lock(m_mutex);
    return at(to).passed;
}

std::size_t cable::kept(cable_end to) const
{
    const std::lock_guard lock(m_mutex);
    return at(to).kept;
}

void cable::serve()
{
    side &station = at(cable_end::station);
    side &handset = at(cable_end::handset);
    std::unique_lock lock(m_mutex);
    while (!m_stop) {
        take_next(station);
        take_next(handset);
        speak(station);
        speak(handset);
        const auto events_of = [](const side &end, const side &other) {
            const bool has_room = !end.nobody_there && other.kept < k_most_kept;
            return static_cast<short>((has_room ? POLLIN : 0) | (end.stuck ? POLLOUT : 0));
        };
        const auto fd_of = [](const side &end) { return end.nobody_there ? -1 : end.tty.get(); };
        pollfd ends[] = {{m_wake.get(), POLLIN, 0},
                         {fd_of(station), events_of(station, handset), 0},
                         {fd_of(handset), events_of(handset, station), 0}};
        const int longest_ms = wait_ms();
        lock.unlock();
        (void)poll(ends, std::size(ends), longest_ms);
        lock.lock();
        eventfd_t ignored = 0;
        (void)eventfd_read(m_wake.get(), &ignored); // EAGAIN when it was not the wake-up
        listen(station, handset);
        listen(handset, station);
    }
}

void cable::take_next(side &end)
{
    if (!end.next) {
        return;
    }
    end.tty = std::move(*end.next);
    end.next.reset();
    end.nobody_there = false;
    m_changed.notify_all();
}

// How long the thread may wait when nothing happens; -1 for ever.
int cable::wait_ms() const
{
    int shortest = -1;
    for (const side &each : m_sides) {
        int wait = (each.tty && each.nobody_there) || each.stuck || each.waiting ? k_look_ms : -1;
        if (each.stalled_until) {
            const int left = deadline(*each.stalled_until - clock::now()).left_ms();
            wait = wait < 0 ? left : std::min(wait, left);
        }
        shortest = shortest < 0 || (wait >= 0 && wait < shortest) ? wait : shortest;
    }
    return shortest;
}

// What has come to one end, at most as much as the room that is left in `bytes`.
static ssize_t read_more(int fd, std::string &bytes)
{
    char room[k_most_at_once];
    const ssize_t count = ::read(fd, room, k_most_at_once - bytes.size());
    if (count > 0) {
        bytes.append(room, static_cast<std::size_t>(count));
    }
    return count;
}

// Takes what one reading brings, with what the tty needed another step for.
void cable::listen(side &from, side &to)
{
    if (!from.tty || to.kept >= k_most_kept) {
        return;
    }
    std::string bytes;
    const ssize_t count = read_more(from.tty.get(), bytes);
    from.nobody_there = count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR);
    pollfd end = {from.tty.get(), POLLIN, 0};
    while (bytes.size() >= k_one_step && bytes.size() < k_most_at_once && poll(&end, 1, k_next_step_ms) > 0 &&
           read_more(from.tty.get(), bytes) > 0) {
    }
    if (!bytes.empty()) {
        hear(to, std::move(bytes));
    }
}

// Where a fault begins in the next bytes; what passes before it no longer counts.
static std::size_t beginning(std::size_t &after, std::size_t size)
{
    const std::size_t passing = std::min(after, size);
    after -= passing;
    return passing;
}

// What is dropped is not flipped.
void cable::harm(cable_faults &faults, std::string &bytes)
{
    const std::size_t drop_at = beginning(faults.drop_after, bytes.size());
    const std::size_t dropped = std::min(faults.drop, bytes.size() - drop_at);
    bytes.erase(drop_at, dropped);
    faults.drop -= dropped;
    for (std::size_t i = beginning(faults.flip_after, bytes.size()); i < bytes.size() && faults.flip > 0; i++) {
        bytes[i] = static_cast<char>(bytes[i] ^ 1);
        faults.flip--;
    }
}

void cable::hear(side &to, std::string bytes)
{
    const cable_faults &faults = to.faults;
    harm(to.faults, bytes);
    to.kept += bytes.size();
    const std::size_t size = faults.split == 0 ? bytes.size() : faults.split;
    while (!bytes.empty()) {
        const bool apart = faults.split != 0 || is_stalled(to) || !to.queue.empty();
        to.queue.push_back({bytes.substr(0, size), apart});
        bytes.erase(0, size);
    }
}

bool cable::is_stalled(side &to)
{
    if (to.stalled_until && clock::now() >= *to.stalled_until) {
        to.stalled_until.reset();
        to.faults.stalled = false;
    }
    return to.faults.stalled;
}

// Bytes that nobody has read yet on the other side; -1 when that cannot be told.
static int unread_beyond(int master)
{
    const descriptor other(ioctl(master, TIOCGPTPEER, O_RDWR | O_NOCTTY | O_CLOEXEC));
    int count = 0;
    return other && ioctl(other.get(), FIONREAD, &count) == 0 ? count : -1;
}

bool cable::has_taken(const side &to)
{
    const auto since = clock::now() - to.written;
    if (since < k_settle_time) {
        return false;
    }
    const int unread = unread_beyond(to.tty.get());
    return unread == 0 || (unread < 0 && since >= k_blind_time);
}

// Writes what may pass, as far as the tty takes it.
void cable::speak(side &to)
{
    to.stuck = false;
    to.waiting = false;
    while (to.tty && !to.queue.empty() && !is_stalled(to)) {
        piece &next = to.queue.front();
        to.waiting = next.apart && !has_taken(to);
        if (to.waiting) {
            return;
        }
        const ssize_t count = ::write(to.tty.get(), next.bytes.data(), next.bytes.size());
        const auto written = static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        to.written = clock::now();
        to.kept -= written;
        to.passed += written;
        to.stuck = written < next.bytes.size();
        next.bytes.erase(0, written);
        if (to.stuck) {
            next.apart = false; // it has begun
            return;
        }
        to.queue.pop_front();
    }
}

} // namespace emulator
