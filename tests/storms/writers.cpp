// The fourth storm: the station's reader answers while the modem's relays, two threads that write to one tty without a
// lock between them. Each answer and each of the modem's words must be found whole in the stream.
//
// The kernel takes one write(2) to a tty as a whole, however it cuts it for the device, so that words of any length
// that the service writes at once stay whole. What the modem says is read at once only up to some 1,800 bytes: the
// words here stay below, and each leaves when the one before has arrived.
#include <atomic>
#include <condition_variable>
#include <csignal>
#include <optional>
#include <stdexcept>
#include <thread>

#include "station/message.h"
#include "station/text.h"
#include "tests/storms/bench.h"
#include "tests/storms/players.h"
#include "tests/storms/station_stream.h"
#include "tests/storms/storm.h"

namespace {

using namespace std::chrono_literals;

constexpr long k_in_a_life = 200; // answers
#if defined(__SANITIZE_THREAD__)
constexpr long k_longest_word = 230; // bytes; a longer write is made of pieces here, see tests/support/tsan_waits.cpp
#else
constexpr long k_longest_word = 1700;
#endif

// "<12:1234:xxxx...x>": its number and its length, and letters that tell which word a piece is of.
std::string word(long number, long length)
{
    const std::string head = "<" + std::to_string(number) + ":" + std::to_string(length) + ":";
    return head + std::string(static_cast<std::size_t>(length), static_cast<char>('a' + number % 26)) + ">";
}

class writing {
  public:
    void play(cycle &now)
    {
        const emulator::process service = m_bench.start_serving(arrangement::station);
        std::atomic<bool> is_over{false};
        std::string failure; // of the modem; read when it has ended
        m_stream = station_stream();
        m_piece.clear();
        m_word.clear();
        std::thread modem([&] {
            try {
                talk(now.seed, is_over);
            } catch (const std::exception &thrown) {
                failure = thrown.what();
            }
        });
        try {
            ask(now);
        } catch (const std::exception &thrown) {
            failure = thrown.what();
        }
        {
            const std::lock_guard lock(m_mutex);
            is_over = true;
        }
        m_heard.notify_one();
        modem.join();
        require(failure.empty(), failure + "\n" + bench::end_of(m_bench.log()));
        (void)service.signal(SIGTERM);
        m_bench.require_clean_end(service);
    }

  private:
    // The modem: the next word as soon as the one before has arrived.
    void talk(std::uint64_t seed, const std::atomic<bool> &is_over)
    {
        std::mt19937_64 random(seed + 1);
        for (long number = 1; !is_over; number++) {
            const std::string said = word(number, std::uniform_int_distribution<long>(1, k_longest_word)(random));
            {
                const std::lock_guard lock(m_mutex);
                m_word = said;
            }
            m_bench.modem.write(said);
            std::unique_lock lock(m_mutex);
            const auto is_free = [&] { return m_word.empty() || is_over; };
            require(m_heard.wait_for(lock, 30s, is_free), "a word has not arrived: " + station::shortened(said));
        }
    }

    // The station: the next request as soon as the answer to the one before has come, which it does behind an
    // announcement of its own.
    void ask(cycle &now)
    {
        const station::message request(0xF0);
        const std::string answer = station::message(0xF1).with_int(1, 0).envelope();
        for (long i = 0; i < k_in_a_life; i++) {
            m_bench.station.write(request.envelope());
            const std::string announcement = next_frame(now);
            require(announcement.size() == 16, "no announcement: " + station::in_hex(announcement));
            const std::string came = next_frame(now);
            require(came == answer, "answered by " + station::in_hex(came));
        }
        now.report.add("answers whole", k_in_a_life);
    }

    // The next frame; the words before it are heard.
    std::string next_frame(cycle &now)
    {
        const emulator::deadline limit(30s);
        for (;;) {
            while (const std::optional<stream_item> item = m_stream.next()) {
                if (item->is_frame) {
                    require(m_piece.empty(), "a frame stands in a word, behind " + station::shortened(m_piece));
                    return item->bytes;
                }
                hear(item->bytes, now);
            }
            m_stream.add(m_bench.station.read(limit));
        }
    }

    // A word, or what has come of it so far: the rest must follow with nothing in between.
    void hear(const std::string &bytes, cycle &now)
    {
        m_piece += bytes;
        const std::lock_guard lock(m_mutex);
        require(m_word.compare(0, m_piece.size(), m_piece) == 0,
                "in place of a word came " + station::shortened(m_piece));
        if (m_piece == m_word) {
            m_piece.clear();
            m_word.clear();
            m_heard.notify_one();
            now.report.add("words whole");
        }
    }

    bench m_bench;
    station_stream m_stream;
    std::string m_piece; // of a word that has not come whole yet
    std::mutex m_mutex;  // guards m_word
    std::condition_variable m_heard;
    std::string m_word; // on the way
};

} // namespace

void play_writers(const storm_options &options, storm_report &report)
{
    play_cycles<writing>(options, (options.count + k_in_a_life - 1) / k_in_a_life, report);
}
