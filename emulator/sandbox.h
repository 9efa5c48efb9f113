// The sandbox of an emulated handset: bubblewrap with a root, process ids, IPC, host name and network of its own, in a
// user namespace, and handset-init as process 1 in it. The sandbox lives as long as the line to process 1: closing it
// ends everything inside. Used by handset, one thread.

#pragma once

#include "emulator/descriptor.h"

#include <sys/types.h>

#include <filesystem>
#include <string>

namespace emulator {

// Where the emulation's own programs are inside.
constexpr char k_init_inside[] = "/handset/bin/handset-init";
constexpr char k_preload_inside[] = "/handset/bin/libhandset-preload.so";

// Paths on this machine.
struct sandbox_paths {
    std::filesystem::path root;
    std::filesystem::path init;
    std::filesystem::path preload;
    std::filesystem::path runner;         // of programs of another architecture; empty: none
    std::filesystem::path runner_preload; // in place of `preload` for those
};

class sandbox {
  public:
    // Starts the sandbox and returns when process 1 is ready. Throws std::runtime_error saying what is missing on this
    // machine and what to do about it.
    explicit sandbox(const sandbox_paths &paths);

    // Waits until nothing is left inside; the line to process 1 must have been closed.
    ~sandbox();
    sandbox(const sandbox &) = delete;
    sandbox &operator=(const sandbox &) = delete;

    // The library's end of the line, to be taken over once.
    descriptor take_line() { return std::move(m_line); }

    // Process 1, by its number on this machine.
    pid_t init_pid() const { return m_init_pid; }

  private:
    void start(const sandbox_paths &paths);
    void await_hello();
    void reap();
    [[noreturn]] void fail(const std::string &step);

    pid_t m_bwrap = -1;
    pid_t m_init_pid = 0;
    descriptor m_line;
    descriptor m_errors; // what bubblewrap and process 1 write on standard error
};

} // namespace emulator
