// A program running inside an emulated handset, as its starter sees it: its output so far, its end, and signals to it.
// Obtained from handset::start. The object may be copied and may outlive the handset; a program that was still running
// when the handset went off counts as killed by SIGKILL, which is what happened to it. Any thread.

#pragma once

#include "emulator/deadline.h"

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

namespace emulator {

class init_link;
struct process_state;

// What to start, and how. It runs as 1000:1001, with no capability but CAP_DAC_OVERRIDE over the handset's files; with
// standard input from /dev/null and its output collected, unless it is given descriptors of this machine in place of
// that, which stay the caller's.
struct program {
    std::string path;                     // absolute, relative to `folder`, or a bare name looked up through PATH
    std::vector<std::string> arguments;   // behind argv[0]
    std::string name;                     // argv[0]; empty: the path
    std::string folder = "/";             // working directory inside
    std::vector<std::string> environment; // KEY=VALUE, added to the handset's own or in place of it
    bool with_devices = true;             // the emulated framebuffer, console, camera and power-off are preloaded
    int in = -1;                          // descriptors; -1: as above
    int out = -1;
    int err = -1;
};

// How a program ended: exit status, or number of the signal that killed it.
struct exit_status {
    enum class kind { exited, signalled };
    kind how = kind::exited;
    int number = 0;
};

inline bool operator==(const exit_status &a, const exit_status &b)
{
    return a.how == b.how && a.number == b.number;
}
inline bool operator!=(const exit_status &a, const exit_status &b)
{
    return !(a == b);
}

constexpr exit_status exited(int code)
{
    return {exit_status::kind::exited, code};
}
constexpr exit_status signalled(int number)
{
    return {exit_status::kind::signalled, number};
}

// "exited with 3", "killed by signal 15"; also what a failing test prints.
std::string to_string(const exit_status &status);
std::ostream &operator<<(std::ostream &stream, const exit_status &status);

class process {
  public:
    // Process id inside the handset, as its /proc and the program itself see it.
    pid_t pid() const;

    // Everything written so far to standard output and standard error. After wait() they hold all that the program
    // itself wrote (a child that lives on may add to it).
    std::string out() const;
    std::string err() const;

    bool running() const;

    // Sends a signal; false when the program has ended already. Throws std::runtime_error when the handset refuses.
    bool signal(int number) const;

    // Blocks until the program has ended. Throws std::runtime_error, with the end of its output, past the deadline.
    exit_status wait(deadline limit = k_default_wait) const;

    // Blocks until the text appears on standard output or standard error. Throws std::runtime_error, with the end of
    // the output, when the deadline passes or the program ends without it.
    void wait_output(const std::string &text, deadline limit = k_default_wait) const;

  private:
    friend class init_link;
    process(std::shared_ptr<init_link> link, std::shared_ptr<process_state> state);

    std::shared_ptr<init_link> m_link;
    std::shared_ptr<process_state> m_state;
};

} // namespace emulator
