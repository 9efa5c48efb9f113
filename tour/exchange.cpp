// Playing requests, see exchange.h.

#include "tour/exchange.h"

#include "station/answer.h"
#include "station/text.h"

namespace tour {

constexpr std::size_t k_request_width = 39;

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

// In one line with what the modem hears of it, unless that would not stand in its column.
static void say_request(stage &stage, const exchange &played, const std::string &at_modem)
{
    const std::string request = "-> " + readable(played.request);
    if (request.size() >= k_request_width) {
        stage.say(played.label, request);
        stage.say("", at_modem);
        return;
    }
    stage.say(played.label, request + std::string(k_request_width - request.size(), ' ') + at_modem);
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
    say_request(stage, played, heard(at_modem));
    for (const std::string &answer : answers) {
        stage.say("", "<- " + answer);
    }
    stage.expect(played.check, outcome(played.at_modem, played.answers), outcome(at_modem, answers));
}

} // namespace tour
