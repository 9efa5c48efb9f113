// What a keeper does all day: waits for requests, carries them out one by one, looks after the handset, and ends by
// SIGTERM or SIGINT, or when it is asked to. One thread, made with the signals blocked.
#pragma once

#include "emulator/tool/bench.h"
#include "emulator/tool/control.h"

#include <memory>
#include <vector>

namespace handset_tool {

class keeper_loop {
  public:
    // `listener` stays the caller's. Blocks the signals that end it, in all threads to come.
    keeper_loop(const bench_options &options, int listener);
    ~keeper_loop();
    keeper_loop(const keeper_loop &) = delete;
    keeper_loop &operator=(const keeper_loop &) = delete;

    // Switches the handset on; given up when the other side of `caller` goes.
    void power_on(int caller);

    json status();

    // Returns when it is to end, with the handset off and everything inside ended.
    void run();

  private:
    // A program that runs in the handset for somebody who waits for its end.
    struct shell {
        emulator::descriptor connection;
        emulator::process program;
        std::string device; // its tty; empty: none
        bool told_to_end = false;
    };

    // While it lives a verb is being carried out.
    class busy {
      public:
        busy(keeper_loop &loop, const std::string &verb, int caller);
        ~busy();
        busy(const busy &) = delete;
        busy &operator=(const busy &) = delete;

      private:
        keeper_loop &m_loop;
    };

    void idle();
    void pause() const;
    void serve_all(bool in_between);
    void serve(emulator::descriptor connection, bool in_between);
    json carry_out(const json &request, int connection, bool in_between);
    json switch_on(const json &request);
    bool start_shell(received_line &request, emulator::descriptor &connection);
    void start_at_tty(const json &request, emulator::descriptor &connection);
    void end_shell(shell &ended);
    void look_after_shells();
    bool is_told_to_end() const;
    void end_in_order();

    const int m_listener;
    emulator::descriptor m_signals;
    std::string m_doing; // the verb that is being carried out
    int m_caller = -1;   // who waits for it
    bool m_ending = false;
    std::vector<emulator::descriptor> m_connected; // and have not said anything yet
    std::vector<shell> m_shells;
    unsigned m_shell_count = 0;
    emulator::descriptor m_last_answer; // who waits until all has ended
    std::unique_ptr<bench> m_bench;
};

} // namespace handset_tool
