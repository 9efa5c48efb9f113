// The fifth storm: the log, and what can be done to its file while threads log. Every line stays whole and none is lost
// but those that the ring has come round to; whatever becomes of the file, the service goes on as if nothing were.
#include <spawn.h>
#include <sys/wait.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "pub/log/log_client.h"
#include "station/message.h"
#include "tests/storms/bench.h"
#include "tests/storms/logger_records.h"
#include "tests/storms/players.h"
#include "tests/storms/storm.h"
#include "tests/support/temp_folder.h"

namespace {

namespace fs = std::filesystem;

constexpr char k_log_home[] = "/data/local/log";
constexpr char k_filler[] = "/data/local/log/filler";
constexpr long k_rounds_of_traffic = 150; // each is some 2 KB of log
constexpr std::size_t k_card_kib = 200;

// --- threads and a child in a program of their own

void run_logger(const std::vector<std::string> &arguments)
{
    std::vector<char *> words;
    for (const std::string &argument : arguments) {
        words.push_back(const_cast<char *>(argument.c_str())); // posix_spawn's signature; nothing writes to them
    }
    words.push_back(nullptr);
    pid_t pid = -1;
    std::unique_lock lock(starting());
    const int error = posix_spawn(&pid, words[0], nullptr, nullptr, words.data(), environ);
    lock.unlock();
    require(error == 0, "storm-logger cannot be started");
    int status = -1;
    require(waitpid(pid, &status, 0) == pid && status == 0, "storm-logger ended with " + std::to_string(status));
}

void play_logger(cycle &now, bool with_child)
{
    constexpr int k_threads = 4;
    const temp_folder folder;
    const long records = now.number(100, 4000);
    std::vector<std::string> arguments = {fs::read_symlink("/proc/self/exe").parent_path() / "storm-logger",
                                          folder.path(), std::to_string(k_threads), std::to_string(records)};
    if (with_child) {
        arguments.emplace_back("fork");
    }
    run_logger(arguments);
    const std::string content = read_whole_file(folder.path("storm-logger-log/storm.log"));
    const std::string fault = fault_of_log(content);
    require(fault.empty(), fault);
    require(content.find("the start\n") != std::string::npos, "what stands before the ring is gone");
    const std::string loss = loss_in(content, with_child ? k_threads + 1 : k_threads, records);
    require(loss.empty(), loss);
}

// --- the service

class log_under_fire {
  public:
    void play(cycle &now)
    {
        const row &chosen = k_rows_a[now.seed % std::size(k_rows_a)];
        try {
            (this->*chosen.play)(now);
        } catch (const std::exception &failure) {
            throw std::runtime_error(std::string(chosen.name) + ": " + failure.what());
        }
        now.report.add(chosen.name);
    }

  private:
    struct row {
        const char *name;
        void (log_under_fire::*play)(cycle &now);
    };
    static const row k_rows_a[8];

    void four_threads(cycle &now) { play_logger(now, false); }
    void threads_and_child(cycle &now) { play_logger(now, true); }

    // Relays, each of which must be right, while something happens at a random moment.
    template <typename body>
    void live(cycle &now, const body &happening)
    {
        const long delay_us = now.number(0, now.chance(50) ? 60'000 : 6'000);
        std::string failure; // of the happening; read when it has ended
        std::thread other([&] {
            std::this_thread::sleep_for(std::chrono::microseconds(delay_us));
            try {
                happening();
            } catch (const std::exception &thrown) {
                failure = thrown.what();
            }
        });
        try {
            relay(now);
        } catch (...) {
            other.join();
            throw;
        }
        other.join();
        require(failure.empty(), failure);
        relay(now);
    }

    void relay(cycle &now)
    {
        for (long i = 0; i < k_rounds_of_traffic; i++) {
            const std::string number = std::to_string(now.number(0, 1'000'000'000));
            require_relay("AT+CSQ=" + number + "\r", "\r\n+CSQ: " + number + "\r\n\r\nOK\r\n");
        }
    }

    void require_relay(const std::string &request, const std::string &answer)
    {
        emulator::process ended = *m_service;
        require(ended.running(), "the service ended: " + ended.err());
        m_bench.require_relay(request, answer);
    }

    void start() { m_service = m_bench.start_serving(arrangement::station); }

    void end()
    {
        (void)m_service->signal(SIGTERM);
        require(m_service->wait() == emulator::exited(0), "the service " + emulator::to_string(m_service->wait()));
        m_bench.require_nothing_left();
    }

    fs::path host(const std::string &inside) const { return m_bench.handset.files.host_path(inside); }

    static void require_whole(const std::string &content, const log_history &history)
    {
        const std::string fault = fault_of_log(content, history);
        require(fault.empty(), fault + "\n" + bench::end_of(content));
    }

    void deleted(cycle &now)
    {
        play_without_path(now, [this] { fs::remove(host(emulator::k_service_log)); });
    }

    void folder_removed(cycle &now)
    {
        play_without_path(now, [this] { fs::remove_all(host(k_log_folder)); });
    }

    // The service logs on in a file that no path leads to any more.
    template <typename body>
    void play_without_path(cycle &now, const body &removal)
    {
        start();
        std::ifstream held(host(emulator::k_service_log), std::ios::binary);
        live(now, removal);
        end();
        require(!m_bench.handset.files.exists(emulator::k_service_log), "the file has come back");
        require_whole({std::istreambuf_iterator<char>(held), {}}, {});
    }

    void renamed(cycle &now)
    {
        const std::string elsewhere = std::string(k_log_home) + "/taken.log";
        start();
        live(now, [&] { fs::rename(host(emulator::k_service_log), host(elsewhere)); });
        end();
        require_whole(m_bench.handset.files.read(elsewhere), {});
        fs::remove(host(elsewhere));
    }

    // The records go on where they were: what was before is a hole.
    void truncated(cycle &now)
    {
        start();
        live(now, [this] { fs::resize_file(host(emulator::k_service_log), 0); });
        end();
        log_history history;
        history.header = false;
        require_whole(without_holes(m_bench.log()), history);
    }

    // A small card in place of the disk, first with a file that takes the rest of it, then mostly without: what is told
    // next may be anything, or nothing but the end.
    void disk_full(cycle &now)
    {
        m_bench.handset.insert_card(k_log_home, k_card_kib);
        try {
            play_on_card(now);
        } catch (...) {
            m_bench.handset.remove_card(k_log_home);
            throw;
        }
        m_bench.handset.remove_card(k_log_home);
    }

    void play_on_card(cycle &now)
    {
        start();
        live(now, [this] { fill_card(); });
        log_history history;
        history.footers = 0;
        history.unfinished = true;
        require_whole(m_bench.log(), history);
        const bool stays_full = now.chance(25);
        if (!stays_full) {
            m_bench.handset.files.remove(k_filler);
        }
        if (!stays_full && now.chance(50)) {
            m_bench.require_relay("AT+FREE\r", "\r\nOK\r\n");
            require_whole(m_bench.log(), history);
            relay(now);
        }
        end();
        history.footers = stays_full ? -1 : 1; // there may be room for a short record
        history.unfinished = false;
        require_whole(m_bench.log(), history);
    }

    void fill_card()
    {
        for (std::size_t kib = k_card_kib; kib > 0; kib--) {
            try {
                m_bench.handset.files.write(k_filler, std::string(kib * 1024, 'x'));
                return;
            } catch (const std::runtime_error &) { // too much
            }
        }
    }

    // Bluetooth doubles the service: both read the station, both log.
    void doubled(cycle &now)
    {
        start();
        m_bench.station.write(station::message(0xAA).with_int(52, 1).envelope());
        const long copy = m_bench.handset.wait_log("BT-start start").thread_id;
        (void)m_bench.handset.wait_log("BT-start end");
        constexpr std::size_t k_announcement = 16; // bytes
        (void)m_bench.station.read_exactly(k_announcement +
                                           2 * station::message(0xAB).with_int(1, 0).envelope().size());
        relay(now);
        emulator::program kill;
        kill.path = "sh";
        kill.arguments = {"-c", "kill -TERM " + std::to_string(copy)};
        require(m_bench.handset.start(kill).wait() == emulator::exited(0), "the copy cannot be ended");
        end();
        log_history history;
        history.footers = 2;
        require_whole(m_bench.log(), history);
    }

    bench m_bench;
    std::optional<emulator::process> m_service;
};

const log_under_fire::row log_under_fire::k_rows_a[8] = {
    {"four threads", &log_under_fire::four_threads}, {"threads and a child", &log_under_fire::threads_and_child},
    {"file deleted", &log_under_fire::deleted},      {"file emptied", &log_under_fire::truncated},
    {"file renamed", &log_under_fire::renamed},      {"folder removed", &log_under_fire::folder_removed},
    {"disk full", &log_under_fire::disk_full},       {"service doubled", &log_under_fire::doubled},
};

} // namespace

void play_log(const storm_options &options, storm_report &report)
{
    play_cycles<log_under_fire>(options, options.count, report);
}
