// An emulated handset with the real service installed, and what the end-to-end tests ask of it again and again.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <string>
#include <vector>

#include "emulator/handset.h"

constexpr char k_log_folder[] = "/data/local/log/kv-zep-amt-log";
constexpr char k_simplified_service[] = "/data/local/tmp/kv-zep-amt";
constexpr char k_simplified_log[] = "/data/local/tmp/kv-zep-amt-log/kv-zep-amt.log";
constexpr char k_footer[] =
    "\n========================================= log  end =========================================\n";

// "level | text" of each record: what the log says, without when and where.
inline std::vector<std::string> told(const std::vector<emulator::log_record> &records)
{
    std::vector<std::string> result;
    for (const emulator::log_record &record : records) {
        result.push_back(record.level + " | " + record.text);
    }
    return result;
}

// The functions whose entry was logged, in order.
inline std::vector<std::string> entered(const std::vector<emulator::log_record> &records)
{
    std::vector<std::string> result;
    for (const emulator::log_record &record : records) {
        if (record.level == "func") {
            result.push_back(record.function);
        }
    }
    return result;
}

class service_handset : public testing::Test {
  protected:
    service_handset()
        : m_handset(options())
    {
        m_handset.files.write("/system/etc/kv-zep-amt.cfg", "kv.tty.pc = /dev/ttyGS0\n");
        m_handset.boot();
    }

    // Starts the service and waits until its start is over: the main thread waits, and lets in the signals that end it.
    emulator::process start_up(const emulator::program &program = emulator::service())
    {
        emulator::process service = m_handset.start(program);
        emulator::wait_until("the service to wait", [&] { return !service.running() || is_waiting(service.pid()); });
        EXPECT_TRUE(service.running()) << service.out() << service.err();
        return service;
    }

    // Ends the service the usual way and returns what it wrote to standard output.
    static std::string end(const emulator::process &service)
    {
        EXPECT_TRUE(service.signal(SIGTERM));
        EXPECT_EQ(service.wait(), emulator::exited(0));
        return service.out();
    }

    // Runs a program to its end and returns what it wrote to standard output.
    std::string output_of(const emulator::program &program, emulator::exit_status expected)
    {
        const emulator::process run = m_handset.start(program);
        EXPECT_EQ(run.wait(), expected);
        return run.out();
    }

    static emulator::program simplified(std::vector<std::string> arguments = {})
    {
        emulator::program program = emulator::service(std::move(arguments));
        program.path = k_simplified_service;
        return program;
    }

    // Puts the executable, and a configuration beside it, where a developer would.
    void install_simplified()
    {
        m_handset.files.install(m_handset.files.host_path(emulator::k_service_path), k_simplified_service);
        m_handset.files.write("/data/local/tmp/kv-zep-amt.cfg", "kv.tty.pc = /dev/ttyUSB0\n");
    }

    emulator::handset m_handset;

  private:
    // Whether SIGTERM is handled and let in just now.
    bool is_waiting(pid_t pid) const
    {
        const std::string status = m_handset.files.read("/proc/" + std::to_string(pid) + "/status");
        const auto has_sigterm = [&status](const std::string &set) {
            return ((std::stoul(status.substr(status.find(set) + set.size()), nullptr, 16) >> (SIGTERM - 1)) & 1) != 0;
        };
        return has_sigterm("SigCgt:") && !has_sigterm("SigBlk:");
    }

    static emulator::handset_options options()
    {
        const std::filesystem::path programs = std::filesystem::read_symlink("/proc/self/exe").parent_path();
        emulator::handset_options result;
        result.service = programs / "kv-zep-amt";
        result.library_folder = programs.parent_path() / "lib";
        return result;
    }
};
