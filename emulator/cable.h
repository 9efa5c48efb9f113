// The cable between a station and a handset: passes bytes between two ttys, and can be told to do that badly. Without
// a fault what one read brings goes out by one write, at once: the handset takes one read for one request. A thread of
// its own serves both ends; all functions may be called on any thread.
//
//     emulator::cable cable;
//     cable.attach(emulator::cable_end::station, std::move(outer_master));
//     cable.attach(emulator::cable_end::handset, std::move(inner_master));
//     cable.flip(emulator::cable_end::station, 1);

#pragma once

#include "emulator/descriptor.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace emulator {

// An end, or the direction towards it.
enum class cable_end { station, handset };

// What goes wrong on the way to an end.
struct cable_faults {
    std::size_t flip = 0;       // so many of the next bytes arrive with their lowest bit flipped
    std::size_t flip_after = 0; // behind so many that arrive as they are
    std::size_t drop = 0;       // so many of the next bytes do not arrive
    std::size_t drop_after = 0; // behind so many that do
    std::size_t split = 0;      // bytes of a piece, each written when the one before has been taken; 0: not split
    bool stalled = false;       // nothing passes; what comes is kept and passes later, reading for reading
};

class cable {
  public:
    // Throws std::system_error when the machine has no descriptor left.
    cable();
    ~cable();
    cable(const cable &) = delete;
    cable &operator=(const cable &) = delete;

    // Takes a tty as this end from now on, one side of a pseudo-terminal; what was this end is closed. What is still on
    // its way to this end goes to the new one.
    void attach(cable_end end, descriptor tty);

    // Closes the end, see tty::hang_up, and forgets what is on its way to it. It is closed when this returns.
    void detach(cable_end end);

    // Whether there is a tty at this end, and somebody on its other side when it was last looked at.
    bool answers(cable_end end) const;

    // Faults on the way to an end, from now on. Flips add up, and drops do; all of a kind that are still to come begin
    // behind as many bytes as was said last.
    void flip(cable_end to, std::size_t count, std::size_t after = 0);
    void drop(cable_end to, std::size_t count, std::size_t after = 0);
    void split(cable_end to, std::size_t size);
    void stall(cable_end to, bool on);
    void stall_for(cable_end to, std::chrono::milliseconds time);

    // Ends all faults, both ways.
    void clear();

    cable_faults faults(cable_end to) const;

    // Bytes that have arrived at an end, and those on their way to it.
    std::size_t passed(cable_end to) const;
    std::size_t kept(cable_end to) const;

  private:
    using clock = std::chrono::steady_clock;

    struct piece {
        std::string bytes;
        bool apart = false; // not before the one before has been taken
    };

    // An end, and the way to it.
    struct side {
        descriptor tty;
        std::optional<descriptor> next; // to be this end; an empty one only closes what is
        bool nobody_there = false;
        cable_faults faults;
        std::optional<clock::time_point> stalled_until;
        std::deque<piece> queue;
        std::size_t kept = 0;   // bytes in the queue
        std::size_t passed = 0; // bytes
        clock::time_point written{};
        bool stuck = false;   // the tty took no more
        bool waiting = false; // for the piece before to be taken
    };

    void serve();
    void take_next(side &end);
    void listen(side &from, side &to);
    static void hear(side &to, std::string bytes);
    static void harm(cable_faults &faults, std::string &bytes);
    void speak(side &to);
    static bool is_stalled(side &to);
    static bool has_taken(const side &to);
    int wait_ms() const;
    side &at(cable_end end) { return m_sides[static_cast<int>(end)]; }
    const side &at(cable_end end) const { return m_sides[static_cast<int>(end)]; }
    void replace(cable_end end, descriptor tty, bool forget);
    void wake() const;

    const descriptor m_wake; // an eventfd: something below has changed

    mutable std::mutex m_mutex; // guards everything below
    std::condition_variable m_changed;
    side m_sides[2]; // by cable_end
    bool m_stop = false;
    std::thread m_thread;
};

} // namespace emulator
