// A model of the cellular modem behind one of its ttys, the data tty or the AT port: it answers AT lines by rules (see
// modem_rules.h), keeping what these have it keep, and AMT messages with a result: in the station's envelope, or as the
// hexadecimal digits of AT^DTTEST unless a rule has another answer to that. A verdict in a message is kept as one in a
// line is. It can be told to be silent, slow, to
// answer in pieces or to refuse, it can be taught more rules, and it can hang up and come back, with all that it keeps.
// A thread of its own serves the tty; all functions may be called on any thread.
//
//     emulator::modem modem(handset.open_tty("/dev/ttyUSB0"));
//     station.write("AT+CSQ\r");
//     modem.wait_received("AT+CSQ\r");

#pragma once

#include "emulator/deadline.h"
#include "emulator/descriptor.h"
#include "emulator/modem_rules.h"
#include "emulator/tty.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace emulator {

// How a modem answers; none of it holds for what say() says.
struct modem_control {
    bool silent = false;      // takes and keeps everything and answers nothing
    std::string refusal;      // answers everything with this and keeps nothing; empty: answers by its rules
    std::uint32_t result = 0; // what the answers to AMT messages carry
    int delay_ms = 0;         // before an answer, and between its pieces
    std::size_t split = 0;    // bytes of a piece, each a write of its own; 0: an answer is one piece
};

// What a modem keeps, of which each of its ports may have a model. The lock is held for a moment at a time.
struct modem_store {
    std::mutex mutex; // guards what is known
    modem_memory known;
};

class modem {
  public:
    // Keeps what it is told in the store, which it may have in common with the model of another port and with one that
    // comes after it; without one in a store of its own. Throws std::runtime_error when the rules cannot be read.
    explicit modem(tty port, std::string_view rules = k_modem_rules, std::shared_ptr<modem_store> store = nullptr);

    // Hangs up.
    ~modem();
    modem(const modem &) = delete;
    modem &operator=(const modem &) = delete;

    // From now on; control({}) restores the default. Answers that are already on their way are not changed.
    void control(const modem_control &how);
    modem_control control() const;

    // What is kept of what it has been told.
    modem_memory memory() const;

    // As new: forgets what it has been told (the store is empty then), taught and sent, and answers as by default. The
    // tty stays.
    void reset();

    // Rules that go before those it has, from now on. Throws std::runtime_error when they cannot be read; it then has
    // learnt none of them.
    void teach(std::string_view rules);

    // All bytes that have arrived, from every tty that it has served. When a request is among them, its answer has
    // been decided on.
    std::string received() const;
    void clear_received();

    // Blocks until the bytes are among those received; throws std::runtime_error, quoting these, past the deadline.
    void wait_received(std::string_view bytes, deadline limit = k_default_wait) const;

    // Says something of its own accord, in one piece and at once, even between the pieces of a slow answer. Lost while
    // it has hung up.
    void say(std::string_view bytes);

    // Closes the tty, see tty::hang_up; what had not been said or answered is lost. It is closed when this returns.
    void hang_up();

    // Serves another tty from now on; one that it still serves hangs up.
    void come_back(tty port);

  private:
    using clock = std::chrono::steady_clock;

    void serve();
    void take_next_port();
    int wait_ms(bool nobody_there) const;
    bool listen();
    void hear(std::string_view bytes);
    std::optional<std::string> take_request();
    std::optional<std::string> take_frame();
    std::optional<std::string> take_line();
    std::string answer_to(const std::string &request);
    std::string answer_to_frame(const std::string &frame);
    std::optional<std::string> answer_to_line(const std::string &line);
    void answer(std::string_view bytes);
    void speak();
    void wake() const;

    const descriptor m_wake; // an eventfd: something below has changed
    const std::vector<modem_rule> m_first_rules;
    const std::shared_ptr<modem_store> m_store; // its lock is taken last

    mutable std::mutex m_mutex; // guards everything below
    mutable std::condition_variable m_changed;
    std::vector<modem_rule> m_rules;
    modem_control m_control;
    tty m_port;                // used by the thread alone
    std::optional<tty> m_next; // the port to serve next; one without a descriptor hangs up
    std::string m_received;
    std::string m_unread;                                   // arrived, not a whole request yet
    std::multimap<clock::time_point, std::string> m_unsaid; // pieces by when they are due
    clock::time_point m_answered{};                         // when the last piece of the last answer is due
    bool m_stuck = false;                                   // the port took no more of what is due
    bool m_stop = false;
    std::thread m_thread;
};

} // namespace emulator
