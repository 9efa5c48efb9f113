// The library's end of the line to process 1, see init_link.h.

#include "emulator/init_link.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <csignal>
#include <stdexcept>
#include <system_error>

namespace emulator {

// Process 1 does one thing at a time and none of them takes long.
constexpr std::chrono::seconds k_answer_wait{60};

// Taken from one pipe at a time: more than a pipe holds, so that the output of an ended program is taken whole, but not
// without limit, so that one that never stops writing does not keep the others waiting.
constexpr std::size_t k_most_at_once = 262144;

init_link::init_link(descriptor socket)
    : m_socket(std::move(socket))
    , m_wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!m_wake) {
        throw std::system_error(errno, std::generic_category(), "cannot make an eventfd for the emulated handset");
    }
    m_collector = std::thread(&init_link::collect, this);
}

init_link::~init_link()
{
    close();
}

void init_link::close()
{
    (void)shutdown(m_socket.get(), SHUT_RDWR); // the collector sees the end of the line and leaves
    if (m_collector.joinable()) {
        m_collector.join();
    }
}

bool init_link::is_up() const
{
    const std::lock_guard lock(m_mutex);
    return m_up;
}

std::string init_link::next_token()
{
    const std::lock_guard lock(m_mutex);
    return std::to_string(++m_tokens);
}

init_link::answer init_link::request(const std::string &what, const std::string &verb,
                                     const std::vector<std::string> &fields)
{
    std::vector<std::string> message = {verb, next_token()};
    message.insert(message.end(), fields.begin(), fields.end());
    return exchange(what, message, {});
}

init_link::answer init_link::exchange(const std::string &what, const std::vector<std::string> &message,
                                      const std::vector<int> &descriptors)
{
    const std::string &token = message[1];
    std::unique_lock lock(m_mutex);
    m_pending[token] = {};
    lock.unlock(); // sending may wait for process 1, which may wait for the collector
    const bool sent = send_message(m_socket.get(), message, descriptors);
    const int send_error = errno;
    lock.lock();
    if (sent) {
        m_changed.wait_for(lock, k_answer_wait, [&] { return m_pending[token].answered || !m_up; });
    }
    pending result = std::move(m_pending[token]);
    m_pending.erase(token);
    if (!sent && m_up) {
        throw std::system_error(send_error, std::generic_category(), what);
    }
    if (!result.answered) {
        throw std::runtime_error(what + (m_up ? ": the sandbox does not answer" : ": the handset is off"));
    }
    if (result.error != 0) {
        throw std::system_error(result.error, std::generic_category(), what + ": " + result.received.text);
    }
    return std::move(result.received);
}

// Makes a pipe: the reading end, which never blocks, goes to `reader`; the writing end is returned.
static descriptor make_pipe(descriptor &reader)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make a pipe for a program's output");
    }
    reader.reset(ends[0]);
    (void)fcntl(ends[0], F_SETFL, O_NONBLOCK);
    return descriptor(ends[1]);
}

static std::vector<std::string> start_message(const std::string &token, const program &what,
                                              const std::vector<std::string> &environment)
{
    const std::string &name = what.name.empty() ? what.path : what.name;
    std::vector<std::string> message = {"start", token, what.path, name, what.folder};
    message.push_back(std::to_string(what.arguments.size()));
    message.insert(message.end(), what.arguments.begin(), what.arguments.end());
    message.push_back(std::to_string(environment.size()));
    message.insert(message.end(), environment.begin(), environment.end());
    return message;
}

process init_link::start(const program &what, const std::vector<std::string> &environment)
{
    const auto state = std::make_shared<process_state>();
    const descriptor out = what.out < 0 ? make_pipe(state->out_end) : descriptor();
    const descriptor err = what.err < 0 ? make_pipe(state->err_end) : descriptor();
    std::vector<int> streams = {what.out < 0 ? out.get() : what.out, what.err < 0 ? err.get() : what.err};
    if (what.in >= 0) {
        streams.push_back(what.in);
    }
    state->shown_name = what.path;
    const std::string token = next_token();
    {
        const std::lock_guard lock(m_mutex);
        m_programs[token] = state; // before the request: its end may be reported ahead of the answer
    }
    wake();
    try {
        const answer started =
            exchange("cannot start " + what.path + " in the handset", start_message(token, what, environment), streams);
        state->pid = number_in(started.text);
    } catch (...) {
        const std::lock_guard lock(m_mutex);
        m_programs.erase(token);
        throw;
    }
    return {shared_from_this(), state};
}

void init_link::wake() const
{
    (void)eventfd_write(m_wake.get(), 1); // fails only when the counter is full, and then it wakes anyway
}

void init_link::collect()
{
    while (collect_once()) {
    }
    break_off();
}

// One round of the collector: waits for anything to happen and takes it in. False at the end of the line.
bool init_link::collect_once()
{
    std::vector<pollfd> ends = {{m_socket.get(), POLLIN, 0}, {m_wake.get(), POLLIN, 0}};
    {
        const std::lock_guard lock(m_mutex);
        for (const auto &[token, state] : m_programs) {
            for (const descriptor *end : {&state->out_end, &state->err_end}) {
                if (*end) {
                    ends.push_back({end->get(), POLLIN, 0});
                }
            }
        }
    }
    if (TEMP_FAILURE_RETRY(poll(ends.data(), ends.size(), -1)) < 0) {
        return false;
    }
    eventfd_t ignored = 0;
    (void)eventfd_read(m_wake.get(), &ignored); // EAGAIN when it was not the wake-up
    if (ends[0].revents != 0 && !take_message()) {
        return false;
    }
    const std::lock_guard lock(m_mutex);
    for (auto at = m_programs.begin(); at != m_programs.end();) {
        process_state &state = *at->second;
        drain(state.out_end, state.out);
        drain(state.err_end, state.err);
        at = state.status && !state.out_end && !state.err_end ? m_programs.erase(at) : std::next(at);
    }
    m_changed.notify_all();
    return true;
}

void init_link::drain(descriptor &end, std::string &text)
{
    char bytes[4096];
    std::size_t taken = 0;
    while (end && taken < k_most_at_once) {
        const ssize_t count = TEMP_FAILURE_RETRY(read(end.get(), bytes, sizeof(bytes)));
        if (count > 0) {
            text.append(bytes, static_cast<std::size_t>(count));
            taken += static_cast<std::size_t>(count);
        } else if (count < 0 && errno == EAGAIN) {
            return;
        } else {
            end.reset();
        }
    }
}

bool init_link::take_message()
{
    message received;
    if (!receive_message(m_socket.get(), received)) {
        return false;
    }
    const std::lock_guard lock(m_mutex);
    if (received.fields.size() == 4 && received.fields[0] == "answer") {
        take_answer(received);
    } else if (received.fields.size() == 4 && received.fields[0] == "ended") {
        take_end(received);
    }
    return true;
}

void init_link::take_answer(message &received)
{
    const auto at = m_pending.find(received.fields[1]);
    if (at == m_pending.end()) {
        return; // nobody waits for it any more
    }
    at->second.answered = true;
    at->second.error = number_in(received.fields[2]);
    at->second.received = {received.fields[3], std::move(received.descriptors)};
}

void init_link::take_end(const message &received)
{
    const auto at = m_programs.find(received.fields[1]);
    if (at == m_programs.end()) {
        return;
    }
    // All that the program wrote is in the pipes by now, and has to be in the texts before the end is seen.
    drain(at->second->out_end, at->second->out);
    drain(at->second->err_end, at->second->err);
    const int number = number_in(received.fields[3]);
    at->second->status = received.fields[2] == "exited" ? exited(number) : signalled(number);
}

void init_link::break_off()
{
    const std::lock_guard lock(m_mutex);
    m_up = false;
    for (const auto &[token, state] : m_programs) {
        drain(state->out_end, state->out);
        drain(state->err_end, state->err);
        if (!state->status) {
            state->status = signalled(SIGKILL);
        }
    }
    m_programs.clear();
    m_changed.notify_all();
}

} // namespace emulator
