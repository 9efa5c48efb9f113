// A program inside, see process.h. Its state is guarded by the mutex of the link that collects its output.

#include "emulator/process.h"

#include "emulator/init_link.h"

#include <algorithm>
#include <ostream>
#include <stdexcept>

namespace emulator {

// How much of a program's output an error message quotes.
constexpr std::size_t k_quoted = 600;

static std::string end_of(const std::string &text)
{
    return text.substr(text.size() - std::min(text.size(), k_quoted));
}

static std::string output_of(const process_state &state)
{
    return "; end of its output: \"" + end_of(state.out) + "\", of its errors: \"" + end_of(state.err) + "\"";
}

std::string to_string(const exit_status &status)
{
    const bool exited_itself = status.how == exit_status::kind::exited;
    return (exited_itself ? "exited with " : "killed by signal ") + std::to_string(status.number);
}

std::ostream &operator<<(std::ostream &stream, const exit_status &status)
{
    return stream << to_string(status);
}

process::process(std::shared_ptr<init_link> link, std::shared_ptr<process_state> state)
    : m_link(std::move(link))
    , m_state(std::move(state))
{
}

pid_t process::pid() const
{
    return m_state->pid;
}

std::string process::out() const
{
    const std::lock_guard lock(m_link->m_mutex);
    return m_state->out;
}

std::string process::err() const
{
    const std::lock_guard lock(m_link->m_mutex);
    return m_state->err;
}

bool process::running() const
{
    const std::lock_guard lock(m_link->m_mutex);
    return !m_state->status;
}

bool process::signal(int number) const
{
    try {
        (void)m_link->request("cannot send signal " + std::to_string(number) + " to " + m_state->shown_name, "signal",
                              {std::to_string(m_state->pid), std::to_string(number)});
    } catch (const std::runtime_error &) {
        if (!running()) {
            return false;
        }
        throw;
    }
    return true;
}

exit_status process::wait(deadline limit) const
{
    std::unique_lock lock(m_link->m_mutex);
    if (!m_link->m_changed.wait_until(lock, limit.m_at, [&] { return m_state->status.has_value(); })) {
        throw std::runtime_error(m_state->shown_name + " has not ended in time" + output_of(*m_state));
    }
    return *m_state->status;
}

void process::wait_output(const std::string &text, deadline limit) const
{
    const auto found = [&] {
        return m_state->out.find(text) != std::string::npos || m_state->err.find(text) != std::string::npos;
    };
    std::unique_lock lock(m_link->m_mutex);
    m_link->m_changed.wait_until(lock, limit.m_at, [&] { return found() || m_state->status; });
    if (!found()) {
        const std::string fate = m_state->status ? " (" + to_string(*m_state->status) + ")" : "";
        throw std::runtime_error(m_state->shown_name + fate + " has not written \"" + text + "\"" +
                                 output_of(*m_state));
    }
}

} // namespace emulator
