// Playing requests, see exchange.h.

#include "tour/exchange.h"

#include "station/answer.h"
#include "station/text.h"

#include <iomanip>
#include <sstream>

namespace tour {

constexpr int k_request_width = 36;

std::string readable(const std::string &bytes)
{
    station::answer_stream stream;
    stream.add(bytes);
    const std::optional<station::answer> frame = stream.next();
    if (frame && frame->kind == station::answer_kind::message && frame->bytes == bytes) {
        return station::describe(*frame->message);
    }
    const station::decoded bare = station::decode(bytes);
    return bare.message ? station::describe(*bare.message) : station::quoted(bytes);
}

static std::string heard(const std::string &at_modem)
{
    return "modem: " + (at_modem.empty() ? "nothing" : readable(at_modem));
}

// All that an exchange is judged by.
static std::string outcome(const std::string &at_modem, const std::vector<std::string> &answers)
{
    std::string text = heard(at_modem);
    for (const std::string &answer : answers) {
        text += "; <- " + answer;
    }
    return text;
}

void play(stage &stage, peer &peer, const exchange &played)
{
    peer.send(played.request);
    std::vector<std::string> answers;
    while (answers.size() < played.answers.size()) {
        answers.push_back(peer.receive());
    }
    const std::string at_modem = peer.modem.received().substr(peer.heard);
    peer.heard += at_modem.size();
    std::ostringstream request;
    request << "-> " << std::left << std::setw(k_request_width) << readable(played.request) << heard(at_modem);
    stage.say(played.label, request.str());
    for (const std::string &answer : answers) {
        stage.say("", "<- " + answer);
    }
    stage.expect(played.check, outcome(played.at_modem, played.answers), outcome(at_modem, answers));
}

} // namespace tour
