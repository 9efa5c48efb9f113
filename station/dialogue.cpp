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
    m_asked = clock::now();
    m_link.send_raw(bytes);
}

// A piece of an answer is more than no answer.
void dialogue::fail_unfinished() const
{
    const answer_stream &rest = m_link.rest();
    tell(false, rest.unfinished(), "unfinished");
    const std::string fault = rest.fault_of_unfinished();
    if (fault.empty()) {
        throw no_whole_answer(m_limit, rest.unfinished());
    }
    throw malformed(fault + " within " + std::to_string(m_limit.count()) + " ms: " + shortened(rest.unfinished()));
}

// The answer itself may be yet to come: it would seem to be that of the next request.
void dialogue::fail_malformed(const std::string &what)
{
    try {
        tell(false, m_link.discard(k_quiet), "passed over");
    } catch (const lost &) {
        // Told when it is asked again.
    }
    throw malformed(what);
}

answer dialogue::next()
{
    const auto end = m_asked + m_limit;
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - clock::now());
        std::optional<answer> come;
        if (left.count() > 0) {
            come = m_link.receive_some(left);
        }
        if (!come) {
            fail_unfinished();
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

static bool answers(const message &answer, const message &request, const command *what)
{
    return answer.id() == static_cast<std::uint8_t>(request.id() + 1) ||
           (what != nullptr && what->response_id != 0 && answer.id() == what->response_id);
}

static bool is_success(const message &answer)
{
    return answer.result().value_or(0) == 0; // one answer to an application has a result only when it failed
}

// The versions of some modules are the modem's to tell.
static bool is_modems_own(const message &request)
{
    constexpr std::uint8_t k_version = 0x2D;
    constexpr std::uint8_t k_module_atom = 19;
    constexpr std::uint32_t k_l1 = 17;
    constexpr std::uint32_t k_hls = 18;
    const std::uint32_t module = request.get_int(k_module_atom).value_or(0);
    return request.id() == k_version && (module == k_l1 || module == k_hls);
}

// Why a success cannot be that of the handset, when it is the handset that answers the command: a request that arrives
// in pieces goes to the modem, which is content with many things.
static std::string fault_of_success(const command &what, const message &answer, bool announced)
{
    for (const item &each : what.answer) {
        const auto is_it = [&](const atom &one) { return one.id == each.atom; };
        if (each.required && std::none_of(answer.atoms().begin(), answer.atoms().end(), is_it)) {
            return std::string("lacks ") + each.name +
                   (announced ? "" : ", and came without a pre-response, so it is not the handset's own");
        }
    }
    return announced ? "" : "came without a pre-response, so it is not the handset's own, or bytes were lost";
}

void dialogue::check(const message &request, const command *what, const message &answer)
{
    const bool is_bare = m_link.how() == framing::bare;
    const answered_on others = is_bare ? answered_on::station : answered_on::application;
    const bool is_handsets = what != nullptr && what->answered_on <= answered_on::application &&
                             what->answered_on != others && !(is_modems_own(request) && !is_bare);
    if (!is_handsets || !is_success(answer)) {
        return;
    }
    const std::string fault = fault_of_success(*what, answer, m_announced || is_bare);
    if (!fault.empty()) {
        fail_malformed("the answer " + fault + ": " + told(answer, true));
    }
}

message dialogue::ask(const message &request)
{
    const command *what = command_of_request(request.id());
    unsigned left = what != nullptr ? what->acknowledgements : 1;
    begin(m_link.bytes_of(request), told(request, false));
    while (true) {
        const answer come = next();
        const std::string final = come.kind == answer_kind::text ? final_result(come.bytes) : "";
        if (!final.empty() && final != "OK") {
            throw refused("the modem, to which the message went, answered " + quoted(come.bytes));
        }
        if (come.kind != answer_kind::message || !answers(*come.message, request, what)) {
            continue;
        }
        check(request, what, *come.message);
        left--;
        if (left == 0 || !is_success(*come.message)) {
            return *come.message;
        }
    }
}

message dialogue::ask_for_success(const message &request)
{
    message answer = ask(request);
    if (!is_success(answer)) {
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

// Every line of an answer stands between line ends; only an echo of the request may stand before them.
static bool begins_an_answer(const std::string &text, const std::string &line)
{
    return text.compare(0, 2, "\r\n") == 0 || text.compare(0, line.size(), line) == 0;
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
    if (!begins_an_answer(text, bytes)) {
        fail_malformed("the beginning of the answer is missing: " + quoted(text));
    }
    return text;
}

answer dialogue::ask_raw(std::string_view bytes)
{
    begin(bytes, quoted(bytes));
    return next();
}

} // namespace station
