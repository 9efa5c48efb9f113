// What comes back from the handset on its link, cut out of the stream of bytes. On the station's these are frames,
// which begin with the magic of the envelope and tell their length, and texts, which are everything else; on the
// application's, bare messages. However the bytes are cut into reads, the answers are the same. Pure; any thread, an
// object in one at a time.

#pragma once

#include "station/message.h"

#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace station {

// How messages lie on a link: in the station's envelope, or bare, as an application on the handset has them.
enum class framing { envelope, bare };

enum class answer_kind {
    message,      // a frame with a message, or a bare one
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

// Whether a text can be one: without control characters but those that part lines. A frame that has lost its magic is
// none.
bool is_clean_text(std::string_view text);

// Whether the text ends with the line by which an AT answer is known to be complete: OK, ERROR, +CME ERROR, +CMS ERROR.
bool ends_with_final_result(std::string_view text);

// That line without its line ends, empty when there is none; and the lines before it that are not empty.
std::string final_result(std::string_view text);
std::vector<std::string> lines_before_final_result(std::string_view text);

// One line: the message, "pre-response", 'text "\r\nOK\r\n"', or 'damaged frame (why): ' with the message or the bytes.
std::string describe(const answer &what);
std::ostream &operator<<(std::ostream &stream, const answer &what);

class answer_stream {
  public:
    explicit answer_stream(framing how = framing::envelope)
        : m_framing(how)
    {
    }

    void add(std::string_view bytes) { m_held += bytes; }

    // The next whole answer; nothing while more bytes are needed for one. Of a frame whose length cannot be, only the
    // magic is the damaged answer: what follows is a text up to the next magic. A frame with a wrong checksum ends at a
    // magic inside it, so that a damaged length does not take the frame behind it along. Of bare messages, whatever has
    // come is damaged together when it does not begin with one.
    std::optional<answer> next();

    // What has come and is not a whole answer yet; and what can be said of it: "" for nothing and for lines of text
    // that could stand alone, else one line that tells how far an answer has come.
    const std::string &unfinished() const { return m_held; }
    std::string fault_of_unfinished() const;

    // Forgets it.
    void clear() { m_held.clear(); }

  private:
    std::optional<answer> next_frame();
    std::optional<answer> next_text();
    std::optional<answer> next_bare();
    std::string take(std::size_t count);

    framing m_framing;
    std::string m_held;
};

} // namespace station
