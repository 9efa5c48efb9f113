// The second storm: each port hangs up and comes back at random moments of traffic. The loss of the station ends the
// service in order, and the next start serves; the modem's ports are opened again when somebody wants the modem, and
// an application opens its path again: the next request behind the return is answered as ever.
#include <csignal>
#include <stdexcept>
#include <thread>

#include "amt/wire/bytes.h"
#include "station/message.h"
#include "station/text.h"
#include "tests/storms/bench.h"
#include "tests/storms/footprint.h"
#include "tests/storms/players.h"
#include "tests/storms/storm.h"

namespace {

using namespace std::chrono_literals;

// Most lives are short, so that there are many starts; of so many, one of each kind is long, in which it would show
// that a hang-up leaves something behind.
constexpr long k_in_a_life = 5; // hang-ups
constexpr long k_in_a_long_life = 200;
constexpr long k_lives = 80;
constexpr long k_in_all_lives = 2 * k_in_a_long_life + (k_lives - 2) * k_in_a_life;

class hang_up {
  public:
    void play(cycle &now)
    {
        const bool is_long = now.seed % k_lives < 2;
        const long hang_ups = is_long ? k_in_a_long_life : k_in_a_life;
        m_samples.clear();
        try {
            now.seed % 2 == 0 ? play_station(now, hang_ups) : play_application(now, hang_ups);
        } catch (const std::exception &failure) {
            throw std::runtime_error(failure.what() + ("\n" + bench::end_of(m_bench.log())));
        }
        now.report.add("long lives", is_long ? 1 : 0);
        now.report.add_most("descriptors", m_samples.back().descriptors);
    }

  private:
    // --- a station and the modem's data tty

    void play_station(cycle &now, long hang_ups)
    {
        const emulator::process service = m_bench.start_serving(arrangement::station);
        for (long i = 1; i < hang_ups; i++) {
            talk(now);
            lose_modem(now);
            require_relay_again(now, i);
            m_samples.push_back(footprint_of(m_bench, service));
            now.report.add("of the modem");
        }
        require_flat(m_samples);
        talk(now);
        lose_station(now, service);
        now.report.add("of the station");
    }

    // Words both ways which nobody waits for.
    void talk(cycle &now)
    {
        for (long left = now.number(0, 6); left > 0; left--) {
            try_to([&] { m_bench.station.write("AT+WORD=" + std::to_string(left) + "\r", 10ms); });
            try_to([&] { m_bench.modem.write("\r\n+WORD: " + std::to_string(left) + "\r\n", 10ms); });
            now.pass_up_to(500);
        }
    }

    // Mostly another modem is there at once; now and then it takes its time.
    void lose_modem(cycle &now)
    {
        if (now.chance(10)) {
            m_bench.handset.remove_device("/dev/ttyMODEM");
            m_bench.modem.hang_up();
            now.pass_up_to(30'000);
        }
        m_bench.modem = m_bench.handset.open_tty("/dev/ttyMODEM"); // what it was hangs up
    }

    // A word may meet the loss, and is then lost with it; the next one is not, and neither is told of as an error.
    void require_relay_again(cycle &now, long round)
    {
        const std::string number = std::to_string(now.seed) + "." + std::to_string(round);
        m_bench.station.write("AT+LOST=" + number + "\r");
        m_bench.modem.wait_opened();
        (void)m_bench.modem.read_all(now.chance(50) ? 1ms : 0ms);
        const std::string request = "AT+CSQ=" + number + "\r";
        m_bench.station.write(request);
        (void)m_bench.modem.read_until(request);
        const std::string answer = "\r\n+CSQ: " + number + "\r\n\r\nOK\r\n";
        m_bench.modem.write(answer);
        const std::string said = m_bench.station.read_until(answer);
        require(said.find("\xAA\xBB\xCC\xDD") == std::string::npos, "an error was told: " + station::in_hex(said));
    }

    // Where nobody reads the port just then, it is the modem's next word that tells the loss.
    void lose_station(cycle &now, const emulator::process &service)
    {
        const bool comes_back = now.chance(50);
        if (comes_back) {
            m_bench.station = m_bench.handset.open_tty("/dev/ttyGS0");
        } else {
            m_bench.station.hang_up();
        }
        const emulator::deadline limit(30s);
        while (service.running() && !limit.passed()) {
            try_to([&] { m_bench.modem.write("\r\nRING\r\n", 50ms); });
            now.pass_up_to(20'000);
        }
        m_bench.require_clean_end(service);
    }

    // --- an application and the modem's AT port

    void play_application(cycle &now, long hang_ups)
    {
        const emulator::process service = m_bench.start_serving(arrangement::application);
        emulator::tty app = m_bench.open_app();
        for (long i = 0; i < hang_ups; i++) {
            if (now.chance(50)) {
                lose_at_port(now, app);
                now.report.add("of the AT port");
            } else {
                lose_application(now, app);
                now.report.add("of the application");
            }
            const station::message answer = ask(app);
            require(answer == imei(), "the next request was answered by " + station::describe(answer));
            m_samples.push_back(footprint_of(m_bench, service));
        }
        require_flat(m_samples);
        (void)service.signal(SIGTERM);
        m_bench.require_clean_end(service);
    }

    static station::message imei() { return station::message(0x08).with_string(21, "490154203237518").with_int(1, 0); }

    // Its request is on the way when the port hangs up, or is not sent yet.
    void lose_at_port(cycle &now, emulator::tty &app)
    {
        m_bench.at->clear_received();
        app.write(station::message(0x07).encode());
        now.pass_up_to(1500);
        m_bench.at->come_back(m_bench.handset.open_tty("/dev/ttyAT"));
        const emulator::deadline limit(30s);
        std::string answer;
        bool is_refused = false;
        while (answer.size() < 2 || answer.size() < load_u16_le(station::as_wire(answer))) {
            require(!limit.passed(), "no answer behind the return of the AT port");
            try_to([&] { answer += app.read(300ms); });
            if (answer.empty() && has_lost_its_command()) {
                m_bench.at->say("\r\nERROR\r\n"); // a modem that has started anew knows nothing of a command
                now.report.add("commands lost with the AT port");
                answer = app.read();
                is_refused = true;
            }
        }
        const station::decoded decoded = station::decode(answer);
        const bool is_failure = decoded.message == station::message(0x08).with_int(1, 10);
        require(decoded.message == imei() || is_failure, "answered by " + station::quoted(answer) + decoded.error);
        if (is_refused) {
            (void)ask(app); // a refusal that came too late is taken for the answer to this one
        }
    }

    // The port is open again, and nothing has been asked since.
    bool has_lost_its_command() const
    {
        const std::string received = m_bench.at->received();
        const std::string lock = "AT^DLKS=0\r";
        return received.size() >= lock.size() &&
               received.compare(received.size() - lock.size(), lock.size(), lock) == 0;
    }

    // Its path leads to the old port for a moment, or nowhere: an application tries again. What was asked before may
    // still be answered, or share a read with an attempt, which is then lost. Each attempt is another request, so that
    // behind its answer there is nothing on the way.
    void lose_application(cycle &now, emulator::tty &app)
    {
        for (long left = now.number(0, 3); left > 0; left--) {
            app.write(station::message(0x07).encode());
        }
        now.pass_up_to(1500);
        app.hang_up();
        const emulator::deadline limit(30s);
        constexpr std::uint8_t k_attempts_a[] = {0x1D, 0x23, 0x25}; // display, vibrator, button's light
        bool is_back = false;
        for (std::size_t i = 0; !is_back; i++) {
            const std::uint8_t id = k_attempts_a[i % std::size(k_attempts_a)];
            require(!limit.passed(), "the application's path does not come back");
            try_to([&] {
                app = m_bench.open_app();
                app.write(station::message(id).with_int(15, 0).encode(), 100ms);
                (void)app.read_until(station::message(static_cast<std::uint8_t>(id + 1)).with_int(1, 0).encode(), 1s);
                is_back = true;
            });
        }
    }

    static station::message ask(emulator::tty &app)
    {
        app.write(station::message(0x07).encode());
        std::string bytes = app.read_exactly(2);
        bytes += app.read_exactly(std::max<std::size_t>(load_u16_le(station::as_wire(bytes)), 2) - 2);
        return station::decode(bytes).message.value_or(station::message(0));
    }

    template <typename body>
    static void try_to(const body &what)
    {
        try {
            what();
        } catch (const std::runtime_error &) { // the port is away just now
        }
    }

    bench m_bench;
    std::vector<footprint> m_samples; // of the life, one behind each hang-up that it survives
};

} // namespace

void play_hang_ups(const storm_options &options, storm_report &report)
{
    play_cycles<hang_up>(options, (options.count * k_lives + k_in_all_lives - 1) / k_in_all_lives, report);
}
