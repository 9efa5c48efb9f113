// Finding the answer, see dialogue.h.

#include "station/dialogue.h"

#include "station/request.h"
#include "station/text.h"

#include <algorithm>

namespace station {

// How long nothing comes after the last of an answer's pieces.
constexpr std::chrono::milliseconds k_quiet{300};

// A line has no id, which counts as 255, and a refusal has the id behind that of its request.
constexpr std::uint8_t k_refusal_of_line = 0;

dialogue::dialogue(int tty, framing how)
    : m_link(tty, how)
{
}

void dialogue::tell(bool to_handset, std::string_view bytes, const std::string &meaning) const
{
    if (m_watcher && !bytes.empty()) {
        m_watcher({to_handset, bytes, meaning});
    }
}

// What has come unasked is told and forgotten: it answers nothing.
void dialogue::begin(std::string_view bytes, const std::string &meaning)
{
    const std::string unasked = m_link.discard();
    tell(false, unasked, "unasked, passed over");
    m_announced = false;
    tell(true, bytes, meaning);
    m_link.send_raw(bytes);
    m_asked = clock::now();
}

// A piece of an answer is more than no answer.
void dialogue::fail_unfinished(const timeout &error) const
{
    const answer_stream &rest = m_link.rest();
    tell(false, rest.unfinished(), "unfinished");
    const std::string fault = rest.fault_of_unfinished();
    if (fault.empty()) {
        throw error;
    }
    throw malformed(fault + " within " + std::to_string(m_limit.count()) + " ms: " + shortened(rest.unfinished()));
}

// The answer itself may be yet to come: it would seem to be that of the next request.
void dialogue::fail_malformed(const std::string &what)
{
    tell(false, m_link.discard(k_quiet), "passed over");
    throw malformed(what);
}

answer dialogue::next()
{
    const auto end = m_asked + m_limit;
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - clock::now());
        std::optional<answer> come;
        try {
            come = m_link.receive(std::max(left, std::chrono::milliseconds(0)));
        } catch (const timeout &error) {
            fail_unfinished(error);
        }
        tell(false, come->bytes, come->kind == answer_kind::message ? told(*come->message, true) : describe(*come));
        m_took = std::chrono::duration_cast<std::chrono::microseconds>(clock::now() - m_asked);
        if (come->kind == answer_kind::damaged) {
            fail_malformed("a damaged answer came, " + come->error + ": " + shortened(come->bytes));
        }
        if (come->kind == answer_kind::text && !is_clean_text(come->bytes)) {
            fail_malformed("what came is neither a frame nor text: " + shortened(come->bytes));
        }
        if (come->kind != answer_kind::pre_response) {
            return *std::move(come);
        }
        m_announced = true;
    }
}

static bool answers(const message &answer, const message &request)
{
    const command *what = command_of_request(request.id());
    return answer.id() == static_cast<std::uint8_t>(request.id() + 1) ||
           (what != nullptr && what->response_id != 0 && answer.id() == what->response_id);
}

message dialogue::ask(const message &request)
{
    begin(m_link.bytes_of(request), told(request, false));
    while (true) {
        const answer come = next();
        if (come.kind == answer_kind::text && ends_with_final_result(come.bytes)) {
            throw refused("the modem, to which the message went, answered " + quoted(come.bytes));
        }
        if (come.kind == answer_kind::message && answers(*come.message, request)) {
            return *come.message;
        }
    }
}

message dialogue::ask_for_success(const message &request)
{
    message answer = ask(request);
    if (answer.result() != 0U) {
        throw refused("the handset answered " + told(answer, true));
    }
    return answer;
}

std::string dialogue::ask_line_for_success(std::string_view line)
{
    std::string text = ask_line(line);
    if (final_result(text) != "OK") {
        throw refused("the answer to " + quoted(line) + " is " + quoted(text));
    }
    return text;
}

std::string dialogue::ask_line(std::string_view line)
{
    const std::string bytes = as_line(line);
    begin(bytes, quoted(bytes));
    std::string text;
    while (!ends_with_final_result(text)) {
        const answer come = next();
        if (come.message && come.message->id() == k_refusal_of_line) {
            throw refused("the handset could not answer the line: " + told(*come.message, true));
        }
        text += come.kind == answer_kind::text ? come.bytes : "";
    }
    return text;
}

answer dialogue::ask_raw(std::string_view bytes)
{
    begin(bytes, quoted(bytes));
    return next();
}

} // namespace station
