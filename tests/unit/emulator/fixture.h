// What the tests of the emulated handset share: a handset that is on, the shell, and the probe, a small program that
// does inside what no shell command can (see probe.cpp).

#pragma once

#include "emulator/handset.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace emulator_test {

constexpr char k_probe[] = "/data/local/tmp/probe";

inline std::filesystem::path beside_test(const std::string &program)
{
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / program;
}

inline emulator::program shell(const std::string &script)
{
    emulator::program what;
    what.path = "sh";
    what.arguments = {"-c", script};
    what.environment = {"PATH=/system/bin:/usr/bin"};
    return what;
}

inline emulator::program probe(const std::vector<std::string> &arguments)
{
    emulator::program what;
    what.path = k_probe;
    what.arguments = arguments;
    return what;
}

// What the shell writes when it runs the script to its end.
inline std::string output_of(emulator::handset &handset, const std::string &script)
{
    const emulator::process run = handset.start(shell(script));
    const emulator::exit_status status = run.wait();
    return status == emulator::exited(0) ? run.out() : to_string(status) + ": " + run.err();
}

class running_handset : public testing::Test {
  protected:
    running_handset()
    {
        m_handset.files.install(beside_test("handset-probe"), k_probe);
        m_handset.boot();
    }

    // What the probe writes when it runs to its end.
    std::string probe_output(const std::vector<std::string> &arguments)
    {
        const emulator::process run = m_handset.start(probe(arguments));
        const emulator::exit_status status = run.wait();
        return status == emulator::exited(0) ? run.out() : to_string(status) + ": " + run.err();
    }

    emulator::handset m_handset;
};

} // namespace emulator_test
