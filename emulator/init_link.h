// The library's end of the line to process 1: requests and their answers, and a thread that collects the programs'
// output and ends, so that no program ever blocks on output that nobody reads. When the line breaks (process 1 is
// gone), every pending request fails and every program counts as killed.

#pragma once

#include "emulator/messages.h"
#include "emulator/process.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

namespace emulator {

// One program; every field but pid is guarded by the link's mutex.
struct process_state {
    pid_t pid = 0; // set before the state is handed out
    std::string shown_name;
    descriptor out_end; // reading ends of the pipes; closed at end of file
    descriptor err_end;
    std::string out;
    std::string err;
    std::optional<exit_status> status;
};

class init_link : public std::enable_shared_from_this<init_link> {
  public:
    // Takes the library's end of the socket pair; process 1 has said hello on it.
    explicit init_link(descriptor socket);
    ~init_link();
    init_link(const init_link &) = delete;
    init_link &operator=(const init_link &) = delete;

    // What process 1 answered to a request that it carried out.
    struct answer {
        std::string text;
        std::vector<descriptor> descriptors;
    };

    // Sends a request and waits for the answer. `what` names the request in the error thrown when process 1 fails it,
    // is gone, or does not answer.
    answer request(const std::string &what, const std::string &verb, const std::vector<std::string> &fields);

    process start(const program &what, const std::vector<std::string> &environment);

    // Whether the line is up.
    bool is_up() const;

    // Breaks the line, which ends everything inside, and the thread.
    void close();

  private:
    friend class process;

    struct pending {
        bool answered = false;
        int error = 0;
        answer received;
    };

    std::string next_token();
    answer exchange(const std::string &what, const std::vector<std::string> &message,
                    const std::vector<int> &descriptors);
    void collect();
    bool collect_once();
    bool take_message();
    void take_answer(message &received);
    void take_end(const message &received);
    void break_off();
    void wake() const;
    static void drain(descriptor &end, std::string &text);

    descriptor m_socket;
    descriptor m_wake; // an eventfd: there is a new pipe to look at
    mutable std::mutex m_mutex;
    std::condition_variable m_changed; // an answer, output, an end, the line's break
    bool m_up = true;
    unsigned long m_tokens = 0;
    std::map<std::string, pending> m_pending;                         // by token
    std::map<std::string, std::shared_ptr<process_state>> m_programs; // by token; those with a pipe or without an end
    std::thread m_collector;
};

} // namespace emulator
