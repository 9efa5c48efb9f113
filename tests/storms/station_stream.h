// What a station reads while the service answers and relays at the same time: two threads' words in one stream. The
// modem's never hold the first byte of a frame, so that the two can be told apart wherever one cuts the other.
#pragma once

#include <optional>
#include <string>
#include <string_view>

constexpr char k_frame_byte = '\xAA';

// What begins at the head of the stream.
struct stream_item {
    bool is_frame = false;
    std::string bytes; // a whole frame, or words up to the next frame
};

class station_stream {
  public:
    void add(std::string_view bytes) { m_held += bytes; }

    // The next item; nothing while more bytes are needed for one. Throws std::runtime_error for a frame that is torn.
    std::optional<stream_item> next();

    const std::string &unfinished() const { return m_held; }

  private:
    std::string m_held;
};
