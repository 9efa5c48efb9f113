// Asking a handset: one request, and the answer that belongs to it, out of all that comes meanwhile. One thread.
//
//     station::port port("/dev/ttyACM0");
//     station::dialogue handset(port.fd());
//     const station::message version = handset.ask(station::message(0x2D).with_int(19, 16));
//     const std::string text = handset.ask_line("AT^DSVER");
//
// Every function throws timeout when no answer has come in time, malformed when what came is none, lost when the
// handset is gone, stopped when whoever waits has been asked to stop. A later request begins afresh in any case: after
// a malformed answer what else comes at once is waited for, and passed over.
#pragma once

#include "station/catalogue.h"
#include "station/link.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace station {

// What came cannot be the answer; the text says what is wrong with it.
class malformed : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The handset answered failure, or the modem did for it.
class refused : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// What passes on the link.
struct passing {
    bool to_handset = false;
    std::string_view bytes;
    std::string meaning; // one line
};

class dialogue {
  public:
    using watcher = std::function<void(const passing &)>;

    explicit dialogue(int tty, framing how = framing::envelope);

    // How long one answer may take. The pre-response counts as none.
    void limit(std::chrono::milliseconds wait) { m_limit = wait; }

    // See link::stop_at.
    void stop_at(int readable) { m_link.stop_at(readable); }

    // Is told of everything that passes from now on, in the order in which it does.
    void watch(watcher told) { m_watcher = std::move(told); }

    // Sends a message and returns its answer: the message with the id that the catalogue tells, or, as every refusal
    // has, the one behind the request's. Others that come meanwhile, and lines of text that the modem says of its own
    // accord, are passed over. Of a request that is acknowledged twice it is the last one, or the first that is not a
    // success. A success that the handset cannot have told, as when a request has come to it in pieces, is malformed.
    // Throws refused when the modem answers by the final result of a line: the handset had no handler for the message,
    // and nor had the modem.
    message ask(const message &request);

    // Sends a line and returns the text of its answer, up to and with its final result, as it came. Messages that come
    // meanwhile are passed over, but for that with which the handset tells that it could not answer a line: refused.
    std::string ask_line(std::string_view line);

    // The same two for what is to succeed: they throw refused for a result that is not 0, and a final result that is
    // not OK.
    message ask_for_success(const message &request);
    std::string ask_line_for_success(std::string_view line);

    // Sends bytes as they are and returns the next answer, whatever it is, but no pre-response.
    answer ask_raw(std::string_view bytes);

    // Whether the last answer was announced by a pre-response, and how long it took from the request.
    bool was_announced() const { return m_announced; }
    std::chrono::microseconds took() const { return m_took; }

  private:
    using clock = std::chrono::steady_clock;

    void begin(std::string_view bytes, const std::string &meaning);
    answer next();
    void tell(bool to_handset, std::string_view bytes, const std::string &meaning) const;
    [[noreturn]] void fail_unfinished() const;
    void check(const message &request, const command *what, const message &answer);
    [[noreturn]] void fail_malformed(const std::string &what);

    link m_link;
    std::chrono::milliseconds m_limit = k_default_wait;
    watcher m_watcher;
    clock::time_point m_asked;
    std::chrono::microseconds m_took{0};
    bool m_announced = false;
};

} // namespace station
