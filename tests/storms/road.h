// One direction of the relay: what was sent must arrive byte for byte and in order. One thread sends, one receives.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>

#include "emulator/deadline.h"

class road {
  public:
    explicit road(std::string name)
        : m_name(std::move(name))
    {
    }

    // Waits until at most so many bytes are on the way; throws past the deadline.
    void wait_room(std::size_t most, emulator::deadline limit = emulator::k_default_wait);

    // What is sent next; before it is.
    void promise(std::string_view bytes);

    // What has arrived. Throws when it is not what was promised.
    void arrive(std::string_view bytes);

    std::size_t arrived() const; // bytes

  private:
    const std::string m_name;
    mutable std::mutex m_mutex; // guards everything below
    std::condition_variable m_changed;
    std::string m_on_the_way;
    std::size_t m_arrived = 0;
};
