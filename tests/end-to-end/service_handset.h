// An emulated handset with the real service installed, and what the end-to-end tests ask of it again and again.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "emulator/handset.h"
#include "emulator/init/foreign.h"
#include "emulator/modem.h"
#include "tests/support/built_service.h"

constexpr char k_log_folder[] = "/data/local/log/kv-zep-amt-log";
constexpr char k_simplified_service[] = "/data/local/tmp/kv-zep-amt";
constexpr char k_simplified_log[] = "/data/local/tmp/kv-zep-amt-log/kv-zep-amt.log";
constexpr char k_config_path[] = "/system/etc/kv-zep-amt.cfg";
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
        : m_handset(built_service())
    {
        m_handset.files.write(k_config_path, k_config);
        m_handset.boot();
        m_station = m_handset.open_tty("/dev/ttyGS0");
        m_modem = m_handset.open_tty("/dev/ttyMODEM");
        m_at.emplace(m_handset.open_tty("/dev/ttyAT"));
    }

    // Starts the service and waits until its start is over: there are workers, and the main thread waits and lets in
    // the signals that end it.
    emulator::process start_up(const emulator::program &program = emulator::service())
    {
        emulator::process service = m_handset.start(program);
        const bool has_timer = std::count(program.arguments.begin(), program.arguments.end(), "-u") > 0;
        const unsigned long threads = k_threads_alone + (has_timer ? 1 : 0) + // before there are workers
                                      (foreign_build() == nullptr ? 0 : k_runner_threads);
        emulator::wait_until("the service to wait",
                             [&] { return !service.running() || is_started(service.pid(), threads); });
        EXPECT_TRUE(service.running()) << service.out() << service.err();
        return service;
    }

    // Ends the service the usual way and returns what it wrote to standard output.
    static std::string end(const emulator::process &service)
    {
        EXPECT_TRUE(service.signal(SIGTERM));
        EXPECT_EQ(service.wait(), emulator::exited(0)) << service.err();
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

    // The service as a command for the shell, which is this machine's and cannot execute a foreign program by itself.
    static std::string command()
    {
        const std::string service = emulator::k_service_path;
        return foreign_build() == nullptr
                   ? service
                   : std::string(emulator::k_runner_inside) + " -L " + emulator::k_runner_root + " " + service;
    }

    // Puts the executable, and a configuration beside it, where a developer would.
    void install_simplified()
    {
        m_handset.files.install(m_handset.files.host_path(emulator::k_service_path), k_simplified_service);
        m_handset.files.write("/data/local/tmp/kv-zep-amt.cfg", k_config);
    }

    // The recorded calls that begin like this, since the handset was switched on or the last clear_calls().
    std::vector<std::string> calls_of(const std::string &beginning) const
    {
        std::vector<std::string> result;
        for (const std::string &call : m_handset.calls()) {
            if (call.compare(0, beginning.size(), beginning) == 0) {
                result.push_back(call);
            }
        }
        return result;
    }

    // A letter, as the kernel tells it behind the name.
    char state_in(const std::string &stat) const
    {
        const std::string text = m_handset.files.read(stat);
        return text.at(text.rfind(')') + 2);
    }

    // Whether each thread of a process is in the state.
    bool is_all(long pid, char state) const
    {
        const std::string tasks = "/proc/" + std::to_string(pid) + "/task/";
        for (const std::string &task : m_handset.files.list(tasks)) {
            if (state_in(tasks + task + "/stat") != state) {
                return false;
            }
        }
        return true;
    }

    emulator::handset m_handset;
    emulator::tty m_station;             // the far end of the station's serial tty
    emulator::tty m_modem;               // the far end of the modem's data tty
    std::optional<emulator::modem> m_at; // behind the modem's AT port

  private:
#if defined(__SANITIZE_THREAD__)
    static constexpr unsigned long k_threads_alone = 2; // the sanitizer has one of its own
#else
    static constexpr unsigned long k_threads_alone = 1;
#endif
    static constexpr unsigned long k_runner_threads = 1;

    // Whether there are workers, and SIGTERM is handled and let in just now. Between starting the first worker and its
    // final wait the main thread lets nothing in; but a runner keeps to itself which signals its program lets in.
    bool is_started(pid_t pid, unsigned long threads_before) const
    {
        const std::string status = m_handset.files.read("/proc/" + std::to_string(pid) + "/status");
        const auto has_sigterm = [&status](const std::string &set) {
            return ((std::stoul(status.substr(status.find(set) + set.size()), nullptr, 16) >> (SIGTERM - 1)) & 1) != 0;
        };
        const unsigned long threads = std::stoul(status.substr(status.find("Threads:") + 8));
        return threads > threads_before && has_sigterm("SigCgt:") && !has_sigterm("SigBlk:");
    }
};
