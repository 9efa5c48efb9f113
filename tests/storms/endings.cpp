// The first storm: SIGTERM or SIGUSR2 at a random moment of a life, from the first milliseconds on. Whatever the
// service is about, it ends with status 0, its log has its end, every line of that is whole, and nothing is left.
#include <csignal>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <thread>

#include "pub/log/log_client.h"
#include "station/message.h"
#include "tests/storms/bench.h"
#include "tests/storms/players.h"
#include "tests/storms/storm.h"

namespace {

using namespace std::chrono_literals;

constexpr long k_ms = 1000; // microseconds

// From the signal to the end, whatever the service was about.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr auto k_longest_ending = 20s;
#else
constexpr auto k_longest_ending = 5s;
#endif

// What a life is about while the signal comes; called again and again until the service has ended.
using activity = void (*)(bench &, cycle &);

void rest(bench &, cycle &)
{
    std::this_thread::sleep_for(1ms);
}

// Shorter than any frame, and never behind another half: the two in one read would be taken for a request.
void send_half_a_frame(bench &b, cycle &now)
{
    const auto size = static_cast<std::size_t>(now.number(1, 16));
    b.station.write(station::message(0x2D).with_int(19, 16).envelope().substr(0, size), 10ms);
    (void)b.modem.read_exactly(size, 1s);
}

void relay(bench &b, cycle &now)
{
    b.station.write("AT+CSQ=" + std::to_string(now.number(0, 1000000)) + "\r", 10ms);
    b.modem.write("\r\n+CSQ: 1\r\n\r\nOK\r\n", 10ms);
    (void)b.station.read_all(0ms);
    (void)b.modem.read_all(0ms);
}

void test_device(bench &b, cycle &)
{
    b.station.write(station::message(0xE0).envelope(), 10ms);
    b.station.write(station::message(0xF0).envelope(), 10ms);
    (void)b.station.read_all(1ms);
}

void shake_hands(bench &b, cycle &now)
{
    b.modem.write("\r\nREADY\r\n", 10ms);
    now.pass_up_to(5 * k_ms);
    b.station.write("ATI\r", 10ms);
    (void)b.station.read_all(1ms);
    (void)b.modem.read_all(0ms);
}

// An application that asks one request after the other, and closes its side now and then.
void ask_as_application(bench &b, cycle &now, const station::message &request)
{
    emulator::tty app = b.open_app();
    for (long left = now.number(1, 20); left > 0; left--) {
        app.write(request.encode(), 10ms);
        (void)app.read(50ms);
    }
}

void ask_modem(bench &b, cycle &now)
{
    ask_as_application(b, now, station::message(0x07));
}

void ask_handset(bench &b, cycle &now)
{
    ask_as_application(b, now, station::message(0x1D).with_int(3, 1));
}

void look_at_devices(bench &b, cycle &now)
{
    ask_as_application(b, now, station::message(now.chance(50) ? 0x1F : 0xF0).with_int(30, 2));
}

// Where a life begins.
enum class stage {
    process, // which may still be between its fork and its first instruction
    words,   // the first that it says
    serving,
};

struct moment {
    const char *name;
    arrangement how;
    stage from;
    long within; // microseconds from there, at most
    activity during;
    int modem_delay_ms;      // of the AT port
    const char *slow_call;   // an entry of the platform's that takes its time; null: none
    void (*await)(bench &b); // comes before the random moment; null: nothing
};

// The start moves the older generations of the log away one by one; caught between two of these steps.
void await_rotation(bench &b)
{
    const std::string folder = k_log_folder;
    const auto is_moving = [&] { return !b.handset.files.exists(folder) || !b.handset.files.exists(folder + "-1"); };
    for (int i = 0; i < 20000 && !is_moving(); i++) {
        std::this_thread::sleep_for(50us);
    }
}

constexpr moment k_moments_a[] = {
    {"first milliseconds", arrangement::station, stage::process, 12 * k_ms, rest, 0, nullptr, nullptr},
    {"log rotation", arrangement::application, stage::process, 8 * k_ms, rest, 0, nullptr, await_rotation},
    {"start for a station", arrangement::station, stage::words, 1300 * k_ms, rest, 0, nullptr, nullptr},
    {"start for an application", arrangement::application, stage::words, 150 * k_ms, rest, 0, nullptr, nullptr},
    {"start by the cable", arrangement::cable, stage::words, 1300 * k_ms, rest, 0, nullptr, nullptr},
    {"half a frame", arrangement::station, stage::serving, 20 * k_ms, send_half_a_frame, 0, nullptr, nullptr},
    {"relay both ways", arrangement::station, stage::serving, 60 * k_ms, relay, 0, nullptr, nullptr},
    {"device test", arrangement::station, stage::serving, 60 * k_ms, test_device, 0, "enter_idle", nullptr},
    {"handshake", arrangement::cable, stage::serving, 60 * k_ms, shake_hands, 0, nullptr, nullptr},
    {"slow modem", arrangement::application, stage::serving, 120 * k_ms, ask_modem, 40, nullptr, nullptr},
    {"slow device", arrangement::application, stage::serving, 120 * k_ms, look_at_devices, 0, "codec_loop_test",
     nullptr},
    {"application", arrangement::application, stage::serving, 60 * k_ms, ask_handset, 0, nullptr, nullptr},
};

class ending {
  public:
    void play(cycle &now)
    {
        const moment &row = k_moments_a[now.seed % std::size(k_moments_a)];
        try {
            play(now, row);
        } catch (const std::exception &failure) {
            throw std::runtime_error(std::string(row.name) + ": " + failure.what());
        }
    }

  private:
    void play(cycle &now, const moment &row)
    {
        prepare(row);
        const int number = now.chance(50) ? SIGTERM : SIGUSR2;
        const emulator::process service = start(row);
        m_bench.at->control(slow(row.modem_delay_ms));
        if (row.await != nullptr) {
            row.await(m_bench);
        }
        const auto delay = std::chrono::microseconds(now.number(0, row.within));
        std::chrono::milliseconds took{};
        std::thread killer([&] {
            std::this_thread::sleep_for(delay);
            took = end(service, number);
        });
        live(service, now, row, delay + k_longest_ending);
        killer.join();
        if (took >= k_longest_ending) { // before its first instruction it has no log that could be shown
            throw std::runtime_error("it has not ended within " + std::to_string(took.count()) + " ms\n" +
                                     bench::end_of(service.out()) + bench::end_of(m_bench.log()));
        }
        now.report.add_most("longest ending in ms", took.count());
        check(service, now, row, number);
    }

    emulator::process start(const moment &row)
    {
        if (row.from == stage::serving) {
            return m_bench.start_serving(row.how);
        }
        emulator::process service = m_bench.start(row.how);
        if (row.from == stage::words) {
            service.wait_output("g_usb_activate:");
        }
        return service;
    }

    // How long that takes, or has taken until nobody waits any more.
    static std::chrono::milliseconds end(const emulator::process &service, int number)
    {
        const auto begin = std::chrono::steady_clock::now();
        (void)service.signal(number); // it may be gone by itself, which is seen below
        const emulator::deadline limit(k_longest_ending);
        while (service.running() && !limit.passed()) {
            std::this_thread::sleep_for(1ms);
        }
        return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
    }

    void prepare(const moment &row)
    {
        m_bench.handset.clear_calls();
        m_bench.handset.files.write("/sys/class/android_usb/android0/state", "CONFIGURED\n");
        for (const char *call : {"enter_idle", "codec_loop_test"}) {
            const bool is_slow = row.slow_call != nullptr && std::strcmp(call, row.slow_call) == 0;
            m_bench.handset.control(call,
                                    is_slow ? std::vector<std::string>{"delay_ms=30"} : std::vector<std::string>{});
        }
    }

    static emulator::modem_control slow(int delay_ms)
    {
        emulator::modem_control control;
        control.delay_ms = delay_ms;
        control.split = delay_ms > 0 ? 7 : 0;
        return control;
    }

    void live(const emulator::process &service, cycle &now, const moment &row, std::chrono::microseconds time)
    {
        const emulator::deadline limit(time);
        while (service.running() && !limit.passed()) {
            try {
                row.during(m_bench, now);
            } catch (const std::exception &) { // nobody takes or gives any more
            }
        }
    }

    // Until the first instruction of its own a program is ended by a signal as any other is: then it has done nothing.
    void check(const emulator::process &service, cycle &now, const moment &row, int number)
    {
        if (service.wait() == emulator::signalled(number)) {
            require_not_begun(service, row);
            now.report.add("before its first instruction");
            return;
        }
        m_bench.require_clean_end(service);
        require_told(number);
        const std::string failure = m_bench.handset.property("sys.kv.amt.failure.handshake");
        require(row.how == arrangement::cable || failure.empty(), "the handshake's property is \"" + failure + "\"");
        require(row.from != stage::serving || row.how != arrangement::cable || failure == "2",
                "the handshake's property is \"" + failure + "\"");
        now.report.add(row.name);
    }

    void require_not_begun(const emulator::process &service, const moment &row) const
    {
        require(row.from == stage::process && service.out().empty(),
                "killed by the signal after it had said: " + service.out());
        const std::string pid = std::to_string(service.pid()) + "\n";
        const emulator::files &files = m_bench.handset.files;
        require(!files.exists(k_pid_file) || files.read(k_pid_file) != pid, "killed by the signal with its pid told");
        require(!files.exists(emulator::k_service_log) || m_bench.log().find(": " + pid) == std::string::npos,
                "killed by the signal with its log begun");
        m_bench.require_nothing_left();
    }

    // The workers go on until it is their turn to be ended: what they log meanwhile may come round over the signal's
    // own record, but not over the end of the last of them.
    void require_told(int number) const
    {
        const std::string content = m_bench.log();
        const bool is_round = content.size() > SFW_LOG_SIZE_LIMIT;
        const std::string told = is_round ? " will be end\n" : "receive signal: " + std::to_string(number);
        require(content.find(told) != std::string::npos,
                "its log does not tell \"" + told + "\"\n" + bench::end_of(content));
    }

    bench m_bench;
};

} // namespace

void play_endings(const storm_options &options, storm_report &report)
{
    play_cycles<ending>(options, options.count, report);
}
