// The model of the modem, see modem.h. One thread waits for the port, for the next piece that is due, and for the
// eventfd that tells it of a change; it alone reads, writes and closes the port, always under the mutex.

#include "emulator/modem.h"

#include "amt/wire/amt-convert.h"
#include "amt/wire/bytes.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace emulator {

using namespace std::chrono_literals;

constexpr std::string_view k_magic = "\xAA\xBB\xCC\xDD";

// While nobody has the tty open the kernel reports a hang-up at once, always, and room for more bytes it does not
// always report; so both are looked at in turns.
constexpr int k_look_ms = 5;

// The result of an AMT answer.
constexpr std::uint8_t k_result_atom = 1;

// The verdict of a station of the line.
constexpr std::uint8_t k_write_verdict = 0x5B; // AMT_WRITE_TEST_RESULT_CMD
constexpr std::uint8_t k_station_atom = 39;
constexpr std::uint8_t k_verdict_atom = 36;
constexpr std::uint8_t k_text_atom = 37;

modem::modem(tty port, std::string_view rules, std::shared_ptr<modem_store> store)
    : m_wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    , m_first_rules(parse_modem_rules(rules))
    , m_store(store != nullptr ? std::move(store) : std::make_shared<modem_store>())
    , m_rules(m_first_rules)
    , m_next(std::move(port))
{
    if (!m_wake) {
        throw std::system_error(errno, std::generic_category(), "cannot make an eventfd for the emulated modem");
    }
    take_next_port();
    m_thread = std::thread(&modem::serve, this);
}

modem::~modem()
{
    {
        const std::lock_guard lock(m_mutex);
        m_stop = true;
    }
    wake();
    m_thread.join();
}

void modem::control(const modem_control &how)
{
    const std::lock_guard lock(m_mutex);
    m_control = how;
}

modem_control modem::control() const
{
    const std::lock_guard lock(m_mutex);
    return m_control;
}

modem_memory modem::memory() const
{
    const std::lock_guard lock(m_store->mutex);
    return m_store->known;
}

void modem::reset()
{
    const std::lock_guard lock(m_mutex);
    m_rules = m_first_rules;
    m_control = {};
    m_received.clear();
    m_unread.clear();
    m_unsaid.clear();
    m_answered = {}; // what was to be said is forgotten
    const std::lock_guard store_lock(m_store->mutex);
    m_store->known.clear();
}

void modem::teach(std::string_view rules)
{
    std::vector<modem_rule> learnt = parse_modem_rules(rules);
    const std::lock_guard lock(m_mutex);
    learnt.insert(learnt.end(), m_rules.begin(), m_rules.end());
    m_rules = std::move(learnt);
}

std::string modem::received() const
{
    const std::lock_guard lock(m_mutex);
    return m_received;
}

void modem::clear_received()
{
    const std::lock_guard lock(m_mutex);
    m_received.clear();
}

void modem::wait_received(std::string_view bytes, deadline limit) const
{
    std::unique_lock lock(m_mutex);
    const auto there = [&] { return m_received.find(bytes) != std::string::npos; };
    if (!m_changed.wait_until(lock, limit.m_at, there)) {
        throw std::runtime_error("the modem has not received \"" + std::string(bytes) + "\" but: \"" + m_received +
                                 "\"");
    }
}

void modem::say(std::string_view bytes)
{
    {
        const std::lock_guard lock(m_mutex);
        m_unsaid.emplace(clock::now(), bytes);
    }
    wake();
}

void modem::hang_up()
{
    come_back(tty());
}

void modem::come_back(tty port)
{
    std::unique_lock lock(m_mutex);
    m_next = std::move(port);
    wake();
    m_changed.wait(lock, [&] { return !m_next; });
}

void modem::wake() const
{
    (void)eventfd_write(m_wake.get(), 1); // it fails only when it counts wake-ups enough already
}

void modem::serve()
{
    bool nobody_there = false;
    std::unique_lock lock(m_mutex);
    while (!m_stop) {
        take_next_port();
        speak();
        pollfd ends[] = {{m_wake.get(), POLLIN, 0},
                         {nobody_there ? -1 : m_port.fd(), static_cast<short>(m_stuck ? POLLIN | POLLOUT : POLLIN), 0}};
        const int longest_ms = wait_ms(nobody_there);
        lock.unlock();
        (void)poll(ends, std::size(ends), longest_ms);
        lock.lock();
        eventfd_t ignored = 0;
        (void)eventfd_read(m_wake.get(), &ignored); // EAGAIN when it was not the wake-up
        const bool anything = (ends[1].revents & ~POLLOUT) != 0;
        nobody_there = anything && !listen();
    }
}

void modem::take_next_port()
{
    if (!m_next) {
        return;
    }
    m_port = std::move(*m_next);
    m_next.reset();
    m_unread.clear();
    m_unsaid.clear();
    m_answered = {};
    if (m_port.fd() >= 0) {
        hear(m_port.read_all(0ms)); // what its owner before had read and not taken
    }
    m_changed.notify_all();
}

// How long the thread may wait when nothing happens; -1 for ever.
int modem::wait_ms(bool nobody_there) const
{
    if (m_port.fd() < 0) {
        return -1;
    }
    if (nobody_there || m_stuck) {
        return k_look_ms;
    }
    return m_unsaid.empty() ? -1 : deadline(m_unsaid.begin()->first - clock::now()).left_ms();
}

// Takes what has arrived; false when nothing has.
bool modem::listen()
{
    char bytes[4096];
    const ssize_t count = ::read(m_port.fd(), bytes, sizeof(bytes));
    if (count <= 0) {
        return false;
    }
    hear({bytes, static_cast<std::size_t>(count)});
    m_changed.notify_all();
    return true;
}

void modem::hear(std::string_view bytes)
{
    m_received += bytes;
    m_unread += bytes;
    while (const std::optional<std::string> request = take_request()) {
        const std::string said = answer_to(*request); // and keeps what the request brings, also in silence
        if (!m_control.silent) {
            answer(said);
        }
    }
}

// The next whole request, a frame or an AT line without its carriage return; nothing when there is none yet.
std::optional<std::string> modem::take_request()
{
    m_unread.erase(0, m_unread.find_first_not_of('\n')); // line feeds behind carriage returns
    const bool is_frame = m_unread.compare(0, k_magic.size(), k_magic) == 0;
    return is_frame ? take_frame() : take_line();
}

// A frame, or of one that cannot be the magic alone.
std::optional<std::string> modem::take_frame()
{
    constexpr std::size_t head = 8; // magic and length, which the length does not count
    if (m_unread.size() < head) {
        return std::nullopt;
    }
    const std::size_t length = load_u32_le(reinterpret_cast<const std::uint8_t *>(m_unread.data()) + k_magic.size());
    const bool possible = length >= AMT_ENVELOPE_SIZE - head && length <= AMT_MESSAGE_SIZE - head;
    const std::size_t size = possible ? head + length : k_magic.size();
    if (m_unread.size() < size) {
        return std::nullopt;
    }
    std::string frame = m_unread.substr(0, size);
    m_unread.erase(0, size);
    return frame;
}

// An AT line; what stands before a frame without a carriage return is dropped.
std::optional<std::string> modem::take_line()
{
    const std::size_t end = m_unread.find('\r');
    const std::size_t frame = m_unread.find(k_magic);
    if (frame < end) {
        m_unread.erase(0, frame);
        return take_frame();
    }
    if (end == std::string::npos) {
        return std::nullopt;
    }
    std::string line = m_unread.substr(0, end);
    m_unread.erase(0, end + 1);
    return line;
}

// The answer to a command with AT data, the first byte of which is a command id: the next id and the result. None when
// the command has other digits than those of whole bytes, or no digits.
static std::optional<std::string> tunnel_answer(std::string_view command, std::uint32_t result)
{
    constexpr std::string_view prefix = "AT^DTTEST=";
    constexpr std::string_view valid = "0123456789abcdefABCDEF";
    const std::string_view digits = command.substr(std::min(prefix.size(), command.size()));
    if (command.substr(0, prefix.size()) != prefix || digits.empty() || digits.size() % 2 != 0 ||
        digits.find_first_not_of(valid) != std::string_view::npos) {
        return std::nullopt;
    }
    const auto next_id = static_cast<std::uint8_t>(std::stoi(std::string(digits.substr(0, 2)), nullptr, 16) + 1);
    char answer[64];
    (void)std::snprintf(answer, sizeof(answer), "\r\n^DTTEST: %02X%08X\r\n\r\nOK\r\n", next_id, result);
    return answer;
}

// The message in an envelope, as its first bytes; false when there is none in it.
static bool take_message(const std::string &frame, amt_buffer &buffer)
{
    buffer.m_length = static_cast<std::uint32_t>(frame.size());
    std::memcpy(buffer.m_data_a, frame.data(), frame.size());
    return amt_convert_pc_2_app(&buffer) == 0 && buffer.m_length >= AMT_COMMAND_HEADER_SIZE;
}

// The answer to a message, in an envelope: the next id and the result.
static std::string message_answer(std::uint8_t id, std::uint32_t result)
{
    amt_buffer buffer = {};
    amt_message_init(buffer.m_data_a, static_cast<std::uint8_t>(id + 1));
    (void)amt_message_append_int(buffer.m_data_a, k_result_atom, result);
    (void)amt_convert_app_2_pc(&buffer); // neither can fail: there is room enough
    return std::string(buffer.m_data_a, buffer.m_data_a + buffer.m_length);
}

// Under the names that the rules of AT^DATOMW and AT^DATOMR have; without a text no older one is left.
static void keep_verdict(const std::uint8_t *message, modem_memory &known)
{
    if (amt_message_find_atom(message, k_station_atom) == nullptr) {
        return;
    }
    const std::string station = std::to_string(amt_message_get_int(message, k_station_atom));
    char text[AMT_MESSAGE_SIZE] = {};
    (void)amt_message_get_string(message, k_text_atom, text, sizeof(text));
    known["station"] = station;
    known["verdict[" + station + "]"] = std::to_string(amt_message_get_int(message, k_verdict_atom));
    known["text[" + station + "]"] = text;
}

std::string modem::answer_to_frame(const std::string &frame)
{
    amt_buffer buffer = {};
    if (!take_message(frame, buffer)) {
        return k_modem_refusal;
    }
    const std::uint8_t id = amt_message_get_command_id(buffer.m_data_a);
    if (id == k_write_verdict && m_control.result == 0) {
        const std::lock_guard lock(m_store->mutex);
        keep_verdict(buffer.m_data_a, m_store->known);
    }
    return message_answer(id, m_control.result);
}

std::optional<std::string> modem::answer_to_line(const std::string &line)
{
    const std::lock_guard lock(m_store->mutex);
    return answer_by_rules(m_rules, line, m_store->known);
}

std::string modem::answer_to(const std::string &request)
{
    if (request.empty()) {
        return ""; // a line of nothing is no command
    }
    if (!m_control.refusal.empty()) {
        return m_control.refusal;
    }
    if (request.compare(0, k_magic.size(), k_magic) == 0) {
        return answer_to_frame(request);
    }
    if (const std::optional<std::string> answer = answer_to_line(request)) {
        return *answer;
    }
    return tunnel_answer(request, m_control.result).value_or(k_modem_refusal);
}

void modem::answer(std::string_view bytes)
{
    const std::size_t piece = m_control.split == 0 ? bytes.size() : m_control.split;
    m_answered = std::max(m_answered, clock::now()); // behind what is still to be answered
    while (!bytes.empty()) {
        m_answered += std::chrono::milliseconds(m_control.delay_ms);
        m_unsaid.emplace(m_answered, bytes.substr(0, piece));
        bytes.remove_prefix(std::min(piece, bytes.size()));
    }
}

// Says what is due, as far as the port takes it.
void modem::speak()
{
    m_stuck = false;
    while (!m_stuck && m_port.fd() >= 0 && !m_unsaid.empty() && m_unsaid.begin()->first <= clock::now()) {
        std::string &bytes = m_unsaid.begin()->second;
        const ssize_t count = ::write(m_port.fd(), bytes.data(), bytes.size());
        m_stuck = count < static_cast<ssize_t>(bytes.size());
        bytes.erase(0, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        if (bytes.empty()) {
            m_unsaid.erase(m_unsaid.begin());
        }
    }
}

} // namespace emulator
