// The station's end of the serial link to a handset, or an application's end of its own link. The handset takes
// whatever one read brings it for one request, so each request leaves in one write, and the next one only when the
// answer to the last has come: two requests on their way at once may be taken for one. What comes back is cut into
// answers, see answer.h. One thread at a time.
//
//     station::link link(tty);
//     link.send_line("AT^DSVER");
//     std::cout << link.receive() << '\n'; // text "\r\n^DSVER: ...\r\n\r\nOK\r\n"

#pragma once

#include "station/answer.h"
#include "station/message.h"

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace station {

// Nothing, or nothing whole, has come in time.
class timeout : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// What to say of it: how long was waited, and what has come of an answer.
timeout no_whole_answer(std::chrono::milliseconds limit, std::string_view rest);

// The handset is gone from the link, or takes no more of it.
class lost : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Whoever waits has been asked to stop.
class stopped : public std::runtime_error {
  public:
    stopped()
        : std::runtime_error("interrupted")
    {
    }
};

// Far above what any request takes, the slow tests of the radios included.
constexpr std::chrono::seconds k_default_wait{30};

// An AT line as it is sent: the text, with a carriage return behind it unless it has one, and no line feed.
std::string as_line(std::string_view text);

// Every failure throws std::runtime_error with one line; what has come so far is kept.
class link {
  public:
    // Over a tty that is set to raw mode, blocking or not; it stays the caller's, and nobody else reads it meanwhile.
    explicit link(int tty, framing how = framing::envelope)
        : m_tty(tty)
        , m_framing(how)
        , m_stream(how)
    {
    }

    framing how() const { return m_framing; }

    // From now on every wait ends with `stopped` as soon as the descriptor has something to read; nobody reads it here.
    void stop_at(int readable) { m_stop = readable; }

    // A message as it lies on this link, in its envelope or bare.
    std::string bytes_of(const message &what) const;

    // An AT line, see as_line.
    void send_line(std::string_view text) const;

    // A message, see bytes_of.
    void send(const message &request) const;

    // Bytes as they are.
    void send_raw(std::string_view bytes) const;

    // The next answer. Throws timeout, quoting what did come, when none is whole in time: a later call goes on with it.
    answer receive(std::chrono::milliseconds limit = k_default_wait);

    // The same with nothing in place of timeout.
    std::optional<answer> receive_some(std::chrono::milliseconds limit);

    // What has come behind the last answer, see answer_stream. discard() forgets it, and what comes within the time as
    // well, and returns it all: what is left of earlier requests is no answer to the next.
    const answer_stream &rest() const { return m_stream; }
    std::string discard(std::chrono::milliseconds wait = std::chrono::milliseconds(0));

  private:
    void wait(short events, int wait_ms) const;
    void fill(int wait_ms);

    int m_tty;
    int m_stop = -1;
    framing m_framing;
    answer_stream m_stream;
};

} // namespace station
