// The owner of one file descriptor: closed once, when the owner goes. Everything in the emulated handset that opens a
// descriptor keeps it in one of these, because a test that fails half-way must not leave a device or a sandbox open.

#pragma once

#include <unistd.h>

#include <utility>

namespace emulator {

class descriptor {
  public:
    descriptor() = default;
    explicit descriptor(int fd)
        : m_fd(fd)
    {
    }
    descriptor(descriptor &&other) noexcept
        : m_fd(std::exchange(other.m_fd, -1))
    {
    }
    descriptor &operator=(descriptor &&other) noexcept
    {
        reset(std::exchange(other.m_fd, -1));
        return *this;
    }
    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;
    ~descriptor() { reset(); }

    // The descriptor, still owned here; -1 when there is none.
    int get() const { return m_fd; }
    explicit operator bool() const { return m_fd >= 0; }

    // Closes what is owned and takes fd over.
    void reset(int fd = -1)
    {
        if (m_fd >= 0) {
            (void)close(m_fd); // nothing to be done about it here
        }
        m_fd = fd;
    }

  private:
    int m_fd = -1;
};

} // namespace emulator
