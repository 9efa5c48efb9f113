// The station's end of the serial link to a handset. The handset takes whatever one read brings it for one request, so
// each request leaves in one write, and the next one only when the answer to the last has come: two requests on their
// way at once may be taken for one. What comes back is cut into answers, see answer.h. One thread at a time.
//
//     station::link link(tty);
//     link.send_line("AT^DSVER");
//     std::cout << link.receive() << '\n'; // text "\r\n^DSVER: ...\r\n\r\nOK\r\n"

#pragma once

#include "station/answer.h"
#include "station/message.h"

#include <chrono>
#include <stdexcept>
#include <string_view>

namespace station {

// Nothing, or nothing whole, has come in time.
class timeout : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Far above what any request takes, the slow tests of the radios included.
constexpr std::chrono::seconds k_default_wait{30};

// Every failure throws std::runtime_error with one line; what has come so far is kept.
class link {
  public:
    // Over a tty that is set to raw mode, blocking or not; it stays the caller's, and nobody else reads it meanwhile.
    explicit link(int tty)
        : m_tty(tty)
    {
    }

    // An AT line: the text, with a carriage return behind it unless it has one, and no line feed.
    void send_line(std::string_view text) const;

    // A message in its envelope.
    void send(const message &request) const;

    // Bytes as they are.
    void send_raw(std::string_view bytes) const;

    // The next answer. Throws timeout, quoting what did come, when none is whole in time: a later call goes on with it.
    answer receive(std::chrono::milliseconds limit = k_default_wait);

  private:
    void fill(int wait_ms);

    int m_tty;
    answer_stream m_stream;
};

} // namespace station
