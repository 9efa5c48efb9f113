// What comes back from the handset on the station's link, cut out of the stream of bytes: frames, which begin with the
// magic of the envelope and tell their length, and texts, which are everything else. However the bytes are cut into
// reads, the answers are the same. Pure; any thread, an object in one at a time.

#pragma once

#include "station/message.h"

#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace station {

enum class answer_kind {
    message,      // a frame with a message
    pre_response, // the frame that tells that a request has arrived and its answer may take long
    text,         // an AT answer, up to its final result line or to a frame that cuts it short
    damaged,      // a frame that cannot be trusted; `error` says why
};

struct answer {
    answer_kind kind = answer_kind::text;
    std::string bytes;                       // all of it, as it came
    std::optional<station::message> message; // also in a damaged frame, when it can still be read
    std::string error;                       // empty unless damaged
};

// One line: the message, "pre-response", 'text "\r\nOK\r\n"', or 'damaged frame (why): ' with the message or the bytes.
std::string describe(const answer &what);
std::ostream &operator<<(std::ostream &stream, const answer &what);

class answer_stream {
  public:
    void add(std::string_view bytes) { m_held += bytes; }

    // The next whole answer; nothing while more bytes are needed for one. Of a frame whose length cannot be, only the
    // magic is the damaged answer: what follows is a text up to the next magic. A frame with a wrong checksum ends at a
    // magic inside it, so that a damaged length does not take the frame behind it along.
    std::optional<answer> next();

    // What has come and is not a whole answer yet.
    const std::string &unfinished() const { return m_held; }

  private:
    std::optional<answer> next_frame();
    std::optional<answer> next_text();
    std::string take(std::size_t count);

    std::string m_held;
};

} // namespace station
