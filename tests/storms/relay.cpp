// The third storm: both ways at full rate, and half of it garbage. What is no request of the handset's must be relayed
// byte for byte and in order, however broken it is; the requests between are answered as ever; and after minutes the
// service takes no more of the machine than at first, and its log no more of the disk.
#include <algorithm>
#include <atomic>
#include <csignal>
#include <optional>
#include <stdexcept>
#include <thread>

#include "emulator/descriptor.h"
#include "pub/log/log_client.h"
#include "station/message.h"
#include "station/text.h"
#include "tests/storms/bench.h"
#include "tests/storms/footprint.h"
#include "tests/storms/road.h"
#include "tests/storms/station_stream.h"
#include "tests/storms/storm.h"

namespace {

using namespace std::chrono_literals;

constexpr std::size_t k_window = 16384; // bytes on the way at most, in each direction
constexpr std::string_view k_pre_response("\xAA\xBB\xCC\xDD\x08\0\0\0\x02\x02\0\0\x76\x4A\xEE\x1D", 16);

std::string random_bytes(cycle &now, long most, const std::string &without)
{
    std::string bytes(static_cast<std::size_t>(now.number(1, most)), '\0');
    for (char &byte : bytes) {
        byte = static_cast<char>(now.number(0, 255));
        byte = without.find(byte) == std::string::npos ? byte : '.';
    }
    return bytes;
}

// --- what a station sends that is no request of the handset's: none of it holds "AT^" or, as a whole chunk, "AT\r"

std::string line(cycle &now)
{
    return "AT+STORM=" + std::to_string(now.number(0, 1'000'000'000)) + "\r";
}

std::string noise(cycle &now)
{
    return random_bytes(now, 300, "Aa");
}

std::string overlong_noise(cycle &now)
{
    return random_bytes(now, 9000, "Aa");
}

// By its magic alone the handset knows a frame: with another it is a line like others.
std::string broken_frame(cycle &now)
{
    std::string frame = station::message(0x2D).with_int(19, 16).envelope();
    const auto at = static_cast<std::size_t>(now.number(0, 3));
    frame[at] = static_cast<char>(frame[at] ^ (1 << now.number(0, 7)));
    return frame;
}

// Too short to be one. What came behind it in the same read would make it one: it travels alone.
std::string cut_frame(cycle &now)
{
    return station::message(0x2D).with_int(19, 16).envelope().substr(0, static_cast<std::size_t>(now.number(1, 16)));
}

struct relayed_row {
    int percent;
    std::string (*make)(cycle &);
    bool alone; // on the way
};

constexpr relayed_row k_relayed_a[] = {
    {40, line, false}, {25, noise, false}, {20, broken_frame, false}, {5, cut_frame, true}, {10, overlong_noise, false},
};

const relayed_row &choose_relayed(cycle &now)
{
    long left = now.number(1, 100);
    const relayed_row *row = k_relayed_a;
    while ((left -= row->percent) > 0) {
        row++;
    }
    return *row;
}

// --- what it asks of the handset itself

struct question {
    station::message request;
    station::message answer; // behind a pre-response
};

std::string expected_of(const question &asked)
{
    return std::string(k_pre_response) + asked.answer.envelope();
}

const std::vector<question> &questions()
{
    static const std::vector<question> rows = {
        {station::message(0x2D).with_int(19, 16),
         station::message(0x2E).with_int(19, 16).with_bytes(18, " ").with_int(1, 0)},
        {station::message(0xE0), station::message(0xE1).with_int(151, 3021).with_int(1, 0)},
        {station::message(0xF0), station::message(0xF1).with_int(1, 0)},
    };
    return rows;
}

// The same port for another thread.
emulator::tty twin(const emulator::tty &of)
{
    return emulator::tty(emulator::descriptor(dup(of.fd())));
}

class relay_storm {
  public:
    relay_storm(cycle &now, std::chrono::seconds time)
        : m_now(now)
        , m_time(time)
    {
        m_bench.handset.control("battery.adc", {"value=3021"});
    }

    void play()
    {
        const emulator::process service = m_bench.start_serving(arrangement::station);
        warm_up();
        std::thread workers[] = {spawn([this] { say_as_station(); }), spawn([this] { hear_as_modem(); }),
                                 spawn([this] { say_as_modem(); }), spawn([this] { hear_as_station(); })};
        std::vector<footprint> samples;
        std::thread watcher = spawn([&] { samples = watch(service); });
        watcher.join();
        m_stop = true;
        for (std::thread &worker : workers) {
            worker.join();
        }
        require(m_failure.empty(), m_failure + "\n" + bench::end_of(m_bench.log()));
        m_bench.require_relay("AT+LAST\r", "\r\n+LAST\r\n\r\nOK\r\n");
        tell(samples);
        require_flat(samples);
        (void)service.signal(SIGTERM);
        m_bench.require_clean_end(service);
    }

  private:
    // Everything once: what it takes of the machine is there from then on.
    void warm_up()
    {
        m_bench.require_relay(std::string(4000, 'x'), std::string(4000, 'y'));
        for (const question &asked : questions()) {
            const std::string expected = expected_of(asked);
            m_bench.station.write(asked.request.envelope());
            const std::string came = m_bench.station.read_exactly(expected.size());
            require(came == expected, "answered by " + station::in_hex(came));
        }
    }

    // A sample about each second, or more of them in a short play.
    std::vector<footprint> watch(const emulator::process &service)
    {
        const auto interval =
            std::chrono::milliseconds(m_time) / std::max<long>(std::min<long>(m_time.count(), 600), 30);
        std::vector<footprint> samples;
        const emulator::deadline end(m_time);
        while (!end.passed() && !m_stop && service.running()) {
            std::this_thread::sleep_for(interval);
            samples.push_back(footprint_of(m_bench, service));
        }
        require(service.running(), "the service ended meanwhile: " + service.err());
        return samples;
    }

    void tell(const std::vector<footprint> &samples)
    {
        const footprint most = most_of(samples.begin(), samples.end());
        constexpr std::size_t k_longest_record = 1023;
        require(most.log_size <= SFW_LOG_SIZE_LIMIT + k_longest_record,
                "the log has " + std::to_string(most.log_size) + " bytes");
        m_now.report.add("KiB to the modem", static_cast<long>(m_to_modem.arrived() / 1024));
        m_now.report.add("KiB to the station", static_cast<long>(m_to_station.arrived() / 1024));
        m_now.report.tell("at first", to_string(samples.front()));
        m_now.report.tell("at last", to_string(samples.back()));
        m_now.report.tell("log at most", std::to_string(most.log_size) + " bytes");
    }

    // A thread whose first failure ends the storm.
    template <typename body>
    std::thread spawn(body what)
    {
        return std::thread([this, what] {
            try {
                what();
            } catch (const std::exception &failure) {
                const std::lock_guard lock(m_mutex);
                m_failure = m_failure.empty() ? failure.what() : m_failure;
                m_stop = m_done_to_modem = m_done_to_station = true;
            }
        });
    }

    void say_as_station()
    {
        cycle now = {m_now.seed, std::mt19937_64(m_now.seed + 1), m_now.report};
        while (!m_stop) {
            if (now.chance(75)) {
                say_relayed(now);
            } else {
                ask(now);
            }
        }
        m_to_modem.wait_room(0);
        m_done_to_modem = true;
    }

    void say_relayed(cycle &now)
    {
        const relayed_row &row = choose_relayed(now);
        m_to_modem.wait_room(row.alone ? 0 : k_window);
        const std::string bytes = row.make(now);
        m_to_modem.promise(bytes);
        m_bench.station.write(bytes);
        m_to_modem.wait_room(row.alone ? 0 : k_window);
    }

    // A request of the handset's own must not share a read with anything: nothing is on the way when it leaves.
    void ask(cycle &now)
    {
        const question &asked = questions()[static_cast<std::size_t>(now.number(0, 2))];
        m_to_modem.wait_room(0);
        m_answers.promise(expected_of(asked));
        m_bench.station.write(asked.request.envelope());
        m_answers.wait_room(0);
        now.report.add("requests answered");
    }

    void hear_as_modem()
    {
        while (!m_done_to_modem) {
            m_to_modem.arrive(read_some(m_bench.modem));
        }
    }

    void say_as_modem()
    {
        const emulator::tty modem = twin(m_bench.modem);
        cycle now = {m_now.seed, std::mt19937_64(m_now.seed + 2), m_now.report};
        const std::string frame_byte(1, k_frame_byte);
        while (!m_stop) {
            const std::string bytes =
                now.chance(50) ? "\r\n+STORM: " + std::to_string(now.number(0, 1'000'000'000)) + "\r\n\r\nOK\r\n"
                               : random_bytes(now, now.chance(10) ? 9000 : 300, frame_byte);
            m_to_station.wait_room(k_window);
            m_to_station.promise(bytes);
            modem.write(bytes);
        }
        m_to_station.wait_room(0);
        m_done_to_station = true;
    }

    void hear_as_station()
    {
        emulator::tty own = twin(m_bench.station);
        station_stream stream;
        while (!m_done_to_station || !m_done_to_modem) {
            stream.add(read_some(own));
            while (const std::optional<stream_item> item = stream.next()) {
                (item->is_frame ? m_answers : m_to_station).arrive(item->bytes);
            }
        }
        require(stream.unfinished().empty(), "a frame is not whole: " + station::shortened(stream.unfinished()));
    }

    static std::string read_some(emulator::tty &from)
    {
        try {
            return from.read(100ms);
        } catch (const std::runtime_error &) {
            return ""; // nothing yet
        }
    }

    bench m_bench;
    cycle &m_now;
    const std::chrono::seconds m_time;
    road m_to_modem{"to the modem"};
    road m_to_station{"to the station"};
    road m_answers{"answers"};
    std::atomic<bool> m_stop{false};
    std::atomic<bool> m_done_to_modem{false};
    std::atomic<bool> m_done_to_station{false};
    std::mutex m_mutex; // guards m_failure
    std::string m_failure;
};

} // namespace

void play_relay(const storm_options &options, storm_report &report)
{
    cycle now = {options.seed, std::mt19937_64(options.seed), report};
    try {
        relay_storm(now, std::chrono::seconds(options.count)).play();
    } catch (const std::exception &failure) {
        report.add_failure(options.seed, failure.what());
    }
}
