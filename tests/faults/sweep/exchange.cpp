// Asking and listening, see exchange.h.

#include "tests/faults/sweep/exchange.h"

#include "amt/wire/amt-convert.h"
#include "station/message.h"
#include "station/text.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <thread>

namespace faults {

const std::string k_pre_response("\xAA\xBB\xCC\xDD\x08\0\0\0\x02\x02\0\0\x76\x4A\xEE\x1D", 16);

namespace {

constexpr auto k_look = 4ms;

bool begins(const std::string &text, const std::string &beginning)
{
    return text.compare(0, beginning.size(), beginning) == 0;
}

bool ends(const std::string &text, const std::string &ending)
{
    return text.size() >= ending.size() && text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

std::string without_pre_response(const std::string &heard)
{
    return begins(heard, k_pre_response) ? heard.substr(k_pre_response.size()) : heard;
}

// A bare message, also of one in the envelope of the station's link.
std::string unwrapped(const std::string &heard)
{
    amt_buffer buffer = {};
    buffer.m_length = static_cast<std::uint32_t>(std::min(heard.size(), sizeof(buffer.m_data_a) - 1));
    memcpy(buffer.m_data_a, heard.data(), buffer.m_length);
    const bool is_wrapped = amt_convert_pc_2_app(&buffer) == 0;
    return is_wrapped ? std::string(reinterpret_cast<const char *>(buffer.m_data_a), buffer.m_length) : heard;
}

// An error in text, or a message whose result is none of success.
bool is_refusal(const std::string &heard)
{
    const std::string rest = without_pre_response(heard);
    if (begins(rest, "\r\n") && ends(rest, "\r\n") && rest.find("ERROR") != std::string::npos) {
        return true;
    }
    const station::decoded answer = station::decode(unwrapped(rest));
    return answer.message && answer.message->result().value_or(0) != 0;
}

// False while the port cannot be written to: the service may be making another in its place.
bool say(emulator::tty &end, const std::string &request)
{
    try {
        end.write(request, 1s);
        return true;
    } catch (const std::runtime_error &) {
        return false;
    }
}

} // namespace

outcome end_of(const emulator::process &service)
{
    return service.wait() == emulator::exited(0) ? outcome::ended : outcome::failed_start;
}

outcome ask(bench &on, const std::string &request, const std::string &expected, patience limit)
{
    on.heard.clear();
    std::string &heard = on.heard;
    const emulator::deadline until(limit.longest);
    bool is_said = false;
    while (!until.passed()) {
        const bool is_running = on.is_running();
        emulator::tty &end = on.asker();
        is_said = is_said || (end.fd() >= 0 && say(end, request));
        heard += end.fd() >= 0 ? end.read_all(k_look) : "";
        if (heard == expected) {
            return outcome::answered;
        }
        if (is_refusal(heard)) {
            return outcome::refused;
        }
        if (!is_running) {
            return end_of(on.service());
        }
        if (!is_said) {
            std::this_thread::sleep_for(k_look);
        }
    }
    return heard.empty() ? outcome::silent : outcome::cut;
}

} // namespace faults
