// The far end of one of the handset's serial devices: what a station, a modem or an application holds. Inside, the
// device is a link to the slave of a pseudo-terminal; this object owns the master, and hanging up (or destroying it) is
// what pulling the cable is to the program inside. Obtained from handset::open_tty. One thread at a time per object.

#pragma once

#include "emulator/deadline.h"
#include "emulator/descriptor.h"

#include <string>
#include <string_view>

namespace emulator {

// How the line discipline is set before anyone opens the device. A USB port has none worth the name (raw); the other
// mode leaves what the kernel sets, with echo and line editing, to show what a program makes of it itself.
enum class tty_mode { raw, as_created };

class tty {
  public:
    tty() = default;

    // Takes the master of a pseudo-terminal whose slave has been open before, and sets it non-blocking.
    explicit tty(descriptor master);

    // The master, still owned here; -1 after hang_up(). Non-blocking; tcgetattr on it tells the slave's attributes.
    int fd() const { return m_master.get(); }

    // Whether a program inside has the device open.
    bool opened() const;

    // Blocks until a program inside has opened the device, or until none has it open any more.
    void wait_opened(deadline limit = k_default_wait) const;
    void wait_closed(deadline limit = k_default_wait) const;

    // Writes all bytes; throws std::runtime_error when they are not taken in time.
    void write(std::string_view bytes, deadline limit = k_default_wait) const;

    // What has arrived, at least one byte. Throws std::runtime_error when nothing comes in time.
    std::string read(deadline limit = k_default_wait);

    // Exactly `count` bytes; throws, quoting what did come, when fewer come in time.
    std::string read_exactly(std::size_t count, deadline limit = k_default_wait);

    // Up to the end of the first occurrence of the text; what came behind it is kept for the next read.
    std::string read_until(std::string_view text, deadline limit = k_default_wait);

    // What arrives until nothing has for `quiet`; empty when nothing comes at all. For showing that nothing more comes.
    std::string read_all(std::chrono::milliseconds quiet);

    // Closes the master: readers inside see the end of the line, writers an error.
    void hang_up();

  private:
    std::string take(std::size_t count);
    bool fill(deadline limit);

    descriptor m_master;
    std::string m_held; // arrived, not yet returned
};

} // namespace emulator
